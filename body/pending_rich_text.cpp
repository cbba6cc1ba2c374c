// Stand-ins until the rich text writers exist: rich text is shown as plain text.
#include "body/body.h"

uint16_t EnrichedBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    return PlainBodyWrite(reader, start, limit, proc);
}
uint16_t RichtextBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    return PlainBodyWrite(reader, start, limit, proc);
}
