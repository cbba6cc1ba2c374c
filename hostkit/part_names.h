// part_names.h - from the header of an attachment's part to a file name that
// is safe to create.
//
// A part is named by its own header block, read once from the document at
// the part's offset: Content-Disposition's filename first, then
// Content-Type's name, with RFC 2231 pieces and charsets and RFC 2047 words
// decoded by mailtext's code, the filter's own charset table and the same
// conversion `view` uses, so a name reads as the subject beside it does.
// Names are then made safe: no path separators, no "." or "..", no control
// characters, bounded length. Nothing here touches the file system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/io_object.h"
#include "hostkit/charset_convert.h"
#include "mailtext/header_params.h"

// Decodes names to UTF-8 with one converter (its iconv handles are kept
// for the next name). One per thread.
class NameDecoder {
public:
    NameDecoder() { converter_.SetLoneBytesLatin1(true); }

    // `bytes` in the set of CharsetId `charset`, as the filter hands a word's text on.
    std::string BytesToUtf8(std::string_view bytes, uint32_t charset);
    // A header value: RFC 2047 words decoded (the blanks between two words
    // dropped, adjacent words of one charset joined before conversion), other
    // bytes read as UTF-8 where they are, else as ISO-8859-1.
    std::string HeaderText(std::string_view text);
    std::string Parameter(const ParameterValue& value);
    // A link's text as the filter registered it (widened bytes, or 16-bit
    // units from a support filter): an RFC 2231 value, else header text.
    std::string LinkName(std::u16string_view units);

    // The file name the header block of the part whose body starts at
    // `bodyOffset` gives; nothing when no header block ends there or it
    // names no file.
    std::optional<std::string> PartName(IoObject* document, uint32_t bodyOffset);

private:
    std::string Take();  // everything converted so far

    CharsetConverter converter_;
};

// Reads `size` bytes at `offset` of the object; fewer at its end.
std::string ReadAt(IoObject* object, uint32_t offset, uint32_t size);

// The name made safe to create in a directory; empty when nothing usable is
// left (the caller then names the file itself).
std::string SanitizeFileName(std::string_view utf8);

// A file-name extension for a MIME type, with its dot (".pdf"); ".bin" when
// the type is unknown.
std::string_view ExtensionForMimeType(std::string_view type);
