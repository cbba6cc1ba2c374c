// Classification of the leaves of real mails, with the platform's own
// identification service and decoding stages: text, declared HTML under
// quoted-printable, pictures under base64, and bodies that are one uuencoded,
// xxencoded or yEnc block.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/constants.h"
#include "tests/encoded/classify_walk.h"
#include "tests/support/memory_object.h"

namespace {

using encoded_test::Classified;

std::vector<Classified> ClassifyFile(const std::string& relative) {
    std::string bytes = ReadWholeFile(std::string(MAILSIFT_DATA_DIR) + "/" + relative);
    EXPECT_FALSE(bytes.empty()) << relative;
    MemoryObject stream(bytes);
    TextBuffer line{};
    TextBufferAlloc(&line, 1024);
    std::vector<Classified> out = encoded_test::ClassifyWalked(stream.get(), &line, FI_INTERNET_MAIL);
    StringFree(line.block);
    return out;
}

TEST(ClassifyCorpusTest, TextHtmlAndPicturesOfAMultipartMail) {
    // mixed > alternative > (plain, watch-html, related > (html, png, gif)), notes
    std::vector<Classified> expected = {
        {0, 0},    {0, 0},
        {4022, 0}, {4022, 0},
        {0, 0},    {1101, TC_QUOTED_PRINTABLE},
        {1502, TC_BASE64}, {1500, TC_BASE64},
        {4022, 0},
    };
    EXPECT_EQ(ClassifyFile("mailparser/test/fixtures/nodemailer.eml"), expected);
}

TEST(ClassifyCorpusTest, BodiesThatAreOneEncodedBlock) {
    EXPECT_EQ(ClassifyFile("uudeview/test/mime-base64.good.msg"),
              (std::vector<Classified>{{0, 0}, {4022, TC_BASE64}}));
    EXPECT_EQ(ClassifyFile("uudeview/test/mime-xxencode.good.msg"),
              (std::vector<Classified>{{0, 0}, {4022, TC_XXENCODE}}));
    EXPECT_EQ(ClassifyFile("uudeview/test/plain-uuencode.good.msg"),
              (std::vector<Classified>{{4022, TC_UUENCODE}}));
    EXPECT_EQ(ClassifyFile("uudeview/test/plain-yenc.good.msg"), (std::vector<Classified>{{4022, TC_YENC}}));
    // Text in front of the block: the body stays text, for the inline scan.
    EXPECT_EQ(ClassifyFile("uudeview/test/uuencode-suid-permissions.good.msg"),
              (std::vector<Classified>{{4022, 0}}));
}

}  // namespace
