// base64.cpp - base64 (RFC 2045), bare or fenced by "begin-base64 ..." and
// "====" lines.
//
// Before the data, lines of other text are passed over until a fence line or
// a line that looks like base64. In the data, blanks and control bytes are
// skipped; padding ends the data. A line with any other byte is taken for
// text behind the data (a footer, a boundary): it is dropped whole and ends
// the data. An unpadded last group is delivered as if it were padded.
// Won't: decode the URL-safe alphabet, or continue behind padding.
#include <array>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

constexpr uint8_t kPad = 0x40;
constexpr uint8_t kSkip = 0x80;
constexpr uint8_t kJunk = 0xC0;

enum : uint32_t { kPrologue = 0, kData = 1, kSkipFence = 2, kDone = 3 };

constexpr std::array<uint8_t, 256> MakeTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) entry = kJunk;
    for (int c = 0; c <= 0x20; ++c) table[c] = kSkip;
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (size_t i = 0; i < alphabet.size(); ++i) table[static_cast<uint8_t>(alphabet[i])] = i;
    table['='] = kPad;
    return table;
}
constexpr std::array<uint8_t, 256> kTable = MakeTable();

size_t FlushGroup(Base64State* state, uint8_t* out) {
    size_t made = 0;
    if (state->count == 2) {
        out[made++] = static_cast<uint8_t>(state->bits >> 4);
    } else if (state->count == 3) {
        out[made++] = static_cast<uint8_t>(state->bits >> 10);
        out[made++] = static_cast<uint8_t>(state->bits >> 2);
    }
    state->bits = 0;
    state->count = 0;
    return made;
}

bool LooksLikeData(const uint8_t* line, size_t length) {
    bool any = false;
    for (size_t i = 0; i < length; ++i) {
        uint8_t kind = kTable[line[i]];
        if (kind == kJunk) return false;
        any = any || kind < 64;
    }
    return any;
}

bool IsBlank(const uint8_t* line, size_t length) {
    for (size_t i = 0; i < length; ++i)
        if (kTable[line[i]] != kSkip) return false;
    return true;
}

bool IsFence(const uint8_t* line, size_t length) {
    std::string_view text(reinterpret_cast<const char*>(line), length);
    return text.find("begin-base64 ") != std::string_view::npos;
}

// Decodes one line or piece into out; returns the bytes made. Sets kDone at
// padding or junk; junk in a whole line undoes that line.
size_t DecodeLine(Base64State* state, const uint8_t* p, size_t length, bool canUndo, uint8_t* out) {
    const Base64State before = *state;
    uint8_t* o = out;
    size_t i = 0;
    while (i < length) {
        if (state->count == 0) {
            while (i + 4 <= length) {
                uint32_t a = kTable[p[i]], b = kTable[p[i + 1]], c = kTable[p[i + 2]],
                         d = kTable[p[i + 3]];
                if ((a | b | c | d) >= 64) break;
                uint32_t word = a << 18 | b << 12 | c << 6 | d;
                o[0] = static_cast<uint8_t>(word >> 16);
                o[1] = static_cast<uint8_t>(word >> 8);
                o[2] = static_cast<uint8_t>(word);
                o += 3;
                i += 4;
            }
            if (i >= length) break;
        }
        uint32_t v = kTable[p[i++]];
        if (v < 64) {
            state->bits = state->bits << 6 | v;
            if (++state->count == 4) {
                o[0] = static_cast<uint8_t>(state->bits >> 16);
                o[1] = static_cast<uint8_t>(state->bits >> 8);
                o[2] = static_cast<uint8_t>(state->bits);
                o += 3;
                state->bits = 0;
                state->count = 0;
            }
        } else if (v == kPad) {
            o += FlushGroup(state, o);
            state->phase = kDone;
            break;
        } else if (v == kJunk) {
            if (canUndo) {
                *state = before;
                o = out;
            }
            state->phase = kDone;
            break;
        }
    }
    return static_cast<size_t>(o - out);
}

}  // namespace

void Base64Init(Base64State* state) { *state = Base64State{}; }

DecodeStep Base64Decode(Base64State* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                        size_t room) {
    size_t pos = 0, made = 0;
    while (state->phase != kDone) {
        LineSpan line;
        if (!LineNext(in + pos, n - pos, atEnd, &line)) break;
        if (room - made < line.length / 4 * 3 + 3) break;
        const uint8_t* p = in + pos;
        bool lineStart = state->midLine == 0;
        bool decode = state->phase == kData;
        if (state->phase == kSkipFence) {
            if (line.whole) state->phase = kData;
        } else if (state->phase == kPrologue && lineStart && !IsBlank(p, line.length)) {
            if (IsFence(p, line.length)) {
                state->phase = line.whole ? kData : kSkipFence;
            } else if (LooksLikeData(p, line.length)) {
                state->phase = kData;
                decode = true;
            }
        }
        if (decode) made += DecodeLine(state, p, line.length, lineStart && line.whole, out + made);
        pos += line.next;
        state->midLine = line.whole ? 0 : 1;
    }
    if (atEnd && pos == n && state->phase != kDone) {
        made += FlushGroup(state, out + made);
        state->phase = kDone;
    }
    return {pos, made, state->phase == kDone};
}
