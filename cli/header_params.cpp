// header_params.cpp - file name parameters read from the document's own
// header fields; see attachment_names.h.
//
// The filter passes a link's name as its parameter query found it: the first
// substring match of the parameter's name, folding whitespace dropped, cut at
// its buffer, only the first of several RFC 2231 pieces. To name the file
// properly the host reads the fields again: the field whose key matches the
// filter's text gives the name. This is a line scan, not a MIME walk: it
// finds fields wherever they stand, and the first field that matches wins.
#include <algorithm>
#include <cstring>
#include <map>

#include "cli/attachment_names.h"

namespace {

constexpr uint32_t kReadChunk = 65535;
// The window holds at least this much ahead of the scan position.
constexpr size_t kAhead = 1 << 20;
// A field longer than this is read only this far.
constexpr size_t kLongestField = 16384;
// Parameters kept from one document.
constexpr size_t kMaxParameters = 4096;
// How far in front of a body its header block is looked for.
constexpr uint32_t kHeaderReach = 65536;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (Lower(text[i]) != prefix[i]) return false;
    return true;
}

size_t FindNoCase(std::string_view text, std::string_view word) {
    for (size_t i = 0; i + word.size() <= text.size(); ++i)
        if (StartsWithNoCase(text.substr(i), word)) return i;
    return std::string_view::npos;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

// Which parameter a field's name asks for: "filename" or "name"; empty for
// other fields.
std::string_view ParameterOf(std::string_view fieldName) {
    fieldName = Trim(fieldName);
    if (fieldName.size() == 19 && StartsWithNoCase(fieldName, "content-disposition")) return "filename";
    if (fieldName.size() == 12 && StartsWithNoCase(fieldName, "content-type")) return "name";
    return {};
}

// The value as a substring query reads it: behind the first match of the
// parameter's name and its '=', up to the next ';'.
std::string QueryValue(std::string_view value, std::string_view parameter) {
    const size_t at = FindNoCase(value, parameter);
    if (at == std::string_view::npos) return {};
    size_t i = value.find('=', at + parameter.size());
    if (i == std::string_view::npos) return {};
    const size_t end = value.find(';', i);
    return NameKey(value.substr(i + 1, end == std::string_view::npos ? end : end - i - 1));
}

struct Parameter {
    std::string attribute;  // lower case
    std::string value;      // unquoted
};

// The parameters behind the first ';' of an unfolded value.
std::vector<Parameter> ParametersOf(std::string_view value) {
    std::vector<Parameter> parameters;
    size_t i = value.find(';');
    while (i != std::string_view::npos && i < value.size() && parameters.size() < 256) {
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

std::string PercentEscaped(std::string_view text) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && byte > 0x20 && c != '%' && c != '\'') {
            out += c;
        } else {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        }
    }
    return out;
}

// RFC 2231 first: pieces joined (a gap ends them), then the whole extended
// value; else the plain value with its encoded words.
std::optional<std::string> DecodedParameter(const std::vector<Parameter>& parameters,
                                            std::string_view name) {
    const std::string plain(name), extended = plain + "*", piecePrefix = plain + "*";
    std::map<unsigned, const Parameter*> pieces;
    const Parameter* whole = nullptr;
    const Parameter* simple = nullptr;
    for (const Parameter& parameter : parameters) {
        const std::string& attribute = parameter.attribute;
        if (attribute == plain && !simple) simple = &parameter;
        else if (attribute == extended && !whole) whole = &parameter;
        else if (attribute.starts_with(piecePrefix) && attribute.size() > piecePrefix.size()) {
            size_t i = piecePrefix.size();
            unsigned number = 0;
            while (i < attribute.size() && attribute[i] >= '0' && attribute[i] <= '9' && number < 10000)
                number = number * 10 + static_cast<unsigned>(attribute[i++] - '0');
            if (i == piecePrefix.size() || (i < attribute.size() && attribute.substr(i) != "*"))
                continue;
            pieces.emplace(number, &parameter);
        }
    }
    if (!pieces.empty() && pieces.begin()->first == 0) {
        const bool firstExtended = pieces.begin()->second->attribute.ends_with("*");
        std::string joined = firstExtended ? "" : "''";
        unsigned expected = 0;
        for (const auto& [number, piece] : pieces) {
            if (number != expected++) break;
            joined += piece->attribute.ends_with("*") ? piece->value : PercentEscaped(piece->value);
        }
        if (auto decoded = DecodeExtendedValue(joined)) return decoded;
        return DecodeEncodedWords(joined);
    }
    if (whole) {
        if (auto decoded = DecodeExtendedValue(whole->value)) return decoded;
        return DecodeEncodedWords(whole->value);
    }
    if (simple) return DecodeEncodedWords(simple->value);
    return std::nullopt;
}

