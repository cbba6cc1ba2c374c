// yenc.cpp - yEnc: every =ybegin ... =yend block, in order.
//
// Outside a block every line is passed over (headers, text, the pieces of a
// joined stream between their blocks). Inside, "=ypart" lines are skipped and
// every other line is data: each byte less 42, and "=" escapes the byte after
// it (less 64 more). The parts of a multi-part post follow each other in the
// stream, so they are joined in the order they come.
// Won't: place parts by their begin= offsets or check sizes and CRCs; a
// missing part leaves a shorter file, not a hole.
#include <cstring>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

// Decodes data bytes; an escape cut off by the line's end is dropped.
size_t DecodeData(const uint8_t* p, size_t length, uint8_t* out) {
    uint8_t* o = out;
    const uint8_t* end = p + length;
    while (p < end) {
        uint8_t c = *p++;
        if (c != '=') {
            *o++ = static_cast<uint8_t>(c - 42);
        } else if (p < end) {
            *o++ = static_cast<uint8_t>(*p++ - 106);
        }
    }
    return static_cast<size_t>(o - out);
}

}  // namespace

void YencInit(YencState* state) { *state = YencState{}; }

DecodeStep YencDecode(YencState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                      size_t room) {
    size_t pos = 0, made = 0;
    for (;;) {
        LineSpan line;
        if (room - made < kLineMax) break;
        if (!LineNext(in + pos, n - pos, atEnd, &line)) break;
        const uint8_t* p = in + pos;
        size_t take = line.next;
        bool lineStart = state->midLine == 0;
        if (lineStart && LineStartsWith(p, line.length, "=ybegin ")) {
            state->inBlock = 1;
        } else if (lineStart && LineStartsWith(p, line.length, "=yend")) {
            state->inBlock = 0;
        } else if (lineStart && state->inBlock && LineStartsWith(p, line.length, "=ypart ")) {
            // Offsets of the part; the stream order is what counts.
        } else if (state->inBlock) {
            size_t length = line.length;
            if (!line.whole) {
                // Keep an escape together with the byte it escapes.
                size_t trailing = 0;
                while (trailing < length && p[length - 1 - trailing] == '=') ++trailing;
                if (trailing % 2 == 1 && trailing < length) --length, take = length;
            }
            made += DecodeData(p, length, out + made);
        }
        pos += take;
        state->midLine = take == line.next && line.whole ? 0 : 1;
    }
    return {pos, made, false};
}
