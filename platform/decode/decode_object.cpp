// decode_object.cpp - the decoding stage as an IoObject (Open kind 19): the
// decoded bytes of a base object, streaming, in constant memory.
//
// The base is read from its start in large reads. The last kKeepBehind bytes
// of output stay in a window, so the short backward seeks that readers make
// all the time cost nothing. Every ~64 KiB of output a checkpoint (input
// offset, decoder state, output offset) is kept; a seek further back restarts
// the decoder at the nearest checkpoint before it, so paging through a large
// body stays linear. Checkpoints are thinned when they grow many, so their
// memory stays bounded too. The decoded length is known once the decoder has
// run to the end, and remembered.
// Won't: fail on malformed input (a decoder ends where it can go no further),
// or write. A base that fails a read ends the data there; one that fails a
// seek back leaves nothing more to read behind the window.
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "platform/decode/decode.h"
#include "platform/decode/decoders.h"
#include "platform/objects.h"

namespace {

constexpr size_t kInputCapacity = 128 * 1024;  // holds kDetectWindow and then some
constexpr uint32_t kLargestRead = 65535;       // what other objects are asked for at most
constexpr size_t kKeepBehind = 64 * 1024;
constexpr size_t kWindowCapacity = 256 * 1024;
constexpr uint64_t kFirstCheckpointEvery = 64 * 1024;
constexpr size_t kMostCheckpoints = 1024;

static_assert(kInputCapacity >= kDetectWindow + kMinInput);
static_assert(kWindowCapacity >= kKeepBehind + 2 * kMinRoom);

struct Checkpoint {
    uint64_t inOffset;
    uint64_t outOffset;
};

struct DecodeObject {
    IoObject io;  // first, so an IoObject* is a DecodeObject*
    IoObject* base;
    const DecoderKind* kind;
    std::unique_ptr<uint8_t[]> state;

    std::unique_ptr<uint8_t[]> input;
    size_t inStart = 0, inEnd = 0;  // unconsumed input
    uint64_t inOffset = 0;          // base offset of input[inStart]
    bool baseEnded = false;
    bool wantMore = false;          // the decoder asked for more input than it had
    bool decodeEnded = false;

    std::unique_ptr<uint8_t[]> window;
    size_t windowCount = 0;
    uint64_t windowStart = 0;  // output offset of window[0]
    uint64_t position = 0;

    std::vector<Checkpoint> checkpoints;
    std::vector<uint8_t> checkpointStates;  // kind->stateSize bytes each
    uint64_t checkpointEvery = kFirstCheckpointEvery;
};

DecodeObject* AsDecode(IoObject* object) { return reinterpret_cast<DecodeObject*>(object); }

uint64_t Produced(const DecodeObject* d) { return d->windowStart + d->windowCount; }

void AddCheckpoint(DecodeObject* d) {
    if (d->checkpoints.size() == kMostCheckpoints) {
        // Keep every other one: the restart distance doubles, memory stays put.
        size_t size = d->kind->stateSize, kept = 0;
        for (size_t i = 0; i < d->checkpoints.size(); i += 2, ++kept) {
            d->checkpoints[kept] = d->checkpoints[i];
            std::memmove(&d->checkpointStates[kept * size], &d->checkpointStates[i * size], size);
        }
        d->checkpoints.resize(kept);
        d->checkpointStates.resize(kept * size);
        d->checkpointEvery *= 2;
    }
    d->checkpoints.push_back({d->inOffset, Produced(d)});
    d->checkpointStates.insert(d->checkpointStates.end(), d->state.get(),
                               d->state.get() + d->kind->stateSize);
}

void FillInput(DecodeObject* d) {
    std::memmove(d->input.get(), d->input.get() + d->inStart, d->inEnd - d->inStart);
    d->inEnd -= d->inStart;
    d->inStart = 0;
    while (d->inEnd < kInputCapacity && !d->baseEnded) {
        size_t space = kInputCapacity - d->inEnd;
        uint32_t ask = space < kLargestRead ? static_cast<uint32_t>(space) : kLargestRead;
        uint32_t got = 0;
        int32_t result = d->base->Read(d->base, d->input.get() + d->inEnd, ask, &got);
        if (got > ask) got = ask;
        d->inEnd += got;
        if (result != 0 || got == 0) d->baseEnded = true;
    }
}

void SlideWindow(DecodeObject* d) {
    if (kWindowCapacity - d->windowCount >= kMinRoom) return;
    size_t drop = d->windowCount - kKeepBehind;
    std::memmove(d->window.get(), d->window.get() + drop, kKeepBehind);
    d->windowStart += drop;
    d->windowCount = kKeepBehind;
}

// Runs the decoder once, appending to the window.
void DecodeMore(DecodeObject* d) {
    if ((d->inEnd - d->inStart < kMinInput || d->wantMore) && !d->baseEnded) FillInput(d);
    SlideWindow(d);
    size_t room = kWindowCapacity - d->windowCount;
    // Positions are 32-bit: output beyond the largest length is cut off.
    uint64_t left = kLargestObjectLength - Produced(d);
    if (left < room) room = static_cast<size_t>(left);
    size_t available = d->inEnd - d->inStart;
    bool atEnd = d->baseEnded;
    DecodeStep step = room < kMinRoom ? DecodeStep{0, 0, true}
                                      : d->kind->decode(d->state.get(), d->input.get() + d->inStart,
                                                        available, atEnd, d->window.get() + d->windowCount,
                                                        room);
    d->inStart += step.consumed;
    d->inOffset += step.consumed;
    d->windowCount += step.produced;
    bool stuck = step.consumed == 0 && step.produced == 0;
    d->wantMore = stuck;
    if (step.finished || (atEnd && d->inStart == d->inEnd) ||
        (stuck && (atEnd || available == kInputCapacity))) {
        d->decodeEnded = true;
        return;
    }
    const Checkpoint& last = d->checkpoints.back();
    if (Produced(d) - last.outOffset >= d->checkpointEvery) AddCheckpoint(d);
}

size_t NearestCheckpointIndex(const DecodeObject* d, uint64_t target) {
    size_t i = d->checkpoints.size();
    while (i > 1 && d->checkpoints[i - 1].outOffset > target) --i;
    return i - 1;
}

const Checkpoint& NearestCheckpoint(const DecodeObject* d, uint64_t target) {
    return d->checkpoints[NearestCheckpointIndex(d, target)];
}

// Restarts the decoder at the last checkpoint at or before `target`.
void Rewind(DecodeObject* d, uint64_t target) {
    size_t i = NearestCheckpointIndex(d, target) + 1;
    const Checkpoint& from = d->checkpoints[i - 1];
    size_t size = d->kind->stateSize;
    std::memcpy(d->state.get(), &d->checkpointStates[(i - 1) * size], size);
    d->inStart = d->inEnd = 0;
    d->inOffset = from.inOffset;
    d->windowStart = from.outOffset;
    d->windowCount = 0;
    d->wantMore = false;
    d->decodeEnded = false;
    d->baseEnded = false;
    if (from.inOffset > 0xFFFFFFFFu ||
        d->base->Seek(d->base, 0, static_cast<int32_t>(static_cast<uint32_t>(from.inOffset))) != 0) {
        d->decodeEnded = true;  // nothing more can be read behind the window
    }
}

int32_t DoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    DecodeObject* d = AsDecode(object);
    uint8_t* to = static_cast<uint8_t*>(buf);
    uint32_t copied = 0;
    try {
        while (copied < count) {
            if (d->position < d->windowStart) {
                Rewind(d, d->position);
                if (d->decodeEnded) break;
            }
            uint64_t end = Produced(d);
            if (d->position < end) {
                uint64_t n = end - d->position;
                if (n > count - copied) n = count - copied;
                std::memcpy(to + copied, d->window.get() + (d->position - d->windowStart), n);
                d->position += n;
                copied += static_cast<uint32_t>(n);
                continue;
            }
            if (d->decodeEnded) break;
            if (d->position - end > kKeepBehind && NearestCheckpoint(d, d->position).outOffset > end) {
                // A jump ahead into ground decoded before: start from its checkpoint.
                Rewind(d, d->position);
                continue;
            }
            DecodeMore(d);
        }
    } catch (const std::bad_alloc&) {
        d->decodeEnded = true;
    }
    if (got) *got = copied;
    return 0;
}

