// The character readers over a ByteReader: UTF-8 with its malformed forms,
// the double-byte sets, UTF-7 units, ISO 2022 escapes, the look-ahead, and
// characters that straddle the reader's buffer end.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "charset/charset.h"
#include "tests/support/memory_object.h"

namespace {

// One read as "HEX:count", the end mark as "end" (or "end:count"), and for
// ISO 2022 the state it switched to as ">name".
std::string Step(int32_t ch, uint16_t count) {
    char buf[32];
    if (ch == kCharEnd) {
        std::snprintf(buf, sizeof buf, count == 1 ? "end" : "end:%u", count);
    } else {
        std::snprintf(buf, sizeof buf, "%X:%u", static_cast<unsigned>(ch), count);
    }
    return buf;
}

std::string StateName(uint32_t charset) {
    const std::pair<uint32_t, const char*> names[] = {{CharsetIso2022Ascii, "ascii"}, {CharsetIso2022Jis, "jis"},
                                                      {CharsetIso2022Roman, "roman"}, {CharsetKorean, "korean"}};
    for (const auto& [id, name] : names)
        if (id == charset) return name;
    return "?";
}

// Every character of `bytes`, the end mark included, as one line; through
// the ISO 2022 reader when `iso2022` is set, which may change `charset`.
std::string ReadAll(const std::string& bytes, uint32_t charset, bool iso2022 = false) {
    MemoryObject stream(bytes);
    ByteReader* reader = ReaderOpen(stream.get());
    std::string out;
    for (int guard = 0; guard < 100000; ++guard) {
        uint16_t count = 0;
        const uint32_t before = charset;
        int32_t ch = iso2022 ? ReadCharIso2022(reader, &count, &charset) : ReadChar(reader, &count, charset);
        out += (out.empty() ? "" : " ") + Step(ch, count);
        if (charset != before) out += ">" + StateName(charset);
        if (ch == kCharEnd) break;
    }
    ReaderClose(reader);
    return out;
}

TEST(ReadChar, EachCharsetWellFormedAndMalformed) {
    struct Case { std::string bytes; uint32_t charset; const char* expected; };
    const Case cases[] = {
        {"\xC3\xA9" "\xE2\x82\xAC" "A", CharsetUtf8, "E9:2 20AC:3 41:1 end"},
        // four to six byte sequences are taken whole and give one replacement
        {"\xF0\x9F\x98\x80" "\xF8\x88\x80\x80\x80" "\xFC\x84\x80\x80\x80\x80", CharsetUtf8, "FFFD:4 FFFD:5 FFFD:6 end"},
        {"\xC3\x41", CharsetUtf8, "C1:2 end"},  // continuation bytes are not checked
        {"\x80\xFF\xFE", CharsetUtf8, "0:1 0:1 0:1 end"},
        // cut by the end: missing bytes have all low bits set, then the end
        {"\xE2\x82", CharsetUtf8, "20BF:3 end"},
        {"A\x82\xA0", CharsetShiftJis, "41:1 82A0:2 end"},
        {"\x82", CharsetShiftJis, "end"},
        {"\xA0\xB0\xA1", CharsetKorean, "A0:1 B0A1:2 end"},  // 0xA0 is no Korean lead byte
        {"\xC9\x40", CharsetKorean, "C9:1 40:1 end"},
        {"\xC9\x40", CharsetBig5, "C940:2 end"},
        {"\xB0\xA1", CharsetGb, "B0A1:2 end"},
        {std::string("\x00\x41\xFE\xFF\x30", 5), CharsetUtf7, "41:2 FEFF:2 end"},
        {"\x82\xA0", CharsetIso8859(1), "82:1 A0:1 end"},  // a single-byte set never pairs
    };
    for (const Case& c : cases) EXPECT_EQ(ReadAll(c.bytes, c.charset), c.expected) << c.expected;
}

TEST(ReadChar, CharactersAcrossTheReaderBufferEnd) {
    // A multi-byte character on each side of every buffer boundary: the
    // reader refills in the middle of a character and nothing is lost.
    std::string text;
    std::string expected;
    while (text.size() < 3 * kReaderBufferSize) {
        text += "a\xE2\x82\xAC";
        expected += "61:1 20AC:3 ";
    }
    EXPECT_EQ(ReadAll(text, CharsetUtf8), expected + "end");
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
    EXPECT_EQ(PeekChar(reader, 1, CharsetUtf8), -1);  // at the end the reader stays there
    EXPECT_EQ(ReadChar(reader, &count, CharsetUtf8), -1);
    ReaderClose(reader);

    std::string text(kReaderBufferSize - 1, 'a');
    text += "\x82\xA0z";  // the pair straddles the first buffer's end
    MemoryObject straddling(text);
    reader = ReaderOpen(straddling.get());
    for (uint32_t i = 0; i < kReaderBufferSize - 1; ++i) ASSERT_EQ(ReadChar(reader, &count, CharsetShiftJis), 'a');
    EXPECT_EQ(PeekChar(reader, 2, CharsetShiftJis), 'z');
    EXPECT_EQ(ReaderTell(reader), kReaderBufferSize - 1);
    EXPECT_EQ(ReadChar(reader, &count, CharsetShiftJis), 0x82A0);
    EXPECT_EQ(count, 2);
    ReaderClose(reader);
}

TEST(ReadCharIso2022, EscapesLineEndsAndTheEndOfInput) {
    struct Case { const char* bytes; uint32_t start; const char* expected; };
    const Case cases[] = {
        {"\x1B$B\x24\x22", CharsetIso2022Ascii, "82A0:5>jis end"},
        {"\x1B(BA", CharsetIso2022Jis, "41:4>ascii end"},
        {"\x1B(J\x5C", CharsetIso2022Ascii, "5C:4>roman end"},
        {"\x1B$)C\xB0\xA1", CharsetIso2022Ascii, "B0A1:6>korean end"},
        {"\x1B$@\x30\x21", CharsetIso2022Ascii, "889F:5>jis end"},
        // an unknown sequence is dropped and changes nothing
        {"\x1B%G", CharsetIso2022Ascii, "47:3 end"},
        {"\x1B$XY", CharsetIso2022Ascii, "59:4 end"},
        {"\x1B$)DQ", CharsetIso2022Ascii, "51:5 end"},
        // one sequence per call: the ESC behind it is data
        {"\x1B(B\x1B$B", CharsetIso2022Ascii, "1B:4 24:1 42:1 end"},
        // in the Korean state a line end is one character of two bytes
        {"\r\n", CharsetKorean, "D:2 end"},
    };
    for (const Case& c : cases) EXPECT_EQ(ReadAll(c.bytes, c.start, true), c.expected) << c.expected;
    // in JIS the conversion comes first
    const std::string jis = ReadAll("\r\n", CharsetIso2022Jis, true);
    EXPECT_EQ(jis.substr(0, jis.find(':')), Step(JisToShiftJis('\r', '\n'), 0).substr(0, jis.find(':')));
    // a file that ends right behind a sequence, or inside one, or inside a pair
    for (const auto& [bytes, start] : {std::pair{"\x1B(B", CharsetIso2022Jis}, {"\x1B(", CharsetIso2022Ascii},
                                       {"\x1B", CharsetIso2022Ascii}, {"\x24", CharsetIso2022Jis}})
        EXPECT_EQ(ReadAll(bytes, start, true).substr(0, 3), "end") << bytes;
}

TEST(ReadCharIso2022Text, SameStepsOverMemoryWithoutPassingTheZero) {
    struct Case { const char* text; uint32_t start; const char* expected; };
    const Case cases[] = {
        {"\x1B$B\x24\x22\x1B(B", CharsetIso2022Ascii, "82A0:5>jis"},
        {"\x1B(B", CharsetIso2022Jis, "0:4>ascii"},  // the zero behind the sequence is read and counted
        {"\x1B$", CharsetIso2022Ascii, "0:4"},       // a sequence cut by the zero counts on, changes nothing
        {"A", CharsetKorean, "4100:2"},              // a pair's second byte may be the zero, and is counted
    };
    for (const Case& c : cases) {
        uint32_t charset = c.start;
        uint16_t count = 0;
        const int32_t ch = ReadCharIso2022Text(c.text, &count, &charset);
        EXPECT_EQ(Step(ch, count) + (charset != c.start ? ">" + StateName(charset) : ""), c.expected);
    }
    // bytes are taken as signed chars: a high byte in the ASCII state is sign-extended
    uint32_t charset = CharsetIso2022Ascii;
    uint16_t count = 0;
    EXPECT_EQ(ReadCharIso2022Text("\xE9", &count, &charset) & 0xFFFF, 0xFFE9);
}

TEST(JisToShiftJis, RowsAndCells) {
    // the last two: outside the JIS rows the high byte is 0; the low byte still follows parity
    const uint32_t cases[][3] = {{0x21, 0x21, 0x8140}, {0x30, 0x21, 0x889F}, {0x5E, 0x7E, 0x9FFC}, {0x5F, 0x21, 0xE040},
                                 {0x24, 0x22, 0x82A0}, {0x21, 0x60, 0x8180}, {0x7E, 0x7E, 0xEFFC},
                                 {0x20, 0x21, 0x009F}, {0x7F, 0x21, 0x0040}};
    for (const auto& c : cases) EXPECT_EQ(JisToShiftJis(c[0], c[1]), c[2]) << std::hex << c[0] << " " << c[1];
}

}  // namespace
