// platform_open.cpp - the Open routine that every platform object carries:
// dispatches a request to the kind that makes it, and tells which objects are
// ours (only ours know the directory their bytes come from).
//
// On failure *out is left as the caller preset it; callers close an object
// only when the out-pointer holds neither 0 nor -1.
#include "platform/decode/decode.h"
#include "platform/objects.h"
#include "platform/platform.h"

const char* PlatformObjectDirectory(IoObject* object) {
    if (const char* directory = FileObjectDirectory(object)) return directory;
    return RangeObjectDirectory(object);
}

int32_t PlatformOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags) {
    (void)flags;  // 1 or 9 from the filter; nothing here depends on them
    if (out == nullptr || request == nullptr) return kIoNotMade;
    IoObject* made = nullptr;
    int32_t result = kIoNotMade;
    switch (kind) {
    case IO_OPEN_RANGE:
        result = RangeObjectOpen(static_cast<const IoRangeRequest*>(request), &made);
        break;
    case IO_OPEN_SIBLING:
        result = SiblingObjectOpen(static_cast<const IoSiblingRequest*>(request), &made);
        break;
    case IO_OPEN_DECODE: {
        auto* decode = static_cast<const IoDecodeRequest*>(request);
        if (decode->base == nullptr) return kIoNotMade;
        result = DecodeObjectOpen(decode->base, static_cast<uint32_t>(decode->transferCode), &made);
        break;
    }
    default:
        return kIoNotMade;
    }
    if (result != 0 || made == nullptr) return result != 0 ? result : kIoNotMade;
    *out = made;
    return 0;
}
