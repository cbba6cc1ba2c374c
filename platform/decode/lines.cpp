// lines.cpp - line splitting shared by the line-oriented decoders.
//
// A line ends at LF, CR LF or a lone CR (old Macintosh files). A CR at the
// very end of the input could still be followed by LF, so such a line waits
// for more input. Lines longer than kLineMax are handed out in pieces, which
// keeps every decoder's view of the data independent of how it was read.
#include <cstring>

#include "platform/decode/decoders.h"

bool LineNext(const uint8_t* in, size_t n, bool atEnd, LineSpan* line) {
    if (n == 0) return false;
    size_t span = n < kLineMax + 1 ? n : kLineMax + 1;
    const void* lf = std::memchr(in, '\n', span);
    size_t lfAt = lf ? static_cast<size_t>(static_cast<const uint8_t*>(lf) - in) : span;
    const void* cr = std::memchr(in, '\r', lfAt);
    if (cr) {
        // Found before any LF within kLineMax + 1 bytes, so the line is whole.
        size_t crAt = static_cast<size_t>(static_cast<const uint8_t*>(cr) - in);
        if (crAt + 1 < n) {
            *line = {crAt, crAt + (in[crAt + 1] == '\n' ? 2 : 1), true};
            return true;
        }
        if (!atEnd) return false;
        *line = {crAt, crAt + 1, true};
        return true;
    }
    if (lf && lfAt <= kLineMax) {
        *line = {lfAt, lfAt + 1, true};
        return true;
    }
    if (n > kLineMax) {
        *line = {kLineMax, kLineMax, false};
        return true;
    }
    if (atEnd && n > 0) {
        *line = {n, n, true};
        return true;
    }
    return false;
}

size_t TrimTrailingBlanks(const uint8_t* line, size_t length) {
    while (length > 0 && (line[length - 1] == ' ' || line[length - 1] == '\t')) --length;
    return length;
}

bool LineStartsWith(const uint8_t* line, size_t length, std::string_view prefix) {
    return length >= prefix.size() && std::memcmp(line, prefix.data(), prefix.size()) == 0;
}
