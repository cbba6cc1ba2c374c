// encoded_words.cpp - field values with RFC 2047 encoded words, emitted
// character by character through the host.
//
// The walk, the B and Q decoders and the reading of a word's charset are
// mailtext's (hosts decode names with the same code); this file adds what
// only the filter does: the copy of a word's text in the filter's memory,
// ISO 2022 words through the filter's reader, and the host calls. The host's
// charset is switched before a word's text and set back to 0x14B00000 behind
// it. Decoding is done in place on a copy of the word's text; the copy never
// outlives the word.
#include <cstring>

#include "charset/charset.h"
#include "core/host_calls.h"

namespace {

// StringDup takes a 16-bit length, so the copy of a word's text plus its
// terminator must stay below 64 KiB. A longer text is treated like a failed
// copy: the rest of the value is dropped.
constexpr uint32_t kEncodedTextMax = 0xFFFE;
// Units for a UTF-7 run when lineBuf is not there: what its first size gives.
constexpr uint32_t kUtf7FallbackUnits = 512;

// A raw byte of the value as the host gets it outside a word: sign-extended
// to 16 bits, so that 0xE9 goes as 0xFFE9.
uint32_t SignExtended(uint8_t byte) {
    return static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(byte)));
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

// A word's characters straight to the host.
class HostChars final : public WordCharSink {
public:
    explicit HostChars(FilterProc* proc) : proc_(proc) {}
    void Charset(uint32_t announced) override { SoSetCharset(announced, proc_); }
    void Char(uint32_t value) override { SoPutChar(value, proc_); }

private:
    FilterProc* proc_;
};

class HostValue final : public EncodedTextSink {
public:
    explicit HostValue(FilterProc* proc) : proc_(proc) {}
    void Raw(uint8_t byte) override { SoPutChar(SignExtended(byte), proc_); }
    bool Word(const EncodedWordHead& head, uint32_t encodedLength) override;

private:
    FilterProc* proc_;
};

// Decodes and emits the encoded text of one word. False when there was no
// memory for the copy: the walk drops the rest of the value.
bool HostValue::Word(const EncodedWordHead& head, uint32_t encodedLength) {
    if (encodedLength > kEncodedTextMax) return false;
    char* block = nullptr;
    char* copy = StringDup(encodedLength + 1, &block, head.encoded);
    if (!copy) return false;
    if (head.encoding == 'B' || head.encoding == 'b') DecodeB(copy, encodedLength);
    else DecodeQ(copy, encodedLength);
    // The decoded text ends at its first zero, so "=00" in Q text cuts it.
    uint32_t length = static_cast<uint32_t>(std::strlen(copy));
    uint32_t charset = ResolveCharset(head.charsetName);
    if (charset == CharsetIso2022) {
        PutIso2022Text(copy, length, proc_);
    } else {
        // lineBuf grows with long header lines, and a UTF-7 run may use all of it.
        uint16_t fallback[kUtf7FallbackUnits];
        uint16_t* units = fallback;
        uint32_t capacity = kUtf7FallbackUnits - 1;
        if (proc_->lineBuf.text && proc_->lineBuf.size >= 4) {
            units = reinterpret_cast<uint16_t*>(proc_->lineBuf.text);
            capacity = proc_->lineBuf.size / 2u - 1;
        }
        HostChars chars(proc_);
        PutWordChars(reinterpret_cast<const uint8_t*>(copy), length, charset, units, capacity,
                     chars);
    }
    StringFree(block);
    // Whatever stood before the word: text behind it is plain until the next change.
    SoSetCharset(CharsetPlain, proc_);
    return true;
}

}  // namespace

void PutEncodedText(const char* text, FilterProc* proc) {
    HostValue value(proc);
    WalkEncodedText(text, value);
}
