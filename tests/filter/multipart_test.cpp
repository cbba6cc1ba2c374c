// Multipart mail through the exported routines: which bodies are shown, the
// rules between them, sections of a digest, and attachments as records and
// links.
#include <gtest/gtest.h>

#include <string>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"

namespace {

size_t Occurrences(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

const char kAlternative[] =
    "From: a@example.org\r\n"
    "Subject: alt\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/alternative; boundary=\"b1\"\r\n"
    "\r\n"
    "--b1\r\n"
    "Content-Type: text/plain; charset=us-ascii\r\n"
    "\r\n"
    "PLAINSIDE words\r\n"
    "--b1\r\n"
    "Content-Type: text/html; charset=us-ascii\r\n"
    "\r\n"
    "<html><body><p>HTMLSIDE</p></body></html>\r\n"
    "--b1--\r\n";

TEST(Multipart, AlternativeShowsNoneOfThePlainSide) {
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, kAlternative, FI_INTERNET_MAIL), 0);
    std::string text = host.Text();
    EXPECT_EQ(text.find("PLAINSIDE"), std::string::npos) << text;
    EXPECT_EQ(host.Count(SO_PUTRULE), 0u);
    EXPECT_NE(text.find("alt"), std::string::npos) << "the header table is shown";
}

const char kMixed[] =
    "From: a@example.org\r\n"
    "Subject: two texts\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=\"mix\"\r\n"
    "\r\n"
    "--mix\r\n"
    "Content-Type: text/plain\r\n"
    "\r\n"
    "FIRSTPART line\r\n"
    "--mix\r\n"
    "Content-Type: text/plain\r\n"
    "\r\n"
    "SECONDPART line\r\n"
    "--mix--\r\n";

TEST(Multipart, MixedShowsBothTextsWithOneRule) {
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, kMixed, FI_INTERNET_MAIL), 0);
    std::string text = host.Text();
    size_t first = text.find("FIRSTPART");
    size_t second = text.find("SECONDPART");
    ASSERT_NE(first, std::string::npos) << text;
    ASSERT_NE(second, std::string::npos) << text;
    EXPECT_LT(first, second);
    EXPECT_EQ(host.Count(SO_PUTRULE), 1u);
    EXPECT_EQ(host.Count(SO_BEGINSECTION), 1u) << "one section";
    // The rule lies between the two bodies.
    std::string transcript = host.Transcript();
    size_t rule = transcript.find("SoPutRule");
    EXPECT_LT(transcript.find("SoPutChar 70"), rule);  // 'F'
    EXPECT_GT(transcript.find("SoPutChar 83\nSoPutChar 69\nSoPutChar 67"), rule);  // "SEC"
}

TEST(Multipart, RestoringAnEarlierPartReopensItsRange) {
    RecordingHost host;
    host.StopAtEveryParagraph();
    MemoryObject object(kMixed);
    FilterSession session(host);
    ASSERT_EQ(session.Open(object.get(), FI_INTERNET_MAIL), 0);
    std::vector<uint8_t> inFirst;
    std::string firstBody;
    for (int i = 0; i < 40 && inFirst.empty(); ++i) {
        size_t mark = host.Calls().size();
        ASSERT_NE(session.Step(), FilterSession::Stop::Failed);
        if (host.Text(mark).find("FIRSTPART") != std::string::npos) inFirst = session.Save();
    }
    ASSERT_FALSE(inFirst.empty());
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    EXPECT_EQ(session.proc()->currentPart, 2);
    session.Restore(inFirst);
    size_t mark = host.Calls().size();
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    std::string again = host.Text(mark);
    EXPECT_EQ(again.find("FIRSTPART"), std::string::npos) << "it goes on behind the stop";
    EXPECT_NE(again.find("SECONDPART"), std::string::npos) << again;
    session.Close();
}

const char kDigest[] =
    "From: list@example.org\r\n"
    "Subject: digest\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/digest; boundary=\"d\"\r\n"
    "\r\n"
    "--d\r\n"
    "\r\n"
    "From: one@example.org\r\n"
    "Subject: ENTRYONE\r\n"
    "\r\n"
    "first entry\r\n"
    "--d\r\n"
    "\r\n"
    "From: two@example.org\r\n"
    "Subject: ENTRYTWO\r\n"
    "\r\n"
    "second entry\r\n"
    "--d--\r\n";

TEST(Multipart, ADigestEndsASectionBehindEachEntry) {
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, kDigest, FI_INTERNET_MAIL), 0);
    std::string transcript = host.Transcript();
    EXPECT_EQ(Occurrences(transcript, "SoPutBreak 3 0"), 1u) << transcript;
    EXPECT_EQ(host.Count(SO_BEGINSECTION), 2u);
    std::string text = host.Text();
    EXPECT_NE(text.find("ENTRYONE"), std::string::npos) << text;
    EXPECT_NE(text.find("ENTRYTWO"), std::string::npos) << text;
    EXPECT_LT(transcript.find("SoPutBreak 3 0"), transcript.rfind("SoBeginSection"));
}

const char kWithAttachment[] =
    "From: a@example.org\r\n"
    "Subject: report\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=\"x\"\r\n"
    "\r\n"
    "--x\r\n"
    "Content-Type: text/plain\r\n"
    "\r\n"
    "see attached\r\n"
    "--x\r\n"
    "Content-Type: application/pdf; name=\"report.pdf\"\r\n"
    "Content-Disposition: attachment; filename=\"report.pdf\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "\r\n"
    "JVBERi0xLjQKJcfsj6IKNSAwIG9iago8PC9MZW5ndGggNiAwIFI+PgpzdHJlYW0K\r\n"
    "--x--\r\n";

TEST(Multipart, AnAttachmentIsARecordAndALink) {
    RecordingHost host;
    MemoryObject object(kWithAttachment);
    FilterSession session(host);
    ASSERT_EQ(session.Open(object.get(), FI_INTERNET_MAIL), 0);
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    FilterProc* proc = session.proc();
    ASSERT_EQ(ListCount(proc->attachments), 1);
    const auto* record = ListAt<AttachRecord>(proc->attachments, 0);
    EXPECT_STREQ(record->name, "report.pdf");
    EXPECT_EQ(record->transferCode, TC_BASE64);
    EXPECT_EQ(record->ownerPart, 1);
    std::string body(kWithAttachment);
    EXPECT_EQ(record->offset, body.find("JVBER"));
    std::string text = host.Text();
    EXPECT_NE(text.find("report.pdf"), std::string::npos) << text;
    EXPECT_NE(text.find("see attached"), std::string::npos);
    EXPECT_EQ(text.find("JVBER"), std::string::npos) << "the attachment isn't shown inline";
    EXPECT_GE(host.Count(SO_NEWSUBDOC), 1u);
    session.Close();
}

TEST(Multipart, AHeaderlessMailIsRefused) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, "no header here, only words\r\n\r\nand more\r\n", FI_INTERNET_MAIL),
              VW_ERR_NO_HEADER);
}

}  // namespace
