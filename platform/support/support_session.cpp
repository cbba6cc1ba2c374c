// support_session.cpp - the filter-access service and the entries of the two
// support filters.
//
// A support filter's instance block is a slot in the filter's FilterData. The
// host may save that block after any stop and put an older copy back later,
// so the block can only hold numbers: which body this is, how many paragraph
// breaks of it the host has had, and the read position the filter looks at.
// The parse itself (a libxml2 context, the RTF tokenizer) lives here, in a
// session owned by the handle. When a read finds a block that doesn't match
// the live parse, the body is parsed again from its start and its output
// dropped until as many breaks have passed as the block says; the host then
// sees what an uninterrupted run would have given it.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "host/constants.h"
#include "input/host_table.h"
#include "input/support_slot.h"
#include "platform/support/support_filter.h"

namespace {

constexpr int32_t kBodyFinished = -1;
constexpr int32_t kReadAgain = 0;
constexpr size_t kChunk = 16384;

// Our part of the image; the read position the filter reads stays where it
// looks for it (word 0 of the HTML image, byte 27828 of the RTF one).
struct ImageState {
    uint32_t body;      // which body of the session the block belongs to
    uint32_t breaks;    // paragraph breaks of that body the host has had
    uint32_t finished;  // 1 once the body has been read to its end
};
constexpr size_t kState1101 = kImage1101ReadPos + 4;
constexpr size_t kState1028 = 0;
static_assert(kState1101 + sizeof(ImageState) <= kImage1101Size);
static_assert(kState1028 + sizeof(ImageState) <= kImage1028ReadPos);

// owner, reserved and context follow one another in both slots.
constexpr size_t kOwnerBeforeContext = offsetof(SupportSlot1101, context) - offsetof(SupportSlot1101, owner);
static_assert(kOwnerBeforeContext == offsetof(SupportSlot1028, context) - offsetof(SupportSlot1028, owner));

// Reads up to `room` bytes from the reader, a buffer at a time.
size_t ReadChunk(ByteReader* reader, uint8_t* out, size_t room) {
    size_t got = 0;
    while (got < room) {
        if (reader->remaining > 0) {
            const size_t take = std::min(room - got, static_cast<size_t>(reader->remaining));
            std::memcpy(out + got, reader->next, take);
            reader->next += take;
            reader->remaining = static_cast<int16_t>(reader->remaining - static_cast<int16_t>(take));
            got += take;
            continue;
        }
        const uint16_t byte = ReaderRefill(reader);
        if (byte == kReaderEnd) break;
        out[got++] = static_cast<uint8_t>(byte);
    }
    return got;
}

// What the filter hands over for one read.
struct ReadRequest {
    ByteReader* reader;
    HostTable host;
    const GrowList* locators;
    uint32_t charset;
    const GrowList* ranges;  // RTF only: the way from the document to the body
    GrowList* chains;        // RTF only: where data objects' ways are recorded
};

// A chain equal to `steps`, if `chains` holds one already (a replay after a
// restore places the same picture again).
int32_t FindChain(const GrowList* chains, const std::vector<RangeStep>& steps) {
    for (uint16_t i = 0; i < ListCount(chains); ++i) {
        const GrowList* chain = *ListAt<GrowList*>(chains, i);
        if (!chain || ListCount(chain) != steps.size()) continue;
        bool same = true;
        for (uint16_t k = 0; k < steps.size() && same; ++k) {
            const RangeStep* step = ListAt<RangeStep>(chain, k);
            same = step->kind == steps[k].kind && step->first == steps[k].first && step->second == steps[k].second;
        }
        if (same) return i + 1;
    }
    return 0;
}

// Records `steps` as a chain; answers its number (from 1), 0 when it can't.
int32_t AddChain(GrowList* chains, const std::vector<RangeStep>& steps) {
    if (int32_t known = FindChain(chains, steps)) return known;
    GrowList* chain = ListCreate(0, 0, sizeof(RangeStep), static_cast<uint32_t>(steps.size()), 4);
    if (!chain) return 0;
    for (const RangeStep& step : steps) ListAdd(chain, &step);
    if (ListAdd(chains, &chain) < 0) {
        ListDestroy(chain);
        return 0;
    }
    return ListCount(chains);
}

class SupportSession {
public:
    explicit SupportSession(uint16_t filterId) : filterId_(filterId) {}

    // Entry 0: a new body begins.
    void Begin(ImageState* state) {
        ++bodySerial_;
        Restart(bodySerial_, 0);
        *state = ImageState{body_, 0, 0};
    }

