// encoded_words.cpp - see encoded_words.h.
#include "mailtext/encoded_words.h"

#include <array>
#include <cstring>

#include "mailtext/base64_alphabet.h"
#include "mailtext/charset_ids.h"
#include "mailtext/utf8.h"

namespace {

constexpr uint32_t kReplacementChar = 0xFFFD;

// A byte that isn't a hexadecimal digit counts as 0.
uint8_t HexValue(uint8_t c) {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
    return 0;
}

// The byte at `pos` of a text of `length` bytes, 0 behind its end.
uint8_t ByteAt(const uint8_t* text, uint32_t length, uint32_t pos) {
    return pos < length ? text[pos] : 0;
}

// An inclusive range of lead bytes.
struct LeadRange {
    uint8_t first;
    uint8_t last;
};

struct LeadBytes {
    uint32_t charset;
    std::array<LeadRange, 3> ranges;  // unused entries are {1, 0}: empty
};

constexpr LeadRange kNone = {1, 0};

constexpr LeadBytes kLeadBytes[] = {
    {CharsetUtf8, {{{0x80, 0xFF}, kNone, kNone}}},
    {CharsetUtf7, {{{0x00, 0xFF}, kNone, kNone}}},
    {CharsetShiftJis, {{{0x81, 0x9F}, {0xE0, 0xFC}, kNone}}},
    {CharsetGb, {{{0xA1, 0xA9}, {0xB0, 0xF7}, kNone}}},
    {CharsetKorean, {{{0xA1, 0xAC}, {0xB0, 0xC8}, {0xCA, 0xFD}}}},
    {CharsetBig5, {{{0xA1, 0xC6}, {0xC9, 0xF9}, kNone}}},
};

// The units of one UTF-7 run go out up to the first zero unit.
void PutUtf7Run(const char* symbols, uint32_t length, uint16_t* units, uint32_t capacity,
                WordCharSink& out) {
    DecodeUtf7Run(units, capacity, symbols, length);
    for (uint32_t i = 0; units[i] != 0; ++i) out.Char(units[i]);
}

// RFC 2152 text: "+-" is a plus sign, "+" opens a run of base64 symbols.
void PutUtf7Text(const uint8_t* text, uint32_t length, uint16_t* units, uint32_t capacity,
                 WordCharSink& out) {
    uint32_t pos = 0;
    while (pos < length) {
        uint8_t byte = text[pos];
        if (byte != '+') {
            out.Char(byte);
            ++pos;
            continue;
        }
        if (ByteAt(text, length, pos + 1) == '-') {
            out.Char('+');
            pos += 2;
            continue;
        }
        uint32_t start = pos + 1;
        uint32_t end = start;
        while (end < length && text[end] < 0x80 && Base64Value(text[end]) != kBase64Invalid) ++end;
        PutUtf7Run(reinterpret_cast<const char*>(text + start), end - start, units, capacity, out);
        pos = end;
        // A '-' that closes a run is part of the run's syntax (RFC 2152), so
        // it is absorbed rather than shown.
        if (end > start && ByteAt(text, length, pos) == '-') ++pos;
    }
}

// A UTF-8 sequence from memory, as the filter's character reader decodes one
// from a stream; bytes missing at the end of the text count as 0.
uint32_t DecodeUtf8At(const uint8_t* text, uint32_t length, uint32_t pos, uint32_t* taken) {
    uint8_t lead = text[pos];
    uint8_t sequence = Utf8SequenceLength(lead);
    uint32_t value = lead & Utf8LeadMask(sequence);
    for (uint32_t i = 1; i < sequence; ++i) value = (value << 6) | (ByteAt(text, length, pos + i) & 0x3F);
    *taken = sequence == 0 ? 1 : sequence;
    if (sequence > 3) return kReplacementChar;
    return value & 0xFFFF;
}

// Decoded text in a set the host reads itself, or in UTF-8.
void PutCharsetText(const uint8_t* text, uint32_t length, uint32_t charset, WordCharSink& out) {
    uint32_t pos = 0;
    while (pos < length) {
        uint8_t byte = text[pos];
        if (!IsLeadByte(byte, charset)) {
            out.Char(byte);
            ++pos;
        } else if (charset == CharsetUtf8) {
            uint32_t taken = 1;
            out.Char(DecodeUtf8At(text, length, pos, &taken));
            pos += taken;
        } else {
            out.Char(byte * 256u + ByteAt(text, length, pos + 1));
            pos += 2;
        }
    }
}

}  // namespace

bool ParseEncodedWordHead(const char* at, EncodedWordHead* head) {
    std::memset(head->charsetName, 0, sizeof head->charsetName);
    const char* p = at + 2;
    uint32_t n = 0;
    while (n < kEncodedCharsetNameMax && p[n] != '?' && p[n] != '\0') {
        head->charsetName[n] = p[n];
        ++n;
    }
    if (p[n] != '?') return false;
    p += n + 1;
    char encoding = *p;
    if (encoding != 'B' && encoding != 'b' && encoding != 'Q' && encoding != 'q') return false;
    if (p[1] != '?') return false;
    head->encoding = encoding;
    head->encoded = p + 2;
    return true;
}

