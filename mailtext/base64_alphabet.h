// base64_alphabet.h - the RFC 2045 base64 alphabet, the one table of it that
// encoded words, the sniffer and hosts share.
#pragma once

#include <cstdint>

constexpr uint8_t kBase64Invalid = 0xFF;
// The value of a symbol, or kBase64Invalid for a byte outside the alphabet.
constexpr uint8_t Base64Value(uint8_t c) {
    if (c >= 'A' && c <= 'Z') return static_cast<uint8_t>(c - 'A');
    if (c >= 'a' && c <= 'z') return static_cast<uint8_t>(c - 'a' + 26);
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0' + 52);
    if (c == '+') return 62;
    if (c == '/') return 63;
    return kBase64Invalid;
}