    // Entry 1: emits until the host stops at a break or the body ends.
    int32_t Read(ImageState* state, uint32_t* readPos, const ReadRequest& request) {
        // A read behind the end of a finished body finds it finished again.
        if (state->finished) return kBodyFinished;
        ByteReader* reader = request.reader;
        if (!reader) return Finish(state, readPos);
        const HostTable& host = request.host;
        context_.locators = request.locators;
        chains_ = request.chains;
        KeepRanges(request.ranges);
        if (!renderer_ || state->body != body_ || state->breaks != breaks_ || request.charset != context_.charset) {
            context_.charset = request.charset;
            Restart(state->body, state->breaks);
        }
        host::SetCharset(host, CS_UNICODE);
        if (ReaderSeek(reader, static_cast<int32_t>(consumed_), 0) < 0) return Finish(state, readPos);
        for (;;) {
            while (!sink_.Empty()) {
                if (!Emit(sink_.Take(), host)) continue;
                *state = ImageState{body_, breaks_, 0};
                *readPos = std::max<uint32_t>(consumed_, 1);  // 0 would mean "not begun"
                return kReadAgain;
            }
            if (ended_) return Finish(state, readPos);
            FeedNext(reader);
        }
    }

    // Entry 4: the document closes; the parse is of no more use.
    void End() { renderer_.reset(); }

private:
    void Restart(uint32_t body, uint32_t skipBreaks) {
        body_ = body;
        breaks_ = 0;
        skip_ = skipBreaks;
        consumed_ = 0;
        ended_ = false;
        sink_.Clear();
        context_.out = &sink_;
        renderer_.reset();
        renderer_ = filterId_ == FI_RTF ? MakeRtfRenderer(context_) : MakeHtmlRenderer(context_);
    }

    void FeedNext(ByteReader* reader) {
        uint8_t chunk[kChunk];
        const size_t got = ReadChunk(reader, chunk, sizeof chunk);
        consumed_ += static_cast<uint32_t>(got);
        ended_ = got == 0;
        renderer_->Feed(chunk, got, ended_);
    }

    // Answers true when the host asked to stop behind this event.
    bool Emit(const SupportEvent& event, const HostTable& host) {
        const bool paragraph = event.kind == SupportEvent::kBreak && event.a == BRK_PARAGRAPH;
        if (skip_ > 0) {  // catching up after a restore: the host has all this
            if (paragraph) {
                --skip_;
                ++breaks_;
            }
            return false;
        }
        switch (event.kind) {
            case SupportEvent::kChar: PutCodePoint(event.a, host); return false;
            case SupportEvent::kBreak:
                if (!paragraph) {
                    host::PutBreak(host, event.a);
                    return false;
                }
                ++breaks_;
                return host::PutBreak(host, event.a) == 1;
            case SupportEvent::kAttribute: host::SetProperty(host, PROP_ATTRIBUTE, event.a, event.b, 0); return false;
            case SupportEvent::kTextColor: host::SetTextColor(host, 0, event.a); return false;
            case SupportEvent::kObject: host::PutObject(host, event.a, event.b); return false;
            case SupportEvent::kTab: host::PutSpecialChar(host, SPC_TAB); return false;
            case SupportEvent::kDataObject: PutDataObject(event, host); return false;
        }
        return false;
    }

    // The run cycle hands the way to the body on every read, a TNEF body
    // only on its first: the last one handed stands for the body.
    void KeepRanges(const GrowList* ranges) {
        if (!ranges || ListCount(ranges) == 0) return;
        ranges_.clear();
        for (uint16_t i = 0; i < ListCount(ranges); ++i) ranges_.push_back(*ListAt<RangeStep>(ranges, i));
    }

    void PutDataObject(const SupportEvent& event, const HostTable& host) {
        if (!chains_) return;
        std::vector<RangeStep> steps = ranges_;
        steps.push_back(RangeStep{STEP_RANGE, event.a, event.b, 0});
        const int32_t chain = AddChain(chains_, steps);
        uint32_t number = 0;
        if (chain == 0 || host::NewSubdoc(host, &number) != 0 || number == 0) return;
        host::SetProperty(host, PROP_RECIPE_STEP, STEP_SPECIAL, 2, static_cast<uint32_t>(chain));
        host::SetProperty(host, PROP_RECIPE_END, 0, 0, 0);
        host::PutObject(host, number, event.c);
    }

    // The host takes 16-bit units: beyond them a surrogate pair.
    static void PutCodePoint(uint32_t c, const HostTable& host) {
        if (c < 0x10000) {
            host::PutChar(host, c);
            return;
        }
        c -= 0x10000;
        host::PutChar(host, 0xD800 + (c >> 10));
        host::PutChar(host, 0xDC00 + (c & 0x3FF));
    }

    // The position stays non-zero: a read that comes back to this body (one
    // behind the end of the document) must not begin it again.
    int32_t Finish(ImageState* state, uint32_t* readPos) {
        *state = ImageState{body_, breaks_, 1};
        *readPos = std::max<uint32_t>(consumed_, 1);
        renderer_.reset();
        return kBodyFinished;
    }

