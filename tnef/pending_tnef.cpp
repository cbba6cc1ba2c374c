// Stand-in until the TNEF walker lands: an envelope yields no records.
#include "tnef/tnef.h"

void TnefWalk(ByteReader*, uint32_t, uint32_t, MessagePart*, GrowList*, uint16_t) {}
