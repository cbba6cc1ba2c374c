// header_params.h - reading one part's header block: its fields, unfolded,
// and the file name parameter of Content-Disposition / Content-Type with
// RFC 2231 pieces joined and percent escapes undone.
//
// Bytes only: a value comes out with the charset it names, and converting it
// to text is the caller's business (RFC 2047 words in a plain value are left
// as they stand). Works on a block already in memory; never reads a stream.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct HeaderField {
    std::string_view name;  // without the colon, blanks trimmed
    std::string value;      // behind the colon, line ends of folds removed
};

// Field names and MIME types compare without case, in ASCII.
inline std::string AsciiLower(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

// The fields of `block` up to its first blank line (or its end). Nothing
// when a line that is no field and no fold comes first.
std::vector<HeaderField> HeaderFieldsOf(std::string_view block);

// The header block that ends right in front of `text`'s end, the way a body
// follows its header: `text` ends with the blank line, and the block starts
// behind the last boundary line ("--...") or blank line before it. Nothing
// when `text` doesn't end in a blank line behind a field.
std::optional<std::string_view> HeaderBlockEndingAt(std::string_view text);

// A parameter value as the header means it.
struct ParameterValue {
    bool extended = false;  // RFC 2231: `bytes` are in `charset`
    std::string charset;    // the charset name as written, empty for none
    std::string bytes;      // a plain value may hold RFC 2047 words
};

// Parameter `name` (lower case) of a field value: RFC 2231 pieces first
// (joined up to the first gap), then the whole extended value, then the
// plain one.
std::optional<ParameterValue> FindParameter(std::string_view value, std::string_view name);

// The file name the fields give: Content-Disposition's filename first, then
// Content-Type's name.
std::optional<ParameterValue> FileNameParameter(const std::vector<HeaderField>& fields);

// `value` read as an RFC 2231 extended value, charset'language'escaped, when
// it has that shape and names a charset this library knows (or leaves both
// fields empty); used on text that lost its attribute name.
std::optional<ParameterValue> ExtendedValueOf(std::string_view value);
