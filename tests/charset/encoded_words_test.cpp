// Field values with RFC 2047 words through a recording host, and the B, Q
// and UTF-7 decoders on their own.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>

#include "charset/charset.h"
#include "tests/charset/hosted_proc.h"

namespace {

// `value` shown through a fresh proc, its calls kept in `hosted`;
// lineBufSize 0 leaves the proc without a line buffer.
void Put(HostedProc& hosted, const char* value, uint32_t lineBufSize = 0) {
    if (lineBufSize) {
        EXPECT_EQ(TextBufferAlloc(&hosted.proc()->lineBuf, lineBufSize), 0);
    }
    PutEncodedText(value, hosted.proc());
}

std::string Shown(const char* value, uint32_t lineBufSize = 0) {
    HostedProc hosted;
    Put(hosted, value, lineBufSize);
    return hosted.Compact();
}

size_t PutChars(const std::string& value, uint32_t lineBufSize = 0) {
    HostedProc hosted;
    Put(hosted, value.c_str(), lineBufSize);
    return hosted.host().Count(SO_PUTCHAR);
}

TEST(PutEncodedText, WordsAndWhatIsNotAWord) {
    const std::string name31 = "=?" + std::string(31, 'x') + "?Q?a?=";
    const std::string name32 = "=?" + std::string(32, 'x') + "?Q?a?=";
    const std::pair<const char*, const char*> cases[] = {
        {"=?iso-8859-1?Q?caf=E9_x?=", "[80101]caf{E9} x[14B00000]"},
        {"=?utf-8?B?4oKs?=", "[14B00000]{20AC}[14B00000]"},
        {"=?shift_jis?B?gqBB?=", "[13A40000]{82A0}A[14B00000]"},
        {"=?x-foo?Q?=E9?=", "[14B00000]{E9}[14B00000]"},  // unknown charset: bytes one by one, unsigned
        // UTF-8 inside a word: long sequences are one replacement, a stray
        // byte is 0, a sequence cut by the end of the text takes zeros
        {"=?UTF-8?Q?=F0=9F=98=80=80=C3?=", "[14B00000]{FFFD}{0}{C0}[14B00000]"},
        // ISO 2022: the return to ASCII's terminating zero is not shown, a
        // designation cut by the end of the text changes nothing
        {"=?iso-2022-jp?B?GyRCJCIbKEI=?=", "[10000100][13A40000]{82A0}[10000100][14B00000]"},
        {"=?iso-2022-kr?Q?ab=1B$?=", "[10000100]ab[14B00000]"},
        {"=?iso-2022-kr?Q?=1B$)C=30=21?=", "[10000100][13B50000]{3021}[14B00000]"},
        // UTF-7: a '-' closing a run is absorbed; a surrogate pair passes as two units
        {"=?utf-7?Q?a+-b+AOk?=", "[14B00000]a+b{E9}[14B00000]"},
        {"=?utf-7?Q?+AOkA6Q-x?=", "[14B00000]{E9}{E9}x[14B00000]"},
        {"=?utf-7?Q?+2D3eAA-?=", "[14B00000]{D83D}{DE00}[14B00000]"},
        {"", ""},
        {"=?iso-8859-1?X?abc?=", "=?iso-8859-1?X?abc?="},
        {"a=?", "a=?"},
        {"=?utf-8?Q", "=?utf-8?Q"},
        {"=?utf-8?Qx?=", "=?utf-8?Qx?="},
        {"caf\xE9", "caf{FFE9}"},  // raw 8-bit bytes outside words are sign-extended
        {name31.c_str(), "[14B00000]a[14B00000]"},  // a charset name of 31 bytes is accepted
        {name32.c_str(), name32.c_str()},
        // white space between words is ordinary text
        {"=?iso-8859-1?Q?a?= =?iso-8859-1?Q?b?=", "[80101]a[14B00000] [80101]b[14B00000]"},
        {"Re: =?utf-8?Q?x?=!", "Re: [14B00000]x[14B00000]!"},
        {"x =?utf-8?Q?caf=C3=A9", "x [14B00000]caf{E9}[14B00000]"},  // no "?=": to the end
        // Q text ending in a lone '=' gives a zero byte, which ends the text
        {"=?iso-8859-1?Q?ab=?=c", "[80101]ab[14B00000]c"},
        {"=?iso-8859-1?Q?a=00b?=", "[80101]a[14B00000]"},
        {"=?utf-8?Q?" "?=", "[14B00000][14B00000]"},  // an empty text still switches
        {"=?utf-8?B?QQ?=", "[14B00000]A[14B00000]"},
    };
    for (const auto& [value, expected] : cases) EXPECT_EQ(Shown(value), expected) << value;
    EXPECT_EQ(Shown(nullptr), "");
    EXPECT_EQ(Shown("=?utf-7?Q?+AOkA6Q-x?=", 1024), "[14B00000]{E9}{E9}x[14B00000]");
}

TEST(PutEncodedText, LongAndHostileValues) {
    // a value at the line limit made of words, and one long malformed word
    std::string many;
    while (many.size() < 64000) many += "=?utf-8?B?4oKs?= =?iso-2022-jp?B?GyRC?=";
    EXPECT_EQ(PutChars(many), many.size() / 39 * 2);
    // 64000 symbols of value 63 decode to 48000 bytes of 0xFF: each reads as 0
    EXPECT_EQ(PutChars("=?utf-8?B?" + std::string(64000, '\xFF')), 48000u);
    // a UTF-7 run is cut to the scratch capacity: 511 units at 1024 bytes
    const std::string utf7 = "=?utf-7?Q?+" + std::string(5000, 'B') + "?=";
    EXPECT_EQ(PutChars(utf7), 511u);
    EXPECT_EQ(PutChars(utf7, 2048), 1023u);
}

// Values stitched from pieces of words, each in a block of exactly its own
// size so that a read past the terminating zero is caught by the sanitizer.
TEST(PutEncodedText, RandomStitchedValuesEndInPlainText) {
    const char* pieces[] = {"=?", "?=", "?Q?", "?B?", "?q?", "utf-8", "iso-2022-jp", "utf-7",
                            "shift_jis", "big5", "=E9", "=", "+AOk", "+", "-", "\x1B$B", "\x1B(",
                            "GyRC", "4oKs", "_", " ", "\xC3", "\xFF", "QQ==", "abc",
                            "=?utf-8?Q?", "=?iso-2022-jp?B?", "=?utf-7?Q?", "=?big5?B?",
                            "=?utf-8?B?", "=?iso-2022-kr?Q?"};
    std::mt19937 random(2047);
    int withWords = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string value;
        size_t count = random() % 12;
        for (size_t i = 0; i < count; ++i) value += pieces[random() % std::size(pieces)];
        auto block = std::make_unique<char[]>(value.size() + 1);
        std::memcpy(block.get(), value.c_str(), value.size() + 1);
        HostedProc hosted;
        PutEncodedText(block.get(), hosted.proc());
        uint32_t last = 0;
        for (const HostEvent& event : hosted.host().Calls())
            if (event.id == SO_SETCHARSET) last = event.args[0].number;
        // the host is left in 0x14B00000 after a word, untouched without one
        if (last != 0) {
            EXPECT_EQ(last, CharsetPlain) << value;
            ++withWords;
        }
        if (value.find("=?") == std::string::npos) {
            EXPECT_EQ(last, 0u) << value;
        }
    }
    EXPECT_GT(withWords, 1000);
}

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
    DecodeUtf7Run(out, 7, "AOk", 3);
    EXPECT_EQ(out[0], 0x00E9);
    EXPECT_EQ(out[1], 0);
    // 8 symbols give 3 units; a rest of 4 gives 2 more
    DecodeUtf7Run(out, 7, "AEEAQgBDAEQB", 12);
    EXPECT_EQ(std::u16string(reinterpret_cast<char16_t*>(out)), u"ABCD\u0100");
    // capacity cuts the run and still ends with a zero unit
    DecodeUtf7Run(out, 2, "AEEAQgBDAEQB", 12);
    EXPECT_EQ(std::u16string(reinterpret_cast<char16_t*>(out)), u"AB");
    DecodeUtf7Run(out, 7, "", 0);
    EXPECT_EQ(out[0], 0);
}

TEST(EncodedTextLength, StopsAtTheClose) {
    EXPECT_EQ(EncodedTextLength(nullptr), 0u);
    const std::pair<const char*, uint32_t> cases[] = {{"", 0}, {"?=", 0}, {"abc?=def?=", 3}, {"a?b=c", 5}};
    for (const auto& [text, expected] : cases) EXPECT_EQ(EncodedTextLength(text), expected) << text;
}

}  // namespace
