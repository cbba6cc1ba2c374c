// encoded.h - encoded content: telling encoded data from text, the encoded
// blocks inside a text, and what a part's body is.
//
// Nothing here decodes: the decoding stages belong to the host (Open kind 19).
// These routines only look at the text and name the encoding it is in.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
#include "input/input.h"

// --- The sniffer -------------------------------------------------------------

// The TransferCode of a text that is one encoded block as a whole, else 0.
// `reader` stands at offset 0 of its stream; reading ends once `limit` bytes
// are taken (0xFFFFFFFE: no limit). `strict` is 1 for a message part, which
// must hold nothing but the block, and 0 for a whole encoded document.
// `qpHint` is 1 when the part's header declares quoted-printable. The
// reader's position is undefined afterwards.
uint32_t SniffEncoded(ByteReader* reader, uint32_t limit, uint32_t qpHint, uint32_t strict,
                      TextBuffer* scratch);

// What the identification service makes of bytes first..last (inclusive) of
// the reader's stream, asked as encoded data; 0 when the range can't be opened.
uint16_t IdentifyBlock(ByteReader* reader, uint32_t first, uint32_t last);

// 1, with the reader behind them, when the next bytes equal `pattern`, in
// which '#' stands for any decimal digit; else 0 with the reader unmoved.
uint32_t MatchLiteral(ByteReader* reader, const char* pattern);

// The decimal number at the start of `text`, 0 if none; wraps in 32 bits.
uint32_t ParseDigits(const char* text);

// ParseDigits behind the first exact occurrence of `key` in `text`, else 0.
uint32_t NumberAfter(const char* key, const char* text);

// --- Inline segments and the BinHex stream -------------------------------------

// Adds to `list` one AttachRecord for each complete encoded block whose
// opening stands at a line start of the part's raw text, from `start` up to
// `end` (a block that opens before `end` may run past it). Answers how many
// were added; `partIndex` becomes their owner.
uint16_t ScanSegments(ByteReader* reader, uint32_t start, uint32_t end, MessagePart* part,
                      GrowList* list, TextBuffer* scratch, uint16_t partIndex);

// The next blank-delimited word of the line into `buffer` (at most size - 1
// bytes kept, the rest read and dropped); the byte that ends it is consumed.
// Null when the word is empty.
char* ReadNameToken(ByteReader* reader, char* buffer, uint16_t size);

// The state of one reading of a BinHex stream; cleared before the first byte.
struct BinHexState {
    uint16_t cursor;   // index of the next byte in `triple`
    uint16_t count;    // bytes in `triple` that are valid
    uint16_t repeat;   // repeats of the last byte still to give
    uint8_t triple[3];
};

// The next 6-bit symbol of a BinHex stream, 0xFFFF at its end (a ':' or the
// end of input); 0xFF for a byte outside the alphabet.
uint16_t BinHexSymbol(ByteReader* reader);

// The next byte of the stream below the run-length layer, 0xFFFF at its end.
uint16_t BinHexByte(ByteReader* reader, BinHexState* state);

// The next byte behind BinHex's run-length layer: 0 with the byte in *value,
// or -9 at the end of the stream. *value is kept by the caller between calls.
int32_t BinHexNext(ByteReader* reader, uint16_t* value, BinHexState* state);

// --- Part classification ----------------------------------------------------------

// Writes `formatId` and `transferCode` of a leaf part from what its bytes hold.
// `stream` is the document's object, `scratch` the line buffer, and
// `documentFormat` the document's FormatId.
void ClassifyPart(IoObject* stream, MessagePart* part, TextBuffer* scratch, uint32_t documentFormat);
