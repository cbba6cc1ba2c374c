// The recording host and its session driver, run against the linked filter
// on the shipped examples: what the tests of every other area stand on.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"

namespace {

std::string Example(const std::string& name) {
    return ReadWholeFile(std::string(MAILSIFT_SOURCE_DIR) + "/examples/" + name);
}

TEST(RecordingHost, RecordsTheWholeRunOfAPlainMail) {
    const std::string mail = Example("welcome.eml");
    ASSERT_FALSE(mail.empty());
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, mail, FI_INTERNET_MAIL), 0);
    EXPECT_EQ(host.strayCalls, 0u);

    const std::string transcript = host.Transcript();
    // The section preamble comes first, in this order.
    EXPECT_EQ(transcript.rfind("SoBeginSection 0 0 0\nSoSetTextColor 1 0\nSoSetSecondColor 1 0\n"
                               "SoSetProperty 27 16384 0 0\n",
                               0),
              0u)
        << transcript.substr(0, 200);
    // A known field: label, cell break, tag with the label's number.
    EXPECT_NE(transcript.find("SoPutStringId 0x1366D\nSoPutBreak 20 0 => 0\n"
                              "SoBeginTag 0x290004 2 [0x1366D]\n"),
              std::string::npos);
    // An unknown field name goes between attribute 15 on and off.
    EXPECT_NE(transcript.find("SoSetProperty 8 15 1 0\nSoPutChar 88\n"), std::string::npos);
    // The document ends with exactly one break of kind 2, as the last call.
    EXPECT_EQ(host.Calls().back().id, SO_PUTBREAK);
    EXPECT_EQ(host.Calls().back().args[0].number, static_cast<uint32_t>(BRK_DOCUMENT_END));

    const std::string text = host.Text();
    EXPECT_NE(text.find("\n{0x1366D} | Welcome to mailsift | \n{0x1367F} | Mon, 2 Mar"), std::string::npos) << text;
    EXPECT_NE(text.find("\nX-Mailer: | mailsift examples | \n\nHello,\n\nthis is mailsift"),
              std::string::npos)
        << text;
}

// A host routine that throws answers a failure at the C border: the filter
// reads on to the end and the sink counts what failed.
TEST(RecordingHost, ThrowingRoutinesFailWithoutUnwindingIntoTheFilter) {
    struct ThrowingHost : RecordingHost {
        int32_t PutChar(uint32_t) override { throw std::runtime_error("host failure"); }
    } host;
    ASSERT_EQ(RunDocument(host, Example("welcome.eml"), FI_INTERNET_MAIL), 0);
    EXPECT_GT(host.failedCalls, 100u);
    EXPECT_EQ(host.strayCalls, 0u);
}

TEST(RecordingHost, StopsAtScriptedBreaksAndResumesToTheSameOutput) {
    const std::string mail = Example("welcome.eml");
    RecordingHost whole;
    ASSERT_EQ(RunDocument(whole, mail, FI_INTERNET_MAIL), 0);

    // Stop at the third paragraph break only: two reads to the end.
    RecordingHost stopped;
    stopped.StopAtParagraph(3);
    MemoryObject stream(mail);
    FilterSession session(stopped);
    ASSERT_EQ(session.Open(stream.get(), FI_INTERNET_MAIL), 0);
    EXPECT_EQ(session.Step(), FilterSession::Stop::Paragraph);
    EXPECT_EQ(stopped.paragraphBreaks(), 3u);
    EXPECT_EQ(session.Step(), FilterSession::Stop::Document);
    EXPECT_EQ(stopped.Rendered(), whole.Rendered());

    // Stopping everywhere and replaying each slice from a saved state.
    RecordingHost replayed;
    ASSERT_EQ(RunDocumentWithReplays(replayed, mail, FI_INTERNET_MAIL), 0);
    EXPECT_EQ(replayed.Text(), whole.Text());
    EXPECT_EQ(replayed.Rendered(), whole.Rendered());
}

// Every shipped example, read in slices with a replay at each stop, renders
// as it does in one go: the charsets, the parts and the header tables too.
TEST(RecordingHost, EveryExampleResumesFromSavedStates) {
    int tried = 0;
    for (const char* name : {"welcome.eml", "attachment.eml", "latin1-q.eml", "utf8-b.eml",
                             "iso2022jp.eml", "shift-jis.eml", "gb2312.eml"}) {
        const std::string mail = Example(name);
        ASSERT_FALSE(mail.empty()) << name;
        RecordingHost whole, replayed;
        ASSERT_EQ(RunDocument(whole, mail, FI_INTERNET_MAIL), 0) << name;
        ASSERT_EQ(RunDocumentWithReplays(replayed, mail, FI_INTERNET_MAIL), 0) << name;
        // Each has two body lines or more, so some slice was read twice.
        EXPECT_GT(replayed.paragraphBreaks(), whole.paragraphBreaks()) << name;
        EXPECT_EQ(replayed.Text(), whole.Text()) << name;
        EXPECT_EQ(replayed.Rendered(), whole.Rendered()) << name;
        ++tried;
    }
    EXPECT_EQ(tried, 7);
}

