// charset.h - character handling: charset names to CharsetIds, reading
// characters in a charset, and the header table with its encoded words.
//
// Nothing here keeps state between calls: the ISO 2022 state is the caller's
// CharsetId, the host's current charset is whatever was last announced.
#pragma once

#include <cstdint>

#include "charset/charset_ids.h"
#include "filter/filter_proc.h"
#include "input/input.h"

// --- Charset resolution -----------------------------------------------------

// A charset name (free text, may be null) to a CharsetId; never 0.
uint32_t ResolveCharset(const char* name);
// 1 when `value` (a byte, 0..255) starts a multi-byte character of `charset`.
uint32_t IsLeadByte(uint32_t value, uint32_t charset);
// Tells the host the set of the characters that follow (SoSetCharset), with
// the sets the filter decodes itself mapped to what the host receives.
void AnnounceCharset(uint32_t charset, FilterProc* proc);

// --- Character reader -------------------------------------------------------

// A character is -1 at the end of input, else 0..0xFFFF; *count gets the
// bytes taken.
constexpr int32_t kCharEnd = -1;
constexpr int32_t kReplacementChar = 0xFFFD;

int32_t ReadChar(ByteReader* reader, uint16_t* count, uint32_t charset);
// ISO 2022 text: *charset is the state, changed by escape sequences. The
// caller announces a changed state before handing the character on.
int32_t ReadCharIso2022(ByteReader* reader, uint16_t* count, uint32_t* charset);
// The same over a zero-terminated text. It has no end mark: the caller bounds
// the walk by the text's length, and the terminating zero may be taken as
// the second byte of a pair.
int32_t ReadCharIso2022Text(const char* text, uint16_t* count, uint32_t* charset);
// The n-th character ahead (n from 1) read with ReadChar; the reader does not
// move. 0 for n of 0, -1 when the input ends first.
int16_t PeekChar(ByteReader* reader, uint16_t n, uint32_t charset);
uint16_t JisToShiftJis(uint32_t c1, uint32_t c2);

// UTF-8 sequence length by first byte (0 for a continuation byte, 0xFE and
// 0xFF; 1 below 0x80), and the mask of the first byte by that length.
constexpr uint8_t Utf8SequenceLength(uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC0) return 0;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    if (lead < 0xF8) return 4;
    if (lead < 0xFC) return 5;
    if (lead < 0xFE) return 6;
    return 0;
}
constexpr uint8_t Utf8LeadMask(uint8_t length) {
    constexpr uint8_t masks[7] = {0x00, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
    return length < 7 ? masks[length] : 0;
}

// --- Base64 symbols (RFC 2045 alphabet), shared with the encoded-data sniffer.

constexpr uint8_t kBase64Invalid = 0xFF;
// The value of a symbol, or kBase64Invalid for a byte outside the alphabet.
constexpr uint8_t Base64Value(uint8_t c) {
    if (c >= 'A' && c <= 'Z') return static_cast<uint8_t>(c - 'A');
    if (c >= 'a' && c <= 'z') return static_cast<uint8_t>(c - 'a' + 26);
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0' + 52);
    if (c == '+') return 62;
    if (c == '/') return 63;
    return kBase64Invalid;
}

// --- Header display ---------------------------------------------------------

void ShowHeaderBlock(MessagePart* part, FilterProc* proc);
void ShowAttachmentRow(MessagePart* part, FilterProc* proc);
// Emits a field value through SoPutChar, decoding RFC 2047 encoded words.
void PutEncodedText(const char* text, FilterProc* proc);
// Bytes before the first "?=", or the whole length; 0 for null.
uint32_t EncodedTextLength(const char* text);
// In place on the first `length` bytes; the result is zero-terminated.
char* DecodeB(char* buffer, uint32_t length);
char* DecodeQ(char* buffer, uint32_t length);
// `length` base64 symbols to at most `capacity` 16-bit units plus a zero unit.
uint16_t* DecodeUtf7Run(uint16_t* out, uint32_t capacity, const char* symbols, uint32_t length);
