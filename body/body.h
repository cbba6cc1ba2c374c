// body.h - the body writers: plain text, the two rich text kinds,
// the support-filter runs, the TNEF body, the link to an embedded message,
// and a text with inline encoded segments. Each answers 0xFFFF when its part
// is finished, 0 when the host said stop.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
#include "input/input.h"

// Plain text from `position` up to `limit` in the part's charset.
uint16_t PlainBodyWrite(ByteReader* reader, uint32_t position, uint32_t limit, FilterProc* proc);
// The two rich text writers resume at `start` (0: a new body) with the
// format they kept in FilterData.
uint16_t EnrichedBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc);
uint16_t RichtextBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc);
// 1 when a blank line follows at the reader's position (LF LF, CR CR or
// CR LF CR LF), else 0; the position is kept.
uint32_t NextIsBlankLine(ByteReader* reader);
uint16_t SupportRun1101(ByteReader* reader, FilterProc* proc);
uint16_t SupportRun1028(ByteReader* reader, FilterProc* proc);
uint16_t TnefBodyRun(IoObject* stream, FilterProc* proc);
uint16_t EmbeddedMessageLink(ByteReader* reader, MessagePart* part, FilterProc* proc);
uint16_t InlineSegmentsWrite(IoObject* partStream, uint32_t start, uint32_t length, FilterProc* proc);

// Records one step of the way to a support filter's body; a step whose
// `first` is 0 is not recorded.
void RangeStepAdd(uint32_t kind, uint32_t first, uint32_t second, FilterProc* proc);

// Opens the support filter of `kind` (1028, anything else 1101) over `stream`;
// success shows in the slot's open flag. `part` is the body it opens for, or
// null for a TNEF document.
void SupportOpen(uint16_t kind, IoObject* stream, MessagePart* part, FilterProc* proc);
