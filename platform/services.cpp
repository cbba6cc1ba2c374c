// services.cpp - the six services the filter imports by name, as plain C
// routines. Each one unpacks its arguments and calls the C++ side; nothing
// throws across.
#include "host/services.h"

#include "platform/identify/identify.h"
#include "platform/support/support_filter.h"

namespace {

constexpr uint16_t kNoFormat = 1999;
constexpr uint16_t kNoSupportFilter = 1;

}  // namespace

extern "C" {

void IdentifyHandle(IoObject* object, uint32_t mode, uint16_t* formatId) {
    (void)mode;  // 0 or 1 from the filter; both ask the same question
    if (formatId == nullptr) return;
    uint8_t window[kIdentifyWindow];
    size_t length = 0;
    if (!IdentifyReadWindow(object, window, &length)) return;
    if (uint16_t answer = IdentifyBytes(window, length)) *formatId = answer;
}

uint16_t IdentifySpecial(IoObject* object, uint16_t hint) {
    (void)hint;  // always 4050 from the filter: "which encoding, and which piece"
    uint8_t window[kIdentifyWindow];
    size_t length = 0;
    if (!IdentifyReadWindow(object, window, &length)) return kNoFormat;
    uint16_t answer = IdentifyEncodedBytes(window, length);
    return answer != 0 ? answer : kNoFormat;
}

uintptr_t DelegateOpen(IoObject* stream, uint16_t filterId, VwRoutine entries[5], uint16_t* info,
                       uint16_t* status) {
    (void)stream;  // the body's reader comes with each read, in the slot
    uint16_t ignored = 0;
    if (info) *info = 0;
    if (!entries) {
        if (status) *status = kNoSupportFilter;
        return 0;
    }
    return SupportFilterOpen(filterId, entries, status ? status : &ignored);
}

struct FilterProc* DelegateSwitch(void* context, void* routines) {
    (void)routines;  // the slot's table is the copy the filter takes back itself
    if (!context) return nullptr;
    return static_cast<FilterProc*>(SupportFilterOwner(context));
}

void DelegateClose(uintptr_t handle) { SupportFilterClose(handle); }

void CopyWideText(uint16_t* dst, const char* src) {
    if (dst == nullptr) return;
    if (src == nullptr) {
        *dst = 0;
        return;
    }
    const auto* byte = reinterpret_cast<const unsigned char*>(src);
    while (*byte != 0) *dst++ = *byte++;
    *dst = 0;
}

}  // extern "C"
