// header_scanner.cpp - line-level reading of raw text and the parse of a
// header block into a HeaderList.
//
// Accepts CR, LF and CR LF line ends, lines that are not fields, and broken
// folding: a header block is the region in front of the first blank line, and
// fields are then picked out of it. Knows nothing of multipart structure.
// Lines longer than kMaxLineSize keep their start; the rest is read and
// dropped, so a line never grows the buffer without bound.
#include <algorithm>
#include <cstring>

#include "message/message.h"

namespace {

constexpr uint16_t kCR = '\r';
constexpr uint16_t kLF = '\n';

bool IsLineEnd(uint16_t c) { return c == kCR || c == kLF; }
bool IsBlank(uint16_t c) { return c == ' ' || c == '\t'; }

// Makes room for one more byte at `index` plus the terminating zero. False
// when the line is at its limit or the block could not grow; the buffer is
// then left exactly as it was.
bool LineRoomAt(TextBuffer* line, uint16_t index) {
    if (index < line->size - 1) return true;
    if (line->size > kMaxLineSize - kLineGrowStep) return false;
    return TextBufferAlloc(line, static_cast<uint16_t>(line->size + kLineGrowStep)) == 0;
}

// The stop characters of one read, as a set of byte values. A zero byte is
// never among them: the stop string ends at its first zero.
struct StopSet {
    uint64_t bits[4] = {};
    explicit StopSet(const char* stops) {
        for (const char* p = stops; *p != '\0'; ++p) {
            uint8_t c = static_cast<uint8_t>(*p);
            bits[c >> 6] |= uint64_t{1} << (c & 63);
        }
    }
    bool Has(uint8_t c) const { return (bits[c >> 6] >> (c & 63)) & 1; }
};

// Appends bytes at *at as far as the line has room; the rest is dropped.
void LineAppend(TextBuffer* line, uint16_t* at, const uint8_t* bytes, size_t count) {
    while (count > 0 && LineRoomAt(line, *at)) {
        size_t n = std::min<size_t>(count, static_cast<size_t>(line->size - 1 - *at));
        std::memcpy(line->text + *at, bytes, n);
        *at = static_cast<uint16_t>(*at + n);
        bytes += n;
        count -= n;
    }
}

// Takes the bytes in front of the next stop byte out of the reader's buffer
// in one run, without the per-byte step. False when the buffer ran out first.
bool TakeRun(ByteReader* reader, const StopSet& stops, TextBuffer* line, uint16_t* at) {
    const uint8_t* start = reader->next;
    const uint8_t* end = start + reader->remaining;
    const uint8_t* p = start;
    while (p < end && !stops.Has(*p)) ++p;
    LineAppend(line, at, start, static_cast<size_t>(p - start));
    reader->remaining = static_cast<int16_t>(end - p);
    reader->next = const_cast<uint8_t*>(p);
    return p < end;
}

// After a header parse the line buffer goes back to its usual size, so that
// one long value does not keep a large block for the rest of the document.
void LineShrink(TextBuffer* line) {
    if (line->size > kLineGrowStep) TextBufferAlloc(line, kLineGrowStep);
}

bool NameIsKept(const char* name, uint32_t start, uint32_t keepAll) {
    if (start == 0 || keepAll) return true;
    return FindNoCase(name, "content-") == name;
}

// Takes over the name's block; both strings are freed when the field is not
// added.
void AddField(HeaderList* headers, char* nameBlock, char* name, const char* value) {
    HeaderField field{};
    field.nameBlock = nameBlock;
    field.name = name;
    size_t valueLength = std::strlen(value);
    if (valueLength > 0) field.value = StringDup(static_cast<uint32_t>(valueLength), &field.valueBlock, value);
    // The list holds at most 65,535 elements, as every count above it is 16-bit.
    bool full = headers->capacity - headers->freeSlots >= 0xFFFF;
    if (field.value == nullptr || full || ListAdd(headers, &field) < 0) {
        StringFree(field.nameBlock);
        StringFree(field.valueBlock);
    }
}

}  // namespace

char* ReadUntil(ByteReader* reader, TextBuffer* line, uint16_t* index, const char* stops,
                uint32_t keepStop) {
    const StopSet stopSet(stops);
    uint16_t first = *index;
    uint16_t at = first;
    uint16_t c = kReaderEnd;
    bool stopped = false;
    for (;;) {
        if (reader->remaining > 0 && !TakeRun(reader, stopSet, line, &at)) continue;
        // Either a stop byte is next in the buffer, or the buffer is empty
        // and this refills it.
        c = ReaderGet(reader);
        if (c == kReaderEnd) break;
        if (stopSet.Has(static_cast<uint8_t>(c))) {
            stopped = true;
            break;
        }
        uint8_t byte = static_cast<uint8_t>(c);
        LineAppend(line, &at, &byte, 1);
    }
    if (stopped) {
        if (!keepStop) {
            ReaderUnget(reader, 1);
        } else if (at < line->size - 1) {
            line->text[at++] = static_cast<char>(c);
        }
    }
    line->text[at] = '\0';
    *index = at;
    return line->text + first;
}

char* ReadLine(ByteReader* reader, TextBuffer* line, uint16_t start) {
    uint16_t index = start;
    ReadUntil(reader, line, &index, "\n\r", 0);
    // CR, LF and CR LF each end one line; LF CR is two line ends.
    uint16_t c = ReaderGet(reader);
    if (c == kCR) c = ReaderGet(reader);
    if (c != kLF && c != kReaderEnd) ReaderUnget(reader, 1);
    return line->text;
}

