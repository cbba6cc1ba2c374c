// Tests of the sniffer's "begin " openings, which ask the identification
// service what the block holds: the answers that make uuencode and xxencode,
// the range the service is shown, text around the block, and openings that
// the service turns down.
#include <gtest/gtest.h>

#include "host/constants.h"
#include "tests/encoded/sniff_fixture.h"
#include "tests/encoded_fake/fake_services.h"

namespace {

using encoded_test::Repeat;
using encoded_test::SniffDocument;
using encoded_test::SniffPart;

const std::string kBlock =
    "begin 644 a.txt\r\n"
    "M5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\r\n"
    "`\r\n"
    "end\r\n";

class SnifferBeginTest : public ::testing::Test {
protected:
    void SetUp() override { fake::ResetService(); }

    // The service answers `answer` for every block.
    static void Answer(uint16_t answer) {
        fake::Service().special = [answer](const std::string&) { return answer; };
    }
};

TEST_F(SnifferBeginTest, TheServiceNamesTheBlock) {
    const struct { uint16_t answer; uint32_t code; } cases[] = {
        {4050, TC_UUENCODE}, {4051, TC_UUENCODE}, {4052, TC_XXENCODE}, {0, 0}, {4054, 0}};
    for (const auto& c : cases) {
        Answer(c.answer);
        EXPECT_EQ(SniffPart(kBlock), c.code) << c.answer;
    }
    // It was asked with the hint 4050 about the block from its 'b' through
    // its "end" line.
    ASSERT_EQ(fake::Service().specialSeen.size(), 5u);
    EXPECT_EQ(fake::Service().specialSeen[0], kBlock);
    EXPECT_EQ(fake::Service().specialHints[0], 4050);
}

TEST_F(SnifferBeginTest, TheBlockMustStandAloneInAPartButNotInADocument) {
    EXPECT_EQ(SniffPart("Here is the file.\r\n" + kBlock), 0u);
    EXPECT_EQ(SniffDocument("Here is the file.\r\n" + kBlock), TC_UUENCODE);
    // Text behind the block spoils a part too.
    EXPECT_EQ(SniffPart(kBlock + "Bye.\r\n"), 0u);
    EXPECT_EQ(SniffDocument(kBlock + "Bye.\r\n"), TC_UUENCODE);
    // A blank in front of "begin" takes it off the line start: no question.
    size_t asked = fake::Service().specialSeen.size();
    EXPECT_EQ(SniffDocument(" " + kBlock), 0u);
    EXPECT_EQ(fake::Service().specialSeen.size(), asked);
    // Two blocks are no single encoding.
    EXPECT_EQ(SniffDocument(kBlock + "\r\n" + kBlock), 0u);
    // Directly behind an "end" line the next 'b' is not at a line start.
    EXPECT_EQ(SniffDocument(kBlock + kBlock), TC_UUENCODE);
}

TEST_F(SnifferBeginTest, AnOpeningWithoutEndOrTurnedDownIsText) {
    EXPECT_EQ(SniffPart("begin 644 a.txt\r\nM5&AI<R!I<R!A\r\n"), 0u);
    EXPECT_TRUE(fake::Service().specialSeen.empty());
    // The first opening is turned down; the second finds the same "end" line
    // and is taken.
    std::string text = "begin 644 notes\r\nfoo\r\n" + kBlock;
    EXPECT_EQ(SniffDocument(text), TC_UUENCODE);
    ASSERT_EQ(fake::Service().specialSeen.size(), 2u);
    EXPECT_EQ(fake::Service().specialSeen[0].substr(0, 21), "begin 644 notes\r\nfoo\r");
    EXPECT_EQ(fake::Service().specialSeen[1], kBlock);
}

TEST_F(SnifferBeginTest, ARangeThatCantBeOpenedIsNoBlock) {
    auto log = std::make_shared<fake::StreamLog>();
    log->failRange = true;
    IoObject* stream = fake::FakeStreamOpen(kBlock, log);
    ByteReader* reader = ReaderOpen(stream);
    TextBuffer line{};
    TextBufferAlloc(&line, 1024);
    EXPECT_EQ(SniffEncoded(reader, static_cast<uint32_t>(kBlock.size()) - 1, 0, 1, &line), 0u);
    EXPECT_EQ(IdentifyBlock(reader, 0, 10), 0);
    EXPECT_TRUE(fake::Service().specialSeen.empty());
    ReaderClose(reader);
    StringFree(line.block);
    stream->Close(stream);
}

TEST_F(SnifferBeginTest, ManyOpeningsWithoutEndStayLinear) {
    EXPECT_EQ(SniffDocument(Repeat("begin 644 x\r\n", 100000)), 0u);
    EXPECT_TRUE(fake::Service().specialSeen.empty());
}

TEST_F(SnifferBeginTest, RealFilesFromTheCorpus) {
    std::string dir = std::string(MAILSIFT_DATA_DIR) + "/uudeview/test/";
    std::string uu = ReadWholeFile(dir + "plain-uuencode.good.msg");
    std::string body = uu.substr(uu.find("\n\n") + 2);
    EXPECT_EQ(SniffPart(body), TC_UUENCODE);
    std::string xx = ReadWholeFile(dir + "mime-xxencode.good.msg");
    size_t begin = xx.find("begin 644");
    size_t end = xx.find("\nend\n", begin) + 5;
    EXPECT_EQ(SniffPart(xx.substr(begin, end - begin)), TC_XXENCODE);
    // Text before the block: the whole mail is not one block.
    std::string suid = ReadWholeFile(dir + "uuencode-suid-permissions.good.msg");
    EXPECT_EQ(SniffPart(suid.substr(suid.find("\n\n") + 2)), 0u);
    EXPECT_EQ(SniffDocument(suid), TC_UUENCODE);
    // Old Mac line ends.
    std::string mac = ReadWholeFile(dir + "uuencode-mac-cr.good.msg");
    EXPECT_EQ(SniffDocument(mac), TC_UUENCODE);
}

}  // namespace
