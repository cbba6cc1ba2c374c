// html_charset.h - which encoding an HTML body's bytes are in, and turning
// them into UTF-8 for the parser.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// The charset named by a <meta charset> or http-equiv content-type among the
// first bytes of a body; empty when there is none.
std::string SniffMetaCharset(std::string_view head);

// The encoding to read a body in, as a name libxml2 and iconv know: the
// body's own meta wins, then the part's CharsetId, then UTF-8 when `head`
// is valid UTF-8 and windows-1252 when it isn't.
std::string ChooseHtmlEncoding(std::string_view head, uint32_t partCharset);

// Bytes of one encoding in, well-formed UTF-8 out, chunk by chunk. A byte
// that doesn't decode becomes U+FFFD (in UTF-8 input: its windows-1252
// reading) and the decoding goes on; NUL becomes U+FFFD too.
class HtmlDecoder {
public:
    virtual ~HtmlDecoder() = default;
    virtual void Decode(const uint8_t* bytes, size_t length, bool last, std::string& out) = 0;
};
std::unique_ptr<HtmlDecoder> MakeHtmlDecoder(const std::string& encoding);
