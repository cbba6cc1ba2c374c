// encodings.cpp - text encodings of binary files, and whether a piece holds
// the opening of its data or continues a set.
//
// Even FormatIds: the piece holds the opening (a "begin" line whose next line
// is data of the right alphabet, a yEnc "=ybegin" without part= or with
// part=1, the BinHex banner), wherever its data ends. Odd FormatIds: encoded
// lines without an opening. uuencode and xxencode share the "begin" line and
// are told apart by the alphabet and length of their data lines: a uuencoded
// line of 45 bytes is 'M' and 60 characters of ` .. _, an xxencoded one 'h'
// and 60 of +-0-9A-Za-z. Base64 bodies, whose lines use the same letters,
// fail the length check (76 characters, and no length letter in front).
#include <cctype>
#include <cstring>

#include "platform/identify/identify.h"
#include "platform/identify/lines.h"

using namespace identify;

namespace {

constexpr uint16_t kUuOpening = 4050, kUuPiece = 4051;
constexpr uint16_t kXxOpening = 4052, kXxPiece = 4053;
constexpr uint16_t kYencOpening = 4054, kYencPiece = 4055;
constexpr uint16_t kBinHexOpening = 4056, kBinHexPiece = 4057;

constexpr int kFullLineBytes = 45;    // what uuencode and xxencode put in a full line
constexpr size_t kBinHexLine = 64;    // characters in a full BinHex line

int UuValue(char c) {
    unsigned char u = static_cast<unsigned char>(c);
    return u >= 0x20 && u <= 0x60 ? (u - 0x20) & 0x3F : -1;
}

int XxValue(char c) {
    static const char kAlphabet[] = "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    if (c == '\0') return -1;
    const char* at = strchr(kAlphabet, c);
    return at == nullptr ? -1 : static_cast<int>(at - kAlphabet);
}

using ValueOf = int (*)(char);

// The bytes a data line carries (1..63), 0 for the zero-length line that
// closes the data ("`" / "+"), -1 for anything else. The encoded part must be
// as long as its length letter says, allowing one checksum character and the
// padding that some encoders leave off.
int DataLineBytes(const TextLine& line, ValueOf value) {
    size_t length = line.length;
    while (length > 1 && value != UuValue && (line.text[length - 1] == ' ' || line.text[length - 1] == '\t')) {
        --length;  // xx lines may carry trailing blanks; in uu a blank is data
    }
    if (length == 0) return -1;
    int bytes = value(line.text[0]);
    if (bytes < 0) return -1;
    if (bytes == 0) return length == 1 ? 0 : -1;
    for (size_t i = 1; i < length; ++i) {
        if (value(line.text[i]) < 0) return -1;
    }
    size_t encoded = length - 1;
    size_t shortest = (static_cast<size_t>(bytes) * 4 + 2) / 3;
    size_t longest = (static_cast<size_t>(bytes) + 2) / 3 * 4 + 1;
    return encoded >= shortest && encoded <= longest ? bytes : -1;
}

bool IsEndLine(const TextLine& line) {
    size_t length = line.length;
    while (length > 0 && (line.text[length - 1] == ' ' || line.text[length - 1] == '\t')) --length;
    return length == 3 && memcmp(line.text, "end", 3) == 0;
}

// "begin", a blank, the octal file mode, then the name (which may be missing:
// the reader of the data then has no name, but it is still the opening).
bool IsBeginLine(const TextLine& line) {
    if (!StartsWith(line, "begin ")) return false;
    size_t i = 6;
    size_t digits = 0;
    while (i < line.length && line.text[i] >= '0' && line.text[i] <= '7') ++i, ++digits;
    return digits >= 3 && digits <= 4 && (i == line.length || line.text[i] == ' ');
}

bool HasOpening(const uint8_t* data, size_t length, ValueOf value) {
    LineCursor cursor(data, length);
    TextLine line;
    bool afterBegin = false;
    while (cursor.Next(&line)) {
        if (afterBegin && DataLineBytes(line, value) >= 0) return true;
        afterBegin = IsBeginLine(line);
    }
    return afterBegin && value == UuValue;  // the data was cut off: the common kind
}

// A run of data lines with no opening in front: two or more starting with a
// full line, or any run that is closed by the empty line or "end".
bool HasContinuation(const uint8_t* data, size_t length, ValueOf value) {
    LineCursor cursor(data, length);
    TextLine line;
    int run = 0;
    bool firstFull = false;
    while (cursor.Next(&line)) {
        int bytes = DataLineBytes(line, value);
        if (bytes > 0) {
            if (run == 0) firstFull = bytes == kFullLineBytes;
            if (++run >= 2 && firstFull) return true;
            continue;
        }
        if (run > 0 && (bytes == 0 || IsEndLine(line))) return true;
        run = 0;
    }
    return false;
}

// The part number of an "=ybegin" line; 0 when it has none.
unsigned long YencPart(const TextLine& line) {
    for (size_t i = 0; i + 6 <= line.length; ++i) {
        if (line.text[i] == ' ' && memcmp(line.text + i + 1, "part=", 5) == 0) {
            unsigned long part = 0;
            for (size_t j = i + 6; j < line.length && isdigit(static_cast<unsigned char>(line.text[j])); ++j) {
                part = part * 10 + static_cast<unsigned long>(line.text[j] - '0');
                if (part > 1000000) break;
            }
            return part;
        }
    }
    return 0;
}

uint16_t IdentifyYenc(const uint8_t* data, size_t length) {
    LineCursor cursor(data, length);
    TextLine line;
    while (cursor.Next(&line)) {
        if (StartsWith(line, "=ybegin ")) return YencPart(line) > 1 ? kYencPiece : kYencOpening;
    }
    return 0;
}

bool IsBinHexChar(char c) {
    static const char kAlphabet[] = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
    return c != '\0' && strchr(kAlphabet, c) != nullptr;
}

bool IsBinHexRun(const TextLine& line, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        if (!IsBinHexChar(line.text[i])) return false;
    }
    return true;
}

