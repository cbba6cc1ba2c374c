// utf8.h - the shape of UTF-8 sequences, for the filter's reader and for hosts.
#pragma once

#include <cstdint>

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
