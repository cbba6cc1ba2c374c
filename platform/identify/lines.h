// lines.h - line-by-line reading of an identification window, for the rules
// that look at text. A line is handed out without its LF and without one CR
// before it; a lone CR (old Mac text) also ends a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Header-only and shared by the rules of this folder, hence a namespace of
// its own: other folders of the library have line helpers too.
namespace identify {

struct TextLine {
    const char* text;
    size_t length;
};

class LineCursor {
public:
    LineCursor(const uint8_t* data, size_t length)
        : data_(reinterpret_cast<const char*>(data)), length_(length) {}

    bool Next(TextLine* line) {
        if (offset_ >= length_) return false;
        const char* start = data_ + offset_;
        size_t rest = length_ - offset_;
        size_t n = 0;
        while (n < rest && start[n] != '\n' && start[n] != '\r') ++n;
        line->text = start;
        line->length = n;
        size_t end = n;
        if (end < rest && start[end] == '\r') ++end;
        if (end < rest && start[end] == '\n') ++end;  // LF, or the LF of CR LF
        offset_ += end;
        return true;
    }

    // Offset of the next line's first byte.
    size_t Offset() const { return offset_; }

private:
    const char* data_;
    size_t length_;
    size_t offset_ = 0;
};

inline char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Does `line` start with `prefix`, ignoring ASCII case?
inline bool StartsWithNoCase(const TextLine& line, const char* prefix) {
    size_t n = strlen(prefix);
    if (line.length < n) return false;
    for (size_t i = 0; i < n; ++i) {
        if (LowerAscii(line.text[i]) != LowerAscii(prefix[i])) return false;
    }
    return true;
}

inline bool StartsWith(const TextLine& line, const char* prefix) {
    size_t n = strlen(prefix);
    return line.length >= n && memcmp(line.text, prefix, n) == 0;
}

// Is `needle` (lower case) somewhere in text[0..length), ignoring ASCII case?
inline bool ContainsNoCase(const char* text, size_t length, const char* needle) {
    size_t n = strlen(needle);
    if (n == 0) return true;
    for (size_t i = 0; i + n <= length; ++i) {
        size_t j = 0;
        while (j < n && LowerAscii(text[i + j]) == needle[j]) ++j;
        if (j == n) return true;
    }
    return false;
}

}  // namespace identify
