// encoded_words.h - RFC 2047 encoded words: finding them in a field value,
// decoding their B and Q text, and turning the decoded bytes of a word into
// the characters a host is handed (UTF-7 and UTF-8 decoded to 16-bit values,
// double-byte sets as lead * 256 + trail, single bytes as they are).
//
// The filter shows field values through this walk and hosts decode names
// with it, so a subject and a file name in the same words read alike. The
// walk keeps no state from one word to the next: white space between two
// words is text, a word may stand inside other text, and anything that fails
// a test of the word's syntax is text as it stands. ISO 2022 word text is
// not handled here (its escape states belong to the filter's reader); the
// caller takes such a word itself.
#pragma once

#include <cstdint>

// RFC 2047 allows 75 bytes for a whole word; a longer charset name is not a word.
constexpr uint32_t kEncodedCharsetNameMax = 31;

// The parsed opening "=?charset?X?" of an encoded word.
struct EncodedWordHead {
    char charsetName[kEncodedCharsetNameMax + 1];
    char encoding;        // 'B' or 'Q', either case
    const char* encoded;  // the first byte of the encoded text
};

// What a walk over a zero-terminated value hands on.
class EncodedTextSink {
public:
    virtual ~EncodedTextSink() = default;
    // A byte outside any word.
    virtual void Raw(uint8_t byte) = 0;
    // A word whose encoded text is `encodedLength` bytes from head.encoded.
    // False stops the walk (the rest of the value is dropped).
    virtual bool Word(const EncodedWordHead& head, uint32_t encodedLength) = 0;
};

// Walks `text` (null: nothing). Without its closing "?=" a word runs to the
// end of the value, and so does the walk.
void WalkEncodedText(const char* text, EncodedTextSink& sink);

// Parses the head of a word at `at` (which holds "=?"); false when the bytes
// there are no encoded word.
bool ParseEncodedWordHead(const char* at, EncodedWordHead* head);

// Bytes before the first "?=", or the whole length; 0 for null.
uint32_t EncodedTextLength(const char* text);
// In place on the first `length` bytes; the result is zero-terminated.
char* DecodeB(char* buffer, uint32_t length);
char* DecodeQ(char* buffer, uint32_t length);
// `length` base64 symbols to at most `capacity` 16-bit units plus a zero unit.
uint16_t* DecodeUtf7Run(uint16_t* out, uint32_t capacity, const char* symbols, uint32_t length);

// 1 when `value` (a byte, 0..255) starts a multi-byte character of `charset`.
uint32_t IsLeadByte(uint32_t value, uint32_t charset);
// The set a host is told for characters of `charset`: UTF-8 and UTF-7 reach
// it as decoded 16-bit values, JIS pairs as Shift-JIS codes.
uint32_t AnnouncedCharset(uint32_t charset);

// Where the characters of a word's text go.
class WordCharSink {
public:
    virtual ~WordCharSink() = default;
    virtual void Charset(uint32_t announced) = 0;
    virtual void Char(uint32_t value) = 0;
};

// The decoded bytes of one word in `charset` (not ISO 2022) as characters:
// first the announced set, then each character; the text ends at `length`.
// A UTF-7 run is decoded into `units` (room for `unitCapacity` units and a
// zero unit) and handed on up to its first zero unit.
void PutWordChars(const uint8_t* text, uint32_t length, uint32_t charset, uint16_t* units,
                  uint32_t unitCapacity, WordCharSink& out);
