// The B, Q and UTF-7 decoders of RFC 2047 words on their own.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "charset/charset.h"

namespace {

// `text` decoded in place, read up to the first zero.
template <typename Decoder>
std::string Decoded(Decoder decode, std::string text) {
    text.push_back('\0');
    decode(text.data(), static_cast<uint32_t>(text.size() - 1));
    return std::string(text.c_str());
}

TEST(DecodeBAndQ, GroupsPaddingHexAndStrayBytes) {
    const std::pair<const char*, const char*> b[] = {
        {"QUJD", "ABC"}, {"QUJDRA==", "ABCD"}, {"QUI=", "AB"}, {"QQ", "A"}, {"Q", ""}, {"", ""},
        {"QQ=xxQUJD", "AABC"},  // a group cut by '=' is taken to span five positions
        {"Q Q=", "C\xF4"},      // white space is not skipped: it is a symbol of value 63
    };
    for (const auto& [text, expected] : b) EXPECT_EQ(Decoded(DecodeB, text), expected) << text;
    const std::pair<const char*, const char*> q[] = {
        {"a_b=41=4a=4A", "a bAJJ"}, {"=g1x", "\x01x"}, {"a=zzb", "a"} /* =zz is a zero byte */, {"ab=", "ab"},
    };
    for (const auto& [text, expected] : q) EXPECT_EQ(Decoded(DecodeQ, text), expected) << text;
    // no line-end handling: "=" takes CR and LF as its digits
    std::string softBreak = "=\r\nx";
    softBreak.push_back('\0');
    DecodeQ(softBreak.data(), 4);
    EXPECT_EQ(softBreak.substr(0, 2), std::string("\0x", 2));
    // only `length` bytes are read
    char bBuffer[] = "QUJDQUJD";
    EXPECT_STREQ(DecodeB(bBuffer, 4), "ABC");
    char qBuffer[] = "=41=42";
    EXPECT_STREQ(DecodeQ(qBuffer, 3), "A");
}

TEST(DecodeUtf7Run, UnitsFromSymbols) {
    uint16_t out[8];
    std::memset(out, 0xAB, sizeof out);
    // 8 symbols give 3 units; a rest of 4 gives 2 more. (Short runs and the
    // capacity are seen in header values, tests/charset/header_display_test.)
    DecodeUtf7Run(out, 7, "AEEAQgBDAEQB", 12);
    EXPECT_EQ(std::u16string(reinterpret_cast<char16_t*>(out)), u"ABCD\u0100");
    DecodeUtf7Run(out, 7, "", 0);
    EXPECT_EQ(out[0], 0);
}

TEST(EncodedTextLength, StopsAtTheClose) {
    EXPECT_EQ(EncodedTextLength(nullptr), 0u);
    const std::pair<const char*, uint32_t> cases[] = {{"", 0}, {"?=", 0}, {"abc?=def?=", 3}, {"a?b=c", 5}};
    for (const auto& [text, expected] : cases) EXPECT_EQ(EncodedTextLength(text), expected) << text;
}

}  // namespace
