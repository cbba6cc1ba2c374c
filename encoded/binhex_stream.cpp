// binhex_stream.cpp - reads a BinHex 4.0 stream byte by byte: the 6-bit
// symbols, their groups of three bytes, and the run-length layer on top.
// The filter reads only the few bytes at the start of the stream that carry
// the file's name; it never decodes a whole fork and checks no CRC.
#include "encoded/encoded.h"

namespace {

constexpr uint16_t kStreamEnd = 0xFFFF;
constexpr uint8_t kNotSymbol = 0xFF;
constexpr uint8_t kRunMarker = 0x90;

// The 64 symbols of BinHex 4.0, value 0 first.
constexpr char kAlphabet[] = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
static_assert(sizeof(kAlphabet) == 65);

struct SymbolTable {
    uint8_t value[128];
    constexpr SymbolTable() : value() {
        for (uint8_t& v : value) v = kNotSymbol;
        for (uint8_t i = 0; i < 64; ++i) value[static_cast<uint8_t>(kAlphabet[i])] = i;
    }
};
constexpr SymbolTable kSymbols;

bool IsSkipped(uint16_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == 0x08; }

}  // namespace

uint16_t BinHexSymbol(ByteReader* reader) {
    uint16_t c = ReaderGet(reader);
    while (IsSkipped(c)) c = ReaderGet(reader);
    if (c == ':' || c == kReaderEnd) return kStreamEnd;
    return c < 128 ? kSymbols.value[c] : kNotSymbol;
}

uint16_t BinHexByte(ByteReader* reader, BinHexState* state) {
    if (state->cursor < state->count) return state->triple[state->cursor++];
    uint16_t s[4] = {0, 0, 0, 0};
    int got = 0;
    while (got < 4) {
        uint16_t symbol = BinHexSymbol(reader);
        if (symbol == kStreamEnd) break;
        s[got++] = symbol;
    }
    if (got < 2) {
        // Left to us: an ended stream keeps no stale bytes for a later call.
        state->cursor = 0;
        state->count = 0;
        return kStreamEnd;
    }
    state->count = got == 4 ? 3 : static_cast<uint16_t>(got - 1);
    state->triple[0] = static_cast<uint8_t>((s[0] << 2) | (s[1] >> 4));
    state->triple[1] = static_cast<uint8_t>((s[1] << 4) | (s[2] >> 2));
    state->triple[2] = static_cast<uint8_t>((s[2] << 6) | s[3]);
    state->cursor = 1;
    return state->triple[0];
}

int32_t BinHexNext(ByteReader* reader, uint16_t* value, BinHexState* state) {
    constexpr int32_t kEndOfStream = -9;
    if (state->repeat != 0) {
        --state->repeat;
        return 0;
    }
    uint16_t byte = BinHexByte(reader, state);
    if (byte == kStreamEnd) return kEndOfStream;
    if (byte != kRunMarker) {
        *value = byte;
        return 0;
    }
    uint16_t count = BinHexByte(reader, state);
    if (count == kStreamEnd) return kEndOfStream;
    // A count of 0 (or 1) stands for the marker byte itself; a greater count
    // repeats the byte before it, which is given once now.
    if (count <= 1) {
        *value = kRunMarker;
    } else {
        state->repeat = static_cast<uint16_t>(count - 2);
    }
    return 0;
}
