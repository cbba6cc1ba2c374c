// locator_streams.cpp - streams a host asks for that are no attachment: a
// plain byte range of the document (an embedded message) and the chain of
// range and decoding steps the RTF support filter recorded for something
// inside a body. Both are a thin shell over the last stream opened.
#include <cstring>

#include "core/emit.h"
#include "core/host_calls.h"
#include "subdoc/subdoc.h"

namespace {

IoObject* const kUnset = reinterpret_cast<IoObject*>(~uintptr_t{0});
constexpr uint32_t kOpenUsual = 1;
constexpr uint32_t kOpenMarked = 9;
constexpr char kChainName[] = "locatorsbody.tmp";
constexpr char kRangeName[] = "locatorsbody2.tmp";

struct MIMELocatorsObject {
    IoObject io;
    void* block;
    GrowList* chain;        // RangeStep list that was followed; null for a byte range
    IoObject* finalStream;  // every read goes through it
    char name[kObjectNameSize];
};

static_assert(offsetof(MIMELocatorsObject, io) == 0, "an IoObject* is a MIMELocatorsObject*");

MIMELocatorsObject* AsLocators(IoObject* object) {
    return reinterpret_cast<MIMELocatorsObject*>(object);
}

IoObject* FinalStream(IoObject* object) { return object ? AsLocators(object)->finalStream : nullptr; }

MIMELocatorsObject* NewObject(FilterProc* proc) {
    void* block = nullptr;
    void* data = nullptr;
    if (BlockAlloc(&block, &data, sizeof(MIMELocatorsObject)) != 0) {
        SoBailOut(proc);
        return nullptr;
    }
    auto* object = static_cast<MIMELocatorsObject*>(data);
    object->block = block;
    return object;
}

void Hand(MIMELocatorsObject* object, IoObject* openFrom, IoObject* finalStream, GrowList* chain,
          const char* name, IoObject** out) {
    object->io.Close = &MIMELocatorsDoClose;
    object->io.Read = &MIMELocatorsDoRead;
    object->io.Write = nullptr;
    object->io.Seek = &MIMELocatorsDoSeek;
    object->io.Tell = &MIMELocatorsDoTell;
    object->io.GetInfo = &MIMELocatorsDoGetInfo;
    object->io.Open = openFrom->Open;
    object->finalStream = finalStream;
    object->chain = chain;
    std::strcpy(object->name, name);
    *out = &object->io;
}

// A byte range (first, length) of `base`; a length of 0xFFFFFFFE or more runs
// to the end.
IoObject* OpenRange(IoObject* base, uint32_t first, uint32_t length) {
    uint32_t last = length >= kToTheEnd ? kToTheEnd : first + length - 1;
    IoRangeRequest request{base, first, last};
    IoObject* made = nullptr;
    if (!base->Open || base->Open(&made, IO_OPEN_RANGE, &request, kOpenMarked) != 0) {
        if (IsOpenObject(made)) made->Close(made);
        return nullptr;
    }
    return IsOpenObject(made) ? made : nullptr;
}

// Opens one step on `current` into the step's object word; false on failure.
bool OpenStep(RangeStep* step, IoObject* current) {
    if (step->kind == STEP_RANGE) {
        IoObject* range = OpenRange(current, step->first, step->second);
        step->object = reinterpret_cast<uintptr_t>(range);
        return range != nullptr;
    }
    step->object = reinterpret_cast<uintptr_t>(kUnset);
    IoDecodeRequest request{current, 0, step->first, {}};
    IoObject* made = kUnset;
    int32_t result = current->Open ? current->Open(&made, IO_OPEN_DECODE, &request, kOpenUsual) : -1;
    step->object = reinterpret_cast<uintptr_t>(made);
    return result == 0 && IsOpenObject(made);
}

// Closes the objects of steps [0, count) in reverse, each unless it is `keep`.
void CloseSteps(GrowList* chain, uint16_t count, IoObject* keep) {
    for (uint16_t i = count; i-- > 0;) {
        auto* object = reinterpret_cast<IoObject*>(ListAt<RangeStep>(chain, i)->object);
        if (IsOpenObject(object) && object != keep) object->Close(object);
    }
}

}  // namespace

bool LocatorRangeOpen(IoObject* stream, uint32_t offset, IoObject** out, uint32_t length,
                      FilterProc* proc) {
    MIMELocatorsObject* object = NewObject(proc);
    if (!object) return false;
    IoObject* range = OpenRange(stream, offset, length);
    if (!range) {
        StringFree(object->block);
        SoBailOut(proc);
        return false;
    }
    Hand(object, range, range, nullptr, kRangeName, out);
    return true;
}

bool LocatorChainOpen(IoObject* stream, IoObject** out, uint32_t number, FilterProc* proc) {
    GrowList* chains = proc->chains;
    // The number comes back from the host; one that names no chain is refused.
    if (!chains || number == 0 || number > ListCount(chains)) return false;
    MIMELocatorsObject* object = NewObject(proc);
    if (!object) return false;
    GrowList* chain = *ListAt<GrowList*>(chains, number - 1);
    IoObject* current = stream;
    uint16_t steps = ListCount(chain);
    for (uint16_t i = 0; i < steps; ++i) {
        RangeStep* step = ListAt<RangeStep>(chain, i);
        if (step->kind != STEP_RANGE && step->kind != STEP_DECODE) {
            step->object = 0;  // no stale object of an earlier open is closed twice
            continue;
        }
        if (!OpenStep(step, current)) {
            CloseSteps(chain, static_cast<uint16_t>(i + 1), nullptr);
            StringFree(object->block);
            SoBailOut(proc);
            return false;
        }
        current = reinterpret_cast<IoObject*>(step->object);
    }
    Hand(object, stream, current, chain, kChainName, out);
    return true;
}

extern "C" {

int32_t MIMELocatorsDoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    IoObject* final = FinalStream(object);
    if (!final) return kObjectNoStream;
    return final->Read(final, buf, count, got);
}

int32_t MIMELocatorsDoSeek(IoObject* object, uint16_t whence, int32_t offset) {
    IoObject* final = FinalStream(object);
    if (!final) return kObjectNoStream;
    if (whence > 2) return 0;
    return final->Seek(final, whence, offset);
}

int32_t MIMELocatorsDoTell(IoObject* object, uint32_t* pos) {
    IoObject* final = FinalStream(object);
    if (!final) return kObjectNoStream;
    return final->Tell(final, pos);
}

int32_t MIMELocatorsDoGetInfo(IoObject* object, uint32_t what, void* answer) {
    if (!object) return kObjectNotAnswered;
    return ObjectGetInfo(object, AsLocators(object)->name, what, answer);
}

int32_t MIMELocatorsDoClose(IoObject* object) {
    if (!object) return 0;
    MIMELocatorsObject* self = AsLocators(object);
    std::memset(&self->io, 0, 7 * sizeof(void*));
    // A chain's last opened step is its final stream, so closing the steps
    // innermost first closes it too; a chain that opened nothing reads the
    // host's own stream, which stays open.
    if (self->chain)
        CloseSteps(self->chain, ListCount(self->chain), nullptr);
    else if (IsOpenObject(self->finalStream))
        self->finalStream->Close(self->finalStream);
    StringFree(self->block);
    return 0;
}

}  // extern "C"
