// The character readers over a ByteReader: UTF-8 with its malformed forms,
// the double-byte sets, UTF-7 units, ISO 2022 escapes, the look-ahead, and
// characters that straddle the reader's buffer end.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "charset/charset.h"
#include "tests/support/memory_object.h"

namespace {

struct Read {
    int32_t ch;
    uint16_t count;
    bool operator==(const Read&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Read& r) {
    return os << "{" << std::hex << r.ch << std::dec << ", " << r.count << "}";
}

// Every character of `bytes` read with ReadChar, the end mark included.
std::vector<Read> ReadAll(const std::string& bytes, uint32_t charset) {
    MemoryObject stream(bytes);
    ByteReader* reader = ReaderOpen(stream.get());
    std::vector<Read> out;
    for (int guard = 0; guard < 100000; ++guard) {
        uint16_t count = 0;
        int32_t ch = ReadChar(reader, &count, charset);
        out.push_back({ch, count});
        if (ch == kCharEnd) break;
    }
    ReaderClose(reader);
    return out;
}

struct Iso2022Read {
    int32_t ch;
    uint16_t count;
    uint32_t charset;
    bool operator==(const Iso2022Read&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Iso2022Read& r) {
    return os << "{" << std::hex << r.ch << ", " << std::dec << r.count << ", " << std::hex
              << r.charset << std::dec << "}";
}

std::vector<Iso2022Read> ReadAllIso2022(const std::string& bytes, uint32_t start) {
    MemoryObject stream(bytes);
    ByteReader* reader = ReaderOpen(stream.get());
    std::vector<Iso2022Read> out;
    uint32_t charset = start;
    for (int guard = 0; guard < 1000; ++guard) {
        uint16_t count = 0;
        int32_t ch = ReadCharIso2022(reader, &count, &charset);
        out.push_back({ch, count, charset});
        if (ch == kCharEnd) break;
    }
    ReaderClose(reader);
    return out;
}

TEST(ReadChar, Utf8WellFormedAndMalformed) {
    EXPECT_EQ(ReadAll("\xC3\xA9" "\xE2\x82\xAC" "A", CharsetUtf8),
              (std::vector<Read>{{0xE9, 2}, {0x20AC, 3}, {'A', 1}, {-1, 1}}));
    // four to six byte sequences are taken whole and give one replacement
    EXPECT_EQ(ReadAll("\xF0\x9F\x98\x80" "\xF8\x88\x80\x80\x80" "\xFC\x84\x80\x80\x80\x80", CharsetUtf8),
              (std::vector<Read>{{0xFFFD, 4}, {0xFFFD, 5}, {0xFFFD, 6}, {-1, 1}}));
    // continuation bytes are not checked: C3 41 is one character
    EXPECT_EQ(ReadAll("\xC3\x41", CharsetUtf8), (std::vector<Read>{{0xC1, 2}, {-1, 1}}));
    // a stray continuation byte, 0xFE and 0xFF read as 0
    EXPECT_EQ(ReadAll("\x80\xFF\xFE", CharsetUtf8),
              (std::vector<Read>{{0, 1}, {0, 1}, {0, 1}, {-1, 1}}));
    // a sequence cut by the end: missing bytes have all low bits set, the
    // character is given, and the next call reports the end
    EXPECT_EQ(ReadAll("\xE2\x82", CharsetUtf8), (std::vector<Read>{{0x20BF, 3}, {-1, 1}}));
}

TEST(ReadChar, DoubleByteSetsAndUtf7Units) {
    EXPECT_EQ(ReadAll("A\x82\xA0", CharsetShiftJis),
              (std::vector<Read>{{0x41, 1}, {0x82A0, 2}, {-1, 1}}));
    EXPECT_EQ(ReadAll("\x82", CharsetShiftJis), (std::vector<Read>{{-1, 1}}));
    // 0xA0 is no lead byte for Korean; 0xB0 is
    EXPECT_EQ(ReadAll("\xA0\xB0\xA1", CharsetKorean),
              (std::vector<Read>{{0xA0, 1}, {0xB0A1, 2}, {-1, 1}}));
    EXPECT_EQ(ReadAll("\xC9\x40", CharsetKorean), (std::vector<Read>{{0xC9, 1}, {0x40, 1}, {-1, 1}}));
    EXPECT_EQ(ReadAll("\xC9\x40", CharsetBig5), (std::vector<Read>{{0xC940, 2}, {-1, 1}}));
    EXPECT_EQ(ReadAll("\xB0\xA1", CharsetGb), (std::vector<Read>{{0xB0A1, 2}, {-1, 1}}));
    EXPECT_EQ(ReadAll(std::string("\x00\x41\xFE\xFF\x30", 5), CharsetUtf7),
              (std::vector<Read>{{0x41, 2}, {0xFEFF, 2}, {-1, 1}}));
    // a single-byte set never pairs
    EXPECT_EQ(ReadAll("\x82\xA0", CharsetIso8859(1)),
              (std::vector<Read>{{0x82, 1}, {0xA0, 1}, {-1, 1}}));
}

TEST(ReadChar, CharactersAcrossTheReaderBufferEnd) {
    // Put a multi-byte character on each side of every buffer boundary: the
    // reader refills in the middle of a character and nothing is lost.
    std::string text;
    std::vector<Read> expected;
    while (text.size() < 3 * kReaderBufferSize) {
        text += "a\xE2\x82\xAC";
        expected.push_back({'a', 1});
        expected.push_back({0x20AC, 3});
    }
    expected.push_back({-1, 1});
    EXPECT_EQ(ReadAll(text, CharsetUtf8), expected);
}

TEST(PeekChar, LooksAheadWithoutMoving) {
    MemoryObject stream("\xC3\xA9xy");
    ByteReader* reader = ReaderOpen(stream.get());
    EXPECT_EQ(PeekChar(reader, 0, CharsetUtf8), 0);
    EXPECT_EQ(PeekChar(reader, 1, CharsetUtf8), 0xE9);
    EXPECT_EQ(PeekChar(reader, 3, CharsetUtf8), 'y');
    EXPECT_EQ(PeekChar(reader, 4, CharsetUtf8), -1);
    EXPECT_EQ(PeekChar(reader, 9, CharsetUtf8), -1);
    EXPECT_EQ(ReaderTell(reader), 0u);
    uint16_t count = 0;
    EXPECT_EQ(ReadChar(reader, &count, CharsetUtf8), 0xE9);
    EXPECT_EQ(PeekChar(reader, 1, CharsetUtf8), 'x');
    EXPECT_EQ(ReadChar(reader, &count, CharsetUtf8), 'x');
    EXPECT_EQ(ReadChar(reader, &count, CharsetUtf8), 'y');
    // at the end: the end mark, and the reader stays at the end
    EXPECT_EQ(PeekChar(reader, 1, CharsetUtf8), -1);
    EXPECT_EQ(ReadChar(reader, &count, CharsetUtf8), -1);
    ReaderClose(reader);
}

TEST(PeekChar, AcrossTheBufferEndAndBack) {
    std::string text(kReaderBufferSize - 1, 'a');
    text += "\x82\xA0z";  // the pair straddles the first buffer's end
    MemoryObject stream(text);
    ByteReader* reader = ReaderOpen(stream.get());
    uint16_t count = 0;
    for (uint32_t i = 0; i < kReaderBufferSize - 1; ++i) ASSERT_EQ(ReadChar(reader, &count, CharsetShiftJis), 'a');
    EXPECT_EQ(PeekChar(reader, 2, CharsetShiftJis), 'z');
    EXPECT_EQ(ReaderTell(reader), kReaderBufferSize - 1);
    EXPECT_EQ(ReadChar(reader, &count, CharsetShiftJis), 0x82A0);
    EXPECT_EQ(count, 2);
    ReaderClose(reader);
}

TEST(ReadCharIso2022, EscapesSwitchTheState) {
    const uint32_t ascii = CharsetIso2022Ascii;
    EXPECT_EQ(ReadAllIso2022("\x1B$B\x24\x22", ascii),
              (std::vector<Iso2022Read>{{0x82A0, 5, CharsetIso2022Jis}, {-1, 1, CharsetIso2022Jis}}));
    EXPECT_EQ(ReadAllIso2022("\x1B(BA", CharsetIso2022Jis),
              (std::vector<Iso2022Read>{{'A', 4, ascii}, {-1, 1, ascii}}));
    EXPECT_EQ(ReadAllIso2022("\x1B(J\x5C", ascii),
              (std::vector<Iso2022Read>{{0x5C, 4, CharsetIso2022Roman}, {-1, 1, CharsetIso2022Roman}}));
    EXPECT_EQ(ReadAllIso2022("\x1B$)C\xB0\xA1", ascii),
              (std::vector<Iso2022Read>{{0xB0A1, 6, CharsetKorean}, {-1, 1, CharsetKorean}}));
    EXPECT_EQ(ReadAllIso2022("\x1B$@\x30\x21", ascii),
              (std::vector<Iso2022Read>{{0x889F, 5, CharsetIso2022Jis}, {-1, 1, CharsetIso2022Jis}}));
}

TEST(ReadCharIso2022, UnknownAndRepeatedEscapes) {
    const uint32_t ascii = CharsetIso2022Ascii;
    // an unknown sequence is dropped and changes nothing
    EXPECT_EQ(ReadAllIso2022("\x1B%G", ascii), (std::vector<Iso2022Read>{{'G', 3, ascii}, {-1, 1, ascii}}));
    EXPECT_EQ(ReadAllIso2022("\x1B$XY", ascii), (std::vector<Iso2022Read>{{'Y', 4, ascii}, {-1, 1, ascii}}));
    EXPECT_EQ(ReadAllIso2022("\x1B$)DQ", ascii), (std::vector<Iso2022Read>{{'Q', 5, ascii}, {-1, 1, ascii}}));
    // one sequence per call: the ESC behind it is data
    EXPECT_EQ(ReadAllIso2022("\x1B(B\x1B$B", ascii),
              (std::vector<Iso2022Read>{{0x1B, 4, ascii}, {'$', 1, ascii}, {'B', 1, ascii}, {-1, 1, ascii}}));
}

TEST(ReadCharIso2022, LineEndsAndTheEndOfInput) {
    // in the Korean state a line end is one character of two bytes
    EXPECT_EQ(ReadAllIso2022("\r\n", CharsetKorean),
              (std::vector<Iso2022Read>{{'\r', 2, CharsetKorean}, {-1, 1, CharsetKorean}}));
    // in JIS the conversion comes first
    EXPECT_EQ(ReadAllIso2022("\r\n", CharsetIso2022Jis)[0].ch, JisToShiftJis('\r', '\n'));
    // a file that ends right behind a sequence, or inside one, or inside a pair
    EXPECT_EQ(ReadAllIso2022("\x1B(B", CharsetIso2022Jis).front().ch, -1);
    EXPECT_EQ(ReadAllIso2022("\x1B(", CharsetIso2022Ascii).front().ch, -1);
    EXPECT_EQ(ReadAllIso2022("\x1B", CharsetIso2022Ascii).front().ch, -1);
    EXPECT_EQ(ReadAllIso2022("\x24", CharsetIso2022Jis).front().ch, -1);
}

TEST(ReadCharIso2022Text, SameStepsOverMemoryWithoutPassingTheZero) {
    uint32_t charset = CharsetIso2022Ascii;
    uint16_t count = 0;
    const char text[] = "\x1B$B\x24\x22\x1B(B";
    EXPECT_EQ(ReadCharIso2022Text(text, &count, &charset), 0x82A0);
    EXPECT_EQ(count, 5);
    EXPECT_EQ(charset, CharsetIso2022Jis);
    // the zero behind a closing sequence is read as its character and counted
    EXPECT_EQ(ReadCharIso2022Text(text + 5, &count, &charset), 0);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(charset, CharsetIso2022Ascii);
    // a sequence cut by the zero counts on, but changes nothing
    charset = CharsetIso2022Ascii;
    EXPECT_EQ(ReadCharIso2022Text("\x1B$", &count, &charset), 0);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(charset, CharsetIso2022Ascii);
    // a pair's second byte may be the zero, and is counted
    charset = CharsetKorean;
    EXPECT_EQ(ReadCharIso2022Text("A", &count, &charset), 'A' * 256);
    EXPECT_EQ(count, 2);
    // bytes are taken as signed chars: a high byte in the ASCII state is sign-extended
    charset = CharsetIso2022Ascii;
    EXPECT_EQ(ReadCharIso2022Text("\xE9", &count, &charset) & 0xFFFF, 0xFFE9);
}

TEST(JisToShiftJis, RowsAndCells) {
    EXPECT_EQ(JisToShiftJis(0x21, 0x21), 0x8140);
    EXPECT_EQ(JisToShiftJis(0x30, 0x21), 0x889F);
    EXPECT_EQ(JisToShiftJis(0x5F, 0x21), 0xE040);
    EXPECT_EQ(JisToShiftJis(0x24, 0x22), 0x82A0);
    EXPECT_EQ(JisToShiftJis(0x21, 0x60), 0x8180);  // odd row, cell above 0x5F
    EXPECT_EQ(JisToShiftJis(0x7E, 0x7E), 0xEFFC);
    // outside the JIS rows the high byte is 0; the low byte still follows parity
    EXPECT_EQ(JisToShiftJis(0x20, 0x21), 0x009F);
    EXPECT_EQ(JisToShiftJis(0x7F, 0x21), 0x0040);
}

}  // namespace
