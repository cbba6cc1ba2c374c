// charset_names.cpp - charset names to CharsetIds: one table for the filter,
// which labels text with the result, and for hosts, which convert by it.
//
// A name is never parsed: it runs through one fixed chain of case-blind
// substring tests, and the first test that matches decides, however odd the
// name. So "iso-8859-15" is caught by "8859-1" and "latin-1" ends as plain
// text; that is the contract hosts and stored documents rely on.
#include "mailtext/charset_names.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace {

// One row of the chain: any of its texts decides the result.
struct NameRow {
    std::array<const char*, 5> texts;
    uint32_t result;
};

// Names are short header parameters, so a plain case-blind search does.
bool HasText(std::string_view name, std::string_view text) {
    auto fold = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    auto same = [&](char a, char b) { return fold(static_cast<unsigned char>(a)) == fold(static_cast<unsigned char>(b)); };
    return std::search(name.begin(), name.end(), text.begin(), text.end(), same) != name.end();
}

// The first row of `rows` with a text in `name`, or 0.
uint32_t MatchRows(std::string_view name, std::span<const NameRow> rows) {
    for (const NameRow& row : rows)
        for (const char* text : row.texts)
            if (text && HasText(name, text)) return row.result;
    return 0;
}

constexpr NameRow kUnicodeRows[] = {
    {{"ascii", "plain"}, CharsetPlain},
    {{"utf-8", "utf8"}, CharsetUtf8},
    {{"utf-7", "utf7"}, CharsetUtf7},
    {{"2022"}, CharsetIso2022},
};

// Gated by "12".
constexpr NameRow kWindowsRows[] = {
    {{"1250"}, CharsetWindows(1250)}, {{"1251"}, CharsetWindows(1251)},
    {{"1252"}, CharsetWindows(1252)}, {{"1253"}, CharsetWindows(1253)},
    {{"1254"}, CharsetWindows(1254)}, {{"1255"}, CharsetWindows(1255)},
    {{"1256"}, CharsetWindows(1256)}, {{"1257"}, CharsetWindows(1257)},
};

// Gated by "mac" or "apple"; the longer names come before their prefixes.
constexpr NameRow kMacRows[] = {
    {{"mac-romanian", "apple-romanian", "macromanian"}, CharsetMacRomanian},
    {{"mac-croatian", "apple-croatian", "maccroatian"}, CharsetMacCroatian},
    {{"mac-iceland", "apple-iceland", "maciceland"}, CharsetMacIcelandic},
    {{"mac-turkish", "apple-turkish", "macturkish"}, CharsetMacTurkish},
    {{"mac-cyrillic", "apple-cyrillic", "maccyrillic"}, CharsetMacCyrillic},
    {{"mac-arabic", "apple-arabic", "macarabic"}, CharsetMacArabic},
    {{"mac-greek", "apple-greek", "macgreek"}, CharsetMacGreek},
    {{"mac-hebrew", "apple-hebrew", "machebrew"}, CharsetMacHebrew},
    {{"mac-roman", "apple-roman", "macroman"}, CharsetMacRoman},
};

// Gated by "8859" or "latin". "latin5" is ISO 8859-9 (Latin-5 is Turkish).
constexpr NameRow kLatinRows[] = {
    {{"8859-1", "8859_1", "latin1"}, CharsetIso8859(1)},
    {{"8859-2", "8859_2", "latin2"}, CharsetIso8859(2)},
    {{"8859-3", "8859_3", "latin3"}, CharsetIso8859(3)},
    {{"8859-4", "8859_4", "latin4"}, CharsetIso8859(4)},
    {{"8859-9", "8859_9", "latin5"}, CharsetIso8859(9)},
};

// Without a gate.
constexpr NameRow kOtherRows[] = {
    {{"8859-5", "8859_5", "cyrillic"}, CharsetIso8859(5)},
    {{"8859-6", "8859_6", "arabic"}, CharsetIso8859(6)},
    {{"8859-7", "8859_7", "greek"}, CharsetIso8859(7)},
    {{"8859-8", "8859_8", "hebrew"}, CharsetIso8859(8)},
    {{"932", "shift", "jis", "kanji", "euc-jp"}, CharsetShiftJis},
    {{"936", "2312", "gbk", "chinese", "euc-cn"}, CharsetGb},
    {{"949", "5601", "korean", "euc-kr"}, CharsetKorean},
    {{"950", "big5"}, CharsetBig5},
    {{"866"}, CharsetCp866},
    {{"roman8"}, CharsetRoman8},
};

}  // namespace

uint32_t ResolveCharset(const char* name) {
    if (!name) return CharsetPlain;
    return ResolveCharset(std::string_view(name));
}

uint32_t ResolveCharset(std::string_view name) {
    if (uint32_t id = MatchRows(name, kUnicodeRows)) return id;
    // A gate that passes without a row deciding falls through to the next step.
    if (HasText(name, "12"))
        if (uint32_t id = MatchRows(name, kWindowsRows)) return id;
    if (HasText(name, "mac") || HasText(name, "apple"))
        if (uint32_t id = MatchRows(name, kMacRows)) return id;
    if (HasText(name, "8859") || HasText(name, "latin"))
        if (uint32_t id = MatchRows(name, kLatinRows)) return id;
    if (uint32_t id = MatchRows(name, kOtherRows)) return id;
    return CharsetPlain;
}
