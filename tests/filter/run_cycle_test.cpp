// The run cycle through the exported routines: a headerless document read as
// one part, its line ends, stops and restarts, and the refusals of the gates.
#include <gtest/gtest.h>

#include <string>

#include "host/mailfilter.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"

namespace {

// An encoded kind with text that isn't encoded: one synthetic part, no header.
constexpr uint16_t kOnePart = FI_UUE;

std::string Render(std::string_view bytes) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, bytes, kOnePart), 0);
    return host.Text();
}

TEST(RunCycle, EveryKindOfLineEndIsOneBreak) {
    EXPECT_EQ(Render("a\r\nb\r\n"), "a\nb\n");
    EXPECT_EQ(Render("a\rb\r"), "a\nb\n") << "a CR at the very end counts";
    EXPECT_EQ(Render("a\nb"), "a\nb") << "no closing break from the writer";
    EXPECT_EQ(Render("a\n\r\nb"), "a\n\nb") << "LF, then CR LF";
    EXPECT_EQ(Render("a\r\rb"), "a\n\nb");
    EXPECT_EQ(Render(std::string("x\0y\tz", 5)), "xy\tz") << "NUL vanishes, tab is special";
    EXPECT_EQ(Render(""), "");
}

TEST(RunCycle, SectionPreambleAndDocumentEnd) {
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, "hi\n", kOnePart), 0);
    std::string transcript = host.Transcript();
    EXPECT_EQ(transcript.rfind("SoBeginSection 0 0 0\nSoSetTextColor 1 0\nSoSetSecondColor 1 0\n"
                               "SoSetProperty 27 16384 0 0\n", 0), 0u)
        << transcript;
    EXPECT_NE(transcript.find("SoPutChar 104\nSoPutChar 105\nSoPutBreak 1 0 => 0\n"), std::string::npos);
    EXPECT_EQ(transcript.substr(transcript.size() - 20), "SoPutBreak 2 0 => 0\n") << transcript;
    EXPECT_EQ(host.Count(SO_BEGINTABLE), 0u) << "a headerless document shows no header";
}

TEST(RunCycle, StopAtALineEndRestartsBehindIt) {
    RecordingHost host;
    host.StopAtParagraph(1);
    MemoryObject object("first\r\nsecond\n");
    FilterSession session(host);
    ASSERT_EQ(session.Open(object.get(), kOnePart), 0);
    EXPECT_EQ(session.Step(), FilterSession::Stop::Paragraph);
    EXPECT_EQ(host.Text(), "first\n");
    size_t mark = host.Calls().size();
    EXPECT_EQ(session.Step(), FilterSession::Stop::Document);
    EXPECT_EQ(host.Text(mark), "second\n");
    // Reading after the end sends the end again, and nothing else.
    mark = host.Calls().size();
    EXPECT_EQ(session.ReadOnly(), 0);
    EXPECT_EQ(host.Transcript(mark), "SoSetCharset 0x14B00000\nSoPutBreak 2 0 => 0\n");
    session.Close();
}

TEST(RunCycle, GatesRefuseWhatIsNotOurs) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, "anything", 9999), VW_ERR_NOT_MINE);
    EXPECT_EQ(RunDocument(host, "anything", FI_XXE_PIECE), VW_ERR_DECLINED);
    EXPECT_EQ(RunDocument(host, "anything", FI_YENC_PIECE), VW_ERR_DECLINED);
    EXPECT_EQ(RunDocument(host, "anything", FI_BINHEX_PIECE), VW_ERR_DECLINED);
    EXPECT_EQ(RunDocument(host, "just words, no From line\n", FI_MBOX), VW_ERR_DECLINED);
    EXPECT_EQ(RunDocument(host, "From a\nSubject: x\n\nFrom b\n", FI_MBOX), VW_ERR_DECLINED)
        << "a From line in the body makes a mailbox of two";
    EXPECT_EQ(host.Count(SO_PUTCHAR), 0u);
}

TEST(RunCycle, UnreadableStreamsDoNotHang) {
    RecordingHost host;
    MemoryObjectOptions failing;
    failing.failRead = true;
    MemoryObject broken("text that can't be read\n", failing);
    FilterSession session(host);
    ASSERT_EQ(session.Open(broken.get(), kOnePart), 0);
    EXPECT_EQ(session.ReadToEnd(10), FilterSession::Stop::Document);
    EXPECT_EQ(host.Count(SO_PUTCHAR), 0u);
    session.Close();
}

}  // namespace
