// support_run.cpp - running a body through a support filter. The support
// filter writes to the host itself through a copy of the host routines; the
// filter hands it the reader and the lists it may use, calls it, and takes its
// state back. After each entry call the block's only valid address is the
// one DelegateSwitch answers.
#include <cstring>

#include "body/body.h"
#include "core/emit.h"
#include "host/constants.h"

namespace {

constexpr uint16_t kBodyFinished = 0xFFFF;

template <typename Slot>
int32_t CallEntry(Slot& slot, int index) {
    return reinterpret_cast<SupportEntryFn>(slot.entry[index])(0, slot.image);
}

// A support filter that answers no block leaves the one it was given in force.
FilterProc* SwitchBack(void* context, void* routines, FilterProc* proc) {
    FilterProc* owner = DelegateSwitch(context, routines);
    return owner ? owner : proc;
}

uint32_t ImageWord(const uint8_t* image, size_t at) {
    uint32_t word;
    std::memcpy(&word, image + at, sizeof word);
    return word;
}

template <typename Slot>
void HandOver(Slot& slot, ByteReader* reader, FilterProc* proc) {
    slot.stream = reader;
    slot.locators = proc->locators;
    slot.user1 = proc->user1;
    slot.user2 = proc->user2;
    slot.owner = proc;
    std::memcpy(slot.routines, proc->hostRoutines, sizeof slot.routines);
}

// Entry 0 once per body, on the first read of it.
template <typename Slot>
FilterProc* BeginBody(Slot& slot, ByteReader* reader, FilterProc* proc) {
    slot.stream = reader;
    CallEntry(slot, 0);
    proc = SwitchBack(slot.context, slot.routines, proc);
    std::memcpy(proc->hostRoutines, slot.routines, sizeof slot.routines);
    return proc;
}

// The first record of the attachment list whose body the open support filters
// can run; 1028 wins when both could.
const AttachRecord* ChooseTnefBody(const FilterProc* proc) {
    const GrowList* list = proc->attachments;
    if (!list || ListCount(list) == 0) return nullptr;
    for (int pass = 0; pass < 2; ++pass) {
        const bool want1028 = pass == 0;
        if (want1028 ? !proc->support1028Open : !proc->support1101Open) continue;
        for (uint16_t i = 0; i < ListCount(list); ++i) {
            const auto* record = ListAt<AttachRecord>(list, i);
            if (want1028 ? record->forFilter1028 : record->forFilter1101) return record;
        }
    }
    return nullptr;
}

}  // namespace

uint16_t SupportRun1028(ByteReader* reader, FilterProc* proc) {
    if (!proc->support1028Open) return kBodyFinished;
    if (proc->readPos == 0) {
        proc = BeginBody(proc->support1028, reader, proc);
        if (!proc->chains) proc->chains = ListCreate(0, 0, sizeof(GrowList*), 4, 4);
    }
    SupportSlot1028& slot = proc->support1028;
    HandOver(slot, reader, proc);
    slot.ranges = proc->ranges;
    slot.chains = proc->chains;
    const auto code = static_cast<uint16_t>(CallEntry(slot, 1));
    proc = SwitchBack(slot.context, slot.routines, proc);
    std::memcpy(proc->hostRoutines, proc->support1028.routines, sizeof proc->hostRoutines);
    proc->readPos = ImageWord(proc->support1028.image, kImage1028ReadPos);
    if (proc->ranges) {
        ListDestroy(proc->ranges);
        proc->ranges = nullptr;
    }
    return code;
}

uint16_t SupportRun1101(ByteReader* reader, FilterProc* proc) {
    if (!proc->support1101Open) return kBodyFinished;
    if (proc->readPos == 0) proc = BeginBody(proc->support1101, reader, proc);
    SupportSlot1101& slot = proc->support1101;
    HandOver(slot, reader, proc);
    const auto code = static_cast<uint16_t>(CallEntry(slot, 1));
    proc = SwitchBack(slot.context, slot.routines, proc);
    std::memcpy(proc->hostRoutines, proc->support1101.routines, sizeof proc->hostRoutines);
    proc->readPos = ImageWord(proc->support1101.image, kImage1101ReadPos);
    return code;
}

// Every read of a TNEF body opens its range and decoding stage afresh; what
// carries over between reads is the support filter's own position. A stage
// that does not open leaves the support filter reading the stage before it.
uint16_t TnefBodyRun(IoObject* stream, FilterProc* proc) {
    const AttachRecord* record = ChooseTnefBody(proc);
    if (!record) return kBodyFinished;
    const bool rtf = record->forFilter1028 != 0;
    const uint32_t first = record->offset;
    const uint32_t last = record->length == kToTheEnd ? kToTheEnd : first + record->length - 1;
    const uint32_t transferCode = record->transferCode;

    IoRangeRequest rangeRequest{stream, first, last};
    IoObject* range = OpenOn(stream, IO_OPEN_RANGE, &rangeRequest, 9);
    IoObject* decoded = nullptr;
    if (range) {
        const uint32_t length = last == kToTheEnd ? 0xFFFFFFFF : last - first + 1;
        if (proc->readPos == 0) RangeStepAdd(STEP_RANGE, first, length, proc);
        if (transferCode != 0) {
            IoDecodeRequest decodeRequest{range, 0, transferCode, {}};
            decoded = OpenOn(range, IO_OPEN_DECODE, &decodeRequest, 1);
            if (decoded && proc->readPos == 0) RangeStepAdd(STEP_DECODE, transferCode, 0, proc);
        }
    }
    IoObject* source = decoded ? decoded : range ? range : stream;
    uint16_t code = kBodyFinished;
    if (ByteReader* reader = ReaderOpen(source)) {
        code = rtf ? SupportRun1028(reader, proc) : SupportRun1101(reader, proc);
        ReaderClose(reader);
    }
    if (decoded) decoded->Close(decoded);
    if (range) range->Close(range);
    return code;
}