TEST(RecordingHost, RenderedViewFollowsCharsetAttributesAndColour) {
    RecordingHost host;
    HostSink& sink = host;
    sink.SetCharset(0x00080101);
    sink.SetProperty(PROP_ATTRIBUTE, ATTR_BOLD, 1, 0);
    sink.SetTextColor(0, 0xFF0000);
    sink.PutChar(0xFFE9);
    sink.SetProperty(PROP_ATTRIBUTE, ATTR_BOLD, 0, 0);
    sink.SetTextColor(1, 0x00FF00);  // not the text colour
    sink.PutBreak(BRK_PARAGRAPH, 0);
    const std::vector<RenderedItem> items = host.Rendered();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0], (RenderedItem{RenderedItem::Char, 0xFFE9, 0x00080101, 1u << ATTR_BOLD,
                                      0xFF0000}));
    EXPECT_EQ(items[1], (RenderedItem{RenderedItem::Break, 1, 0x00080101, 0, 0xFF0000}));
    // From an index on, the state is still that of the whole run.
    EXPECT_EQ(host.Rendered(5).front().attributes, 0u);
}

TEST(RecordingHost, FormatsRecordsTextsAndNumbersLikeTheEventsOutput) {
    RecordingHost host;
    HostSink& sink = host;
    uint32_t subdoc = 0, text = 0;
    sink.NewSubdoc(&subdoc);
    const uint16_t name[] = {'a', '.', 'p', 'd', 'f', 0};
    sink.RegisterText(name, 0x14B00000, 5, &text);
    const uint32_t link[] = {0, subdoc, text};
    sink.BeginTag(TAG_LINK, subdoc, link);
    sink.BeginTag(TAG_SIDE_TEXT, 1, nullptr);
    sink.SetProperty(0xC1, 8, 1024, 0xFFFFFFFF);
    const uint32_t rule[8] = {2, 0x200};
    sink.PutRule(rule, 0, 255, 9360, 2);
    const uint16_t quote[] = {'"', 0x00E9, 0xD83D, 0xDE00, 0xDC00};
    sink.RegisterText(quote, 0x14B00000, 5, &text);
    EXPECT_EQ(host.Transcript(),
              "SoNewSubdoc => 1\n"
              "SoRegisterText \"a.pdf\" 0x14B00000 5 => 1\n"
              "SoBeginTag 0x8003000C 1 [0,1,1]\n"
              "SoBeginTag 0xA00A0000 1 null\n"
              "SoSetProperty 193 8 1024 0xFFFFFFFF\n"
              "SoPutRule [2,512,0,0,0,0,0,0] 0 255 9360 2\n"
              "SoRegisterText \"\\\"\xC3\xA9\xF0\x9F\x98\x80\\uDC00\" 0x14B00000 5 => 2\n");
    EXPECT_EQ(text, 2u);
}

TEST(MemoryObject, ReadsSeeksAndFailsOnRequest) {
    MemoryObject plain("0123456789", MemoryObjectOptions{"x.eml"});
    IoObject* io = plain.get();
    char buf[16] = {};
    uint32_t got = 0, pos = 0;
    ASSERT_EQ(io->Seek(io, 2, -3), 0);
    ASSERT_EQ(io->Read(io, buf, 16, &got), 0);
    EXPECT_EQ(std::string(buf, got), "789");
    EXPECT_EQ(io->Seek(io, 1, -11), -1);  // before the start
    ASSERT_EQ(io->Seek(io, 0, 50), 0);    // past the end is allowed
    ASSERT_EQ(io->Read(io, buf, 16, &got), 0);
    EXPECT_EQ(got, 0u);
    ASSERT_EQ(io->Tell(io, &pos), 0);
    EXPECT_EQ(pos, 50u);
    char name[256] = {};
    ASSERT_EQ(io->GetInfo(io, 3, name), 0);
    EXPECT_STREQ(name, "x.eml");
    EXPECT_EQ(io->GetInfo(io, 4, name), -10);
    EXPECT_EQ(plain.stats().largestRequest, 16u);

    MemoryObjectOptions shortOptions;
    shortOptions.shortReads = 3;
    shortOptions.failReadFrom = 6;
    MemoryObject shortReads("0123456789", shortOptions);
    io = shortReads.get();
    ASSERT_EQ(io->Read(io, buf, 16, &got), 0);
    EXPECT_EQ(got, 3u);
    ASSERT_EQ(io->Read(io, buf, 16, &got), 0);
    EXPECT_EQ(io->Read(io, buf, 16, &got), -1);
}

TEST(MemoryObject, DerivesARangeThroughThePlatform) {
    MemoryObject base("header\n\nbody text");
    IoRangeRequest request{base.get(), 8, 11};
    IoObject* range = nullptr;
    ASSERT_EQ(base.get()->Open(&range, IO_OPEN_RANGE, &request, 1), 0);
    ASSERT_NE(range, nullptr);
    char buf[16] = {};
    uint32_t got = 0;
    ASSERT_EQ(range->Read(range, buf, sizeof buf, &got), 0);
    EXPECT_EQ(std::string(buf, got), "body");
    range->Close(range);
}

}  // namespace
