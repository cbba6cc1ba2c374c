// encoded_words.cpp - field values with RFC 2047 encoded words, emitted
// character by character, and the B, Q and UTF-7 decoders they need.
//
// The walk is byte by byte with no state from one word to the next: white
// space between two words is shown, a word may stand inside other text, and
// anything that fails a test of the word's syntax is shown as it stands. The
// host's charset is switched before a word's text and set back to 0x14B00000
// behind it. Decoding is done in place on a copy of the word's text; the
// copy never outlives the word.
#include <cstring>

#include "charset/charset.h"
#include "core/host_calls.h"

namespace {

// RFC 2047 allows 75 bytes for a whole word; a longer charset name is not a word.
constexpr uint32_t kCharsetNameMax = 31;
// StringDup takes a 16-bit length, so the copy of a word's text plus its
// terminator must stay below 64 KiB. A longer text is treated like a failed
// copy: the rest of the value is dropped.
constexpr uint32_t kEncodedTextMax = 0xFFFE;
// Units for a UTF-7 run when lineBuf is not there: what its first size gives.
constexpr uint32_t kUtf7FallbackUnits = 512;

// A byte that isn't a hexadecimal digit counts as 0.
uint8_t HexValue(uint8_t c) {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
    return 0;
}

// A raw byte of the value as the host gets it outside a word: sign-extended
// to 16 bits, so that 0xE9 goes as 0xFFE9.
uint32_t SignExtended(uint8_t byte) {
    return static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(byte)));
}

// The byte at `pos` of a text of `length` bytes, 0 behind its end.
uint8_t ByteAt(const uint8_t* text, uint32_t length, uint32_t pos) {
    return pos < length ? text[pos] : 0;
}

// The parsed opening "=?charset?X?" of an encoded word.
struct WordHead {
    char charsetName[kCharsetNameMax + 1];
    char encoding;        // 'B' or 'Q', either case
    const char* encoded;  // the first byte of the encoded text
};

