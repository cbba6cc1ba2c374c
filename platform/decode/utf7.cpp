// utf7.cpp - UTF-7 (RFC 2152) to 16-bit units, high byte first.
//
// A byte outside a '+' run is a unit of its own (line ends too). In a run,
// base64 digits carry the units' bits; any other byte ends the run, a '-'
// being absorbed, and bits short of a unit are dropped. "+-" is '+'. A byte
// above 0x7F, which UTF-7 never carries, is passed on as the unit of its
// value rather than refused.
// Won't: check that a run ends on zero bits.
#include <array>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

constexpr uint8_t kNotDigit = 0xFF;

constexpr std::array<uint8_t, 256> MakeTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) entry = kNotDigit;
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (size_t i = 0; i < alphabet.size(); ++i) table[static_cast<uint8_t>(alphabet[i])] = i;
    return table;
}
constexpr std::array<uint8_t, 256> kTable = MakeTable();

void PutUnit(uint32_t unit, uint8_t* out) {
    out[0] = static_cast<uint8_t>(unit >> 8);
    out[1] = static_cast<uint8_t>(unit);
}

}  // namespace

void Utf7Init(Utf7State* state) { *state = Utf7State{}; }

DecodeStep Utf7Decode(Utf7State* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                      size_t room) {
    (void)atEnd;  // a run cut by the end simply ends
    size_t limit = room / 2 < n ? room / 2 : n;
    uint8_t* o = out;
    for (size_t i = 0; i < limit; ++i) {
        uint8_t c = in[i];
        if (state->shifted) {
            uint8_t digit = kTable[c];
            if (digit != kNotDigit) {
                state->bits = (state->bits << 6 | digit) & 0x3FFFFF;
                state->nbits += 6;
                if (state->nbits >= 16) {
                    state->nbits -= 16;
                    PutUnit(state->bits >> state->nbits, o);
                    o += 2;
                }
                state->justShift = 0;
                continue;
            }
            bool plusMinus = state->justShift && c == '-';
            *state = Utf7State{};
            if (plusMinus) {
                PutUnit('+', o);
                o += 2;
                continue;
            }
            if (c == '-') continue;
        }
        if (c == '+') {
            state->shifted = 1;
            state->justShift = 1;
            continue;
        }
        PutUnit(c, o);
        o += 2;
    }
    return {limit, static_cast<size_t>(o - out), false};
}
