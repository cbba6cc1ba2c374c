// emit.h - what every writer of the filter shares: the results a body writer
// answers, the small emission routines, and the predicates on FormatIds and
// object out-pointers that several parts test.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
#include "host/constants.h"
#include "host/io_object.h"
#include "input/input.h"

// Results of a body writer.
constexpr uint16_t kWriterDone = 0xFFFF;   // the part is finished
constexpr uint16_t kWriterStopped = 0;     // the host said stop (or no decoding object)
constexpr uint16_t kWriterLimit = 1;       // the writer reached its caller's limit

void PutText(const char* text, FilterProc* proc);
int32_t RegisterText(const char* text, FilterProc* proc);
void PutObject(uint32_t number, uint32_t formatId, FilterProc* proc);
void PutPartRule(FilterProc* proc);
uint16_t NextShownPart(PartList* parts, uint16_t index);

// The seven mail kinds are walked as messages; the four even encoded kinds
// get one synthetic part.
inline bool IsMailKind(uint32_t formatId) {
    switch (formatId) {
        case FI_MIME_FILE: case FI_INTERNET_MAIL: case FI_INTERNET_NEWS: case FI_TEXT_MAIL:
        case FI_OUTLOOK_MAIL: case FI_OUTLOOK_NEWS: case FI_MHTML: return true;
        default: return false;
    }
}

inline bool IsEncodedKind(uint32_t formatId) {
    return formatId == FI_UUE || formatId == FI_XXE || formatId == FI_YENC || formatId == FI_BINHEX;
}

// Pictures and the like are placed as objects rather than links.
inline bool IsEmbeddable(uint32_t formatId) {
    return formatId >= FI_EMBEDDABLE_FIRST && formatId <= FI_EMBEDDABLE_LAST;
}

// An object out-pointer preset to 0 or -1 holds an object only when it is neither.
inline bool IsOpenObject(const IoObject* object) {
    return object != nullptr && object != reinterpret_cast<const IoObject*>(~uintptr_t{0});
}

// An object of `kind` over `base`, or null when it does not open.
inline IoObject* OpenOn(IoObject* base, uint32_t kind, void* request, uint32_t flags = 1) {
    IoObject* object = nullptr;
    if (base->Open(&object, kind, request, flags) != 0 || !IsOpenObject(object)) return nullptr;
    return object;
}
