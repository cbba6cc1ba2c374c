// malformed_test.cpp - bad input is data: truncated, junk, hostile corpus
// samples, huge lines, the lenient cases of each decoder, and the published
// compressed-RTF example.
#include <gtest/gtest.h>

#include <random>

#include "tests/decode/decode_test_util.h"

namespace {

const uint32_t kCodes[] = {2, 4, 15, 16, 17, 18, 19, 20, 21, 22, 255};

Bytes Decode(uint32_t code, const std::string& text) { return DecodeBytes(code, TextBytes(text)); }

// Nothing decoded can outgrow its input by more than the shorthands allow.
void ExpectEveryDecoderBounded(const Bytes& input, const std::string& what) {
    for (uint32_t code : kCodes) {
        SCOPED_TRACE(what + " code " + std::to_string(code));
        EXPECT_LE(DecodeBytes(code, input).size(), input.size() * 4 + 64);
    }
}

TEST(Malformed, RandomBytesAndHostileSamplesNeverHurt) {
    std::mt19937 rng(9);
    for (int round = 0; round < 6; ++round) {
        Bytes junk(200000 + rng() % 1000);
        for (auto& b : junk) b = static_cast<uint8_t>(rng());
        // Some rounds printable only, so line-based decoders see lines.
        if (round % 2)
            for (auto& b : junk) b = static_cast<uint8_t>(0x20 + b % 0x5F);
        if (round % 3 == 2)
            for (size_t i = 0; i < junk.size(); i += 1 + rng() % 90) junk[i] = '\n';
        ExpectEveryDecoderBounded(junk, "round " + std::to_string(round));
    }
    for (const char* name : {"heap-oob-ScanData-truncated-headers-Content-Type-variant2.bad.msg",
                             "heap-oob-ScanData-truncated-headers-Content-Type.bad.msg",
                             "heap-oob-UUGetFileName-truncated-Subject.bad.msg", "heap-oob-UUGetPartNo.bad.msg"}) {
        Bytes input = FileBytes(CorpusPath(std::string("uudeview/test/") + name));
        ASSERT_FALSE(input.empty()) << name;
        ExpectEveryDecoderBounded(input, name);
    }
}

TEST(Malformed, HugeLinesDecodeOrDropOut) {
    // One base64 line of 1.5 MB, no line ends at all.
    std::string line;
    for (int i = 0; i < 400000; ++i) line += "QUJD";
    Bytes got = Decode(2, line);
    ASSERT_EQ(got.size(), 1200000u);
    EXPECT_EQ(got[0], 'A');
    EXPECT_EQ(got[1199999], 'C');
    // A huge quoted-printable line with escapes everywhere, so some fall on
    // the cut between two pieces of it.
    std::string qp;
    for (int i = 0; i < 100000; ++i) qp += "x=41";
    got = Decode(20, qp + "\r\n");
    ASSERT_EQ(got.size(), 200002u);
    EXPECT_EQ(got[1], 'A');
    EXPECT_EQ(got[199999], 'A');
    // A yEnc data line of 500 KB with escapes: decoded whole.
    std::string y = "=ybegin line=128 size=300000 name=a\r\n";
    for (int i = 0; i < 100000; ++i) y += "k=}k";  // 'A', '\x13', 'A'
    y += "\r\n=yend\r\n";
    got = Decode(18, y);
    ASSERT_EQ(got.size(), 300000u);
    EXPECT_EQ(got[1], 0x13);
    // A megabyte of 'M' in one line is no uuencoded data.
    EXPECT_TRUE(Decode(15, "begin 644 a\n" + std::string(1 << 20, 'M') + "\nend\n").empty());
}

TEST(Malformed, TruncatedInputGivesWhatWasThere) {
    TempDir dir;
    ASSERT_TRUE(MakeVectors(dir, 13, 20000));
    const struct { const char* file; uint32_t code; const char* source; } cases[] = {
        {"b64.txt", 2, "data.bin"}, {"qp.txt", 20, "data.bin"}, {"uu.txt", 15, "data.bin"},
        {"xx.txt", 16, "data.bin"}, {"a85.txt", 4, "data.bin"}, {"btoa.txt", 19, "data.bin"},
        {"yenc.txt", 18, "data.bin"}, {"binhex.hqx", 17, "data.bin"}, {"utf7.txt", 21, "utf7.be"},
        {"rtf.lzfu", 22, "rtf.raw"},
    };
    std::mt19937 rng(14);
    for (const auto& c : cases) {
        Bytes input = FileBytes(dir / c.file);
        Bytes source = FileBytes(dir / c.source);
        for (int cut = 0; cut < 20; ++cut) {
            size_t keep = rng() % input.size();
            SCOPED_TRACE(std::string(c.file) + " cut at " + std::to_string(keep));
            Bytes got = DecodeBytes(c.code, Bytes(input.begin(), input.begin() + keep));
            // The last group or escape may be read differently; all before it is the source.
            ASSERT_LE(got.size(), source.size() + 4);
            size_t sure = got.size() > 4 ? got.size() - 4 : 0;
            EXPECT_TRUE(std::equal(got.begin(), got.begin() + sure, source.begin()));
        }
    }
}

TEST(Malformed, Base64StopsAtTextBehindTheData) {
    EXPECT_TRUE(Decode(2, "SGVsbG8h\n-- \nsig line\n") == TextBytes("Hello!"));
    EXPECT_TRUE(Decode(2, "SGVsbG8=\nSGVsbG8=\n") == TextBytes("Hello"));
    EXPECT_TRUE(Decode(2, "Here is the file, as asked:\n\n SGVs bG8h \r\n\r\n") == TextBytes("Hello!"));
    EXPECT_TRUE(Decode(2, "begin-base64 644 a.txt\nSGVsbG8h\n====\nSGVsbG8h\n") == TextBytes("Hello!"));
    EXPECT_TRUE(Decode(2, "SGVsbG8hIQ\n") == TextBytes("Hello!!"));  // no padding at the end
    // A junk byte in a line drops that whole line, not what came before.
    EXPECT_TRUE(Decode(2, "SGVsbG8h\nSGV*bG8h\nSGVsbG8h\n") == TextBytes("Hello!"));
}

TEST(Malformed, QuotedPrintableKeepsBadEscapes) {
    EXPECT_TRUE(Decode(20, "a=G1b=\r\nc=4") == TextBytes("a=G1bc=4"));
    EXPECT_TRUE(Decode(20, "=41=42=e9 \t\r\nx=\n") == TextBytes("AB\xe9\r\nx"));
    EXPECT_TRUE(Decode(20, "tail  \nend=  \nmore\rlast") == TextBytes("tail\nendmore\rlast"));
    EXPECT_TRUE(Decode(20, "==41=") == TextBytes("=A"));
}

TEST(Malformed, UuencodeFindsDataLinesAndNothingElse) {
    const std::string body = "M5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\n"
                             "%;W5S\"@``\n";
    Bytes expected = Decode(15, "begin 644 a\n" + body + "`\nend\n");
    ASSERT_EQ(expected.size(), 50u);
    // A later piece: no begin line, headers and text around the lines.
    EXPECT_TRUE(Decode(15, "Subject: part 2\n\n" + body + "`\nend\nsig\n") == expected);
    // A dash line of a length that fits the count rule is still no data.
    EXPECT_TRUE(Decode(15, "-------------------\n").empty());
    // Two blocks are delivered one after the other.
    Bytes twice = Decode(15, "begin 644 a\n" + body + "end\ntext\nbegin 600 b\n" + body + "end\n");
    ASSERT_EQ(twice.size(), 100u);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), twice.begin() + 50));
    // Blanks a transport appended to a line do not make it too long.
    EXPECT_EQ(Decode(15, "begin 644 a\n%;W5S\"@``   \nend\n").size(), 5u);
}

