// Stand-in until inline encoded segments are found: a text holds none.
#include "encoded/encoded.h"

uint16_t ScanSegments(ByteReader*, uint32_t, uint32_t, MessagePart*, GrowList*, TextBuffer*,
                      uint16_t) {
    return 0;
}

// Until the sniffer lands no document is taken as one block as a whole.
uint32_t SniffEncoded(ByteReader*, uint32_t, uint32_t, uint32_t, TextBuffer*) { return 0; }

int32_t BinHexNext(ByteReader*, uint16_t*, BinHexState*) { return -9; }
