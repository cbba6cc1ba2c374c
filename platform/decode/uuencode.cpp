// uuencode.cpp - uuencode and xxencode: one line decoder, two alphabets.
//
// A data line starts with a character that gives its byte count L (at most
// 63) and carries L bytes in 4-for-3 groups. A line counts as data only when
// every character is in the alphabet and its length fits L: at least the
// ceil(4L/3) characters that hold the bytes, at most the full groups and one
// check character. Outside a begin ... end block a data line must be a full
// one (L = 45) or follow a data line, so that a stray text line of the right
// length does not slip in; that is how pieces without a begin line (a later
// piece of a split file, a joined stream with headers between the pieces)
// are decoded. Blocks are delivered one after another.
// Won't: decode a line whose trailing blanks a transport has stripped, or
// read the file mode and name.
#include <array>
#include <string_view>

#include "platform/decode/decoders.h"

namespace {

constexpr uint8_t kInvalid = 0xFF;
constexpr int kFullLine = 45;

constexpr std::array<uint8_t, 256> MakeUuTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) entry = kInvalid;
    for (int c = 0x20; c <= 0x60; ++c) table[c] = (c - 0x20) & 0x3F;
    return table;
}

constexpr std::array<uint8_t, 256> MakeXxTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) entry = kInvalid;
    constexpr std::string_view alphabet =
        "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    for (size_t i = 0; i < alphabet.size(); ++i) table[static_cast<uint8_t>(alphabet[i])] = i;
    return table;
}

constexpr std::array<uint8_t, 256> kUuTable = MakeUuTable();
constexpr std::array<uint8_t, 256> kXxTable = MakeXxTable();

// "begin", blanks, an octal mode, a blank: the opening of a block.
bool IsBeginLine(const uint8_t* line, size_t length) {
    if (!LineStartsWith(line, length, "begin ")) return false;
    size_t i = 5;
    while (i < length && line[i] == ' ') ++i;
    size_t digits = 0;
    while (i < length && line[i] >= '0' && line[i] <= '7') ++i, ++digits;
    return digits > 0 && i < length && line[i] == ' ';
}

bool IsEndLine(const uint8_t* line, size_t length) {
    return LineStartsWith(line, length, "end") && TrimTrailingBlanks(line, length) == 3;
}

}  // namespace

int UuLineDecode(const uint8_t* line, size_t length, bool xx, uint8_t* out) {
    const std::array<uint8_t, 256>& table = xx ? kXxTable : kUuTable;
    if (length == 0 || table[line[0]] == kInvalid) return -1;
    size_t bytes = table[line[0]];
    size_t chars = length - 1;
    if (chars < (bytes * 4 + 2) / 3 || chars > (bytes + 2) / 3 * 4 + 1) return -1;
    const uint8_t* p = line + 1;
    uint8_t any = 0;
    for (size_t i = 0; i < chars; ++i) any |= static_cast<uint8_t>(table[p[i]] == kInvalid);
    if (any) return -1;
    uint8_t* o = out;
    size_t full = bytes / 3;
    for (size_t g = 0; g < full; ++g, p += 4, o += 3) {
        uint32_t word = uint32_t{table[p[0]]} << 18 | uint32_t{table[p[1]]} << 12 |
                        uint32_t{table[p[2]]} << 6 | table[p[3]];
        o[0] = static_cast<uint8_t>(word >> 16);
        o[1] = static_cast<uint8_t>(word >> 8);
        o[2] = static_cast<uint8_t>(word);
    }
    // The last group may lack the characters that carry no byte: read them as 0.
    size_t left = bytes - full * 3;
    if (left > 0) {
        size_t have = chars - full * 4;
        uint32_t word = 0;
        for (size_t k = 0; k < 4; ++k) word = word << 6 | (k < have ? table[p[k]] : 0);
        o[0] = static_cast<uint8_t>(word >> 16);
        if (left == 2) o[1] = static_cast<uint8_t>(word >> 8);
        o += left;
    }
    return static_cast<int>(o - out);
}

void UuInit(UuState* state, bool xx) {
    *state = UuState{};
    state->xx = xx ? 1 : 0;
}

DecodeStep UuDecode(UuState* state, const uint8_t* in, size_t n, bool atEnd, uint8_t* out,
                    size_t room) {
    size_t pos = 0, made = 0;
    for (;;) {
        LineSpan line;
        if (room - made < 64) break;
        if (!LineNext(in + pos, n - pos, atEnd, &line)) break;
        const uint8_t* p = in + pos;
        pos += line.next;
        if (state->midLine || !line.whole) {
            // Data lines are short: a long line is text, skipped to its end.
            state->midLine = line.whole ? 0 : 1;
            state->afterData = 0;
            continue;
        }
        size_t length = line.length;
        if (IsBeginLine(p, length)) {
            state->inBlock = 1;
            state->afterData = 0;
            continue;
        }
        if (IsEndLine(p, length)) {
            state->inBlock = 0;
            state->afterData = 0;
            continue;
        }
        const std::array<uint8_t, 256>& table = state->xx ? kXxTable : kUuTable;
        bool mayStart = state->inBlock || state->afterData ||
                        (length > 0 && table[p[0]] == kFullLine);
        int got = -1;
        if (mayStart) {
            got = UuLineDecode(p, length, state->xx != 0, out + made);
            // Blanks a transport added at the end make a line too long.
            size_t trimmed = TrimTrailingBlanks(p, length);
            if (got < 0 && trimmed != length)
                got = UuLineDecode(p, trimmed, state->xx != 0, out + made);
        }
        state->afterData = got > 0 ? 1 : 0;
        if (got > 0) made += static_cast<size_t>(got);
    }
    return {pos, made, false};
}
