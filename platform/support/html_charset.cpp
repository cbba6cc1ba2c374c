// html_charset.cpp - choosing an HTML body's encoding and decoding it to
// UTF-8 ourselves. libxml2 halts a push parse at the first byte its decoder
// refuses (a stray 0x81 under windows-1252 would end the body there), so the
// parser only ever sees the well-formed UTF-8 made here.
#include "platform/support/html_charset.h"

#include <libxml/encoding.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cctype>

#include "mailtext/charset_iconv.h"
#include "mailtext/charset_names.h"
#include "mailtext/utf8.h"

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

std::string Lower(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

bool Known(const std::string& name) {
    xmlCharEncodingHandlerPtr handler = xmlFindCharEncodingHandler(name.c_str());
    if (!handler) return false;
    xmlCharEncCloseFunc(handler);
    return true;
}

// What browsers read a declared name as: a body that says UTF-16 in its
// meta is ASCII-compatible (or the meta couldn't have been read), and
// Latin-1 / ASCII labels mean windows-1252.
std::string BrowserName(const std::string& name) {
    if (name.starts_with("utf-16") || name.starts_with("utf-32") || name == "unicode") return "UTF-8";
    static constexpr std::pair<std::string_view, std::string_view> kAliases[] = {
        {"iso-8859-1", "CP1252"}, {"iso8859-1", "CP1252"},   {"latin1", "CP1252"},
        {"us-ascii", "CP1252"},   {"ascii", "CP1252"},       {"x-user-defined", "CP1252"},
        {"gb2312", "GBK"},        {"ks_c_5601-1987", "CP949"}, {"euc-kr", "CP949"},
        {"shift_jis", "CP932"},   {"x-sjis", "CP932"},       {"iso-8859-8-i", "ISO-8859-8"},
    };
    for (const auto& [label, reading] : kAliases)
        if (name == label) return std::string(reading);
    return name;
}

// The part's CharsetId as a decoder name; empty when it names no byte set.
std::string PartEncoding(uint32_t charset) {
    if (charset == CharsetUtf8) return "UTF-8";
    if (charset == CharsetUtf7) return "UTF-7";
    if (charset == CharsetIso2022 || charset == CharsetIso2022Ascii || charset == CharsetIso2022Roman ||
        charset == CharsetIso2022Jis)
        return "ISO-2022-JP";
    if (charset == CharsetIso8859(1)) return "CP1252";
    const auto entry = FindCharsetIconvName(charset);
    if (!entry || std::string_view(entry->iconvName) == "UTF-16BE") return {};
    return entry->iconvName;
}

// UTF-16 without a byte order mark: ASCII text shows as a NUL beside
// nearly every byte, on one side.
std::string Utf16Guess(std::string_view head) {
    size_t even = 0, odd = 0;
    const size_t length = std::min<size_t>(head.size(), 1024) & ~size_t{1};
    for (size_t i = 0; i < length; i += 2) {
        even += head[i] == 0;
        odd += head[i + 1] == 0;
    }
    const size_t pairs = length / 2;
    if (pairs < 4) return {};
    if (odd * 2 > pairs && even * 8 < pairs) return "UTF-16LE";
    if (even * 2 > pairs && odd * 8 < pairs) return "UTF-16BE";
    return {};
}

// The value after `charset` `=` at `at` in a tag, or empty.
std::string CharsetValueAt(std::string_view tag, size_t at) {
    size_t i = at + 7;
    auto skip = [&](std::string_view set) {
        while (i < tag.size() && set.find(tag[i]) != std::string_view::npos) ++i;
    };
    skip(" \t\r\n");
    if (i >= tag.size() || tag[i] != '=') return {};
    ++i;
    skip(" \t\r\n\"'");
    const size_t start = i;
    while (i < tag.size() && (std::isalnum(static_cast<unsigned char>(tag[i])) || std::string_view("-_.:").find(tag[i]) != std::string_view::npos))
        ++i;
    return std::string(tag.substr(start, i - start));
}

class Utf8Decoder : public HtmlDecoder {
public:
    void Decode(const uint8_t* bytes, size_t length, bool last, std::string& out) override {
        carry_.append(reinterpret_cast<const char*>(bytes), length);
        const auto* p = reinterpret_cast<const unsigned char*>(carry_.data());
        size_t i = 0;
        while (i < carry_.size()) {
            if (p[i] < 0x80) {
                if (p[i] == 0) AppendUtf8(out, kReplacement); else out.push_back(static_cast<char>(p[i]));
                ++i;
                continue;
            }
            const size_t left = carry_.size() - i;
            if (const size_t n = Utf8WellFormedAt(p + i, left)) {
                out.append(carry_, i, n);
                i += n;
                continue;
            }
            if (!last && left < 4 && CouldComplete(p + i, left)) break;
            AppendUtf8(out, Windows1252(p[i]));
            ++i;
        }
        carry_.erase(0, i);
    }

private:
    // True when `left` bytes are the start of a sequence the next chunk may end.
    static bool CouldComplete(const unsigned char* p, size_t left) {
        const uint8_t length = Utf8SequenceLength(p[0]);
        if (length < 2 || length > 4 || left >= length) return false;
        return std::all_of(p + 1, p + left, [](unsigned char b) { return Utf8IsContinuation(b); });
    }
    static uint32_t Windows1252(uint8_t byte) {
        static constexpr uint16_t kHigh[32] = {
            0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
            0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
            0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};
        return byte >= 0x80 && byte < 0xA0 ? kHigh[byte - 0x80] : byte;
    }
    std::string carry_;
};

// Any other encoding, through libxml2's converters (iconv behind them).
class ConverterDecoder : public HtmlDecoder {
public:
    explicit ConverterDecoder(xmlCharEncodingHandlerPtr handler)
        : handler_(handler), in_(xmlBufferCreate()), out_(xmlBufferCreate()) {}
    ~ConverterDecoder() override {
        xmlCharEncCloseFunc(handler_);
        if (in_) xmlBufferFree(in_);
        if (out_) xmlBufferFree(out_);
    }
    void Decode(const uint8_t* bytes, size_t length, bool last, std::string& out) override {
        if (!in_ || !out_) return;
        if (length > 0) xmlBufferAdd(in_, bytes, static_cast<int>(length));
        // Each pass converts up to a refused byte, which is then skipped.
        for (int pass = 0; pass < 1 << 20 && xmlBufferLength(in_) > 0; ++pass) {
            const int before = xmlBufferLength(in_);
            const int result = xmlCharEncInFunc(handler_, out_, in_);
            Move(out);
            if (result == -2 || (last && xmlBufferLength(in_) == before)) {
                xmlBufferShrink(in_, 1);
                AppendUtf8(out, kReplacement);
            } else if (xmlBufferLength(in_) == before || result < 0) {
                break;  // a sequence the next chunk completes
            }
        }
    }

private:
    void Move(std::string& out) {
        const auto* text = reinterpret_cast<const char*>(xmlBufferContent(out_));
        const size_t size = static_cast<size_t>(xmlBufferLength(out_));
        for (size_t i = 0; i < size; ++i) {
            if (text[i] == 0) AppendUtf8(out, kReplacement); else out.push_back(text[i]);
        }
        xmlBufferEmpty(out_);
    }
    xmlCharEncodingHandlerPtr handler_;
    xmlBufferPtr in_;
    xmlBufferPtr out_;
};

}  // namespace

