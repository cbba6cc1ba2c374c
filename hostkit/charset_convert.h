// charset_convert.h - turns the characters a filter sends to SoPutChar into
// UTF-8, by the CharsetId in force.
//
// Under a set of already decoded 16-bit values (0x14B00000 and its kin) a
// value is a UTF-16 unit: pairs are joined, and a run of sign-extended raw
// bytes (0xFF80..0xFFFF) whose low bytes form UTF-8 sequences of two or more
// bytes is that UTF-8 text. Under a legacy set each value is one character's
// bytes (a lead and trail byte for double-byte sets, sign-extended bytes
// taken by their low byte); they are gathered and converted by iconv in runs.
// Nothing is held back longer than the caller lets it: Flush converts all.
#pragma once

#include <iconv.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

class CharsetConverter {
public:
    CharsetConverter();
    ~CharsetConverter();
    CharsetConverter(const CharsetConverter&) = delete;
    CharsetConverter& operator=(const CharsetConverter&) = delete;

    void SetCharset(uint32_t charset);
    // Raw bytes (0xFF80..0xFFFF under a decoded set) that form no UTF-8 come
    // out as the characters they are (U+FF80..U+FFFF), or with this set, as
    // ISO-8859-1: how a file name reads stray 8-bit bytes.
    void SetLoneBytesLatin1(bool latin1) { loneBytesLatin1_ = latin1; }
    uint32_t charset() const { return charset_; }

    // One character from SoPutChar; only its low 16 bits count. ASCII under a
    // decoded set with nothing waiting is one store.
    void Put(uint32_t value) {
        value &= 0xFFFFu;
        if (value < 0x80 && asciiDirect_ && used_ < out_.size())
            out_[used_++] = static_cast<char>(value);
        else
            PutSlow(value);
    }
    // Converts whatever is waiting; afterwards text() holds everything put so far.
    void Flush();
    // The converted text not yet consumed, and its consumption.
    std::string_view text() const { return std::string_view(out_.data(), used_); }
    void Consume() { used_ = 0; }

private:
    void PutSlow(uint32_t value);
    void PutUnicode(uint32_t value);
    void PutCodePoint(uint32_t cp);
    void Append(const char* data, size_t size);
    void FlushRawRun();
    void ConvertLegacy();
    void UpdateDirect() { asciiDirect_ = unicode_ && pending_.empty() && highSurrogate_ == 0; }
    iconv_t HandleFor(uint32_t charset);

    uint32_t charset_ = 0x14B00000;
    bool unicode_ = true;
    bool asciiDirect_ = true;
    bool loneBytesLatin1_ = false;
    uint32_t highSurrogate_ = 0;
    std::string pending_;  // raw run (decoded sets) or legacy bytes
    std::string out_;      // converted text in [0, used_); the rest is room
    size_t used_ = 0;
    std::map<uint32_t, iconv_t> handles_;
};
