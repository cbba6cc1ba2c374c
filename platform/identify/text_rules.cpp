// text_rules.cpp - the rules that need no structure: RTF, HTML, and whether
// the bytes are text at all.
//
// Text means no NUL and at most one control character in 32 besides tab, CR,
// LF, FF and ESC (ESC for ISO-2022 text); bytes from 0x80 up are text, since
// any 8-bit charset may lie underneath. Nothing here decides a charset.
#include <cstring>
#include <initializer_list>

#include "platform/identify/identify.h"
#include "platform/identify/lines.h"

using namespace identify;

namespace {

// How far into the window the first element of a page is looked for.
constexpr size_t kHtmlLookahead = 1024;
constexpr size_t kControlsPerText = 32;  // at most 1 control in 32 bytes

size_t SkipBlanksAndBom(const uint8_t* data, size_t length) {
    size_t i = 0;
    if (length >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) i = 3;
    while (i < length && (data[i] == ' ' || data[i] == '\t' || data[i] == '\r' || data[i] == '\n')) ++i;
    return i;
}

bool IsAllowedControl(uint8_t byte) {
    return byte == '\t' || byte == '\n' || byte == '\r' || byte == '\f' || byte == 0x1B;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'; }

bool HasPrefixNoCase(const char* text, size_t length, const char* prefix) {
    size_t n = strlen(prefix);
    if (length < n) return false;
    for (size_t i = 0; i < n; ++i) {
        if (LowerAscii(text[i]) != prefix[i]) return false;
    }
    return true;
}

// Is text a tag name `name` (lower case) followed by the end of the name?
bool TagNameIs(const char* text, size_t length, const char* name) {
    size_t n = strlen(name);
    if (!HasPrefixNoCase(text, length, name)) return false;
    return length == n || IsBlank(text[n]) || text[n] == '>' || text[n] == '/';
}

// Offset just past `end` searched from `from`, or `length` when it's missing.
size_t SkipPast(const char* text, size_t length, size_t from, const char* end) {
    size_t n = strlen(end);
    for (size_t i = from; i + n <= length; ++i) {
        if (memcmp(text + i, end, n) == 0) return i + n;
    }
    return length;
}

bool IsHeadElement(const char* tag, size_t length) {
    for (const char* name : {"title", "meta", "link", "style", "script", "base"}) {
        if (TagNameIs(tag, length, name)) return true;
    }
    return false;
}

bool MentionsPageElement(const char* text, size_t length) {
    for (size_t i = 0; i + 1 < length; ++i) {
        if (text[i] != '<') continue;
        const char* tag = text + i + 1;
        size_t rest = length - i - 1;
        if (TagNameIs(tag, rest, "html") || TagNameIs(tag, rest, "head") || TagNameIs(tag, rest, "body")) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool LooksLikeRtf(const uint8_t* data, size_t length) {
    size_t i = SkipBlanksAndBom(data, length);
    static const char kRtf[] = "{\\rtf";
    constexpr size_t n = sizeof(kRtf) - 1;
    return length - i >= n && memcmp(data + i, kRtf, n) == 0;
}

// The document's first element decides: html, head or body (or a doctype
// that says html) make a page. Pages without those start with something that
// belongs in a head (title, meta, ...) and name html, head or body soon after.
// An XML document whose root merely contains a <body> element is not HTML,
// nor is a text that mentions a tag further on.
bool LooksLikeHtml(const uint8_t* data, size_t length) {
    size_t i = SkipBlanksAndBom(data, length);
    size_t span = length - i < kHtmlLookahead ? length - i : kHtmlLookahead;
    const char* text = reinterpret_cast<const char*>(data + i);
    size_t at = 0;
    while (at < span) {
        while (at < span && IsBlank(text[at])) ++at;
        if (at >= span || text[at] != '<') return false;
        if (HasPrefixNoCase(text + at, span - at, "<!--")) {
            at = SkipPast(text, span, at + 4, "-->");
        } else if (HasPrefixNoCase(text + at, span - at, "<!doctype")) {
            size_t name = at + 9;
            while (name < span && IsBlank(text[name])) ++name;
            if (TagNameIs(text + name, span - name, "html")) return true;
            at = SkipPast(text, span, at, ">");
        } else if (HasPrefixNoCase(text + at, span - at, "<?")) {
            at = SkipPast(text, span, at + 2, "?>");
        } else {
            const char* tag = text + at + 1;
            size_t rest = span - at - 1;
            if (TagNameIs(tag, rest, "html") || TagNameIs(tag, rest, "head") || TagNameIs(tag, rest, "body")) {
                return true;
            }
            if (!IsHeadElement(tag, rest)) return false;
            return MentionsPageElement(text + at, span - at);
        }
    }
    return false;
}

bool LooksLikeText(const uint8_t* data, size_t length) {
    size_t controls = 0;
    for (size_t i = 0; i < length; ++i) {
        uint8_t byte = data[i];
        if (byte == 0) return false;
        if ((byte < 0x20 && !IsAllowedControl(byte)) || byte == 0x7F) ++controls;
    }
    return controls * kControlsPerText <= length;
}