std::string SniffMetaCharset(std::string_view head) {
    const std::string lower = Lower(head);
    for (size_t at = lower.find("<meta"); at != std::string::npos; at = lower.find("<meta", at + 5)) {
        const size_t end = std::min(lower.find('>', at), lower.size());
        const std::string_view tag = std::string_view(lower).substr(at, end - at);
        for (size_t c = tag.find("charset"); c != std::string_view::npos; c = tag.find("charset", c + 7))
            if (std::string value = CharsetValueAt(tag, c); !value.empty()) return value;
    }
    return {};
}

std::string ChooseHtmlEncoding(std::string_view head, uint32_t partCharset) {
    if (head.starts_with("\xEF\xBB\xBF")) return "UTF-8";
    if (head.starts_with("\xFF\xFE")) return "UTF-16LE";
    if (head.starts_with("\xFE\xFF")) return "UTF-16BE";
    if (std::string wide = Utf16Guess(head); !wide.empty()) return wide;
    if (const std::string meta = SniffMetaCharset(head); !meta.empty()) {
        const std::string name = BrowserName(meta);
        if (Known(name)) return name;
        const std::string resolved = PartEncoding(ResolveCharset(meta));
        if (!resolved.empty()) return resolved;
    }
    if (std::string part = PartEncoding(partCharset); !part.empty() && Known(part)) return part;
    // The last few bytes may be a sequence cut by the end of `head`.
    for (size_t cut = 0; cut < 4 && cut <= head.size(); ++cut)
        if (Utf8IsValid(head.substr(0, head.size() - cut))) return "UTF-8";
    return "CP1252";
}

std::unique_ptr<HtmlDecoder> MakeHtmlDecoder(const std::string& encoding) {
    if (Lower(encoding) != "utf-8")
        if (xmlCharEncodingHandlerPtr handler = xmlFindCharEncodingHandler(encoding.c_str()))
            return std::make_unique<ConverterDecoder>(handler);
    return std::make_unique<Utf8Decoder>();
}
