// host_table.h - the one place that turns a stored VwRoutine back into the
// host routine's own type: the per-id slot map of a 121-slot routine table and
// typed calls on it. The filter calls through its own table, a support filter
// through the copy in its slot; both libraries include this.
#pragma once

#include <cstdint>

#include "host/host_routines.h"

// The slot of routine `id` in a 121-slot table, or -1 for an id that has none
// (0, 119, 120 and anything outside 1..121). Slots are not in id order.
constexpr int HostSlotOfId(int id) {
    if (id >= 1 && id <= 30) return id - 1;
    if (id == 113) return 30;
    if (id >= 109 && id <= 112) return id - 109 + 31;
    if (id >= 31 && id <= 35) return id - 31 + 35;
    if (id == 104) return 40;
    if (id >= 36 && id <= 75) return id - 36 + 41;
    if (id == 114) return 81;
    if (id >= 76 && id <= 103) return id - 76 + 82;
    if (id >= 105 && id <= 108) return id - 105 + 110;
    if (id >= 115 && id <= 118) return id - 115 + 114;
    if (id == 121) return 120;
    return -1;
}

static_assert(HostSlotOfId(5) == 4 && HostSlotOfId(33) == 37 && HostSlotOfId(49) == 54);
static_assert(HostSlotOfId(99) == 105 && HostSlotOfId(119) == -1 && HostSlotOfId(121) == 120);

// A view of one routine table with its two user words: the filter's own, or a
// support slot's copy.
struct HostTable {
    const VwRoutine* routines;
    uintptr_t user1;
    uintptr_t user2;

    template <typename Fn>
    Fn At(int id) const {
        return reinterpret_cast<Fn>(routines[HostSlotOfId(id)]);
    }
};

// Typed calls on a table.
namespace host {
inline int32_t PutChar(const HostTable& t, uint32_t ch) {
    return t.At<SoPutCharFn>(SO_PUTCHAR)(ch, t.user1, t.user2);
}
inline int32_t PutSpecialChar(const HostTable& t, uint32_t kind) {
    return t.At<SoPutSpecialCharFn>(SO_PUTSPECIALCHAR)(kind, t.user1, t.user2);
}
inline int32_t SetFontSize(const HostTable& t, int32_t size) {
    return t.At<SoSetFontSizeFn>(SO_SETFONTSIZE)(size, t.user1, t.user2);
}
// Only the low 16 bits of the answer count.
inline uint16_t PutBreak(const HostTable& t, uint32_t kind) {
    return static_cast<uint16_t>(t.At<SoPutBreakFn>(SO_PUTBREAK)(kind, 0, t.user1, t.user2));
}
inline int32_t SetTextColor(const HostTable& t, uint32_t which, uint32_t colour) {
    return t.At<SoSetTextColorFn>(SO_SETTEXTCOLOR)(which, colour, t.user1, t.user2);
}
inline int32_t SetCharset(const HostTable& t, uint32_t charset) {
    return t.At<SoSetCharsetFn>(SO_SETCHARSET)(charset, t.user1, t.user2);
}
inline int32_t SetProperty(const HostTable& t, uint32_t form, uint32_t a, uint32_t b, uint32_t c) {
    return t.At<SoSetPropertyFn>(SO_SETPROPERTY)(form, a, b, c, t.user1, t.user2);
}
inline int32_t BeginTag(const HostTable& t, uint32_t kind, uint32_t id, const uint32_t* record) {
    return t.At<SoBeginTagFn>(SO_BEGINTAG)(kind, id, record, t.user1, t.user2);
}
inline int32_t EndTag(const HostTable& t, uint32_t kind, uint32_t id) {
    return t.At<SoEndTagFn>(SO_ENDTAG)(kind, id, t.user1, t.user2);
}
inline int32_t NewSubdoc(const HostTable& t, uint32_t* number) {
    return t.At<SoNewSubdocFn>(SO_NEWSUBDOC)(number, t.user1, t.user2);
}
inline int32_t PutObjectRecord(const HostTable& t, const uint32_t* record) {
    return t.At<SoPutObjectFn>(SO_PUTOBJECT)(record, t.user1, t.user2);
}
// An object in the run: sub-document `number`, of `formatId`, placed whole.
inline int32_t PutObject(const HostTable& t, uint32_t number, uint32_t formatId) {
    uint32_t record[40] = {};
    record[0] = sizeof record;
    record[2] = 1;
    record[3] = formatId;
    for (int group = 12; group < 32; group += 5) record[group + 2] = 1;
    record[32] = 4;
    record[33] = number;
    record[34] = 0xFFFFFFFF;
    return PutObjectRecord(t, record);
}
}  // namespace host
