// range_object.cpp - Open kind 8: a window of bytes first..last of a base
// object, whatever the base is (a file, a decoding stage, another range, an
// object of the filter's).
//
// The range reads its base only through the base's own Seek and Read, and
// seeks the base before every read, since others may move the base between
// two of our calls. It does not own the base and never closes it. A last
// offset of 0xFFFFFFFE or more runs to the base's end; a last offset before
// the first makes an empty object, not a failure (a header-only part asks for
// such a range).
#include <cstdlib>
#include <cstring>

#include "platform/objects.h"
#include "platform/platform.h"

namespace {

constexpr uint64_t kUnbounded = UINT64_MAX;
constexpr uint32_t kLastMeansEnd = 0xFFFFFFFE;
constexpr uint64_t kPositionLimit = 0x100000000ull;  // first position we can't name
// A base's GetInfo 3 may fill up to 513 bytes (the filter's objects do).
constexpr size_t kBaseNameBuffer = 513;
constexpr size_t kMaxNameBytes = 255;

struct RangeObject {
    IoObject io;        // first, so an IoObject* is a RangeObject*
    IoObject* base;     // not owned
    uint32_t first;
    uint64_t length;    // kUnbounded: to the base's end
    uint64_t position;  // from `first`
    char* directory;    // the base's, when the base knows one; else null
};

RangeObject* AsRange(IoObject* object) { return reinterpret_cast<RangeObject*>(object); }

int32_t RangeClose(IoObject* object) {
    RangeObject* range = AsRange(object);
    free(range->directory);
    free(range);
    return 0;
}

// Reads up to `count` bytes of the base at absolute offset `at`; the base may
// deliver less per call (decoders do), so ask until full or the base ends.
int32_t ReadBase(IoObject* base, uint64_t at, uint8_t* buf, uint32_t count, uint32_t* got) {
    *got = 0;
    if (base->Seek(base, 0, static_cast<int32_t>(static_cast<uint32_t>(at))) != 0) return kIoFailed;
    while (*got < count) {
        uint32_t part = 0;
        if (base->Read(base, buf + *got, count - *got, &part) != 0) return *got != 0 ? 0 : kIoFailed;
        if (part == 0 || part > count - *got) break;
        *got += part;
    }
    return 0;
}

int32_t RangeRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    RangeObject* range = AsRange(object);
    if (got == nullptr || (buf == nullptr && count != 0)) return kIoFailed;
    *got = 0;
    if (range->position >= range->length) return 0;
    uint64_t absolute = range->first + range->position;
    if (absolute >= kPositionLimit) return 0;
    uint64_t n = count;
    if (range->length != kUnbounded && range->length - range->position < n) {
        n = range->length - range->position;
    }
    if (kPositionLimit - absolute < n) n = kPositionLimit - absolute;
    if (n == 0) return 0;
    int32_t result = ReadBase(range->base, absolute, static_cast<uint8_t*>(buf),
                              static_cast<uint32_t>(n), got);
    range->position += *got;
    return result;
}

// The range's true length: its own bound, cut at the base's end.
bool EffectiveLength(RangeObject* range, uint64_t* length) {
    IoObject* base = range->base;
    uint32_t baseEnd = 0;
    if (base->Seek(base, 2, 0) != 0 || base->Tell(base, &baseEnd) != 0) return false;
    uint64_t available = baseEnd > range->first ? baseEnd - range->first : 0;
    *length = available < range->length ? available : range->length;
    return true;
}

int32_t RangeSeek(IoObject* object, uint16_t whence, int32_t offset) {
    RangeObject* range = AsRange(object);
    auto endOf = [range](uint64_t* end) { return EffectiveLength(range, end); };
    return SeekTarget(whence, offset, range->position, endOf, &range->position) ? 0 : kIoFailed;
}

int32_t RangeTell(IoObject* object, uint32_t* pos) {
    if (pos == nullptr) return kIoFailed;
    *pos = static_cast<uint32_t>(AsRange(object)->position);
    return 0;
}

// A range is named after what it lies in: the questions go to the base.
int32_t RangeGetInfo(IoObject* object, uint32_t what, void* answer) {
    IoObject* base = AsRange(object)->base;
    if (answer == nullptr) return kIoFailed;
    if (what == IO_INFO_NAME) {
        char name[kBaseNameBuffer + 1] = {};
        int32_t result = base->GetInfo(base, what, name);
        if (result != 0) return result;
        size_t length = strnlen(name, kMaxNameBytes);
        memcpy(answer, name, length);
        static_cast<char*>(answer)[length] = '\0';
        return 0;
    }
    if (what == IO_INFO_NAME_KIND) {
        uint32_t kind = 0;
        int32_t result = base->GetInfo(base, what, &kind);
        if (result == 0) *static_cast<uint32_t*>(answer) = kind;
        return result;
    }
    return kIoNotAnswered;
}

uint64_t LengthOf(uint32_t first, uint32_t last) {
    if (last >= kLastMeansEnd) return kUnbounded;
    if (last < first) return 0;
    return static_cast<uint64_t>(last) - first + 1;
}

}  // namespace

const char* RangeObjectDirectory(IoObject* object) {
    if (object == nullptr || object->Close != RangeClose) return nullptr;
    return AsRange(object)->directory;
}

int32_t RangeObjectOpen(const IoRangeRequest* request, IoObject** out) {
    IoObject* base = request->base;
    if (base == nullptr || base->Read == nullptr || base->Seek == nullptr ||
        base->Tell == nullptr || base->GetInfo == nullptr) {
        return kIoNotMade;
    }
    auto* range = static_cast<RangeObject*>(calloc(1, sizeof(RangeObject)));
    if (range == nullptr) return kIoNotMade;
    const char* directory = PlatformObjectDirectory(base);
    if (directory != nullptr) {
        range->directory = strdup(directory);
        if (range->directory == nullptr) {
            free(range);
            return kIoNotMade;
        }
    }
    // Numbers travel zero-extended in pointer-sized words; only 32 bits count.
    range->first = static_cast<uint32_t>(request->first);
    range->length = LengthOf(range->first, static_cast<uint32_t>(request->last));
    range->base = base;
    range->io.Close = RangeClose;
    range->io.Read = RangeRead;
    range->io.Write = nullptr;
    range->io.Seek = RangeSeek;
    range->io.Tell = RangeTell;
    range->io.GetInfo = RangeGetInfo;
    range->io.Open = PlatformOpen;
    *out = &range->io;
    return 0;
}