    uint16_t filterId_;
    uint32_t bodySerial_ = 0;
    uint32_t body_ = 0;
    uint32_t breaks_ = 0;  // paragraph breaks of the live parse counted so far
    uint32_t skip_ = 0;    // of them, still to drop before output resumes
    uint32_t consumed_ = 0;
    bool ended_ = false;
    RenderSink sink_;
    RenderContext context_;
    GrowList* chains_ = nullptr;
    std::vector<RangeStep> ranges_;
    std::unique_ptr<BodyRenderer> renderer_;
};

// Handles are session addresses; a block restored from elsewhere may carry
// one that was never ours or is closed, so each is checked before use.
std::mutex registryLock;
std::unordered_set<SupportSession*> registry;

SupportSession* Live(uintptr_t handle) {
    std::lock_guard<std::mutex> hold(registryLock);
    auto* session = reinterpret_cast<SupportSession*>(handle);
    return registry.count(session) ? session : nullptr;
}

template <typename Slot>
Slot* SlotOf(void* image) {
    return static_cast<Slot*>(image);  // the image is the slot's first member
}

template <typename Slot>
ImageState* StateOf(Slot* slot) {
    constexpr size_t at = sizeof slot->image == kImage1028Size ? kState1028 : kState1101;
    return reinterpret_cast<ImageState*>(slot->image + at);
}

template <typename Slot>
uint32_t* ReadPosOf(Slot* slot) {
    constexpr size_t at = sizeof slot->image == kImage1028Size ? kImage1028ReadPos : kImage1101ReadPos;
    return reinterpret_cast<uint32_t*>(slot->image + at);
}

template <typename Slot>
int32_t EntryBegin(uint32_t, void* image) noexcept {
    Slot* slot = SlotOf<Slot>(image);
    SupportSession* session = Live(slot->handle);
    if (session) try {
            session->Begin(StateOf(slot));
        } catch (...) {
            session->End();
        }
    return 0;
}

// Nothing may throw into the filter: a body whose parse fails for want of
// memory ends where it is.
// Only the RTF slot carries the way to its body and the chains.
template <typename Slot>
ReadRequest RequestOf(Slot* slot) {
    const auto* owner = reinterpret_cast<const FilterDataHead*>(slot->owner);
    ReadRequest request{static_cast<ByteReader*>(slot->stream), HostTable{slot->routines, slot->user1, slot->user2},
                        slot->locators, owner ? owner->charset : CS_UNICODE, nullptr, nullptr};
    if constexpr (std::is_same_v<Slot, SupportSlot1028>) {
        request.ranges = slot->ranges;
        request.chains = slot->chains;
    }
    return request;
}

// Nothing may throw into the filter: a body whose parse fails for want of
// memory ends where it is.
template <typename Slot>
int32_t EntryRead(uint32_t, void* image) noexcept {
    Slot* slot = SlotOf<Slot>(image);
    SupportSession* session = Live(slot->handle);
    if (session) try {
            return session->Read(StateOf(slot), ReadPosOf(slot), RequestOf(slot));
        } catch (...) {
            session->End();
        }
    *ReadPosOf(slot) = 0;
    return kBodyFinished;
}

template <typename Slot>
int32_t EntryEnd(uint32_t, void* image) noexcept {
    if (SupportSession* session = Live(SlotOf<Slot>(image)->handle)) session->End();
    return 0;
}

int32_t EntryUnused(uint32_t, void*) noexcept { return 0; }

template <typename Slot>
void FillEntries(void (*entries[5])(void)) {
    entries[0] = reinterpret_cast<void (*)(void)>(&EntryBegin<Slot>);
    entries[1] = reinterpret_cast<void (*)(void)>(&EntryRead<Slot>);
    entries[2] = reinterpret_cast<void (*)(void)>(&EntryUnused);
    entries[3] = reinterpret_cast<void (*)(void)>(&EntryUnused);
    entries[4] = reinterpret_cast<void (*)(void)>(&EntryEnd<Slot>);
}

}  // namespace

uintptr_t SupportFilterOpen(uint16_t filterId, void (*entries[5])(void), uint16_t* status) {
    if (filterId != FI_HTML_FILTER && filterId != FI_RTF) {
        *status = 1;
        return 0;
    }
    if (filterId == FI_RTF)
        FillEntries<SupportSlot1028>(entries);
    else
        FillEntries<SupportSlot1101>(entries);
    auto* session = new (std::nothrow) SupportSession(filterId);
    if (!session) {
        *status = 1;
        return 0;
    }
    {
        std::lock_guard<std::mutex> hold(registryLock);
        registry.insert(session);
    }
    *status = 0;
    return reinterpret_cast<uintptr_t>(session);
}

void* SupportFilterOwner(void* context) {
    auto* ownerField = reinterpret_cast<FilterProc**>(static_cast<uint8_t*>(context) - kOwnerBeforeContext);
    return *ownerField;
}

void SupportFilterClose(uintptr_t handle) {
    auto* session = reinterpret_cast<SupportSession*>(handle);
    {
        std::lock_guard<std::mutex> hold(registryLock);
        if (!registry.erase(session)) return;
    }
    delete session;
}
