// utf8.h - the shape of UTF-8 sequences, for the filter's reader and for
// hosts: lengths and masks, well-formedness, and writing a code point.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// UTF-8 sequence length by first byte (0 for a continuation byte, 0xFE and
// 0xFF; 1 below 0x80), and the mask of the first byte by that length.
constexpr uint8_t Utf8SequenceLength(uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC0) return 0;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    if (lead < 0xF8) return 4;
    if (lead < 0xFC) return 5;
    if (lead < 0xFE) return 6;
    return 0;
}
constexpr uint8_t Utf8LeadMask(uint8_t length) {
    constexpr uint8_t masks[7] = {0x00, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
    return length < 7 ? masks[length] : 0;
}

// True for a byte that continues a sequence (10xxxxxx).
constexpr bool Utf8IsContinuation(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// The length of a well-formed UTF-8 sequence of two to four bytes at `p`
// (no overlong form, no surrogate, nothing above U+10FFFF), 0 if there is none.
constexpr size_t Utf8WellFormedAt(const unsigned char* p, size_t left) {
    if (left == 0) return 0;
    const uint8_t length = Utf8SequenceLength(p[0]);
    if (length < 2 || length > 4 || length > left) return 0;
    uint32_t cp = p[0] & Utf8LeadMask(length);
    for (size_t i = 1; i < length; ++i) {
        if (!Utf8IsContinuation(p[i])) return 0;
        cp = (cp << 6) | (p[i] & 0x3Fu);
    }
    constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < least[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return length;
}

// True when all of `text` is well-formed UTF-8.
inline bool Utf8IsValid(std::string_view text) {
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    for (size_t i = 0; i < text.size();) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        const size_t length = Utf8WellFormedAt(p + i, text.size() - i);
        if (length == 0) return false;
        i += length;
    }
    return true;
}

// Writes `cp` as UTF-8 to `dst` (room for 4 bytes) and answers the length.
constexpr size_t EncodeUtf8(char* dst, uint32_t cp) {
    if (cp < 0x80) {
        dst[0] = static_cast<char>(cp);
        return 1;
    }
    if (cp < 0x800) {
        dst[0] = static_cast<char>(0xC0 | (cp >> 6));
        dst[1] = static_cast<char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000) {
        dst[0] = static_cast<char>(0xE0 | (cp >> 12));
        dst[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        dst[2] = static_cast<char>(0x80 | (cp & 0x3F));
        return 3;
    }
    dst[0] = static_cast<char>(0xF0 | (cp >> 18));
    dst[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    dst[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    dst[3] = static_cast<char>(0x80 | (cp & 0x3F));
    return 4;
}

inline void AppendUtf8(std::string& out, uint32_t cp) {
    char buf[4];
    out.append(buf, EncodeUtf8(buf, cp));
}
