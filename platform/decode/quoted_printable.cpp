// quoted_printable.cpp - quoted-printable (RFC 2045, section 6.7).
//
// "=XX" with two hexadecimal digits (either case) is a byte, "=" at the end
// of a line is a soft line break, and blanks at the end of a line are
// dropped, as the RFC asks of a decoder. An "=" that is neither is kept as it
// stands, with what follows it. Hard line ends are delivered as they came
// (CR LF, LF or CR).
#include <array>
#include <cstring>

#include "platform/decode/decoders.h"

namespace {

constexpr uint8_t kNotHex = 0xFF;

constexpr std::array<uint8_t, 256> MakeHexTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) entry = kNotHex;
    for (int c = '0'; c <= '9'; ++c) table[c] = c - '0';
    for (int c = 'A'; c <= 'F'; ++c) table[c] = c - 'A' + 10;
    for (int c = 'a'; c <= 'f'; ++c) table[c] = c - 'a' + 10;
    return table;
}
constexpr std::array<uint8_t, 256> kHex = MakeHexTable();

size_t DecodeText(const uint8_t* p, size_t length, uint8_t* out) {
    uint8_t* o = out;
    const uint8_t* end = p + length;
    while (p < end) {
        const void* eq = std::memchr(p, '=', static_cast<size_t>(end - p));
        const uint8_t* stop = eq ? static_cast<const uint8_t*>(eq) : end;
        std::memcpy(o, p, static_cast<size_t>(stop - p));
        o += stop - p;
        p = stop;
        if (p == end) break;
        if (end - p >= 3 && kHex[p[1]] != kNotHex && kHex[p[2]] != kNotHex) {
            *o++ = static_cast<uint8_t>(kHex[p[1]] << 4 | kHex[p[2]]);
            p += 3;
        } else {
            *o++ = *p++;
        }
    }
    return static_cast<size_t>(o - out);
}

}  // namespace

void QpInit(QpState* state) { *state = QpState{}; }

DecodeStep QpDecode(QpState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                    size_t room) {
    size_t pos = 0, made = 0;
    for (;;) {
        LineSpan line;
        if (room - made < kLineMax + 2) break;
        if (!LineNext(in + pos, n - pos, atEnd, &line)) break;
        const uint8_t* p = in + pos;
        size_t take = line.next;
        if (!line.whole) {
            // A piece of a long line: keep an escape together with its digits.
            size_t length = line.length;
            if (p[length - 1] == '=') length -= 1;
            else if (p[length - 2] == '=') length -= 2;
            made += DecodeText(p, length, out + made);
            take = length;
        } else {
            size_t length = TrimTrailingBlanks(p, line.length);
            bool soft = length > 0 && p[length - 1] == '=';
            made += DecodeText(p, soft ? length - 1 : length, out + made);
            if (!soft) {
                size_t ending = line.next - line.length;
                std::memcpy(out + made, p + line.length, ending);
                made += ending;
            }
        }
        pos += take;
        state->midLine = line.whole ? 0 : 1;
    }
    return {pos, made, false};
}
