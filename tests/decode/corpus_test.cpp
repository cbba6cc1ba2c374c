// corpus_test.cpp - the decoders on real files, against the decoded files
// their projects ship beside them and against uudeview.
#include <gtest/gtest.h>

#include "tests/decode/decode_test_util.h"

namespace {

struct Sample {
    const char* input;
    uint32_t code;
    const char* expected;
};

const Sample kSamples[] = {
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
    {"usenet-yenc/yenc/singlepart/test_1.2.ntx", 18, "usenet-yenc/yenc/singlepart/test_1.2.dat"},
    {"usenet-yenc/yenc/multipart/test_1.2.ntx", 18, "usenet-yenc/yenc/multipart/test_1.2.dat"},
};

TEST(Corpus, SamplesDecodeToTheFilesShippedBesideThem) {
    for (const Sample& s : kSamples) {
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
    Bytes joined = FileBytes(CorpusPath("usenet-yenc/yenc/multipart/00000020.ntx"));
    Bytes second = FileBytes(CorpusPath("usenet-yenc/yenc/multipart/00000021.ntx"));
    joined.insert(joined.end(), second.begin(), second.end());
    Bytes expected = FileBytes(CorpusPath("usenet-yenc/yenc/multipart/joystick.jpg"));
    EXPECT_TRUE(DecodeBytes(18, joined) == expected);
    EXPECT_TRUE(DecodeBytes(255, joined) == expected);
    // The first part alone is the first stretch of the file.
    Bytes first = DecodeBytes(18, FileBytes(CorpusPath("usenet-yenc/yenc/multipart/00000020.ntx")));
    ASSERT_EQ(first.size(), 11250u);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), expected.begin()));
}

TEST(Corpus, BrokenChecksumsAndSizesStillDecode) {
    // The damage is in the trailer lines, which the decoder doesn't check.
    Bytes expected = FileBytes(CorpusPath("usenet-yenc/yenc/singlepart/testfile.txt"));
    for (const char* name : {"00000005_checksum_mismatch.ntx", "00000005_missing_checksum.ntx",
                             "00000005_size_mismatch.ntx"}) {
        SCOPED_TRACE(name);
        Bytes got = DecodeBytes(18, FileBytes(CorpusPath(std::string("usenet-yenc/yenc/singlepart/") + name)));
        EXPECT_EQ(got.size(), expected.size());
    }
}

TEST(Corpus, BinHexWithoutDataForkAgreesWithUudeviewOnWhatIsThere) {
    // macrsrc.hqx carries only a resource fork: uudeview writes that, and the
    // data fork we deliver is empty.
    std::string path = CorpusPath("mpack/macrsrc.hqx");
    TempDir out;
    std::vector<std::string> made = Uudeview(path, out);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_NE(made[0].find(".rsrc"), std::string::npos);
    EXPECT_TRUE(DecodeBytes(17, FileBytes(path)).empty());
    // The data fork of the GIF sample is what uudeview makes of it too.
    TempDir gif;
    made = Uudeview(CorpusPath("convert-binhex/testin/eyeball.gif.hqx"), gif);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_TRUE(DecodeBytes(17, FileBytes(CorpusPath("convert-binhex/testin/eyeball.gif.hqx"))) ==
                FileBytes(made[0]));
}

TEST(Corpus, HostileSamplesDecodeWithoutHarm) {
    const char* bad[] = {
        "uudeview/test/heap-oob-ScanData-truncated-headers-Content-Type-variant2.bad.msg",
        "uudeview/test/heap-oob-ScanData-truncated-headers-Content-Type.bad.msg",
        "uudeview/test/heap-oob-UUGetFileName-truncated-Subject.bad.msg",
        "uudeview/test/heap-oob-UUGetPartNo.bad.msg",
    };
    for (const char* name : bad) {
        Bytes input = FileBytes(CorpusPath(name));
        ASSERT_FALSE(input.empty());
        for (uint32_t code : {2u, 4u, 15u, 16u, 17u, 18u, 19u, 20u, 21u, 22u, 255u}) {
            SCOPED_TRACE(std::string(name) + " code " + std::to_string(code));
            Bytes got = DecodeBytes(code, input);
            // Nothing decoded can outgrow its input by more than the shorthands allow.
            EXPECT_LE(got.size(), input.size() * 4 + 64);
        }
    }
}

}  // namespace
