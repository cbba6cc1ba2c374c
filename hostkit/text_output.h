// text_output.h - plain text rendering: tables as aligned "Label: value"
// lines, body text as it comes. Consecutive tables (header blocks and the
// attachments row) are aligned together; a blank line parts two header blocks.
// Text in the filter's default format (flush left, no indent) is written as
// it comes; text in any other goes through a ParagraphLayout. Attributes are
// terminal codes, written only when the style says the output is a terminal.
#pragma once

#include <string>
#include <vector>

#include "hostkit/document_render.h"
#include "hostkit/output_buffer.h"
#include "hostkit/paragraph_layout.h"

// The rows of `tables` as "Label: value" lines, values aligned in one column.
std::string FormatTableLines(const std::vector<RenderedTable>& tables);

struct TextStyle {
    unsigned width = 80;    // columns that aligned and indented lines fill
    bool terminal = false;  // attributes become terminal codes
};

class TextOutput : public RenderTarget {
public:
    explicit TextOutput(OutputBuffer& out, TextStyle style = {})
        : out_(out), style_(style), layout_(style.width) {}
    void Table(const RenderedTable& table) override { pending_.push_back(table); }
    void Text(std::string_view utf8) override;
    void Format(const ParagraphFormat& format) override;
    void Attributes(unsigned textAttributes) override;
    void Finish();

private:
    void FlushTables();
    void WriteAsItComes(std::string_view utf8);
    void LeaveLayout();

    OutputBuffer& out_;
    TextStyle style_;
    std::vector<RenderedTable> pending_;
    ParagraphLayout layout_;
    ParagraphFormat format_;
    bool laidOut_ = false;       // text goes through layout_
    size_t column_ = 0;          // of text written as it came, since its last line end
    unsigned attributes_ = 0;
    std::string scratch_;
};
