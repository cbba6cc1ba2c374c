// charset_iconv.h - for hosts: the iconv name (glibc) of each CharsetId the
// filter can hand to SoSetCharset. Constants only; includes nothing of the
// filter's code, so a host includes it without linking the filter.
//
// The values under which the host receives already decoded 16-bit units
// (0x14B00000, and the UTF-8 / UTF-7 / ISO 2022 marks that a text/richtext
// charset command may pass on unchanged) are listed as "UTF-16BE": feed each
// unit as two bytes, high first. Raw header bytes arrive sign-extended
// (0xE9 as 0xFFE9); the host takes their low byte under a single-byte set.
// glibc has no converter for several Mac sets: those entries name MACINTOSH
// and say `exact = false` (right for ASCII, approximate above 0x7F).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "mailtext/charset_ids.h"

struct CharsetIconvName {
    uint32_t charset;
    const char* iconvName;
    bool exact;
};

constexpr CharsetIconvName kCharsetIconvNames[] = {
    {CharsetPlain, "UTF-16BE", true},
    {CharsetUtf8, "UTF-16BE", true},
    {CharsetUtf7, "UTF-16BE", true},
    {CharsetIso2022, "UTF-16BE", true},
    {CharsetIso2022Ascii, "ASCII", true},
    {CharsetIso2022Roman, "JIS_C6220-1969-RO", true},
    {CharsetIso2022Jis, "CP932", true},  // pairs arrive converted to Shift-JIS codes
    {CharsetShiftJis, "CP932", true},
    {CharsetGb, "GBK", true},
    {CharsetKorean, "CP949", true},
    {CharsetBig5, "BIG5", true},
    {CharsetWindows(1250), "CP1250", true},
    {CharsetWindows(1251), "CP1251", true},
    {CharsetWindows(1252), "CP1252", true},
    {CharsetWindows(1253), "CP1253", true},
    {CharsetWindows(1254), "CP1254", true},
    {CharsetWindows(1255), "CP1255", true},
    {CharsetWindows(1256), "CP1256", true},
    {CharsetWindows(1257), "CP1257", true},
    {CharsetIso8859(1), "ISO-8859-1", true},
    {CharsetIso8859(2), "ISO-8859-2", true},
    {CharsetIso8859(3), "ISO-8859-3", true},
    {CharsetIso8859(4), "ISO-8859-4", true},
    {CharsetIso8859(5), "ISO-8859-5", true},
    {CharsetIso8859(6), "ISO-8859-6", true},
    {CharsetIso8859(7), "ISO-8859-7", true},
    {CharsetIso8859(8), "ISO-8859-8", true},
    {CharsetIso8859(9), "ISO-8859-9", true},
    {CharsetMacRoman, "MACINTOSH", true},
    {CharsetMacCroatian, "MACINTOSH", false},
    {CharsetMacRomanian, "MACINTOSH", false},
    {CharsetMacTurkish, "MACINTOSH", false},
    {CharsetMacIcelandic, "MAC-IS", true},
    {CharsetMacCyrillic, "MAC-CYRILLIC", true},
    {CharsetMacGreek, "MACINTOSH", false},
    {CharsetMacHebrew, "MACINTOSH", false},
    {CharsetMacArabic, "MACINTOSH", false},
    {CharsetCp866, "CP866", true},
    {CharsetRoman8, "HP-ROMAN8", true},
};

// The entry of `charset`, or nothing for a value the filter never announces.
constexpr std::optional<CharsetIconvName> FindCharsetIconvName(uint32_t charset) {
    for (const CharsetIconvName& entry : kCharsetIconvNames)
        if (entry.charset == charset) return entry;
    return std::nullopt;
}
