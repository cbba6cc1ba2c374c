// sniff_fixture.h - runs the encoded-data sniffer over bytes in memory, the
// way its two callers do: a message part (strict, the limit its classifier
// passes) and a whole document (lenient, no limit).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "encoded/encoded.h"
#include "input/input.h"
#include "tests/message/message_fixture.h"

namespace encoded_test {

// A reader and a line buffer over bytes in memory, freed at the end.
using ReaderOver = message_test::Scan;

inline uint32_t Sniff(std::string_view text, uint32_t limit, uint32_t qpHint, uint32_t strict) {
    ReaderOver over{std::string(text)};
    return SniffEncoded(over.reader, limit, qpHint, strict, &over.line);
}

// As the classifier asks about a part: the last byte's offset is the limit.
inline uint32_t SniffPart(std::string_view text, uint32_t qpHint = 0) {
    return Sniff(text, static_cast<uint32_t>(text.size()) - 1, qpHint, 1);
}

// As recognition asks about a whole encoded document.
inline uint32_t SniffDocument(std::string_view text) { return Sniff(text, kToTheEnd, 0, 0); }

inline std::string Repeat(std::string_view unit, size_t times) {
    std::string out;
    out.reserve(unit.size() * times);
    for (size_t i = 0; i < times; ++i) out += unit;
    return out;
}

// `count` base64 symbols, cycling through the alphabet.
inline std::string Base64Symbols(size_t count) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < count; ++i) out += kAlphabet[i % 64];
    return out;
}

}  // namespace encoded_test
