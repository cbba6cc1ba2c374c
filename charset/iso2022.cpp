// iso2022.cpp - ISO 2022 text, in which escape sequences switch the charset:
// from a ByteReader (mail bodies) and from a zero-terminated text (encoded
// words), and the conversion of a JIS pair to its Shift-JIS code.
//
// The state is the caller's CharsetId and nothing else, so it survives a
// saved and restored FilterData. Only the sequences that mail uses are known
// (ESC ( B, ESC ( J, ESC $ @, ESC $ B, ESC $ ) C); any other sequence is
// dropped without a change, and one sequence is worked off per call.
#include "charset/charset.h"

namespace {

constexpr int32_t kEsc = 0x1B;

// Bytes from a ByteReader, 0..255; false at the end of the input.
struct ReaderBytes {
    ByteReader* reader;
    bool Take(int32_t* byte) {
        uint16_t value = ReaderGet(reader);
        *byte = value;
        return value != kReaderEnd;
    }
};

// Bytes from a zero-terminated text, taken as signed chars as the header
// display hands them on. The text has no end mark: at the terminating zero
// the source keeps answering 0 without moving, so a sequence cut by the end
// never reads past the text. The caller drops what lies behind the zero.
struct TextBytes {
    const char* next;
    bool Take(int32_t* byte) {
        *byte = static_cast<signed char>(*next);
        if (*next != '\0') ++next;
        return true;
    }
};

// Works off an escape sequence whose ESC is taken; false at the end.
template <typename Source>
bool SkipEscape(Source& source, uint16_t* count, uint32_t* charset) {
    int32_t c = 0;
    if (!source.Take(&c)) return false;
    ++*count;
    int32_t d = 0;
    if (c == '$') {
        if (!source.Take(&d)) return false;
        ++*count;
        if (d == ')') {
            int32_t e = 0;
            if (!source.Take(&e)) return false;
            ++*count;
            if (e == 'C') *charset = CharsetKorean;
        } else if (d == '@' || d == 'B') {
            *charset = CharsetIso2022Jis;
        }
    } else if (c == '(') {
        if (!source.Take(&d)) return false;
        ++*count;
        if (d == 'B') *charset = CharsetIso2022Ascii;
        else if (d == 'J') *charset = CharsetIso2022Roman;
    }
    return true;
}

template <typename Source>
int32_t ReadIso2022(Source& source, uint16_t* count, uint32_t* charset) {
    *count = 1;
    int32_t first = 0;
    if (!source.Take(&first)) return kCharEnd;
    if (first == kEsc) {
        if (!SkipEscape(source, count, charset)) return kCharEnd;
        // The byte behind the sequence is data, even another ESC.
        if (!source.Take(&first)) return kCharEnd;
        ++*count;
    }
    if (IsSingleByteCharset(*charset)) return first;
    int32_t second = 0;
    if (!source.Take(&second)) return kCharEnd;
    ++*count;
    // The JIS conversion comes first, so a line end inside JIS text is a pair too.
    if (*charset == CharsetIso2022Jis)
        return JisToShiftJis(static_cast<uint32_t>(first), static_cast<uint32_t>(second));
    if (first == '\n' || first == '\r') return first;
    return first * 256 + second;
}

}  // namespace

int32_t ReadCharIso2022(ByteReader* reader, uint16_t* count, uint32_t* charset) {
    ReaderBytes source{reader};
    return ReadIso2022(source, count, charset);
}

int32_t ReadCharIso2022Text(const char* text, uint16_t* count, uint32_t* charset) {
    TextBytes source{text};
    return ReadIso2022(source, count, charset);
}

uint16_t JisToShiftJis(uint32_t c1, uint32_t c2) {
    uint32_t high = 0;
    if (c1 >= 0x21 && c1 <= 0x5E) high = (c1 + 1) / 2 + 0x70;
    else if (c1 >= 0x5F && c1 <= 0x7E) high = (c1 + 1) / 2 + 0xB0;
    uint32_t low;
    if (c1 % 2 == 0) low = (c2 + 0x7E) % 256;
    else if (c2 <= 0x5F) low = (c2 + 0x1F) % 256;
    else low = (c2 + 0x20) % 256;
    return static_cast<uint16_t>(high * 256 + low);
}
