// frame.h - the filter frame's internal routines: the small emission helpers
// every writer uses, the per-part head and body, the plain text writer, and
// the hooks of recognition and planning that the run cycle calls.
#pragma once

#include <cstdint>

#include "filter/filter_proc.h"
#include "host/constants.h"
#include "host/io_object.h"
#include "input/input.h"

// Results of a body writer.
constexpr uint16_t kWriterDone = 0xFFFF;   // the part is finished
constexpr uint16_t kWriterStopped = 0;     // the host said stop (or no decoding object)
constexpr uint16_t kWriterLimit = 1;       // the writer reached its caller's limit

// The range of a part as an Open kind 8 request.
IoRangeRequest PartRange(IoObject* stream, const MessagePart* part);

void PutText(const char* text, FilterProc* proc);
int32_t RegisterText(const char* text, FilterProc* proc);
void PutObject(uint32_t number, uint32_t formatId, FilterProc* proc);
void PutPartRule(FilterProc* proc);
uint16_t NextShownPart(PartList* parts, uint16_t index);

void PartHeadEmit(IoObject* partStream, IoRangeRequest range, MessagePart* part, FilterProc* proc);
uint16_t PartBodyEmit(IoObject* partStream, IoRangeRequest range, MessagePart* part,
                      FilterProc* proc);
uint16_t PlainBodyWrite(ByteReader* reader, uint32_t position, uint32_t limit, FilterProc* proc);

// Recognition: the two gates and the building of `parts`. Each answers 0 or a
// stream code; a non-zero code means VwStreamOpen refuses the document.
int16_t FirstGate(IoObject* stream, FilterProc* proc);
int16_t SecondGate(FilterProc* proc);
int16_t BuildParts(IoObject* stream, FilterProc* proc);

// Planning, behind the preamble of VwStreamSection: 0 or a stream code.
int16_t PlanSection(IoObject* stream, FilterProc* proc);

// Frees the parts list with everything its elements own.
void PartsDestroy(PartList* parts);

// Closes and clears partStream / decodeStream as a pair.
void ClosePartStreams(FilterProc* proc);

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
