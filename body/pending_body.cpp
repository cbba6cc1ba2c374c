// Stand-ins until the rich text writers and inline segments exist: rich text
// is shown as plain text.
#include "body/body.h"
#include "core/emit.h"

uint16_t EnrichedBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    return PlainBodyWrite(reader, start, limit, proc);
}
uint16_t RichtextBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    return PlainBodyWrite(reader, start, limit, proc);
}
uint16_t InlineSegmentsWrite(IoObject*, uint32_t, uint32_t, FilterProc*) { return kWriterDone; }