int32_t DoSeek(IoObject* object, uint16_t whence, int32_t offset) {
    DecodeObject* d = AsDecode(object);
    int64_t target;
    if (whence == 1) {
        target = static_cast<int64_t>(d->position) + offset;
    } else if (whence == 2) {
        try {
            while (!d->decodeEnded) DecodeMore(d);
        } catch (const std::bad_alloc&) {
            d->decodeEnded = true;
        }
        target = static_cast<int64_t>(Produced(d)) + offset;
    } else {
        target = static_cast<uint32_t>(offset);
    }
    if (target < 0 || target > 0xFFFFFFFF) return kIoFailed;
    d->position = static_cast<uint64_t>(target);
    return 0;
}

int32_t DoTell(IoObject* object, uint32_t* pos) {
    if (pos) *pos = static_cast<uint32_t>(AsDecode(object)->position);
    return 0;
}

int32_t DoGetInfo(IoObject* object, uint32_t what, void* answer) {
    // The name, and with it its kind, is the base's: a decoded attachment is
    // known by the name of the stream it came from.
    IoObject* base = AsDecode(object)->base;
    if ((what == IO_INFO_NAME || what == IO_INFO_NAME_KIND) && base->GetInfo)
        return base->GetInfo(base, what, answer);
    return kIoNotAnswered;
}

int32_t DoClose(IoObject* object) {
    delete AsDecode(object);
    return 0;
}

DecodeObject* MakeObject(IoObject* base, const DecoderKind* kind) {
    auto d = std::make_unique<DecodeObject>();
    d->io = IoObject{};
    d->io.Close = DoClose;
    d->io.Read = DoRead;
    d->io.Seek = DoSeek;
    d->io.Tell = DoTell;
    d->io.GetInfo = DoGetInfo;
    d->io.Open = base->Open;  // derived objects go through the base's own Open
    d->base = base;
    d->kind = kind;
    d->state.reset(new uint8_t[kind->stateSize]);
    kind->init(d->state.get());
    d->input.reset(new uint8_t[kInputCapacity]);
    d->window.reset(new uint8_t[kWindowCapacity]);
    d->checkpoints.reserve(16);
    AddCheckpoint(d.get());
    return d.release();
}

}  // namespace

int32_t DecodeObjectOpen(IoObject* base, uint32_t transferCode, IoObject** out) {
    const DecoderKind* kind = DecoderKindFor(transferCode);
    if (kind == nullptr || base == nullptr || out == nullptr || base->Read == nullptr ||
        base->Seek == nullptr)
        return kIoNotMade;
    DecodeObject* d = nullptr;
    try {
        d = MakeObject(base, kind);
    } catch (const std::bad_alloc&) {
        return kIoNotMade;
    }
    // The base's positions need not start where we find them: always from 0.
    base->Seek(base, 0, 0);
    *out = &d->io;
    return 0;
}
