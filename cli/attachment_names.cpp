// attachment_names.cpp - decoding and sanitising attachment names; see
// attachment_names.h.
#include "cli/attachment_names.h"

#include <iconv.h>

#include <cctype>
#include <cstring>
#include <vector>

#include "mailtext/charset_iconv.h"
#include "cli/host_event.h"

namespace {

// NAME_MAX less room for a "-NNNN" suffix that keeps a name unique.
constexpr size_t kLongestName = 240;
// An extension longer than this is no extension worth keeping when a name is cut.
constexpr size_t kLongestExtension = 16;

bool IsValidUtf8(std::string_view text) {
    size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        size_t length = c < 0x80 ? 1 : c >= 0xC2 && c <= 0xDF ? 2 : c >= 0xE0 && c <= 0xEF ? 3
                                 : c >= 0xF0 && c <= 0xF4 ? 4 : 0;
        if (length == 0 || i + length > text.size()) return false;
        for (size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        // Overlong three- and four-byte forms, surrogates, beyond U+10FFFF.
        const auto d = static_cast<unsigned char>(text[i + (length > 1 ? 1 : 0)]);
        if ((c == 0xE0 && d < 0xA0) || (c == 0xED && d >= 0xA0) || (c == 0xF0 && d < 0x90) ||
            (c == 0xF4 && d >= 0x90))
            return false;
        i += length;
    }
    return true;
}

std::string Latin1ToUtf8(std::string_view bytes) {
    std::string out;
    for (char c : bytes) AppendUtf8(out, static_cast<unsigned char>(c));
    return out;
}

// The whole text through iconv, or nothing when iconv refuses any of it.
std::optional<std::string> Iconv(std::string_view bytes, const std::string& from) {
    iconv_t handle = iconv_open("UTF-8", from.c_str());
    if (handle == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    std::string out(bytes.size() * 4 + 16, '\0');
    std::string in(bytes);
    char* inPtr = in.data();
    size_t inLeft = in.size();
    char* outPtr = out.data();
    size_t outLeft = out.size();
    const size_t done = iconv(handle, &inPtr, &inLeft, &outPtr, &outLeft);
    const bool flushed = iconv(handle, nullptr, nullptr, &outPtr, &outLeft) != static_cast<size_t>(-1);
    iconv_close(handle);
    if (done == static_cast<size_t>(-1) || inLeft != 0 || !flushed) return std::nullopt;
    out.resize(out.size() - outLeft);
    return out;
}

// The MIME charset name without an RFC 2231 language suffix ("utf-8*en").
std::string CharsetName(std::string_view name) {
    const size_t star = name.find('*');
    return std::string(name.substr(0, star));
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// RFC 2047 "Q": underscores are blanks, =XX a byte; a broken escape stays.
std::string DecodeQ(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '_') {
            out += ' ';
        } else if (text[i] == '=' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
                   HexValue(text[i + 2]) >= 0) {
            out += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

int Base64Value(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

// Base64 without the padding rules: every symbol counts, others are skipped.
std::string DecodeB(std::string_view text) {
    std::string out;
    uint32_t bits = 0;
    int held = 0;
    for (char c : text) {
        const int value = Base64Value(c);
        if (value < 0) continue;
        bits = (bits << 6) | static_cast<uint32_t>(value);
        held += 6;
        if (held >= 8) {
            held -= 8;
            out += static_cast<char>((bits >> held) & 0xFF);
        }
    }
    return out;
}

struct EncodedWord {
    size_t end = 0;  // just behind the closing "?="
    std::string charset;
    std::string bytes;
};

// The encoded word that starts at `at` ("=?"), if one does.
std::optional<EncodedWord> EncodedWordAt(std::string_view text, size_t at) {
    if (text.compare(at, 2, "=?") != 0) return std::nullopt;
    const size_t charsetEnd = text.find('?', at + 2);
    if (charsetEnd == std::string_view::npos || charsetEnd == at + 2) return std::nullopt;
    if (charsetEnd + 2 >= text.size() || text[charsetEnd + 2] != '?') return std::nullopt;
    const char encoding = text[charsetEnd + 1];
    const size_t dataStart = charsetEnd + 3;
    const size_t close = text.find("?=", dataStart);
    if (close == std::string_view::npos) return std::nullopt;
    const std::string_view data = text.substr(dataStart, close - dataStart);
    if (data.find(' ') != std::string_view::npos) return std::nullopt;
    EncodedWord word;
    word.end = close + 2;
    word.charset = CharsetName(text.substr(at + 2, charsetEnd - at - 2));
    if (encoding == 'B' || encoding == 'b') word.bytes = DecodeB(data);
    else if (encoding == 'Q' || encoding == 'q') word.bytes = DecodeQ(data);
    else return std::nullopt;
    return word;
}

std::string PlainToUtf8(std::string_view bytes, std::string_view rawCharset) {
    if (IsValidUtf8(bytes)) return std::string(bytes);
    if (!rawCharset.empty()) return NameToUtf8(bytes, rawCharset);
    return Latin1ToUtf8(bytes);
}

bool IsLanguageChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
}

bool IsCharsetChar(char c) {
    return IsLanguageChar(c) || c == '_' || c == '.' || c == ':' || c == '+';
}

bool IsKnownCharset(const std::string& name) {
    iconv_t handle = iconv_open("UTF-8", name.c_str());
    if (handle == reinterpret_cast<iconv_t>(-1)) return false;
    iconv_close(handle);
    return true;
}

}  // namespace

std::string NameToUtf8(std::string_view bytes, std::string_view charsetName) {
    std::string name(charsetName);
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (name.empty() || name == "US-ASCII" || name == "ASCII") name = "UTF-8";
    if (name == "UTF-8" && IsValidUtf8(bytes)) return std::string(bytes);
    if (auto converted = Iconv(bytes, name)) return *converted;
    return IsValidUtf8(bytes) ? std::string(bytes) : Latin1ToUtf8(bytes);
}

std::string DecodeEncodedWords(std::string_view text, std::string_view rawCharset) {
    std::string out;
    std::string plain;          // raw text waiting for conversion
    std::string wordBytes;      // adjacent words of one charset, joined
    std::string wordCharset;
    auto flushWords = [&] {
        if (!wordBytes.empty()) out += NameToUtf8(wordBytes, wordCharset);
        wordBytes.clear();
    };
    auto flushPlain = [&] {
        out += PlainToUtf8(plain, rawCharset);
        plain.clear();
    };
    size_t i = 0;
    bool afterWord = false;
    while (i < text.size()) {
        if (auto word = EncodedWordAt(text, i)) {
            // Blanks between two words are no text; anything else is.
            if (afterWord && plain.find_first_not_of(" \t\r\n") == std::string::npos) plain.clear();
            if (!plain.empty() || word->charset != wordCharset) {
                flushWords();
                flushPlain();
            }
            wordCharset = word->charset;
            wordBytes += word->bytes;
            i = word->end;
            afterWord = true;
            continue;
        }
        plain += text[i++];
        if (plain.find_first_not_of(" \t\r\n") != std::string::npos) {
            flushWords();
            afterWord = false;
        }
    }
    flushWords();
    flushPlain();
    return out;
}

std::optional<std::string> DecodeExtendedValue(std::string_view value) {
    const size_t first = value.find('\'');
    if (first == std::string_view::npos) return std::nullopt;
    const size_t second = value.find('\'', first + 1);
    if (second == std::string_view::npos) return std::nullopt;
    const std::string_view charset = value.substr(0, first);
    const std::string_view language = value.substr(first + 1, second - first - 1);
    for (char c : charset)
        if (!IsCharsetChar(c)) return std::nullopt;
    for (char c : language)
        if (!IsLanguageChar(c)) return std::nullopt;
    // An apostrophe pair in a plain name ("d'a'b.txt") is no extended value
    // unless it names a charset iconv knows, or is empty on both sides.
    if (charset.empty() ? !language.empty() : !IsKnownCharset(std::string(charset)))
        return std::nullopt;
    const std::string_view escaped = value.substr(second + 1);
    std::string bytes;
    for (size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] == '%' && i + 2 < escaped.size() && HexValue(escaped[i + 1]) >= 0 &&
            HexValue(escaped[i + 2]) >= 0) {
            bytes += static_cast<char>(HexValue(escaped[i + 1]) * 16 + HexValue(escaped[i + 2]));
            i += 2;
        } else {
            bytes += escaped[i];
        }
    }
    return NameToUtf8(bytes, charset);
}

std::string DecodeLinkName(std::u16string_view units, uint32_t charset) {
    bool bytesOnly = true;
    for (char16_t unit : units) bytesOnly = bytesOnly && unit <= 0xFF;
    if (!bytesOnly) {  // 16-bit text from a support filter: already decoded
        std::string out;
        for (size_t i = 0; i < units.size(); ++i) {
            uint32_t unit = units[i];
            if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < units.size() &&
                units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF)
                unit = 0x10000 + ((unit - 0xD800) << 10) + (units[++i] - 0xDC00u);
            else if (unit >= 0xD800 && unit <= 0xDFFF)
                unit = 0xFFFD;
            AppendUtf8(out, unit);
        }
        return out;
    }
    std::string bytes;
    for (char16_t unit : units) bytes += static_cast<char>(unit);
    // Surrounding blanks and quotes are not part of a name.
    const size_t start = bytes.find_first_not_of(" \t\"");
    const size_t end = bytes.find_last_not_of(" \t\"");
    if (start == std::string::npos) return "";
    bytes = bytes.substr(start, end - start + 1);
    if (auto extended = DecodeExtendedValue(bytes)) return *extended;
    std::string rawCharset;
    const auto entry = FindCharsetIconvName(charset);
    if (entry && std::strcmp(entry->iconvName, "UTF-16BE") != 0) rawCharset = entry->iconvName;
    return DecodeEncodedWords(bytes, rawCharset);
}

