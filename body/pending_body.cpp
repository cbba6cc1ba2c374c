// Stand-ins until the rich text writers, support filters and inline segments
// exist: rich text is shown as plain text, and bodies meant for a support
// filter are passed over in silence, as when no support filter opens.
#include "body/body.h"
#include "core/emit.h"

uint16_t EnrichedBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    return PlainBodyWrite(reader, start, limit, proc);
}
uint16_t RichtextBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    return PlainBodyWrite(reader, start, limit, proc);
}
uint16_t SupportRun1101(ByteReader*, FilterProc*) { return kWriterDone; }
uint16_t SupportRun1028(ByteReader*, FilterProc*) { return kWriterDone; }
uint16_t TnefBodyRun(IoObject*, FilterProc*) { return kWriterDone; }
uint16_t InlineSegmentsWrite(IoObject*, uint32_t, uint32_t, FilterProc*) { return kWriterDone; }
