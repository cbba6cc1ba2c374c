// The name chain on real-world charset labels, the lead-byte ranges, and the
// iconv names a host is given for each CharsetId.
#include <gtest/gtest.h>
#include <iconv.h>

#include <tuple>
#include <utility>

#include "charset/charset.h"
#include "mailtext/charset_iconv.h"

namespace {

// Real labels, chosen where the order of the steps or a gate decides.
TEST(ResolveCharset, FirstMatchingStepDecidesAndGatesFallThrough) {
    EXPECT_EQ(ResolveCharset(nullptr), CharsetPlain);
    const std::pair<const char*, uint32_t> cases[] = {
        {"", CharsetPlain},
        {"US-ASCII", CharsetPlain},
        {"us-ascii-utf-8", CharsetPlain},
        {"UTF-8", CharsetUtf8},
        {"Unicode-1-1-UTF-7", CharsetUtf7},
        {"iso-2022-jp", CharsetIso2022},  // never reaches "jis"
        {"ISO-2022-KR", CharsetIso2022},
        {"koi8-r", CharsetPlain},
        {"cp1252", 0x14E40100},
        {"windows-1257", 0x14E90100},
        {"x-mac-romanian", 0x80020100},  // before "mac-roman"
        {"x-mac-cyrillic", 0x80050100},  // before plain "cyrillic"
        {"macroman", 0x80000100},
        {"ISO-8859-1", 0x00080101},
        {"iso_8859_1", 0x00080101},
        {"Latin1", 0x00080101},
        {"iso-8859-15", 0x00080101},  // "8859-1" occurs in it
        {"iso-8859-13", 0x00080101},
        {"latin5", 0x00080109},
        {"ISO-8859-8-I", 0x00080108},
        {"x-sjis", CharsetShiftJis},
        {"euc-jp", CharsetShiftJis},
        {"gb2312", CharsetGb},  // passes the gate "12" on the way
        {"ks_c_5601-1987", CharsetKorean},
        {"Big5-HKSCS", CharsetBig5},
        {"ibm866", CharsetCp866},
        {"hp-roman8", CharsetRoman8},
        // gates without a row of their own fall through to later steps
        {"windows-1258", CharsetPlain},
        {"macintosh", CharsetPlain},
        {"mac-greek-x", 0x80060100},
        {"latin-1", CharsetPlain},
        {"iso-8859-10", 0x00080101},
        {"iso-8859-5", 0x00080105},  // gate 8859 passes, then the number decides
        {"x-mac-ce-1250", 0x14E20100},
    };
    for (const auto& [name, expected] : cases) EXPECT_EQ(ResolveCharset(name), expected) << "name: " << name;
}

TEST(IsLeadByte, BoundsAreInclusiveAndPerCharset) {
    // single-byte, unknown and ISO 2022 state values have no lead bytes
    const std::tuple<uint8_t, uint32_t, uint32_t> cases[] = {
        {0x9F, CharsetShiftJis, 1}, {0xA0, CharsetShiftJis, 0}, {0xFC, CharsetShiftJis, 1},
        {0xC9, CharsetKorean, 0},   {0xC9, CharsetBig5, 1},     {0xF8, CharsetGb, 0},
        {0x7F, CharsetUtf8, 0},     {0x00, CharsetUtf7, 1},     {0xE9, CharsetIso8859(1), 0},
        {0x90, CharsetPlain, 0},    {0x90, CharsetIso2022Jis, 0},
    };
    for (const auto& [byte, charset, expected] : cases)
        EXPECT_EQ(IsLeadByte(byte, charset), expected) << std::hex << int{byte} << " in " << charset;
}

// Every glibc name handed to hosts must open a converter, and every value the
// chain can produce must have an entry.
TEST(CharsetIconv, EveryNameOpensAndEveryResultIsListed) {
    for (const CharsetIconvName& entry : kCharsetIconvNames) {
        iconv_t cd = iconv_open("UTF-8", entry.iconvName);
        EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1)) << entry.iconvName;
        if (cd != reinterpret_cast<iconv_t>(-1)) iconv_close(cd);
    }
    const char* names[] = {"utf-8", "windows-1250", "windows-1257", "iso-8859-1", "iso-8859-9",
                           "iso-8859-8", "x-mac-arabic", "macroman", "big5", "euc-kr", "gbk",
                           "sjis", "ibm866", "roman8", "utf-7", "iso-2022-jp"};
    for (const char* name : names)
        EXPECT_TRUE(FindCharsetIconvName(ResolveCharset(name)).has_value()) << name;
    EXPECT_FALSE(FindCharsetIconvName(0x12345678).has_value());
}

}  // namespace
