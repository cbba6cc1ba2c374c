// do_special.cpp - VwDoSpecial, the one door through which a host opens a
// sub-document that a recipe step (0x100, a, b) names, and the routine that
// slot 18 of the exported table holds. It only picks the worker; the objects
// are made in their own files.
#include "core/stand_ins.h"
#include "host/mailfilter.h"
#include "subdoc/subdoc.h"

namespace {

enum : uint32_t {
    kRequestAttachment = 0,  // b: index in attachments
    kRequestSplitBody = 1,   // b: not read
    kRequestChain = 2,       // b: number in chains, from 1
    // 3 and above: a is the offset of a byte range, b its length. A body
    // never starts at 0, 1 or 2: a header stands in front of it.
};

bool OpenRequested(IoObject* stream, uint32_t a, IoObject** out, uint32_t b, FilterProc* proc) {
    switch (a) {
        case kRequestAttachment: return AttachmentBodyOpen(stream, b, out, proc);
        case kRequestSplitBody: return SplitBodyOpen(stream, out, proc);
        case kRequestChain: return LocatorChainOpen(stream, out, b, proc);
        default: return LocatorRangeOpen(stream, a, out, b, proc);
    }
}

}  // namespace

// The host learns the outcome from *out. The result repeats it as a stream
// code for hosts that prefer one: 0 when an object was handed out (even one
// that reads nothing), -2 when none was.
extern "C" int16_t VwDoSpecial(IoObject* stream, uint32_t a, IoObject** out, uint32_t b,
                               uintptr_t /*c*/, uintptr_t /*d*/, FilterProc* proc) {
    if (!stream || !out || !proc) return VW_ERR_NOT_MINE;
    return OpenRequested(stream, a, out, b, proc) ? VW_OK : VW_ERR_NOT_MINE;
}

VwRoutine DoSpecialRoutine() { return reinterpret_cast<VwRoutine>(&VwDoSpecial); }
