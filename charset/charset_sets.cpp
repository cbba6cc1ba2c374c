// charset_sets.cpp - what the filter knows of a character set beyond its
// name: the lead bytes of the multi-byte sets, and what the host is told.
#include <array>

#include "charset/charset.h"
#include "core/host_calls.h"

namespace {

// An inclusive range of lead bytes.
struct LeadRange {
    uint8_t first;
    uint8_t last;
};

struct LeadBytes {
    uint32_t charset;
    std::array<LeadRange, 3> ranges;  // unused entries are {1, 0}: empty
};

constexpr LeadRange kNone = {1, 0};

constexpr LeadBytes kLeadBytes[] = {
    {CharsetUtf8, {{{0x80, 0xFF}, kNone, kNone}}},
    {CharsetUtf7, {{{0x00, 0xFF}, kNone, kNone}}},
    {CharsetShiftJis, {{{0x81, 0x9F}, {0xE0, 0xFC}, kNone}}},
    {CharsetGb, {{{0xA1, 0xA9}, {0xB0, 0xF7}, kNone}}},
    {CharsetKorean, {{{0xA1, 0xAC}, {0xB0, 0xC8}, {0xCA, 0xFD}}}},
    {CharsetBig5, {{{0xA1, 0xC6}, {0xC9, 0xF9}, kNone}}},
};

}  // namespace

uint32_t IsLeadByte(uint32_t value, uint32_t charset) {
    for (const LeadBytes& entry : kLeadBytes) {
        if (entry.charset != charset) continue;
        for (const LeadRange& range : entry.ranges)
            if (value >= range.first && value <= range.last) return 1;
        return 0;
    }
    return 0;
}

void AnnounceCharset(uint32_t charset, FilterProc* proc) {
    // UTF-8 and UTF-7 reach the host as decoded 16-bit values, JIS pairs as
    // Shift-JIS codes (see the character reader).
    uint32_t told = charset;
    if (charset == CharsetUtf8 || charset == CharsetUtf7 || charset == CharsetIso2022)
        told = CharsetPlain;
    else if (charset == CharsetIso2022Jis)
        told = CharsetShiftJis;
    SoSetCharset(told, proc);
}
