// header_params.cpp - see header_params.h.
#include "mailtext/header_params.h"

#include <map>

#include "mailtext/charset_ids.h"
#include "mailtext/charset_names.h"

namespace {

// A field longer than this is read only this far.
constexpr size_t kLongestField = 16384;
// Parameters read from one field value; more is no real header.
constexpr size_t kMaxParameters = 256;
// RFC 2231 pieces are numbered from 0; a larger number is no real piece.
constexpr unsigned kMaxPiece = 10000;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i])) return false;
    return true;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// %XX escapes undone; a broken escape stays as it is.
std::string Unescaped(std::string_view text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
            HexValue(text[i + 2]) >= 0) {
            bytes += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

bool IsLanguageChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
}

bool IsCharsetChar(char c) {
    return IsLanguageChar(c) || c == '_' || c == '.' || c == ':' || c == '+';
}

struct Parameter {
    std::string attribute;  // lower case
    std::string value;      // unquoted
};

// The parameters behind the first ';' of an unfolded value.
std::vector<Parameter> ParametersOf(std::string_view value) {
    std::vector<Parameter> parameters;
    size_t i = value.find(';');
    while (i != std::string_view::npos && i < value.size() && parameters.size() < kMaxParameters) {
        ++i;
        const size_t equals = value.find_first_of("=;", i);
        if (equals == std::string_view::npos || value[equals] == ';') {
            i = equals;
            continue;
        }
        Parameter parameter;
        for (char c : Trim(value.substr(i, equals - i))) parameter.attribute += Lower(c);
        i = equals + 1;
        while (i < value.size() && IsBlank(value[i])) ++i;
        if (i < value.size() && value[i] == '"') {
            for (++i; i < value.size() && value[i] != '"'; ++i) {
                if (value[i] == '\\' && i + 1 < value.size()) ++i;
                parameter.value += value[i];
            }
            i = value.find(';', i);
        } else {
            const size_t end = value.find(';', i);
            parameter.value = std::string(Trim(value.substr(i, end == std::string_view::npos ? end : end - i)));
            i = end;
        }
        parameters.push_back(std::move(parameter));
    }
    return parameters;
}

// charset'language'rest of an extended value; the charset and language as
// written, nothing when the two apostrophes are missing or the fields hold
// what no charset or language name does.
std::optional<ParameterValue> SplitExtended(std::string_view value) {
    const size_t first = value.find('\'');
    if (first == std::string_view::npos) return std::nullopt;
    const size_t second = value.find('\'', first + 1);
    if (second == std::string_view::npos) return std::nullopt;
    const std::string_view charset = value.substr(0, first);
    const std::string_view language = value.substr(first + 1, second - first - 1);
    for (char c : charset)
        if (!IsCharsetChar(c)) return std::nullopt;
    for (char c : language)
        if (!IsLanguageChar(c)) return std::nullopt;
    ParameterValue result;
    result.extended = true;
    result.charset = std::string(charset);
    result.bytes = Unescaped(value.substr(second + 1));
    return result;
}

// The end of the field that starts at `from`: behind the line end that no
// folded line follows.
size_t FieldEnd(std::string_view text, size_t from) {
    size_t end = from;
    while (end < text.size() && end - from < kLongestField) {
        const size_t lineEnd = text.find('\n', end);
        if (lineEnd == std::string_view::npos) return text.size();
        end = lineEnd + 1;
        if (end >= text.size() || (text[end] != ' ' && text[end] != '\t')) break;
    }
    return end;
}

}  // namespace

std::vector<HeaderField> HeaderFieldsOf(std::string_view block) {
    std::vector<HeaderField> fields;
    size_t at = 0;
    while (at < block.size()) {
        if (block[at] == '\n' || block.compare(at, 2, "\r\n") == 0) break;  // the blank line
        const size_t end = FieldEnd(block, at);
        const std::string_view field = block.substr(at, end - at);
        const size_t colon = field.find(':');
        if (colon == std::string_view::npos || colon == 0 || IsBlank(field[0])) return {};
        HeaderField parsed;
        parsed.name = Trim(field.substr(0, colon));
        // Unfolded: line ends go, the blanks behind them stay; cut at the longest field.
        const std::string_view value = field.substr(colon + 1, kLongestField);
        for (char c : value)
            if (c != '\r' && c != '\n') parsed.value += c;
        fields.push_back(std::move(parsed));
        at = end;
    }
    return fields;
}

