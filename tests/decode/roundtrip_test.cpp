// roundtrip_test.cpp - every decoder against data encoded by independent
// encoders: Python's binascii / base64 / codecs where they exist, and for the
// rest encoders written from the published formats.
#include <gtest/gtest.h>

#include "tests/decode/decode_test_util.h"

namespace {

class Vectors : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        big = new TempDir;
        small = new TempDir;
        ASSERT_TRUE(MakeVectors(*big, 7, 3 * 1024 * 1024 + 17));
        ASSERT_TRUE(MakeVectors(*small, 11, 1001));
    }
    static void TearDownTestSuite() {
        delete big;
        delete small;
    }
    static inline TempDir* big = nullptr;
    static inline TempDir* small = nullptr;
};

const struct {
    const char* file;
    uint32_t code;
    const char* expected;
} kCases[] = {
    {"b64.txt", 2, "data.bin"},       {"b64crlf.txt", 2, "data.bin"},
    {"b64fenced.txt", 2, "data.bin"}, {"qp.txt", 20, "data.bin"},
    {"uu.txt", 15, "data.bin"},       {"xx.txt", 16, "data.bin"},
    {"a85.txt", 4, "data.bin"},       {"btoa.txt", 19, "data.bin"},
    {"btoa5.txt", 19, "data.bin"},    {"yenc.txt", 18, "data.bin"},
    {"yencmulti.txt", 18, "data.bin"}, {"binhex.hqx", 17, "data.bin"},
    {"utf7.txt", 21, "utf7.be"},      {"rtf.lzfu", 22, "rtf.raw"},
    {"uu.txt", 255, "data.bin"},      {"xx.txt", 255, "data.bin"},
    {"yencmulti.txt", 255, "data.bin"}, {"binhex.hqx", 255, "data.bin"},
};

// Whole, in odd read sizes over a base that gives little per read, and fed
// straight to the decoder in steps of a few bytes: always the source.
TEST_F(Vectors, EveryEncodingDecodesToItsSourceHoweverItIsRead) {
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.file) + " code " + std::to_string(c.code));
        for (const TempDir* dir : {big, small}) {
            Bytes expected = FileBytes(*dir / c.expected);
            ASSERT_FALSE(expected.empty());
            Bytes got = DecodeBytes(c.code, FileBytes(*dir / c.file));
            ASSERT_EQ(got.size(), expected.size());
            EXPECT_TRUE(got == expected);
        }
        MemoryBase base(FileBytes(*big / c.file));
        base.largestRead = 997;
        ObjectPtr object = DecodeOpen(base, c.code);
        ASSERT_NE(object, nullptr);
        EXPECT_TRUE(ReadToEnd(object.get(), 7) == FileBytes(*big / c.expected));
        EXPECT_LE(base.biggestAsk, 65535u);

        Bytes input = FileBytes(*small / c.file);
        Bytes expected = FileBytes(*small / c.expected);
        for (size_t step : {1, 3, 64, 1000}) EXPECT_TRUE(DecodeTrickled(c.code, input, step) == expected) << step;
    }
}

}  // namespace
