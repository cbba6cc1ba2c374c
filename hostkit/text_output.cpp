// text_output.cpp - the plain text target.
#include "hostkit/text_output.h"

#include <algorithm>

#include "mailtext/utf8.h"

namespace {

// Characters, not bytes: continuation bytes of UTF-8 don't count.
size_t DisplayWidth(std::string_view text) {
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

// Tables stand on lines of their own, so laid out text after them starts a
// paragraph.
void TextOutput::FlushTables() {
    if (pending_.empty()) return;
    if (laidOut_) LeaveLayout();
    out_.Write(FormatTableLines(pending_));
    pending_.clear();
    column_ = 0;
    if (!PlainParagraph(format_)) {
        laidOut_ = true;
        layout_.Resume(0, attributes_);
    }
}

void TextOutput::Text(std::string_view utf8) {
    FlushTables();
    if (!laidOut_) return WriteAsItComes(utf8);
    scratch_.clear();
    layout_.Put(utf8, scratch_);
    out_.Write(scratch_);
}

void TextOutput::WriteAsItComes(std::string_view utf8) {
    out_.Write(utf8);
    const size_t lineEnd = utf8.rfind('\n');
    if (lineEnd != std::string_view::npos) {
        column_ = 0;
        utf8.remove_prefix(lineEnd + 1);
    }
    column_ += DisplayWidth(utf8);
}

void TextOutput::LeaveLayout() {
    scratch_.clear();
    column_ = layout_.Flush(scratch_);
    out_.Write(scratch_);
    laidOut_ = false;
}

// A change in the middle of a line leaves that line where it stands; the
// layout takes the text from there.
void TextOutput::Format(const ParagraphFormat& format) {
    format_ = format;
    layout_.SetFormat(format);
    if (PlainParagraph(format)) {
        if (laidOut_) LeaveLayout();
    } else if (!laidOut_) {
        laidOut_ = true;
        layout_.Resume(column_, attributes_);
    }
}

void TextOutput::Attributes(unsigned textAttributes) {
    if (!style_.terminal) return;
    attributes_ = textAttributes;
    if (laidOut_) layout_.SetAttributes(textAttributes);
    else out_.Write(SgrCode(textAttributes));
}

void TextOutput::Finish() {
    FlushTables();
    if (laidOut_) LeaveLayout();
    if (attributes_ != 0) out_.Write(SgrCode(0));
    attributes_ = 0;
}
