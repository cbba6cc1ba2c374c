// char_reader.cpp - one character at a time from a ByteReader in a fixed
// charset, and the look-ahead over it.
//
// Malformed input is never an error: UTF-8 continuation bytes are not
// checked, sequences of 4 to 6 bytes become one replacement character (the
// host takes 16-bit values), and a stray continuation byte reads as 0. The
// reported count is what callers add to their position in the part.
#include "charset/charset.h"

namespace {

// Bytes missing at the end of the input read as 0xFFFF, whose low six bits
// are all set; the character is given as usual and the next call sees the end.
int32_t ReadUtf8Tail(ByteReader* reader, uint8_t lead, uint16_t* count) {
    uint8_t length = Utf8SequenceLength(lead);
    uint32_t value = lead & Utf8LeadMask(length);
    for (uint8_t i = 1; i < length; ++i) value = (value << 6) | (ReaderGet(reader) & 0x3F);
    *count = length == 0 ? 1 : length;
    if (length > 3) return kReplacementChar;
    return static_cast<int32_t>(value & 0xFFFF);
}

}  // namespace

int32_t ReadChar(ByteReader* reader, uint16_t* count, uint32_t charset) {
    *count = 1;
    uint16_t first = ReaderGet(reader);
    if (first == kReaderEnd) return kCharEnd;
    // Below 0x80 only UTF-7 units have lead bytes: the common ASCII byte
    // skips the table.
    if (first < 0x80 && charset != CharsetUtf7) return first;
    if (IsSingleByteCharset(charset) || !IsLeadByte(first, charset)) return first;
    if (charset == CharsetUtf8) return ReadUtf8Tail(reader, static_cast<uint8_t>(first), count);
    // A double-byte set, or UTF-7 delivered as two-byte units high byte first.
    uint16_t second = ReaderGet(reader);
    if (second == kReaderEnd) return kCharEnd;
    *count = 2;
    return static_cast<int32_t>(first) * 256 + second;
}

int16_t PeekChar(ByteReader* reader, uint16_t n, uint32_t charset) {
    if (n == 0) return 0;
    uint32_t start = ReaderTell(reader);
    int32_t result = kCharEnd;
    uint16_t count = 0;
    for (uint16_t i = 0; i < n; ++i) {
        result = ReadChar(reader, &count, charset);
        // The low word decides: a two-byte unit 0xFFFF stops the look-ahead too.
        if ((result & 0xFFFF) == 0xFFFF) break;
    }
    ReaderSeek(reader, static_cast<int32_t>(start), 0);
    return static_cast<int16_t>(result);
}
