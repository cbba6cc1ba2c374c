// detect.cpp - a split file of unknown kind: tells uuencode, xxencode, yEnc
// and BinHex apart from the data, then decodes as that.
//
// Detection looks at whole lines of the first kDetectWindow bytes, first
// decisive line wins: "=ybegin " is yEnc; the BinHex banner or a 64-character
// line of the BinHex alphabet behind ':' is BinHex; after a begin line, the
// first data line that only one alphabet reads tells uu from xx; without a
// begin line a full data line does ('M' and 60 characters of one alphabet,
// 'h' and 60 of the other). Nothing decisive falls back to uuencode, whose
// strict line check then drops what isn't data.
#include <cstring>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

constexpr size_t kFullLine = 61;

bool IsBinHexLine(const uint8_t* p, size_t length) {
    static constexpr std::string_view alphabet =
        "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
    if (length != 64 || p[0] != ':') return false;
    for (size_t i = 1; i < length; ++i)
        if (alphabet.find(static_cast<char>(p[i])) == std::string_view::npos) return false;
    return true;
}

// 15 or 16 when exactly one alphabet reads the line as data, else 0.
uint32_t AlphabetOf(const uint8_t* p, size_t length) {
    uint8_t scratch[64];
    bool uu = UuLineDecode(p, length, false, scratch) > 0;
    bool xx = UuLineDecode(p, length, true, scratch) > 0;
    if (uu == xx) return 0;
    return uu ? 15 : 16;
}

bool IsBeginLine(const uint8_t* p, size_t length) {
    return LineStartsWith(p, length, "begin ") && length > 6 && p[6] >= '0' && p[6] <= '7';
}

}  // namespace

uint32_t DetectEncoding(const uint8_t* in, size_t n, bool atEnd) {
    size_t limit = n < kDetectWindow ? n : kDetectWindow;
    bool whole = atEnd && limit == n;
    bool afterBegin = false;
    size_t pos = 0;
    LineSpan line;
    while (pos < limit && LineNext(in + pos, limit - pos, whole, &line)) {
        const uint8_t* p = in + pos;
        size_t length = TrimTrailingBlanks(p, line.length);
        pos += line.next;
        if (!line.whole) continue;
        if (LineStartsWith(p, length, "=ybegin ")) return 18;
        std::string_view text(reinterpret_cast<const char*>(p), length);
        if (text.find("(This file must be converted with BinHex") != std::string_view::npos ||
            IsBinHexLine(p, length))
            return 17;
        if (IsBeginLine(p, length)) {
            afterBegin = true;
            continue;
        }
        uint32_t alphabet = AlphabetOf(p, length);
        if (alphabet != 0 && (afterBegin || length == kFullLine)) return alphabet;
    }
    return whole || limit == kDetectWindow ? 15 : 0;
}

void DetectInit(DetectState* state) { std::memset(state, 0, sizeof *state); }

DecodeStep DetectDecode(DetectState* state, const uint8_t* in, size_t n, bool atEnd,
                        uint8_t* out, size_t room) {
    if (state->code == 0) {
        state->code = DetectEncoding(in, n, atEnd);
        if (state->code == 0) return {0, 0, false};
        if (state->code == 15 || state->code == 16) UuInit(&state->uu, state->code == 16);
        if (state->code == 17) BinHexInit(&state->binHex);
        if (state->code == 18) YencInit(&state->yenc);
    }
    switch (state->code) {
    case 17:
        return BinHexDecode(&state->binHex, in, n, atEnd, out, room);
    case 18:
        return YencDecode(&state->yenc, in, n, atEnd, out, room);
    default:
        return UuDecode(&state->uu, in, n, atEnd, out, room);
    }
}