TEST(Malformed, Ascii85AndUtf7EdgeCases) {
    EXPECT_TRUE(Decode(4, "junk <~87cURD]i,\"Ebo80~> junk") == TextBytes("Hello World!"));
    EXPECT_TRUE(Decode(4, "<~z!!~>") == Bytes({0, 0, 0, 0, 0}));
    EXPECT_TRUE(Decode(4, "no markers at all").empty());
    Bytes units = Decode(21, "Hi Mom -+Jjo--!");
    const uint8_t expected[] = {0, 'H', 0, 'i', 0, ' ', 0, 'M', 0, 'o', 0, 'm', 0, ' ', 0, '-',
                                0x26, 0x3A, 0, '-', 0, '!'};
    EXPECT_TRUE(units == Bytes(std::begin(expected), std::end(expected)));
    EXPECT_TRUE(Decode(21, "1 +- 1") == Bytes({0, '1', 0, ' ', 0, '+', 0, ' ', 0, '1'}));
}

TEST(Malformed, CompressedRtfPublishedExampleAndStoredForm) {
    // The example of the public description of the format.
    const uint8_t example[] = {
        0x2d, 0x00, 0x00, 0x00, 0x2b, 0x00, 0x00, 0x00, 0x4c, 0x5a, 0x46, 0x75, 0xf1, 0xc5, 0xc7, 0xa7,
        0x03, 0x00, 0x0a, 0x00, 0x72, 0x63, 0x70, 0x67, 0x31, 0x32, 0x35, 0x42, 0x32, 0x0a, 0xf3, 0x20,
        0x68, 0x65, 0x6c, 0x09, 0x00, 0x20, 0x62, 0x77, 0x05, 0xb0, 0x6c, 0x64, 0x7d, 0x0a, 0x80, 0x0f,
        0xa0};
    EXPECT_TRUE(DecodeBytes(22, Bytes(std::begin(example), std::end(example))) ==
                TextBytes("{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n"));
    std::string stored = std::string("\x0f\0\0\0\x03\0\0\0MELA\0\0\0\0", 16) + "{}\nXYZ";
    EXPECT_TRUE(Decode(22, stored) == TextBytes("{}\n"));
    EXPECT_TRUE(Decode(22, std::string("\x0f\0\0\0\x03\0\0\0ABCD\0\0\0\0{}\n", 19)).empty());
}

TEST(Malformed, BtoaWithoutClosingOrCount) {
    // "Hello" padded to two words, closing line without a count: all 8 bytes.
    Bytes got = Decode(19, "xbtoa Begin\n87cURDZ\n");
    ASSERT_GE(got.size(), 4u);
    EXPECT_TRUE(std::equal(got.begin(), got.begin() + 4, TextBytes("Hell").begin()));
    EXPECT_TRUE(Decode(19, "xbtoa Begin\n87cURD]i,\"Ebo80\nxbtoa End N 12 c E 0 S 0 R 0\n") ==
                TextBytes("Hello World!"));
    EXPECT_TRUE(Decode(19, "xbtoa Begin\n87cURD]i,\"Ebo80\nxbtoa End N 10 a E 0 S 0 R 0\n") ==
                TextBytes("Hello Worl"));
    EXPECT_TRUE(Decode(19, "no opening\n87cURD]i,\"Ebo80\n").empty());
}

}  // namespace
