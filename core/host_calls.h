// host_calls.h - the filter's host calls, on its own routine table.
//
// The filter calls a host routine as SoPutBreak(kind, 0, proc): the wrapper
// finds the slot, casts to the exact type and appends user1 / user2.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
#include "host/host_routines.h"
#include "input/host_table.h"

inline HostTable HostOf(const FilterProc* proc) {
    return HostTable{proc->hostRoutines, proc->user1, proc->user2};
}

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
