// The name chain on real-world charset labels, the lead-byte ranges, and the
// iconv names a host is given for each CharsetId.
#include <gtest/gtest.h>
#include <iconv.h>

#include <utility>
#include <vector>

#include "charset/charset.h"
#include "charset/charset_iconv.h"

namespace {

using Case = std::pair<const char*, uint32_t>;

void ExpectResolved(const std::vector<Case>& cases) {
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(ResolveCharset(name), expected) << "name: " << name;
}

TEST(ResolveCharset, UnicodeAndPlainNames) {
    EXPECT_EQ(ResolveCharset(nullptr), CharsetPlain);
    ExpectResolved({{"", CharsetPlain},
                    {"us-ascii", CharsetPlain},
                    {"text/plain", CharsetPlain},
                    {"UTF-8", CharsetUtf8},
                    {"utf8", CharsetUtf8},
                    {"Unicode-1-1-UTF-7", CharsetUtf7},
                    {"utf7", CharsetUtf7},
                    {"iso-2022-jp", CharsetIso2022},
                    {"ISO-2022-KR", CharsetIso2022},
                    // the first step that matches wins, however odd the name
                    {"us-ascii-utf-8", CharsetPlain},
                    {"koi8-r", CharsetPlain},
                    {"x-unknown", CharsetPlain}});
}

TEST(ResolveCharset, WindowsPagesBehindTheirGate) {
    ExpectResolved({{"windows-1250", 0x14E20100},
                    {"Windows-1251", 0x14E30100},
                    {"cp1252", 0x14E40100},
                    {"windows-1253", 0x14E50100},
                    {"windows-1254", 0x14E60100},
                    {"windows-1255", 0x14E70100},
                    {"windows-1256", 0x14E80100},
                    {"windows-1257", 0x14E90100},
                    // passes the gate "12", matches no row, goes on and ends plain
                    {"windows-1258", CharsetPlain}});
}

TEST(ResolveCharset, MacNamesLongestFirst) {
    ExpectResolved({{"x-mac-romanian", 0x80020100},
                    {"apple-croatian", 0x80010100},
                    {"MacIceland", 0x80040100},
                    {"x-mac-turkish", 0x80030100},
                    {"x-mac-cyrillic", 0x80050100},
                    {"mac-arabic", 0x800A0100},
                    {"macgreek", 0x80060100},
                    {"apple-hebrew", 0x80090100},
                    {"macroman", 0x80000100},
                    {"mac-roman", 0x80000100},
                    // the gate passes on a name that no row decides: the chain goes on
                    {"macintosh", CharsetPlain},
                    {"mac-ukrainian", CharsetPlain}});
}

TEST(ResolveCharset, LatinAndIso8859) {
    ExpectResolved({{"ISO-8859-1", 0x00080101},
                    {"iso_8859_1", 0x00080101},
                    {"Latin1", 0x00080101},
                    // "8859-1" occurs in these
                    {"iso-8859-15", 0x00080101},
                    {"iso-8859-10", 0x00080101},
                    {"iso-8859-13", 0x00080101},
                    {"iso-8859-2", 0x00080102},
                    {"latin3", 0x00080103},
                    {"iso_8859_4", 0x00080104},
                    {"iso-8859-9", 0x00080109},
                    {"latin5", 0x00080109},
                    {"latin-1", CharsetPlain},
                    {"ISO-8859-5", 0x00080105},
                    {"iso-8859-6", 0x00080106},
                    {"iso-8859-7", 0x00080107},
                    {"ISO-8859-8-I", 0x00080108},
                    {"cyrillic", 0x00080105},
                    {"greek", 0x00080107}});
}

TEST(ResolveCharset, EastAsianAndOthers) {
    ExpectResolved({{"shift_jis", CharsetShiftJis},
                    {"x-sjis", CharsetShiftJis},
                    {"euc-jp", CharsetShiftJis},
                    {"windows-932", CharsetShiftJis},
                    {"gb2312", CharsetGb},
                    {"GBK", CharsetGb},
                    {"euc-cn", CharsetGb},
                    {"ks_c_5601-1987", CharsetKorean},
                    {"euc-kr", CharsetKorean},
                    {"big5", CharsetBig5},
                    {"Big5-HKSCS", CharsetBig5},
                    {"ibm866", CharsetCp866},
                    {"cp866", CharsetCp866},
                    {"hp-roman8", CharsetRoman8}});
}

TEST(IsLeadByte, RangesAreInclusiveAndPerCharset) {
    EXPECT_EQ(IsLeadByte(0x9F, CharsetShiftJis), 1u);
    EXPECT_EQ(IsLeadByte(0xA0, CharsetShiftJis), 0u);
    EXPECT_EQ(IsLeadByte(0x81, CharsetShiftJis), 1u);
    EXPECT_EQ(IsLeadByte(0x80, CharsetShiftJis), 0u);
    EXPECT_EQ(IsLeadByte(0xE0, CharsetShiftJis), 1u);
    EXPECT_EQ(IsLeadByte(0xFC, CharsetShiftJis), 1u);
    EXPECT_EQ(IsLeadByte(0xFD, CharsetShiftJis), 0u);
    EXPECT_EQ(IsLeadByte(0xC9, CharsetKorean), 0u);
    EXPECT_EQ(IsLeadByte(0xC9, CharsetBig5), 1u);
    EXPECT_EQ(IsLeadByte(0xFD, CharsetKorean), 1u);
    EXPECT_EQ(IsLeadByte(0xA0, CharsetKorean), 0u);
    EXPECT_EQ(IsLeadByte(0xAA, CharsetGb), 0u);
    EXPECT_EQ(IsLeadByte(0xF7, CharsetGb), 1u);
    EXPECT_EQ(IsLeadByte(0xF8, CharsetGb), 0u);
    EXPECT_EQ(IsLeadByte(0x7F, CharsetUtf8), 0u);
    EXPECT_EQ(IsLeadByte(0x80, CharsetUtf8), 1u);
    EXPECT_EQ(IsLeadByte(0x00, CharsetUtf7), 1u);
    // single-byte and unknown sets have no lead bytes
    EXPECT_EQ(IsLeadByte(0xE9, CharsetIso8859(1)), 0u);
    EXPECT_EQ(IsLeadByte(0x90, CharsetPlain), 0u);
    EXPECT_EQ(IsLeadByte(0x90, CharsetIso2022Jis), 0u);
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
