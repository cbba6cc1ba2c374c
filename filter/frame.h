// frame.h - the run cycle's own routines: the per-part head and body, and the
// hooks of recognition and planning that the entry points call.
#pragma once

#include <cstdint>

#include "core/emit.h"
#include "core/filter_proc.h"
#include "host/io_object.h"
#include "input/input.h"

// The range of a part as an Open kind 8 request.
IoRangeRequest PartRange(IoObject* stream, const MessagePart* part);

void PartHeadEmit(IoObject* partStream, IoRangeRequest range, MessagePart* part, FilterProc* proc);
uint16_t PartBodyEmit(IoObject* partStream, IoRangeRequest range, MessagePart* part,
                      FilterProc* proc);

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
