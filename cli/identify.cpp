// identify.cpp - see identify.h. The header-block test follows the
// identification service's own rule: at least two field lines before the
// first blank line, one of them a mail field.
#include "cli/identify.h"

#include <array>
#include <string>

#include "host/constants.h"
#include "host/services.h"

namespace {

constexpr uint32_t kSniffBytes = 8192;

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
        char a = text[i], b = prefix[i];
        if (a >= 'A' && a <= 'Z') a = static_cast<char>(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z') b = static_cast<char>(b - 'A' + 'a');
        if (a != b) return false;
    }
    return true;
}

// A field line: printable name characters, then a colon.
bool IsFieldLine(std::string_view line) {
    size_t i = 0;
    while (i < line.size() && line[i] > ' ' && line[i] < 0x7F && line[i] != ':') ++i;
    return i > 0 && i < line.size() && line[i] == ':';
}

bool IsMailField(std::string_view line) {
    static const std::array<std::string_view, 9> kMailFields = {
        "from:", "to:", "subject:", "date:", "received:", "message-id:", "mime-version:",
        "return-path:", "path:"};
    for (std::string_view field : kMailFields)
        if (StartsWithNoCase(line, field)) return true;
    return false;
}

}  // namespace

uint16_t SniffMailKind(std::string_view head) {
    if (head.substr(0, 5) == "From ") return FI_MBOX;
    int fields = 0;
    bool mailField = false, news = false;
    size_t start = 0;
    while (start < head.size()) {
        size_t end = head.find('\n', start);
        const bool complete = end != std::string_view::npos;
        if (!complete) end = head.size();
        std::string_view line = head.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        start = end + 1;
        if (line.empty()) break;  // the end of the header block
        if (line[0] == ' ' || line[0] == '\t') {
            if (fields == 0) return FI_UNKNOWN;
            continue;  // a folded continuation
        }
        if (!IsFieldLine(line)) {
            if (!complete) break;  // cut off by the sniff limit
            return FI_UNKNOWN;
        }
        ++fields;
        mailField = mailField || IsMailField(line);
        news = news || StartsWithNoCase(line, "newsgroups:");
    }
    if (fields < 2 || !mailField) return FI_UNKNOWN;
    return news ? FI_INTERNET_NEWS : FI_INTERNET_MAIL;
}

uint16_t IdentifyDocument(IoObject* stream) {
    uint16_t formatId = FI_UNKNOWN;
    stream->Seek(stream, 0, 0);
    IdentifyHandle(stream, 0, &formatId);
    if (formatId == FI_UNKNOWN) {
        std::string head(kSniffBytes, '\0');
        uint32_t got = 0;
        stream->Seek(stream, 0, 0);
        if (stream->Read(stream, head.data(), kSniffBytes, &got) == 0 && got <= kSniffBytes) {
            head.resize(got);
            formatId = SniffMailKind(head);
        }
    }
    stream->Seek(stream, 0, 0);
    return formatId;
}
