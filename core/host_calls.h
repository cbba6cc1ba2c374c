// host_calls.h - the one place that turns a stored VwRoutine back into the
// host routine's own type, and the per-id slot map of the routine table.
//
// The filter calls a host routine as SoPutBreak(kind, 0, proc): the wrapper
// finds the slot, casts to the exact type and appends user1 / user2. A support
// filter uses the same map over the copy of the table in its slot.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
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

inline HostTable HostOf(const FilterProc* proc) {
    return HostTable{proc->hostRoutines, proc->user1, proc->user2};
}

// Typed calls on a table; the FilterProc overloads below are what the filter uses.
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
}  // namespace host

inline int32_t SoPutChar(uint32_t ch, FilterProc* proc) { return host::PutChar(HostOf(proc), ch); }
inline int32_t SoPutSpecialChar(uint32_t kind, FilterProc* proc) {
    return host::PutSpecialChar(HostOf(proc), kind);
}
inline int32_t SoSetFontSize(int32_t size, FilterProc* proc) {
    return host::SetFontSize(HostOf(proc), size);
}
inline uint16_t SoPutBreak(uint32_t kind, FilterProc* proc) {
    return host::PutBreak(HostOf(proc), kind);
}
inline int32_t SoBeginSection(FilterProc* proc) {
    return HostOf(proc).At<SoBeginSectionFn>(SO_BEGINSECTION)(0, 0, 0, proc->user1, proc->user2);
}
inline int32_t SoBailOut(FilterProc* proc) {
    return HostOf(proc).At<SoBailOutFn>(SO_BAILOUT)(0, proc->user1, proc->user2);
}
inline int32_t SoSetParaSpacing(uint32_t kind, uint32_t amount, uint32_t before, uint32_t after,
                                FilterProc* proc) {
    return HostOf(proc).At<SoSetParaSpacingFn>(SO_SETPARASPACING)(kind, amount, before, after,
                                                                  proc->user1, proc->user2);
}
inline int32_t SoBeginTable(FilterProc* proc) {
    return HostOf(proc).At<SoBeginTableFn>(SO_BEGINTABLE)(proc->user1, proc->user2);
}
inline int32_t SoEndTable(FilterProc* proc) {
    return HostOf(proc).At<SoEndTableFn>(SO_ENDTABLE)(proc->user1, proc->user2);
}
inline int32_t SoPutObject(const uint32_t* record, FilterProc* proc) {
    return host::PutObjectRecord(HostOf(proc), record);
}
inline int32_t SoPutRule(const uint32_t* record, FilterProc* proc) {
    return HostOf(proc).At<SoPutRuleFn>(SO_PUTRULE)(record, 0, 255, 9360, 2, proc->user1,
                                                    proc->user2);
}
inline int32_t SoBeginTag(uint32_t kind, uint32_t id, const uint32_t* record, FilterProc* proc) {
    return host::BeginTag(HostOf(proc), kind, id, record);
}
inline int32_t SoEndTag(uint32_t kind, uint32_t id, FilterProc* proc) {
    return host::EndTag(HostOf(proc), kind, id);
}
inline int32_t SoRegisterText(const uint16_t* text, uint32_t charset, uint32_t length,
                              uint32_t* number, FilterProc* proc) {
    return HostOf(proc).At<SoRegisterTextFn>(SO_REGISTERTEXT)(text, charset, length, number,
                                                              proc->user1, proc->user2);
}
inline int32_t SoDeclareSubText(uint32_t kind, uint32_t number, FilterProc* proc) {
    return HostOf(proc).At<SoDeclareSubTextFn>(SO_DECLARESUBTEXT)(kind, number, proc->user1,
                                                                  proc->user2);
}
inline int32_t SoPutRowFormat(const uint32_t* rowFormat, FilterProc* proc) {
    return HostOf(proc).At<SoPutRowFormatFn>(SO_PUTROWFORMAT)(rowFormat, proc->user1, proc->user2);
}
inline int32_t SoSetTextColor(uint32_t which, uint32_t colour, FilterProc* proc) {
    return host::SetTextColor(HostOf(proc), which, colour);
}
inline int32_t SoSetSecondColor(uint32_t which, uint32_t colour, FilterProc* proc) {
    return HostOf(proc).At<SoSetSecondColorFn>(SO_SETSECONDCOLOR)(which, colour, proc->user1,
                                                                  proc->user2);
}
inline int32_t SoSetCharset(uint32_t charset, FilterProc* proc) {
    return host::SetCharset(HostOf(proc), charset);
}
inline int32_t SoNewSubdoc(uint32_t* number, FilterProc* proc) {
    return host::NewSubdoc(HostOf(proc), number);
}
inline int32_t SoPutStringId(uint32_t number, FilterProc* proc) {
    return HostOf(proc).At<SoPutStringIdFn>(SO_PUTSTRINGID)(number, proc->user1, proc->user2);
}
inline int32_t SoPutCellFormat(const uint32_t* cell, FilterProc* proc) {
    return HostOf(proc).At<SoPutCellFormatFn>(SO_PUTCELLFORMAT)(cell, proc->user1, proc->user2);
}
inline int32_t SoSetProperty(uint32_t form, uint32_t a, uint32_t b, uint32_t c, FilterProc* proc) {
    return host::SetProperty(HostOf(proc), form, a, b, c);
}
inline int32_t SoSetSectionName(uint32_t number, FilterProc* proc) {
    return HostOf(proc).At<SoSetSectionNameFn>(SO_SETSECTIONNAME)(number, 1, proc->user1,
                                                                  proc->user2);
}
