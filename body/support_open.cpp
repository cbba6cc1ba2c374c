// support_open.cpp - opening a support filter into its slot. The slot is the
// support filter's own instance block; it gets the host's routines and user
// words so that it can write to the host directly.
#include <cstring>

#include "body/body.h"
#include "host/constants.h"
#include "message/message.h"

namespace {

// The body a support filter runs on is itself a place references may name.
void AddOwnLocator(MessagePart* part, FilterProc* proc) {
    const char* cid = FindField("content-id", part->headers);
    const char* loc = FindField("content-location", part->headers);
    if (!cid && !loc) return;
    LocatorRecord locator{};
    if (cid) locator.contentId = StringDup(static_cast<uint32_t>(std::strlen(cid)), &locator.idBlock, cid);
    if (loc)
        locator.contentLocation =
            StringDup(static_cast<uint32_t>(std::strlen(loc)), &locator.locationBlock, loc);
    if (ListAdd(proc->locators, &locator) < 0) {
        StringFree(locator.idBlock);
        StringFree(locator.locationBlock);
    }
}

template <typename Slot>
bool OpenSlot(Slot& slot, uint16_t filterId, IoObject* stream, FilterProc* proc) {
    std::memset(static_cast<void*>(&slot), 0, sizeof slot);
    slot.stream = stream;
    slot.filterId = filterId;
    slot.handle = DelegateOpen(stream, filterId, slot.entry, &slot.info, &slot.status);
    if (slot.status != 0) return false;
    slot.user1 = proc->user1;
    slot.user2 = proc->user2;
    slot.owner = proc;
    std::memcpy(slot.routines, proc->hostRoutines, sizeof slot.routines);
    return true;
}

}  // namespace

void SupportOpen(uint16_t kind, IoObject* stream, MessagePart* part, FilterProc* proc) {
    if (kind == FI_RTF) {
        if (OpenSlot(proc->support1028, FI_RTF, stream, proc)) proc->support1028Open = 1;
        return;
    }
    if (!OpenSlot(proc->support1101, FI_HTML_FILTER, stream, proc)) return;
    proc->support1101Open = 1;
    if (part) AddOwnLocator(part, proc);
}
