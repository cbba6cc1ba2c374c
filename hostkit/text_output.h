// text_output.h - plain text rendering: tables as aligned "Label: value"
// lines, body text as it comes. Consecutive tables (header blocks and the
// attachments row) are aligned together; a blank line parts two header blocks.
#pragma once

#include <string>
#include <vector>

#include "hostkit/document_render.h"
#include "hostkit/output_buffer.h"

// The rows of `tables` as "Label: value" lines, values aligned in one column.
std::string FormatTableLines(const std::vector<RenderedTable>& tables);

class TextOutput : public RenderTarget {
public:
    explicit TextOutput(OutputBuffer& out) : out_(out) {}
    void Table(const RenderedTable& table) override { pending_.push_back(table); }
    void Text(std::string_view utf8) override;
    void Finish();

private:
    void FlushTables();

    OutputBuffer& out_;
    std::vector<RenderedTable> pending_;
};
