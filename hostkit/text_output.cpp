// text_output.cpp - the plain text target.
#include "hostkit/text_output.h"

#include <algorithm>

#include "mailtext/utf8.h"

namespace {

// Characters, not bytes: continuation bytes of UTF-8 don't count.
size_t DisplayWidth(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return !Utf8IsContinuation(static_cast<uint8_t>(c));
    }));
}

// A value stays on its line.
std::string OneLine(const std::string& value) {
    std::string line = value;
    for (char& c : line)
        if (c == '\n' || c == '\r' || c == '\t' || c == '\f') c = ' ';
    return line;
}

}  // namespace

std::string FormatTableLines(const std::vector<RenderedTable>& tables) {
    size_t width = 0;
    for (const RenderedTable& table : tables)
        for (const TableRow& row : table.rows) width = std::max(width, DisplayWidth(row.label));
    std::string lines;
    for (size_t t = 0; t < tables.size(); ++t) {
        const RenderedTable& table = tables[t];
        // Header blocks in a row (a message, then its first part) stay apart;
        // an attachments row belongs to the block above it.
        if (t > 0 && !table.attachments) lines += '\n';
        for (const TableRow& row : table.rows) {
            lines += row.label;
            lines += ':';
            lines.append(width - DisplayWidth(row.label) + 1, ' ');
            lines += OneLine(row.value);
            lines += '\n';
        }
    }
    return lines;
}

void TextOutput::FlushTables() {
    if (pending_.empty()) return;
    out_.Write(FormatTableLines(pending_));
    pending_.clear();
}

void TextOutput::Text(std::string_view utf8) {
    FlushTables();
    out_.Write(utf8);
}

void TextOutput::Finish() { FlushTables(); }