// The end of the field that starts at `from`: behind the line end that no
// folded line follows.
size_t FieldEnd(std::string_view text, size_t from) {
    size_t end = from;
    while (end < text.size() && end - from < kLongestField) {
        const size_t lineEnd = text.find('\n', end);
        if (lineEnd == std::string_view::npos) return std::min(text.size(), from + kLongestField);
        end = lineEnd + 1;
        if (end >= text.size() || (text[end] != ' ' && text[end] != '\t')) break;
    }
    return std::min(end, from + kLongestField);
}

}  // namespace

std::string NameKey(std::string_view text) {
    std::string key;
    for (char c : text)
        if (!IsBlank(c) && c != '"') key += c;
    return key;
}

std::optional<NameParameter> FieldNameParameter(std::string_view field) {
    const size_t colon = field.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const std::string_view parameter = ParameterOf(field.substr(0, colon));
    if (parameter.empty()) return std::nullopt;
    std::string value;  // unfolded: line ends go, the blanks behind them stay
    for (char c : field.substr(colon + 1))
        if (c != '\r' && c != '\n') value += c;
    NameParameter found;
    found.disposition = parameter == "filename";
    found.key = QueryValue(value, parameter);
    auto name = DecodedParameter(ParametersOf(value), parameter);
    if (!name) return std::nullopt;
    found.name = std::move(*name);
    return found;
}

std::vector<NameParameter> DocumentNameParameters(IoObject* document) {
    std::vector<NameParameter> found;
    if (!document || document->Seek(document, 0, 0) != 0) return found;
    std::string window;
    std::string chunk(kReadChunk, '\0');
    size_t scan = 0;        // where the next line starts
    bool atEnd = false;
    while (found.size() < kMaxParameters) {
        window.erase(0, scan);
        scan = 0;
        while (!atEnd && window.size() < kAhead) {
            uint32_t got = 0;
            if (document->Read(document, chunk.data(), kReadChunk, &got) != 0 || got == 0 ||
                got > kReadChunk)
                atEnd = true;
            else
                window.append(chunk.data(), got);
        }
        // Lines without a colon can't start a field; encoded bodies have none.
        const size_t colon = window.find(':', scan);
        if (colon == std::string::npos) {
            if (atEnd) break;
            const size_t lastLine = window.rfind('\n');
            scan = lastLine == std::string::npos ? window.size() : lastLine + 1;
            continue;
        }
        const size_t lineStart = colon == 0 ? 0 : window.rfind('\n', colon - 1) + 1;
        const size_t end = FieldEnd(window, lineStart);
        if (!atEnd && end == window.size()) {
            scan = lineStart;  // the field runs past the window: read on first
            continue;
        }
        if (auto parameter = FieldNameParameter(std::string_view(window).substr(lineStart, end - lineStart)))
            found.push_back(std::move(*parameter));
        const size_t lineEnd = window.find('\n', colon);
        scan = lineEnd == std::string::npos ? window.size() : lineEnd + 1;
    }
    return found;
}

std::optional<std::string> NameBeforeBody(IoObject* document, uint32_t bodyOffset) {
    if (!document || bodyOffset < 2) return std::nullopt;
    const uint32_t reach = std::min(bodyOffset, kHeaderReach);
    std::string before(reach, '\0');
    uint32_t got = 0, total = 0;
    if (document->Seek(document, 0, static_cast<int32_t>(bodyOffset - reach)) != 0)
        return std::nullopt;
    while (total < reach && document->Read(document, before.data() + total, reach - total, &got) == 0 &&
           got > 0 && got <= reach - total)
        total += got;
    before.resize(total);
    // The body follows the blank line that ends its header block.
    std::string_view text(before);
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
    std::string_view block = text.substr(start);
    std::optional<std::string> byType;
    while (!block.empty()) {
        const size_t end = FieldEnd(block, 0);
        const std::string_view field = block.substr(0, end);
        const size_t colon = field.find(':');
        if (colon == std::string_view::npos || colon == 0 || IsBlank(field[0])) return std::nullopt;
        if (auto parameter = FieldNameParameter(field)) {
            if (parameter->disposition) return parameter->name;
            if (!byType) byType = parameter->name;
        }
        block.remove_prefix(end);
    }
    return byType;
}
