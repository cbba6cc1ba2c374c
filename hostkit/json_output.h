// json_output.h - one JSON object per document. Fields, in order: file,
// format, status, then either headers, text, attachments (status "ok") or
// code, reason (status "refused"). The text is streamed as it comes.
//
// Decisions: `headers` holds the rows of the first header table only; header
// tables met later (parts, embedded messages) become "Label: value" lines of
// the text, as in the plain rendering. The text is the body: the attachments
// row is not in it, and blank lines before its first paragraph are dropped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hostkit/document_render.h"
#include "hostkit/output_buffer.h"

class JsonOutput : public RenderTarget {
public:
    JsonOutput(OutputBuffer& out, const std::string& file, uint16_t format);
    void Table(const RenderedTable& table) override;
    void Text(std::string_view utf8) override;
    void Finish(const std::vector<AttachmentLink>& attachments);

private:
    void OpenText();

    OutputBuffer& out_;
    bool textOpen_ = false;
    bool textBegun_ = false;  // a character other than a line end has been written
    std::string scratch_;
};

void WriteJsonRefusal(OutputBuffer& out, const std::string& file, uint16_t format, int code,
                      const std::string& reason);
