// charset_convert.cpp - CharsetId to UTF-8, see charset_convert.h.
#include "hostkit/charset_convert.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "mailtext/charset_iconv.h"
#include "mailtext/utf8.h"

namespace {

// Legacy bytes are converted once this many wait.
constexpr size_t kLegacyRun = 16384;
// Converted text is kept in one flat buffer that grows only when a caller
// lets text pile up (a long table cell).
constexpr size_t kInitialRoom = 128 * 1024;
const char kReplacement[] = "\xEF\xBF\xBD";
const iconv_t kNoHandle = reinterpret_cast<iconv_t>(-1);

bool IsUnicodeSet(uint32_t charset) {
    const auto entry = FindCharsetIconvName(charset);
    // A value the filter never announces is taken as decoded 16-bit text too:
    // that keeps ASCII readable, whatever it stands for.
    return !entry || std::strcmp(entry->iconvName, "UTF-16BE") == 0;
}

bool IsSingleByte(uint32_t charset) { return (charset & 0x100u) != 0; }

}  // namespace

CharsetConverter::CharsetConverter() { out_.resize(kInitialRoom); }

CharsetConverter::~CharsetConverter() {
    for (auto& [charset, handle] : handles_)
        if (handle != kNoHandle) iconv_close(handle);
}

void CharsetConverter::SetCharset(uint32_t charset) {
    if (charset == charset_) return;
    Flush();
    charset_ = charset;
    unicode_ = IsUnicodeSet(charset);
    UpdateDirect();
}

void CharsetConverter::Append(const char* data, size_t size) {
    if (out_.size() - used_ < size) out_.resize(std::max(out_.size() * 2, used_ + size));
    out_.replace(used_, size, data, size);
    used_ += size;
}

void CharsetConverter::PutCodePoint(uint32_t cp) {
    char buf[4];
    Append(buf, EncodeUtf8(buf, cp));
}

void CharsetConverter::PutSlow(uint32_t value) {
    if (unicode_) {
        PutUnicode(value);
        UpdateDirect();
        return;
    }
    const bool twoBytes = !IsSingleByte(charset_) && value > 0xFF && (value >> 8) != 0xFF;
    if (twoBytes) pending_ += static_cast<char>(value >> 8);
    pending_ += static_cast<char>(value & 0xFF);
    if (pending_.size() >= kLegacyRun) ConvertLegacy();
}

void CharsetConverter::PutUnicode(uint32_t value) {
    if (value >= 0xFF80) {  // a raw byte, maybe part of UTF-8 text
        if (highSurrogate_) {
            PutCodePoint(0xFFFD);
            highSurrogate_ = 0;
        }
        pending_ += static_cast<char>(value & 0xFF);
        return;
    }
    FlushRawRun();
    if (highSurrogate_) {
        if (value >= 0xDC00 && value <= 0xDFFF) {
            PutCodePoint(0x10000 + ((highSurrogate_ - 0xD800) << 10) + (value - 0xDC00));
            highSurrogate_ = 0;
            return;
        }
        PutCodePoint(0xFFFD);
        highSurrogate_ = 0;
    }
    if (value >= 0xD800 && value <= 0xDBFF) {
        highSurrogate_ = value;
        return;
    }
    // A lone low surrogate can't be written as UTF-8.
    PutCodePoint(value >= 0xDC00 && value <= 0xDFFF ? 0xFFFD : value);
}

void CharsetConverter::FlushRawRun() {
    const auto* bytes = reinterpret_cast<const unsigned char*>(pending_.data());
    const size_t size = pending_.size();
    for (size_t i = 0; i < size;) {
        const size_t length = Utf8WellFormedAt(bytes + i, size - i);
        if (length) {
            Append(pending_.data() + i, length);
            i += length;
        } else {
            PutCodePoint(loneBytesLatin1_ ? bytes[i] : 0xFF00u | bytes[i]);
            ++i;
        }
    }
    pending_.clear();
}

iconv_t CharsetConverter::HandleFor(uint32_t charset) {
    auto found = handles_.find(charset);
    if (found != handles_.end()) return found->second;
    const auto entry = FindCharsetIconvName(charset);
    iconv_t handle = entry ? iconv_open("UTF-8", entry->iconvName) : kNoHandle;
    handles_[charset] = handle;
    return handle;
}

void CharsetConverter::ConvertLegacy() {
    if (pending_.empty()) return;
    iconv_t handle = HandleFor(charset_);
    char* in = pending_.data();
    size_t inLeft = pending_.size();
    char buffer[8192];
    while (inLeft > 0) {
        char* out = buffer;
        size_t outLeft = sizeof buffer;
        size_t rc = 0;
        if (handle == kNoHandle) {
            // No converter: ASCII as itself, everything else replaced.
            const unsigned char c = static_cast<unsigned char>(*in);
            if (c < 0x80) Append(in, 1);
            else Append(kReplacement, 3);
            ++in, --inLeft;
            continue;
        }
        rc = iconv(handle, &in, &inLeft, &out, &outLeft);
        Append(buffer, static_cast<size_t>(out - buffer));
        if (rc == static_cast<size_t>(-1) && errno != E2BIG) {
            // EILSEQ or a truncated character: one replacement, one byte on.
            Append(kReplacement, 3);
            ++in, --inLeft;
            iconv(handle, nullptr, nullptr, nullptr, nullptr);
        }
    }
    pending_.clear();
}

void CharsetConverter::Flush() {
    if (unicode_) {
        FlushRawRun();
        if (highSurrogate_) {
            PutCodePoint(0xFFFD);
            highSurrogate_ = 0;
        }
    } else {
        ConvertLegacy();
    }
    UpdateDirect();
}
