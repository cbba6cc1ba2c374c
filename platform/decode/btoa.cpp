// btoa.cpp - btoa: the "xbtoa Begin" format and its "xbtoa5" successor.
//
// The data starts behind an "xbtoa Begin" or "xbtoa5 ..." line and ends at
// the next line that starts with 'x'. Five digits '!'..'u' make a big-endian
// word, 'z' is a word of zeros and 'y' one of four blanks. The encoder pads
// the last word with zeros, and the closing line ("xbtoa End N <count> ...")
// gives the true length: so the latest word is held back until the next one
// or the closing line tells how much of it is real. Without a count the
// whole word is delivered.
// Won't: check the E, S and R sums of the closing line.
#include <cstring>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

enum : uint32_t { kSeeking = 0, kData = 1, kDone = 2 };

constexpr uint32_t kPowers[5] = {52200625, 614125, 7225, 85, 1};

void PutWord(uint32_t word, size_t bytes, uint8_t* out) {
    for (size_t k = 0; k < bytes; ++k) out[k] = static_cast<uint8_t>(word >> (24 - 8 * k));
}

// Delivers the held word, if any, and holds `word` instead.
size_t HoldWord(BtoaState* state, uint32_t word, uint8_t* out) {
    size_t made = 0;
    if (state->pendingFull) {
        PutWord(state->pending, 4, out);
        made = 4;
    }
    state->pending = word;
    state->pendingFull = 1;
    state->delivered += made;
    return made;
}

size_t DecodeData(BtoaState* state, const uint8_t* p, size_t length, uint8_t* out) {
    uint8_t* o = out;
    for (size_t i = 0; i < length; ++i) {
        uint8_t c = p[i];
        if (c >= '!' && c <= 'u') {
            state->value += (c - '!') * kPowers[state->count];
            if (++state->count == 5) {
                o += HoldWord(state, state->value, o);
                state->value = 0;
                state->count = 0;
            }
        } else if (c == 'z' && state->count == 0) {
            o += HoldWord(state, 0, o);
        } else if (c == 'y' && state->count == 0) {
            o += HoldWord(state, 0x20202020, o);
        }
    }
    return static_cast<size_t>(o - out);
}

// The decimal count behind "N " in a closing line; false when there is none.
bool ClosingCount(const uint8_t* line, size_t length, uint64_t* count) {
    std::string_view text(reinterpret_cast<const char*>(line), length);
    size_t at = text.find(" N ");
    if (at == std::string_view::npos) return false;
    at += 3;
    if (at >= text.size() || text[at] < '0' || text[at] > '9') return false;
    uint64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9' && value < (1ULL << 40); ++at)
        value = value * 10 + static_cast<uint64_t>(text[at] - '0');
    *count = value;
    return true;
}

// Ends the data: the held word, cut to the count when there is one, then a
// group the input left unfinished (padded as in Ascii85).
size_t Finish(BtoaState* state, const uint8_t* closing, size_t length, uint8_t* out) {
    size_t made = 0;
    uint64_t count = 0;
    bool counted = closing && ClosingCount(closing, length, &count);
    if (state->pendingFull) {
        size_t bytes = 4;
        if (counted) {
            uint64_t left = count > state->delivered ? count - state->delivered : 0;
            bytes = left < 4 ? static_cast<size_t>(left) : 4;
        }
        PutWord(state->pending, bytes, out);
        made += bytes;
        state->pendingFull = 0;
    }
    if (!counted && state->count >= 2) {
        uint32_t value = state->value;
        for (uint32_t k = state->count; k < 5; ++k) value += 84 * kPowers[k];
        PutWord(value, state->count - 1, out + made);
        made += state->count - 1;
    }
    state->delivered += made;
    state->phase = kDone;
    return made;
}

}  // namespace

void BtoaInit(BtoaState* state) { *state = BtoaState{}; }

DecodeStep BtoaDecode(BtoaState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                      size_t room) {
    size_t pos = 0, made = 0;
    while (state->phase != kDone) {
        LineSpan line;
        if (!LineNext(in + pos, n - pos, atEnd, &line)) break;
        if (room - made < 4 * line.length + 16) break;
        const uint8_t* p = in + pos;
        bool lineStart = state->midLine == 0;
        if (state->phase == kSeeking) {
            if (lineStart && (LineStartsWith(p, line.length, "xbtoa Begin") ||
                              LineStartsWith(p, line.length, "xbtoa5 ")))
                state->phase = kData;
        } else if (lineStart && line.length > 0 && p[0] == 'x') {
            made += Finish(state, p, line.length, out + made);
        } else {
            made += DecodeData(state, p, line.length, out + made);
        }
        pos += line.next;
        state->midLine = line.whole ? 0 : 1;
    }
    if (atEnd && pos == n && state->phase == kData) made += Finish(state, nullptr, 0, out + made);
    return {pos, made, state->phase == kDone};
}
