// compressed_rtf.cpp - compressed RTF as TNEF carries it: a 16-byte header
// (compressed size, raw size, "LZFu" or "MELA", CRC), then LZ77 data over a
// 4096-byte dictionary that starts with a fixed RTF prologue.
//
// A flag byte governs the next eight items, lowest bit first: 0 a literal
// byte, 1 a big-endian reference of a 12-bit dictionary offset and a 4-bit
// length (plus 2). A reference to the write position itself ends the data.
// "MELA" data is stored: the raw size in bytes follows the header.
// Decisions: the sizes in the header are not trusted to end the data (the end
// reference does, or the input's end), the CRC is not checked, and data of
// another type decodes to nothing.
#include <cstring>

#include "platform/decode/decoders.h"

namespace {

constexpr char kPrologue[] =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss "
    "\\fmodern \\fscript \\fdecor MS Sans SerifSymbolArialTimes New RomanCourier"
    "{\\colortbl\\red0\\green0\\blue0\r\n\\par \\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
constexpr size_t kPrologueSize = sizeof kPrologue - 1;
static_assert(kPrologueSize == 207);

enum : uint32_t { kUnknown = 0, kCompressed = 1, kStored = 2 };
constexpr uint32_t kNoTokenByte = 0x100;
constexpr size_t kLongestItem = 17;  // a reference copies at most 15 + 2 bytes

uint32_t Little32(const uint8_t* p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

void ReadHeader(RtfState* state) {
    if (std::memcmp(state->header + 8, "LZFu", 4) == 0) {
        state->kind = kCompressed;
    } else if (std::memcmp(state->header + 8, "MELA", 4) == 0) {
        state->kind = kStored;
        state->storedLeft = Little32(state->header + 4);
    } else {
        state->finished = 1;
    }
}

void Emit(RtfState* state, uint8_t byte, uint8_t*& o) {
    *o++ = byte;
    state->dictionary[state->writeAt] = byte;
    state->writeAt = (state->writeAt + 1) % kRtfDictionarySize;
}

// One byte of compressed input; writes at most kLongestItem bytes.
void CompressedByte(RtfState* state, uint8_t c, uint8_t*& o) {
    if (state->flagsLeft == 0) {
        state->control = c;
        state->flagsLeft = 8;
        return;
    }
    if ((state->control & 1) == 0) {
        Emit(state, c, o);
    } else if (state->tokenHigh == kNoTokenByte) {
        state->tokenHigh = c;
        return;
    } else {
        uint32_t token = state->tokenHigh << 8 | c;
        state->tokenHigh = kNoTokenByte;
        uint32_t from = token >> 4;
        uint32_t length = (token & 0xF) + 2;
        if (from == state->writeAt) {
            state->finished = 1;
            return;
        }
        // Byte by byte: a reference may overlap the bytes it writes.
        for (uint32_t k = 0; k < length; ++k)
            Emit(state, state->dictionary[(from + k) % kRtfDictionarySize], o);
    }
    state->control >>= 1;
    --state->flagsLeft;
}

}  // namespace

void RtfInit(RtfState* state) {
    std::memset(state, 0, sizeof *state);
    std::memcpy(state->dictionary, kPrologue, kPrologueSize);
    state->writeAt = kPrologueSize;
    state->tokenHigh = kNoTokenByte;
}

DecodeStep RtfDecode(RtfState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                     size_t room) {
    (void)atEnd;
    size_t pos = 0;
    uint8_t* o = out;
    while (pos < n && state->headerAt < sizeof state->header) {
        state->header[state->headerAt++] = in[pos++];
        if (state->headerAt == sizeof state->header) ReadHeader(state);
    }
    if (state->kind == kStored && !state->finished) {
        size_t take = n - pos < room ? n - pos : room;
        if (take > state->storedLeft) take = state->storedLeft;
        if (take > 0) std::memcpy(o, in + pos, take);
        o += take;
        pos += take;
        state->storedLeft -= static_cast<uint32_t>(take);
        if (state->storedLeft == 0) state->finished = 1;
    }
    while (state->kind == kCompressed && !state->finished && pos < n &&
           static_cast<size_t>(o - out) + kLongestItem <= room)
        CompressedByte(state, in[pos++], o);
    return {pos, static_cast<size_t>(o - out), state->finished != 0};
}