void SkipBlanks(ByteReader* reader) {
    uint16_t c = ReaderGet(reader);
    while (IsBlank(c)) c = ReaderGet(reader);
    if (c != kReaderEnd) ReaderUnget(reader, 1);
}

uint32_t SkipToLine(ByteReader* reader, TextBuffer* line, const char* prefix) {
    size_t n = std::strlen(prefix);
    if (n == 0) return 0;
    for (;;) {
        uint32_t position = ReaderTell(reader);
        // 0 must stay free to mean that nothing was found.
        if (position == 0) position = 1;
        uint16_t c = ReaderGet(reader);
        if (c == kReaderEnd) {
            line->text[0] = '\0';
            return 0;
        }
        if (IsLineEnd(c)) continue;
        size_t matched = 0;
        if (c == static_cast<uint8_t>(prefix[0])) {
            matched = 1;
            while (matched < n && ReaderPeek(reader, 1) == static_cast<uint8_t>(prefix[matched])) {
                ReaderGet(reader);
                ++matched;
            }
        }
        ReadLine(reader, line, 0);
        if (matched == n) return position;
    }
}

uint32_t IsFieldStart(ByteReader* reader) {
    uint32_t start = ReaderTell(reader);
    uint16_t c = ReaderGet(reader);
    if (IsLineEnd(c)) {
        ReaderUnget(reader, 1);
        return 1;
    }
    uint32_t walked = 0;
    while (c >= 0x21 && c <= 0x7F && c != ':') {
        ++walked;
        c = ReaderGet(reader);
    }
    ReaderSeek(reader, static_cast<int32_t>(start), 0);
    return walked > 0 && c == ':';
}

char* ReadFieldValue(ByteReader* reader, TextBuffer* line) {
    ReadLine(reader, line, 0);
    uint16_t length = static_cast<uint16_t>(std::strlen(line->text));
    for (;;) {
        uint16_t c = ReaderPeek(reader, 1);
        while (IsBlank(c)) {
            SkipBlanks(reader);
            c = ReaderPeek(reader, 1);
            ReadLine(reader, line, length);
            length = static_cast<uint16_t>(std::strlen(line->text));
            // A continuation line of blanks only ends the value.
            if (IsLineEnd(c)) return line->text;
            c = ReaderPeek(reader, 1);
        }
        if (IsLineEnd(c) || c == kReaderEnd) return line->text;
        if (IsFieldStart(reader)) return line->text;
        // A line that is neither folded nor a field still belongs to the value.
        ReadLine(reader, line, length);
        length = static_cast<uint16_t>(std::strlen(line->text));
    }
}

int32_t FindBodyStart(ByteReader* reader, TextBuffer*, uint32_t* bodyOffset) {
    // Only LF LF, CR CR, CR LF LF and CR LF CR LF end a block; LF CR LF does not.
    bool seen = false;
    uint16_t c = ReaderGet(reader);
    while (c != kReaderEnd) {
        uint16_t n = c;
        if (c == kLF) {
            n = ReaderPeek(reader, 1);
            if (n == kLF) {
                ReaderGet(reader);
                break;
            }
        } else if (c == kCR) {
            n = ReaderPeek(reader, 1);
            if (n == kCR) {
                ReaderGet(reader);
                break;
            }
            if (n == kLF) {
                ReaderGet(reader);
                n = ReaderPeek(reader, 1);
                if (n == kLF) {
                    ReaderGet(reader);
                    break;
                }
                if (n == kCR && ReaderPeek(reader, 2) == kLF) {
                    ReaderGet(reader);
                    ReaderGet(reader);
                    break;
                }
            }
        }
        if (n != kReaderEnd) seen = true;
        c = ReaderGet(reader);
    }
    *bodyOffset = ReaderTell(reader);
    return seen ? 0 : kNoHeader;
}

void ParseHeader(ByteReader* reader, uint32_t start, uint32_t end, HeaderList* headers,
                 uint32_t keepAll, TextBuffer* line) {
    ReaderSeek(reader, static_cast<int32_t>(start), 0);
    uint32_t pos = start;
    while (pos < end) {
        uint16_t length = 0;
        char* token = ReadUntil(reader, line, &length, "\n\r \t:", 1);
        if (length == 0) return;
        if (pos + length >= end) return;
        char last = token[length - 1];
        if (last == ':' && NameIsKept(token, start, keepAll)) {
            // The name is copied now: the value is read into the same buffer.
            char* nameBlock = nullptr;
            char* name = StringDup(length, &nameBlock, token);
            SkipBlanks(reader);
            const char* value = ReadFieldValue(reader, line);
            pos = ReaderTell(reader);
            if (name != nullptr) AddField(headers, nameBlock, name, value);
            LineShrink(line);
            continue;
        }
        if (last != '\r' && last != '\n') ReadLine(reader, line, 0);
        pos = ReaderTell(reader);
    }
}

void HeaderListFree(HeaderList* headers) {
    if (headers == nullptr) return;
    uint16_t count = ListCount(headers);
    for (uint16_t i = 0; i < count; ++i) {
        HeaderField* field = ListAt<HeaderField>(headers, i);
        StringFree(field->nameBlock);
        StringFree(field->valueBlock);
    }
    ListDestroy(headers);
}
