// tnef_builder.h - TNEF streams written by hand for the walker's edge cases:
// attributes with their level, id and length, and property blocks.
#pragma once

#include <cstdint>
#include <string>

namespace tnef_test {

inline std::string Le(uint32_t value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
    return out;
}

inline std::string Header() { return std::string("\x78\x9F\x3E\x22", 4) + Le(0x1234, 2); }

// One attribute record, with the checksum other readers insist on (the
// walker never looks at it).
inline std::string Attribute(uint8_t level, uint16_t id, const std::string& data) {
    uint32_t sum = 0;
    for (unsigned char c : data) sum += c;
    return std::string(1, static_cast<char>(level)) + Le(id, 2) + Le(0x0006, 2) +
           Le(static_cast<uint32_t>(data.size()), 4) + data + Le(sum & 0xFFFF, 2);
}

// A sized property (PT_BINARY 258 or PT_STRING8 30) with one value.
inline std::string SizedProperty(uint16_t type, uint16_t id, const std::string& value) {
    std::string padded = value + std::string((4 - value.size() % 4) % 4, '\0');
    return Le(type, 2) + Le(id, 2) + Le(1, 4) + Le(static_cast<uint32_t>(value.size()), 4) + padded;
}

inline std::string PropertyBlock(int count, const std::string& properties) {
    return Le(static_cast<uint32_t>(count), 4) + properties;
}

constexpr uint8_t kMessage = 1;
constexpr uint8_t kAttachment = 2;
constexpr uint16_t kAttMsgProps = 0x9003;
constexpr uint16_t kAttTitle = 0x8010;
constexpr uint16_t kAttData = 0x800F;
constexpr uint16_t kAttAttachment = 0x9005;
constexpr uint16_t kAttRendData = 0x9002;
constexpr uint16_t kPrDisplayName = 0x3001;
constexpr uint16_t kPrDataBin = 0x3701;
constexpr uint16_t kPrRtfCompressed = 0x1009;
constexpr uint16_t kPrBodyHtml = 0x1013;

}  // namespace tnef_test