std::optional<std::string_view> HeaderBlockEndingAt(std::string_view text) {
    for (int lineEnds = 0; lineEnds < 2; ++lineEnds) {  // the blank line's and the last field's
        if (text.ends_with("\r\n")) text.remove_suffix(2);
        else if (text.ends_with("\n")) text.remove_suffix(1);
        else return std::nullopt;
    }
    // Back to the line behind the boundary (or a blank line): the block's start.
    const size_t lastLine = text.rfind('\n');
    size_t start = lastLine == std::string_view::npos ? 0 : lastLine + 1;
    while (start > 0) {
        const size_t lineEnd = start - 1;  // the '\n' in front of `start`
        const size_t previous = lineEnd == 0 ? std::string_view::npos : text.rfind('\n', lineEnd - 1);
        const size_t from = previous == std::string_view::npos ? 0 : previous + 1;
        const std::string_view line = Trim(text.substr(from, lineEnd - from));
        if (line.empty() || line.starts_with("--")) break;
        start = from;
    }
    return text.substr(start);
}

std::optional<ParameterValue> FindParameter(std::string_view value, std::string_view name) {
    const std::vector<Parameter> parameters = ParametersOf(value);
    const std::string plain(name), piecePrefix = plain + "*";
    std::map<unsigned, const Parameter*> pieces;
    const Parameter* whole = nullptr;
    const Parameter* simple = nullptr;
    for (const Parameter& parameter : parameters) {
        const std::string& attribute = parameter.attribute;
        if (attribute == plain && !simple) {
            simple = &parameter;
        } else if (attribute == piecePrefix && !whole) {
            whole = &parameter;
        } else if (attribute.starts_with(piecePrefix) && attribute.size() > piecePrefix.size()) {
            size_t i = piecePrefix.size();
            unsigned number = 0;
            while (i < attribute.size() && attribute[i] >= '0' && attribute[i] <= '9' && number < kMaxPiece)
                number = number * 10 + static_cast<unsigned>(attribute[i++] - '0');
            if (i == piecePrefix.size() || (i < attribute.size() && attribute.substr(i) != "*"))
                continue;
            pieces.emplace(number, &parameter);
        }
    }
    if (!pieces.empty() && pieces.begin()->first == 0) {
        // Only the first piece names the charset; later extended pieces are
        // escaped bytes, plain pieces bytes as they stand.
        ParameterValue joined;
        unsigned expected = 0;
        for (const auto& [number, piece] : pieces) {
            if (number != expected++) break;
            const bool escaped = piece->attribute.ends_with("*");
            if (number == 0 && escaped) {
                if (auto head = SplitExtended(piece->value)) joined = std::move(*head);
                else joined.bytes = Unescaped(piece->value);
                joined.extended = true;
            } else {
                joined.bytes += escaped ? Unescaped(piece->value) : piece->value;
            }
        }
        return joined;
    }
    if (whole) {
        if (auto extended = SplitExtended(whole->value)) return extended;
        return ParameterValue{false, "", whole->value};
    }
    if (simple) return ParameterValue{false, "", simple->value};
    return std::nullopt;
}

std::optional<ParameterValue> FileNameParameter(const std::vector<HeaderField>& fields) {
    std::optional<ParameterValue> byType;
    for (const HeaderField& field : fields) {
        if (SameNoCase(field.name, "content-disposition")) {
            if (auto name = FindParameter(field.value, "filename")) return name;
        } else if (!byType && SameNoCase(field.name, "content-type")) {
            byType = FindParameter(field.value, "name");
        }
    }
    return byType;
}

std::optional<ParameterValue> ExtendedValueOf(std::string_view value) {
    auto extended = SplitExtended(value);
    if (!extended) return std::nullopt;
    const size_t first = value.find('\'');
    const bool languageEmpty = value[first + 1] == '\'';
    // An apostrophe pair in a plain name ("d'a'b.txt") is no extended value.
    const bool known = extended->charset.empty()
                           ? languageEmpty
                           : ResolveCharset(extended->charset) != CharsetPlain ||
                                 SameNoCase(extended->charset, "us-ascii");
    if (!known) return std::nullopt;
    return extended;
}