std::string SanitizeFileName(std::string_view utf8) {
    std::string name;
    for (size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c < 0x20 || c == 0x7F) continue;
        // C1 controls, U+0080..U+009F, are C2 80..C2 9F in UTF-8.
        if (c == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0) {
            ++i;
            continue;
        }
        name += c == '/' || c == '\\' ? '_' : static_cast<char>(c);
    }
    if (!IsValidUtf8(name)) name = Latin1ToUtf8(name);
    // No hidden files, no "." or "..", no blanks at either end.
    const size_t start = name.find_first_not_of(" .");
    if (start == std::string::npos) return "";
    name.erase(0, start);
    name.erase(name.find_last_not_of(' ') + 1);
    if (name.size() <= kLongestName) return name;
    // Too long: cut the stem, keep a short extension.
    std::string extension;
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && name.size() - dot <= kLongestExtension)
        extension = name.substr(dot);
    size_t cut = kLongestName - extension.size();
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    return name.substr(0, cut) + extension;
}

std::string_view ExtensionForMimeType(std::string_view type) {
    struct Entry {
        std::string_view type, extension;
    };
    static const Entry kExtensions[] = {
        {"application/pdf", ".pdf"},        {"application/zip", ".zip"},
        {"application/gzip", ".gz"},        {"application/x-gzip", ".gz"},
        {"application/x-bzip2", ".bz2"},    {"application/x-xz", ".xz"},
        {"application/x-tar", ".tar"},      {"application/x-7z-compressed", ".7z"},
        {"application/x-rar", ".rar"},      {"application/vnd.rar", ".rar"},
        {"application/msword", ".doc"},     {"application/vnd.ms-excel", ".xls"},
        {"application/vnd.ms-powerpoint", ".ppt"},
        {"application/vnd.ms-outlook", ".msg"},
        {"application/vnd.ms-tnef", ".tnef"},
        {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", ".docx"},
        {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", ".xlsx"},
        {"application/vnd.openxmlformats-officedocument.presentationml.presentation", ".pptx"},
        {"application/vnd.oasis.opendocument.text", ".odt"},
        {"application/postscript", ".ps"},  {"application/rtf", ".rtf"},
        {"application/json", ".json"},      {"application/xml", ".xml"},
        {"application/x-empty", ".txt"},    {"application/pgp-signature", ".asc"},
        {"image/gif", ".gif"},              {"image/jpeg", ".jpg"},
        {"image/png", ".png"},              {"image/bmp", ".bmp"},
        {"image/x-ms-bmp", ".bmp"},         {"image/tiff", ".tif"},
        {"image/webp", ".webp"},            {"image/vnd.microsoft.icon", ".ico"},
        {"image/svg+xml", ".svg"},          {"audio/mpeg", ".mp3"},
        {"audio/x-wav", ".wav"},            {"video/mp4", ".mp4"},
        {"text/plain", ".txt"},             {"text/html", ".html"},
        {"text/xml", ".xml"},               {"text/rtf", ".rtf"},
        {"text/x-c", ".c"},                 {"text/calendar", ".ics"},
        {"text/csv", ".csv"},               {"message/rfc822", ".eml"},
        {"message/news", ".eml"},
    };
    for (const Entry& entry : kExtensions)
        if (entry.type == type) return entry.extension;
    if (type.starts_with("text/")) return ".txt";
    return ".bin";
}
