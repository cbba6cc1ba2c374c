// Tests of the BinHex stream reader: symbols, groups cut short at the closing
// ':', the run-length layer, and the file name at the start of real BinHex
// files.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "message/message.h"
#include "tests/encoded/sniff_fixture.h"

namespace {

using encoded_test::ReaderOver;

constexpr char kAlphabet[] = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";

// Lays bytes out as BinHex symbols, three bytes to four symbols; a last group
// of one or two bytes gives two or three symbols. No run-length coding.
std::string Symbols(const std::vector<uint8_t>& bytes) {
    std::string out;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        size_t n = bytes.size() - at < 3 ? bytes.size() - at : 3;
        uint32_t group = bytes[at] << 16;
        if (n > 1) group |= bytes[at + 1] << 8;
        if (n > 2) group |= bytes[at + 2];
        for (size_t s = 0; s <= n; ++s) out += kAlphabet[(group >> (18 - 6 * s)) & 63];
    }
    return out;
}

// Every byte BinHexNext gives until the end of the stream.
std::vector<uint16_t> ReadAll(const std::string& stream) {
    ReaderOver over(stream);
    BinHexState state{};
    uint16_t value = 0;
    std::vector<uint16_t> out;
    while (out.size() < 1000 && BinHexNext(over.reader, &value, &state) == 0) out.push_back(value);
    return out;
}

std::vector<uint16_t> Units(const std::string& text) { return {text.begin(), text.end()}; }

TEST(BinHexStreamTest, SymbolsSkipWhiteSpaceAndEndAtAColon) {
    ReaderOver over(std::string("! \t\r\n\x08\"r~\xE9:") + "!");
    EXPECT_EQ(BinHexSymbol(over.reader), 0);
    EXPECT_EQ(BinHexSymbol(over.reader), 1);
    EXPECT_EQ(BinHexSymbol(over.reader), 63);
    EXPECT_EQ(BinHexSymbol(over.reader), 0xFF);  // not in the alphabet
    EXPECT_EQ(BinHexSymbol(over.reader), 0xFF);
    EXPECT_EQ(BinHexSymbol(over.reader), 0xFFFF);  // the ':'
    EXPECT_EQ(BinHexSymbol(over.reader), 0);
    EXPECT_EQ(BinHexSymbol(over.reader), 0xFFFF);  // the end of input
}

TEST(BinHexStreamTest, GroupsCutShortGiveTheBytesTheyHold) {
    EXPECT_EQ(ReadAll(Symbols({'a', 'b', 'c', 'd', 'e', 'f'}) + ":"), Units("abcdef"));
    // Two symbols behind the last full group give one byte, three give two,
    // one gives none.
    EXPECT_EQ(ReadAll(Symbols({'a', 'b', 'c', 'd'}) + ":"), Units("abcd"));
    EXPECT_EQ(ReadAll(Symbols({'a', 'b', 'c', 'd', 'e'}) + ":"), Units("abcde"));
    EXPECT_EQ(ReadAll(Symbols({'a', 'b', 'c'}) + "!:"), Units("abc"));
    EXPECT_EQ(ReadAll(":"), Units(""));
    // Line breaks inside the stream are passed over.
    std::string split = Symbols({'a', 'b', 'c', 'd', 'e', 'f'});
    EXPECT_EQ(ReadAll(split.substr(0, 3) + "\r\n" + split.substr(3) + ":"), Units("abcdef"));
}

TEST(BinHexStreamTest, RunLengthLayerRepeatsAndEscapesTheMarker) {
    EXPECT_EQ(ReadAll(Symbols({'a', 0x90, 4, 'b'}) + ":"), Units("aaaab"));
    EXPECT_EQ(ReadAll(Symbols({'a', 0x90, 0, 'b'}) + ":"), (std::vector<uint16_t>{'a', 0x90, 'b'}));
    EXPECT_EQ(ReadAll(Symbols({'a', 0x90, 1, 'b'}) + ":"), (std::vector<uint16_t>{'a', 0x90, 'b'}));
    EXPECT_EQ(ReadAll(Symbols({'a', 0x90, 2, 'b'}) + ":"), Units("aab"));
    // A marker whose count is cut off by the end of the stream ends it.
    EXPECT_EQ(ReadAll(Symbols({'a', 'b', 0x90}) + ":"), Units("ab"));
}

// The name stands first in the stream: its length, then its bytes.
std::string NameOf(const std::string& file) {
    ReaderOver over(file);
    uint16_t index = 0;
    ReadUntil(over.reader, &over.line, &index, ":", 0);
    if (ReaderGet(over.reader) != ':') return "(no stream)";
    BinHexState state{};
    uint16_t length = 0;
    if (BinHexNext(over.reader, &length, &state) != 0) return "(no length)";
    std::string name;
    uint16_t value = 0;
    for (uint16_t i = 0; i < length && BinHexNext(over.reader, &value, &state) == 0; ++i)
        name += static_cast<char>(value);
    return name;
}

TEST(BinHexStreamTest, NamesOfRealFiles) {
    std::string corpus = MAILSIFT_DATA_DIR;
    EXPECT_EQ(NameOf(ReadWholeFile(corpus + "/uudeview/test/binhex.good.msg")), "test.txt");
    EXPECT_EQ(NameOf(ReadWholeFile(corpus + "/convert-binhex/testin/eyeball.gif.hqx")), "eyeball.gif");
    EXPECT_EQ(NameOf("(This file must be converted with BinHex 4.0)\r\n:" + Symbols({0, 1, 2}) + ":"), "");
}

}  // namespace
