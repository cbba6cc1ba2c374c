// entry_points.cpp - the exported routines a host calls before and around the
// run: the routine table, the information queries, the instance block, the
// saving and restoring of FilterData, and the installing of host routines.
// This file is the C border: nothing here throws and every argument arrives
// as the C header declares it.
#include <cstdlib>
#include <cstring>

#include "core/filter_proc.h"
#include "core/host_calls.h"
#include "core/stand_ins.h"
#include "host/mailfilter.h"
#include "subdoc/subdoc.h"

namespace {

// The declared FormatIds in the order the format table lists them.
constexpr uint16_t kFormatIds[17] = {
    FI_MIME_FILE, FI_INTERNET_MAIL, FI_INTERNET_NEWS, FI_TEXT_MAIL, FI_OUTLOOK_MAIL,
    FI_OUTLOOK_NEWS, FI_MHTML, FI_UUE, FI_XXE, FI_YENC, FI_BINHEX, FI_UUE_PIECE,
    FI_XXE_PIECE, FI_YENC_PIECE, FI_BINHEX_PIECE, FI_TNEF, FI_MBOX};

// The build date in the form "Jan 24 2007": __DATE__ pads a one-digit day
// with a blank, which is dropped.
void WriteBuildDate(char* out) {
    const char* date = __DATE__;
    size_t n = 0;
    for (size_t i = 0; date[i]; ++i) {
        if (i == 4 && date[i] == ' ') continue;
        out[n++] = date[i];
    }
    out[n] = '\0';
}

template <typename T>
void WriteValue(void* answer, T value) {
    std::memcpy(answer, &value, sizeof value);
}

}  // namespace

extern "C" {

int16_t VwStreamSeek(IoObject*, FilterProc*) { return 0; }
int16_t VwStreamTell(IoObject*, FilterProc*) __attribute__((alias("VwStreamSeek")));

void VwGetRtns(VwRoutine* table, uint16_t count) {
    const VwRoutine always[18] = {
        reinterpret_cast<VwRoutine>(&VwStreamOpen),
        reinterpret_cast<VwRoutine>(&VwStreamSection),
        reinterpret_cast<VwRoutine>(&VwStreamRead),
        reinterpret_cast<VwRoutine>(&VwStreamSeek),
        reinterpret_cast<VwRoutine>(&VwStreamTell),
        reinterpret_cast<VwRoutine>(&VwGetInfo),
        reinterpret_cast<VwRoutine>(&VwGetData),
        reinterpret_cast<VwRoutine>(&VwSetData),
        reinterpret_cast<VwRoutine>(&VwLocalUp),
        reinterpret_cast<VwRoutine>(&VwLocalDown),
        reinterpret_cast<VwRoutine>(&VwAllocProc),
        reinterpret_cast<VwRoutine>(&VwFreeProc),
        reinterpret_cast<VwRoutine>(&VwSetUser),
        reinterpret_cast<VwRoutine>(&VwSetSoRtn),
        reinterpret_cast<VwRoutine>(&VwStreamClose),
        nullptr,
        nullptr,
        &VwStreamReadRecord,
    };
    for (int i = 0; i < 18; ++i) table[i] = always[i];
    if (count >= 19) table[18] = DoSpecialRoutine();
    if (count >= 22)
        for (int i = 19; i <= 21; ++i) table[i] = nullptr;
    if (count >= 29)
        for (int i = 22; i <= 32; ++i) table[i] = nullptr;
}

int32_t VwGetInfo(void* answer, uint32_t id) {
    switch (id & 0xFFFF) {
        case 1:
        case 10: WriteValue<uint16_t>(answer, kFilterDataSize); return 1;
        case 2: WriteValue<uint16_t>(answer, kOpenClearSize); return 1;
        // 3 to 5 are read by hosts only; the filter itself never uses them.
        case 3: WriteValue<uint16_t>(answer, 776); return 1;
        case 4: WriteValue<uint16_t>(answer, 400); return 1;
        case 5: WriteValue<uint16_t>(answer, 440); return 1;
        case 6: WriteValue<uint16_t>(answer, 17); return 1;
        case 7: std::memcpy(answer, kFormatIds, sizeof kFormatIds); return 1;
        case 8: WriteBuildDate(static_cast<char*>(answer)); return 1;
        case 9: std::strcpy(static_cast<char*>(answer), __TIME__); return 1;
        case 11: WriteValue<uint16_t>(answer, 0); return 1;
        case 12: WriteValue<uint32_t>(answer, 0x12345678); return 1;
        case 13: WriteValue<uint32_t>(answer, 0); return 1;
        default: return 0;
    }
}

FilterProc* VwAllocProc(void) {
    auto* proc = static_cast<FilterProc*>(std::calloc(1, sizeof(FilterProc)));
    if (proc) proc->self = proc;
    return proc;
}

void VwFreeProc(FilterProc* proc) {
    if (proc && proc->self) std::free(proc->self);
}

void VwGetData(void* destination, FilterProc* proc) {
    std::memcpy(destination, proc, kFilterDataSize);
}

void VwSetData(const void* source, FilterProc* proc) {
    std::memcpy(static_cast<void*>(proc), source, kFilterDataSize);
}

void VwLocalUp(void* handle, void** out, FilterProc* proc) {
    *out = handle;
    for (int id = 1; id <= SO_ROUTINE_COUNT; ++id) {
        int slot = HostSlotOfId(id);
        if (slot >= 0) proc->hostRoutines[slot] = StandInFor(id);
    }
}

void VwLocalDown(void* handle, void** out) { *out = handle; }

void VwSetUser(uintptr_t user1, uintptr_t user2, FilterProc* proc) {
    proc->user1 = user1;
    proc->user2 = user2;
}

void VwSetSoRtn(int32_t id, VwRoutine routine, FilterProc* proc) {
    int16_t rid = static_cast<int16_t>(id);
    int slot = HostSlotOfId(rid);
    if (slot < 0) return;
    VwRoutine installed = routine ? routine : StandInFor(rid);
    proc->hostRoutines[slot] = installed;
    // Id 121 also stands in for id 4, whose slot it shares.
    if (rid == 121) proc->hostRoutines[HostSlotOfId(4)] = routine ? routine : StandInFor(4);
}

}  // extern "C"
