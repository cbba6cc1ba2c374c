// attachment_names.h - from the name a filter gives an attachment link to a
// file name that is safe to create.
//
// The filter passes a parameter value as the header holds it: RFC 2047
// encoded words undecoded, an RFC 2231 value with its charset and percent
// escapes, raw 8-bit bytes. These routines decode all three to UTF-8 (iconv),
// and make the result safe: no path separators, no "." or "..", no control
// characters, bounded length. They never touch the file system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/io_object.h"

// `bytes` in the charset named (an iconv or MIME name) as UTF-8; undecodable
// input falls back to ISO-8859-1 byte by byte, so something readable always
// comes out.
std::string NameToUtf8(std::string_view bytes, std::string_view charsetName);

// Every RFC 2047 encoded word of `text` decoded; the blanks between two
// adjacent words dropped (RFC 2047, section 6.2). Text outside words is taken
// as UTF-8 when it is valid UTF-8, else in `rawCharset` (ISO-8859-1 when
// empty).
std::string DecodeEncodedWords(std::string_view text, std::string_view rawCharset = {});

// An RFC 2231 extended value, charset'language'percent-escaped; nothing when
// `value` doesn't have that shape.
std::optional<std::string> DecodeExtendedValue(std::string_view value);

// The link text as the filter registered it (widened bytes, or 16-bit units
// from a support filter) decoded to UTF-8: extended value first, else
// encoded words, else plain text. Raw bytes that aren't UTF-8 are read in
// `charset`, the CharsetId the text was registered under, when iconv knows
// it, else as ISO-8859-1.
std::string DecodeLinkName(std::u16string_view units, uint32_t charset);

// The name made safe to create in a directory; empty when nothing usable is
// left (the caller then names the file itself).
std::string SanitizeFileName(std::string_view utf8);

// A file-name extension for a MIME type, with its dot (".pdf"); ".bin" when
// the type is unknown.
std::string_view ExtensionForMimeType(std::string_view type);

// The file name parameter of one raw header field (name, colon, value,
// folds included): "filename" of Content-Disposition, "name" of
// Content-Type. `key` is the value as a filter that reads parameters by
// substring passes it, with blanks and quotes removed, for matching; `name`
// the value decoded properly (unfolded, RFC 2231 pieces joined, charset
// applied, RFC 2047 words decoded).
struct NameParameter {
    bool disposition = false;  // from Content-Disposition
    std::string key;
    std::string name;
};
std::optional<NameParameter> FieldNameParameter(std::string_view field);

// `text` without blanks, line ends and quotes: how a key is compared.
std::string NameKey(std::string_view text);

// Every file name parameter of the document's Content-Type and
// Content-Disposition fields, wherever they stand, in document order. Reads
// the document once through a sliding window; keeps at most a few thousand.
std::vector<NameParameter> DocumentNameParameters(IoObject* document);

// The file name that the header block right in front of `bodyOffset` gives
// (Content-Disposition's filename first, then Content-Type's name); nothing
// when no header block ends there.
std::optional<std::string> NameBeforeBody(IoObject* document, uint32_t bodyOffset);
