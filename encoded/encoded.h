// encoded.h - encoded content: telling encoded data from text, the encoded
// blocks inside a text, and what a part's body is.
#pragma once

#include <cstdint>

#include "filter/filter_proc.h"
#include "input/input.h"

uint16_t ScanSegments(ByteReader* reader, uint32_t start, uint32_t end, MessagePart* part,
                      GrowList* list, TextBuffer* scratch, uint16_t partIndex);

// The TransferCode of a text that is one encoded block as a whole, else 0.
uint32_t SniffEncoded(ByteReader* reader, uint32_t limit, uint32_t qpHint, uint32_t strict,
                      TextBuffer* scratch);

// The state of one reading of a BinHex stream; cleared before the first byte.
struct BinHexState {
    uint16_t cursor;
    uint16_t count;
    uint16_t repeat;
    uint8_t triple[3];
};

// The next byte behind BinHex's run-length layer: 0 with the byte in *value,
// or -9 at the end of the stream.
int32_t BinHexNext(ByteReader* reader, uint16_t* value, BinHexState* state);

// Writes `formatId` and `transferCode` of a leaf part from what its bytes hold.
void ClassifyPart(IoObject* stream, MessagePart* part, TextBuffer* scratch, uint32_t documentFormat);
