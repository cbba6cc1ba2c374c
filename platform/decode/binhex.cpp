// binhex.cpp - BinHex 4.0: the data fork.
//
// The data starts at a line that begins with ':' (behind the banner "(This
// file must be converted with BinHex 4.0)", or a full 64-character line when
// the banner is missing) and ends at the next ':'. Three layers are undone:
// 6-bit characters to bytes, the run-length layer (0x90 n repeats the byte
// before n - 1 more times, 0x90 0 is 0x90 itself), and the file layout: a
// header (name, type, creator, flags, fork lengths, CRC) and then the data
// fork, which is all we deliver. Lines with any byte outside the alphabet
// are passed over, so headers between the pieces of a joined stream drop out.
// Decisions: CRCs are not checked; a data line longer than kLineMax is not
// data; the resource fork is never delivered.
#include <array>
#include <cstring>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

enum : uint32_t { kLooking = 0, kBanner = 1, kData = 2, kDone = 3 };

constexpr uint8_t kInvalid = 0xFF;
constexpr uint8_t kRunMarker = 0x90;
constexpr size_t kFullLine = 64;
// Name length byte, name, version, type, creator, flags: the data fork length
// follows at this offset (plus the name length), then the resource fork
// length and the header CRC.
constexpr uint32_t kForkLengthAt = 12;
constexpr uint32_t kHeaderFixed = 22;

constexpr std::array<uint8_t, 256> MakeTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) entry = kInvalid;
    constexpr std::string_view alphabet =
        "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
    for (size_t i = 0; i < alphabet.size(); ++i) table[static_cast<uint8_t>(alphabet[i])] = i;
    return table;
}
constexpr std::array<uint8_t, 256> kTable = MakeTable();

// The file layer: header bytes are parsed, data fork bytes written.
void ForkByte(BinHexState* state, uint8_t byte, uint8_t*& o) {
    if (state->headerAt < state->headerSize) {
        uint32_t at = state->headerAt++;
        if (at == 0) state->headerSize = kHeaderFixed + byte;
        uint32_t forkAt = kForkLengthAt + (state->headerSize - kHeaderFixed);
        if (at >= forkAt && at < forkAt + 4) state->forkLeft = state->forkLeft << 8 | byte;
        if (state->headerAt == state->headerSize && state->forkLeft == 0) state->phase = kDone;
        return;
    }
    if (state->phase != kData) return;
    *o++ = byte;
    if (--state->forkLeft == 0) state->phase = kDone;
}

void Drain(BinHexState* state, uint8_t*& o, const uint8_t* end) {
    while (state->repeatLeft > 0 && o < end && state->phase == kData) {
        --state->repeatLeft;
        ForkByte(state, static_cast<uint8_t>(state->lastByte), o);
    }
    if (state->phase != kData) state->repeatLeft = 0;
}

// The run-length layer.
void RunByte(BinHexState* state, uint8_t byte, uint8_t*& o, const uint8_t* end) {
    if (state->runMarker) {
        state->runMarker = 0;
        if (byte == 0) {
            state->lastByte = kRunMarker;
            ForkByte(state, kRunMarker, o);
        } else {
            state->repeatLeft = byte - 1u;
            Drain(state, o, end);
        }
    } else if (byte == kRunMarker) {
        state->runMarker = 1;
    } else {
        state->lastByte = byte;
        ForkByte(state, byte, o);
    }
}

// Offset of the first ':' in the line, or its length; -1 when a byte before
// that is outside the alphabet.
long DataExtent(const uint8_t* p, size_t length) {
    const void* colon = std::memchr(p, ':', length);
    size_t extent = colon ? static_cast<size_t>(static_cast<const uint8_t*>(colon) - p) : length;
    for (size_t i = 0; i < extent; ++i)
        if (kTable[p[i]] == kInvalid) return -1;
    return static_cast<long>(extent);
}

bool IsBanner(const uint8_t* p, size_t length) {
    std::string_view text(reinterpret_cast<const char*>(p), length);
    return text.find("(This file must be converted with BinHex") != std::string_view::npos;
}

// Decodes data characters from p; returns how many were taken (fewer than
// `count` when the output is full).
size_t DecodeChars(BinHexState* state, const uint8_t* p, size_t count, uint8_t*& o,
                   const uint8_t* end) {
    size_t i = 0;
    for (; i < count && state->phase == kData; ++i) {
        if (state->repeatLeft > 0 || o == end) break;
        state->bits = (state->bits << 6 | kTable[p[i]]) & 0x3FFF;
        state->nbits += 6;
        if (state->nbits >= 8) {
            state->nbits -= 8;
            RunByte(state, static_cast<uint8_t>(state->bits >> state->nbits), o, end);
        }
    }
    return i;
}

}  // namespace

void BinHexInit(BinHexState* state) {
    *state = BinHexState{};
    state->headerSize = 1;
}

DecodeStep BinHexDecode(BinHexState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                        size_t room) {
    size_t pos = 0;
    uint8_t* o = out;
    const uint8_t* end = out + room;
    Drain(state, o, end);
    while (state->phase != kDone && state->repeatLeft == 0 && o < end) {
        LineSpan line;
        if (!LineNext(in + pos, n - pos, atEnd, &line)) break;
        const uint8_t* p = in + pos;
        bool skip = state->skipping != 0 || !line.whole;
        state->skipping = line.whole ? 0 : 1;
        size_t length = TrimTrailingBlanks(p, line.length);
        if (skip || state->phase != kData) {
            if (!skip && state->phase != kData && IsBanner(p, length)) state->phase = kBanner;
            bool opens = !skip && length > 0 && p[0] == ':' &&
                         (state->phase == kBanner || length >= kFullLine);
            if (!opens || DataExtent(p + 1, length - 1) < 0) {
                pos += line.next;
                continue;
            }
            // Start on the character behind the ':' of this line.
            state->phase = kData;
            pos += 1;
            p += 1;
            length -= 1;
            line.next -= 1;
        }
        long extent = DataExtent(p, length);
        if (extent < 0) {
            pos += line.next;
            continue;
        }
        size_t taken = DecodeChars(state, p, static_cast<size_t>(extent), o, end);
        if (taken < static_cast<size_t>(extent)) {
            pos += taken;  // the output is full; the rest of the line comes next time
            break;
        }
        if (static_cast<size_t>(extent) < length) state->phase = kDone;  // the closing ':'
        pos += line.next;
    }
    return {pos, static_cast<size_t>(o - out), state->phase == kDone};
}