bool IsBinHexBanner(const TextLine& line) {
    size_t i = 0;
    while (i < line.length && (line.text[i] == ' ' || line.text[i] == '\t')) ++i;
    static const char kBanner[] = "(This file must be converted with BinHex";
    constexpr size_t n = sizeof(kBanner) - 1;
    return line.length - i >= n && memcmp(line.text + i, kBanner, n) == 0;
}

// Full lines of the BinHex alphabet: two in a row, or one followed by the
// last line of the data, which ends in ':'.
uint16_t IdentifyBinHex(const uint8_t* data, size_t length) {
    LineCursor cursor(data, length);
    TextLine line;
    int fullRun = 0;
    while (cursor.Next(&line)) {
        if (IsBinHexBanner(line)) return kBinHexOpening;
        bool full = line.length == kBinHexLine && IsBinHexRun(line, line.length);
        if (full) {
            if (++fullRun >= 2) return kBinHexPiece;
            continue;
        }
        bool last = line.length > 1 && line.length <= kBinHexLine + 1 &&
                    line.text[line.length - 1] == ':' && IsBinHexRun(line, line.length - 1);
        if (fullRun > 0 && last) return kBinHexPiece;
        fullRun = 0;
    }
    return 0;
}

}  // namespace

uint16_t IdentifyEncoding(const uint8_t* data, size_t length) {
    if (HasOpening(data, length, UuValue)) return kUuOpening;
    if (HasContinuation(data, length, UuValue)) return kUuPiece;
    if (HasOpening(data, length, XxValue)) return kXxOpening;
    if (HasContinuation(data, length, XxValue)) return kXxPiece;
    if (uint16_t yenc = IdentifyYenc(data, length)) return yenc;
    return IdentifyBinHex(data, length);
}
