// tnef.h - the walk over a TNEF envelope: its rich bodies and attachments
// become AttachRecords.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
#include "input/input.h"

void TnefWalk(ByteReader* reader, uint32_t start, uint32_t limit, MessagePart* part,
              GrowList* attachments, uint16_t currentPart);
