// charset_ids.h - the CharsetId values the filter produces and tests for.
// Plain constants only, so that a host-side tool can include this without
// linking the filter.
#pragma once

#include <cstdint>

// Bit 0x100 marks a set in which one byte is one character.
constexpr uint32_t kCharsetSingleByteBit = 0x100;

constexpr uint32_t CharsetPlain = 0x14B00000;   // also: every already decoded 16-bit value
constexpr uint32_t CharsetUtf8 = 0x000B000B;
constexpr uint32_t CharsetUtf7 = 0x000B000C;
constexpr uint32_t CharsetIso2022 = 0x00050000;  // a mode, replaced at once by CharsetIso2022Ascii
constexpr uint32_t CharsetIso2022Ascii = 0x10000100;
constexpr uint32_t CharsetIso2022Roman = 0x000A0102;
constexpr uint32_t CharsetIso2022Jis = 0x0F0C0000;
constexpr uint32_t CharsetShiftJis = 0x13A40000;
constexpr uint32_t CharsetGb = 0x13A80000;
constexpr uint32_t CharsetKorean = 0x13B50000;
constexpr uint32_t CharsetBig5 = 0x13B60000;

// Windows code pages 1250..1257 and ISO 8859 parts 1..9.
constexpr uint32_t CharsetWindows(uint32_t page) { return 0x14E20100 + (page - 1250) * 0x10000; }
constexpr uint32_t CharsetIso8859(uint32_t part) { return 0x00080100 + part; }

constexpr uint32_t CharsetMacRoman = 0x80000100;
constexpr uint32_t CharsetMacCroatian = 0x80010100;
constexpr uint32_t CharsetMacRomanian = 0x80020100;
constexpr uint32_t CharsetMacTurkish = 0x80030100;
constexpr uint32_t CharsetMacIcelandic = 0x80040100;
constexpr uint32_t CharsetMacCyrillic = 0x80050100;
constexpr uint32_t CharsetMacGreek = 0x80060100;
constexpr uint32_t CharsetMacHebrew = 0x80090100;
constexpr uint32_t CharsetMacArabic = 0x800A0100;
constexpr uint32_t CharsetCp866 = 0x13620100;
constexpr uint32_t CharsetRoman8 = 0x201A0100;

constexpr bool IsSingleByteCharset(uint32_t charset) { return (charset & kCharsetSingleByteBit) != 0; }

static_assert(CharsetWindows(1257) == 0x14E90100 && CharsetIso8859(9) == 0x00080109);