void WalkEncodedText(const char* text, EncodedTextSink& sink) {
    if (!text) return;
    const char* p = text;
    while (*p != '\0') {
        EncodedWordHead head;
        if (p[0] != '=' || p[1] != '?' || !ParseEncodedWordHead(p, &head)) {
            sink.Raw(static_cast<uint8_t>(*p));
            ++p;
            continue;
        }
        uint32_t encodedLength = EncodedTextLength(head.encoded);
        if (!sink.Word(head, encodedLength)) return;
        const char* behind = head.encoded + encodedLength;
        if (*behind == '\0') return;
        p = behind + 2;
    }
}

uint32_t EncodedTextLength(const char* text) {
    if (!text) return 0;
    const char* close = std::strstr(text, "?=");
    return static_cast<uint32_t>(close ? close - text : std::strlen(text));
}

// Positions at or behind `length` end a group like a zero byte, so "QQ"
// without padding gives one byte and nothing behind the text is read.
char* DecodeB(char* buffer, uint32_t length) {
    const auto* in = reinterpret_cast<const uint8_t*>(buffer);
    uint32_t out = 0;
    uint32_t start = 0;
    while (start < length) {
        uint8_t symbols[4] = {0, 0, 0, 0};
        uint32_t n = 0;
        while (n < 4 && start + n < length && in[start + n] != '=' && in[start + n] != '\0') {
            uint8_t value = in[start + n] < 0x80 ? Base64Value(in[start + n]) : kBase64Invalid;
            symbols[n] = value == kBase64Invalid ? 63 : value;
            ++n;
        }
        if (n >= 2) buffer[out++] = static_cast<char>((symbols[0] << 2) | (symbols[1] >> 4));
        if (n >= 3) buffer[out++] = static_cast<char>((symbols[1] << 4) | (symbols[2] >> 2));
        if (n >= 4) buffer[out++] = static_cast<char>((symbols[2] << 6) | symbols[3]);
        // A group cut short by '=' or a zero is taken to span five positions.
        start += n == 4 ? 4 : 5;
    }
    buffer[out] = '\0';
    return buffer;
}

char* DecodeQ(char* buffer, uint32_t length) {
    const auto* in = reinterpret_cast<const uint8_t*>(buffer);
    uint32_t out = 0;
    uint32_t pos = 0;
    while (pos < length) {
        uint8_t byte = in[pos];
        if (byte == '_') {
            buffer[out++] = ' ';
            ++pos;
        } else if (byte == '=') {
            // Both bytes behind '=' are used up whatever they are; no line
            // ends are handled in a header.
            uint8_t high = HexValue(ByteAt(in, length, pos + 1));
            uint8_t low = HexValue(ByteAt(in, length, pos + 2));
            buffer[out++] = static_cast<char>(high * 16 + low);
            pos += 3;
        } else {
            buffer[out++] = static_cast<char>(byte);
            ++pos;
        }
    }
    buffer[out] = '\0';
    return buffer;
}

uint16_t* DecodeUtf7Run(uint16_t* out, uint32_t capacity, const char* symbols, uint32_t length) {
    // 8 symbols carry 48 bits, 3 units; a rest of 1 to 3 symbols gives 1 unit,
    // of 4 to 7 gives 2, the missing bits counting as 0.
    uint32_t rest = length % 8;
    uint32_t units = length / 8 * 3 + (rest == 0 ? 0 : rest <= 3 ? 1 : 2);
    if (units > capacity) units = capacity;
    uint32_t bits = 0;       // pending bits, high first
    uint32_t bitCount = 0;
    uint32_t next = 0;       // next symbol to read
    for (uint32_t i = 0; i < units; ++i) {
        while (bitCount < 16) {
            uint8_t value = 0;
            if (next < length) {
                auto c = static_cast<uint8_t>(symbols[next++]);
                value = c < 0x80 ? Base64Value(c) : kBase64Invalid;
                // Not an alphabet symbol (callers pass only symbols): its bits are 0.
                if (value == kBase64Invalid) value = 0;
            }
            bits = (bits << 6) | value;
            bitCount += 6;
        }
        bitCount -= 16;
        out[i] = static_cast<uint16_t>(bits >> bitCount);
        bits &= (1u << bitCount) - 1;
    }
    out[units] = 0;
    return out;
}

uint32_t IsLeadByte(uint32_t value, uint32_t charset) {
    for (const LeadBytes& entry : kLeadBytes) {
        if (entry.charset != charset) continue;
        for (const LeadRange& range : entry.ranges)
            if (value >= range.first && value <= range.last) return 1;
        return 0;
    }
    return 0;
}

uint32_t AnnouncedCharset(uint32_t charset) {
    if (charset == CharsetUtf8 || charset == CharsetUtf7 || charset == CharsetIso2022)
        return CharsetPlain;
    if (charset == CharsetIso2022Jis) return CharsetShiftJis;
    return charset;
}

void PutWordChars(const uint8_t* text, uint32_t length, uint32_t charset, uint16_t* units,
                  uint32_t unitCapacity, WordCharSink& out) {
    out.Charset(AnnouncedCharset(charset));
    if (charset == CharsetUtf7)
        PutUtf7Text(text, length, units, unitCapacity, out);
    else
        PutCharsetText(text, length, charset, out);
}
