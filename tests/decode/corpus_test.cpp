// corpus_test.cpp - the decoders on real files, against the decoded files
// their projects ship beside them.
#include <gtest/gtest.h>

#include "tests/decode/decode_test_util.h"

namespace {

const struct {
    const char* input;
    uint32_t code;
    const char* expected;
} kSamples[] = {
    {"convert-binhex/testin/eyeball.gif.hqx", 17, "convert-binhex/testout/eyeball.gif"},
    {"uudeview/test/binhex.good.msg", 17, "uudeview/doc/test.txt"},
    {"uudeview/test/plain-yenc.good.msg", 18, "uudeview/doc/test.txt"},
    {"uudeview/test/mime-xxencode.good.msg", 16, "uudeview/doc/test.txt"},
    {"uudeview/test/plain-uuencode.good.msg", 15, "uudeview/doc/test.txt"},
    {"uudeview/test/uuencode-mac-cr.good.msg", 15, "uudeview/doc/test.txt"},
    {"uudeview/test/uuencode-suid-permissions.good.msg", 15, "uudeview/doc/test.txt"},
    {"uudeview/test/filename-from-subject.good.msg", 15, "uudeview/doc/test.txt"},
    // A whole message: the header lines before the data and the boundary
    // behind it are no base64 and drop out.
    {"uudeview/test/mime-base64.good.msg", 2, "uudeview/doc/test.txt"},
    {"aswaving-yenc/testdata/yenc.org/testfile.txt.yenc", 18, "aswaving-yenc/testdata/yenc.org/testfile.txt"},
    {"aswaving-yenc/testdata/yenc.org/testfile_no_checksums.txt.yenc", 18,
     "aswaving-yenc/testdata/yenc.org/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/00000005.ntx", 18, "usenet-yenc/yenc/singlepart/testfile.txt"},
    // Damage in the trailer lines, which the decoder doesn't check.
    {"usenet-yenc/yenc/singlepart/00000005_checksum_mismatch.ntx", 18, "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/00000005_missing_checksum.ntx", 18, "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/00000005_size_mismatch.ntx", 18, "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/test_1.2.ntx", 18, "usenet-yenc/yenc/singlepart/test_1.2.dat"},
    {"usenet-yenc/yenc/multipart/test_1.2.ntx", 18, "usenet-yenc/yenc/multipart/test_1.2.dat"},
};

TEST(Corpus, SamplesDecodeToTheFilesShippedBesideThem) {
    for (const auto& s : kSamples) {
        SCOPED_TRACE(s.input);
        Bytes input = FileBytes(CorpusPath(s.input));
        Bytes expected = FileBytes(CorpusPath(s.expected));
        ASSERT_FALSE(input.empty());
        ASSERT_FALSE(expected.empty());
        EXPECT_TRUE(DecodeBytes(s.code, input) == expected);
        // Detection finds the same encoding in every sample but base64's.
        if (s.code != 2) {
            EXPECT_TRUE(DecodeBytes(255, input) == expected);
        }
    }
}

TEST(Corpus, MultiPartYencJoinsInStreamOrder) {
    Bytes first = FileBytes(CorpusPath("usenet-yenc/yenc/multipart/00000020.ntx"));
    Bytes joined = first;
    Bytes second = FileBytes(CorpusPath("usenet-yenc/yenc/multipart/00000021.ntx"));
    joined.insert(joined.end(), second.begin(), second.end());
    Bytes expected = FileBytes(CorpusPath("usenet-yenc/yenc/multipart/joystick.jpg"));
    EXPECT_TRUE(DecodeBytes(18, joined) == expected);
    EXPECT_TRUE(DecodeBytes(255, joined) == expected);
    // The first part alone is the first stretch of the file.
    first = DecodeBytes(18, first);
    ASSERT_EQ(first.size(), 11250u);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), expected.begin()));
}

// macrsrc.hqx carries only a resource fork: the data fork we deliver is empty.
TEST(Corpus, BinHexWithoutDataForkIsEmpty) {
    Bytes input = FileBytes(CorpusPath("mpack/macrsrc.hqx"));
    ASSERT_FALSE(input.empty());
    EXPECT_TRUE(DecodeBytes(17, input).empty());
}

}  // namespace