// Parses the head of a word at `at` (which holds "=?"); false when the bytes
// there are no encoded word.
bool ParseWordHead(const char* at, WordHead* head) {
    std::memset(head->charsetName, 0, sizeof head->charsetName);
    const char* p = at + 2;
    uint32_t n = 0;
    while (n < kCharsetNameMax && p[n] != '?' && p[n] != '\0') {
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

// The units of one UTF-7 run go to the host up to the first zero unit.
void PutUtf7Run(const char* symbols, uint32_t length, FilterProc* proc) {
    uint16_t fallback[kUtf7FallbackUnits];
    uint16_t* units = fallback;
    uint32_t capacity = kUtf7FallbackUnits - 1;
    // lineBuf grows with long header lines, and the run may use all of it.
    if (proc->lineBuf.text && proc->lineBuf.size >= 4) {
        units = reinterpret_cast<uint16_t*>(proc->lineBuf.text);
        capacity = proc->lineBuf.size / 2u - 1;
    }
    DecodeUtf7Run(units, capacity, symbols, length);
    for (uint32_t i = 0; units[i] != 0; ++i) SoPutChar(units[i], proc);
}

// RFC 2152 text: "+-" is a plus sign, "+" opens a run of base64 symbols.
void PutUtf7Text(const uint8_t* text, uint32_t length, FilterProc* proc) {
    uint32_t pos = 0;
    while (pos < length) {
        uint8_t byte = text[pos];
        if (byte != '+') {
            SoPutChar(byte, proc);
            ++pos;
            continue;
        }
        if (ByteAt(text, length, pos + 1) == '-') {
            SoPutChar('+', proc);
            pos += 2;
            continue;
        }
        uint32_t start = pos + 1;
        uint32_t end = start;
        while (end < length && text[end] < 0x80 && Base64Value(text[end]) != kBase64Invalid) ++end;
        PutUtf7Run(reinterpret_cast<const char*>(text + start), end - start, proc);
        pos = end;
        // A '-' that closes a run is part of the run's syntax (RFC 2152), so
        // it is absorbed rather than shown.
        if (end > start && ByteAt(text, length, pos) == '-') ++pos;
    }
}

// A UTF-8 sequence from memory, as the character reader decodes one from a
// stream; bytes missing at the end of the text count as 0.
int32_t DecodeUtf8At(const uint8_t* text, uint32_t length, uint32_t pos, uint32_t* taken) {
    uint8_t lead = text[pos];
    uint8_t sequence = Utf8SequenceLength(lead);
    uint32_t value = lead & Utf8LeadMask(sequence);
    for (uint32_t i = 1; i < sequence; ++i) value = (value << 6) | (ByteAt(text, length, pos + i) & 0x3F);
    *taken = sequence == 0 ? 1 : sequence;
    if (sequence > 3) return kReplacementChar;
    return static_cast<int32_t>(value & 0xFFFF);
}

// Decoded text in a set the host reads itself, or in UTF-8.
void PutCharsetText(const uint8_t* text, uint32_t length, uint32_t charset, FilterProc* proc) {
    uint32_t pos = 0;
    while (pos < length) {
        uint8_t byte = text[pos];
        if (!IsLeadByte(byte, charset)) {
            SoPutChar(byte, proc);
            ++pos;
        } else if (charset == CharsetUtf8) {
            uint32_t taken = 1;
            SoPutChar(static_cast<uint32_t>(DecodeUtf8At(text, length, pos, &taken)), proc);
            pos += taken;
        } else {
            SoPutChar(byte * 256u + ByteAt(text, length, pos + 1), proc);
            pos += 2;
        }
    }
}

// ISO 2022 text starts in its ASCII state; each escape that changes the state
// is announced before the character read with it.
void PutIso2022Text(const char* text, uint32_t length, FilterProc* proc) {
    uint32_t state = CharsetIso2022Ascii;
    AnnounceCharset(state, proc);
    uint32_t pos = 0;
    while (pos < length) {
        uint32_t before = state;
        uint16_t count = 0;
        int32_t ch = ReadCharIso2022Text(text + pos, &count, &state);
        pos += count;
        if (state != before) AnnounceCharset(state, proc);
        // A sequence at the very end reads the terminating zero as its
        // character; that zero is not shown.
        if (pos <= length) SoPutChar(static_cast<uint16_t>(ch), proc);
    }
}

// Decodes and emits the encoded text of one word. False when there was no
// memory for the copy: the caller drops the rest of the value.
bool PutWordText(const WordHead& head, uint32_t encodedLength, FilterProc* proc) {
    if (encodedLength > kEncodedTextMax) return false;
    char* block = nullptr;
    char* copy = StringDup(encodedLength + 1, &block, head.encoded);
    if (!copy) return false;
    if (head.encoding == 'B' || head.encoding == 'b') DecodeB(copy, encodedLength);
    else DecodeQ(copy, encodedLength);
    // The decoded text ends at its first zero, so "=00" in Q text cuts it.
    uint32_t length = static_cast<uint32_t>(std::strlen(copy));
    uint32_t charset = ResolveCharset(head.charsetName);
    const auto* bytes = reinterpret_cast<const uint8_t*>(copy);
    if (charset == CharsetIso2022) {
        PutIso2022Text(copy, length, proc);
    } else if (charset == CharsetUtf7) {
        AnnounceCharset(charset, proc);
        PutUtf7Text(bytes, length, proc);
    } else {
        AnnounceCharset(charset, proc);
        PutCharsetText(bytes, length, charset, proc);
    }
    StringFree(block);
    // Whatever stood before the word: text behind it is plain until the next change.
    SoSetCharset(CharsetPlain, proc);
    return true;
}

}  // namespace

void PutEncodedText(const char* text, FilterProc* proc) {
    if (!text) return;
    const char* p = text;
    while (*p != '\0') {
        WordHead head;
        if (p[0] != '=' || p[1] != '?' || !ParseWordHead(p, &head)) {
            SoPutChar(SignExtended(static_cast<uint8_t>(*p)), proc);
            ++p;
            continue;
        }
        uint32_t encodedLength = EncodedTextLength(head.encoded);
        if (!PutWordText(head, encodedLength, proc)) return;
        const char* behind = head.encoded + encodedLength;
        // Without "?=" the word runs to the end of the value, and so does the walk.
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
