// Stand-in until inline encoded segments are found: a text holds none.
#include "encoded/encoded.h"

uint16_t ScanSegments(ByteReader*, uint32_t, uint32_t, MessagePart*, GrowList*, TextBuffer*,
                      uint16_t) {
    return 0;
}
