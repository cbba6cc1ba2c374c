// ascii85.cpp - Ascii85 between "<~" and "~>".
//
// Everything before the first "<~" is passed over. In the data, five digits
// '!'..'u' make a big-endian word, 'z' in place of a group is a zero word,
// blanks are skipped, and '~' ends the data. A last group of k digits (2 to
// 4) gives k - 1 bytes, read as if padded with 'u'; a single digit gives
// nothing. Other bytes in the data are skipped.
#include "platform/decode/decoders.h"

namespace {

enum : uint32_t { kSeeking = 0, kAfterLess = 1, kData = 2, kDone = 3 };

constexpr uint32_t kPowers[5] = {52200625, 614125, 7225, 85, 1};

void PutWord(uint32_t word, size_t bytes, uint8_t* out) {
    for (size_t k = 0; k < bytes; ++k) out[k] = static_cast<uint8_t>(word >> (24 - 8 * k));
}

size_t FlushGroup(Ascii85State* state, uint8_t* out) {
    size_t made = 0;
    if (state->count >= 2) {
        uint32_t value = state->value;
        for (uint32_t k = state->count; k < 5; ++k) value += 84 * kPowers[k];
        made = state->count - 1;
        PutWord(value, made, out);
    }
    state->value = 0;
    state->count = 0;
    return made;
}

}  // namespace

void Ascii85Init(Ascii85State* state) { *state = Ascii85State{}; }

DecodeStep Ascii85Decode(Ascii85State* state, const uint8_t* in, size_t n, bool atEnd,
                         uint8_t* out, size_t room) {
    size_t pos = 0;
    uint8_t* o = out;
    // Each byte makes at most four, the last group three more.
    size_t limit = room < 8 ? 0 : (room - 8) / 4;
    if (limit > n) limit = n;
    while (pos < limit && state->phase != kDone) {
        uint8_t c = in[pos++];
        if (state->phase == kSeeking) {
            if (c == '<') state->phase = kAfterLess;
        } else if (state->phase == kAfterLess) {
            state->phase = c == '~' ? kData : c == '<' ? kAfterLess : kSeeking;
        } else if (c >= '!' && c <= 'u') {
            // Wraps in 32 bits on a group above 0xFFFFFFFF, as other decoders do.
            state->value += (c - '!') * kPowers[state->count];
            if (++state->count == 5) {
                PutWord(state->value, 4, o);
                o += 4;
                state->value = 0;
                state->count = 0;
            }
        } else if (c == 'z' && state->count == 0) {
            PutWord(0, 4, o);
            o += 4;
        } else if (c == '~') {
            o += FlushGroup(state, o);
            state->phase = kDone;
        }
    }
    if (atEnd && pos == n && state->phase == kData) {
        o += FlushGroup(state, o);
        state->phase = kDone;
    }
    return {pos, static_cast<size_t>(o - out), state->phase == kDone};
}
