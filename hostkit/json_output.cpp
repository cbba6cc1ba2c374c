// json_output.cpp - the JSON target.
#include "hostkit/json_output.h"

#include "hostkit/host_event.h"
#include "hostkit/text_output.h"

namespace {

void AppendJsonString(std::string& out, std::string_view text) {
    out += '"';
    AppendJsonEscaped(out, text.data(), text.size());
    out += '"';
}

std::string JsonHead(const std::string& file, uint16_t format, const char* status) {
    std::string head = "{\"file\": ";
    AppendJsonString(head, file);
    head += ", \"format\": " + std::to_string(format) + ", \"status\": \"" + status + "\"";
    return head;
}

}  // namespace

JsonOutput::JsonOutput(OutputBuffer& out, const std::string& file, uint16_t format) : out_(out) {
    out_.Write(JsonHead(file, format, "ok"));
}

void JsonOutput::OpenText() {
    if (textOpen_) return;
    out_.Write(", \"headers\": [], \"text\": \"");
    textOpen_ = true;
}

void JsonOutput::Table(const RenderedTable& table) {
    if (table.attachments) return;
    if (textOpen_) {
        Text(FormatTableLines({table}));
        return;
    }
    scratch_ = ", \"headers\": [";
    for (size_t i = 0; i < table.rows.size(); ++i) {
        scratch_ += i ? ", {\"label\": " : "{\"label\": ";
        AppendJsonString(scratch_, table.rows[i].label);
        scratch_ += ", \"value\": ";
        AppendJsonString(scratch_, table.rows[i].value);
        scratch_ += '}';
    }
    scratch_ += "], \"text\": \"";
    out_.Write(scratch_);
    textOpen_ = true;
}

void JsonOutput::Text(std::string_view utf8) {
    OpenText();
    if (!textBegun_) {
        const size_t first = utf8.find_first_not_of("\r\n");
        if (first == std::string_view::npos) return;
        utf8.remove_prefix(first);
        textBegun_ = true;
    }
    scratch_.clear();
    AppendJsonEscaped(scratch_, utf8.data(), utf8.size());
    out_.Write(scratch_);
}

void JsonOutput::Finish(const std::vector<AttachmentLink>& attachments) {
    OpenText();
    scratch_ = "\", \"attachments\": [";
    for (size_t i = 0; i < attachments.size(); ++i) {
        scratch_ += i ? ", {\"index\": " : "{\"index\": ";
        scratch_ += std::to_string(attachments[i].index);
        scratch_ += ", \"name\": ";
        if (attachments[i].name.empty())
            scratch_ += "null";
        else
            AppendJsonString(scratch_, attachments[i].name);
        if (!attachments[i].type.empty()) {
            scratch_ += ", \"type\": ";
            AppendJsonString(scratch_, attachments[i].type);
        }
        if (attachments[i].sized) scratch_ += ", \"size\": " + std::to_string(attachments[i].size);
        scratch_ += '}';
    }
    scratch_ += "]}\n";
    out_.Write(scratch_);
}

void WriteJsonRefusal(OutputBuffer& out, const std::string& file, uint16_t format, int code,
                      const std::string& reason) {
    std::string line = JsonHead(file, format, "refused");
    line += ", \"code\": " + std::to_string(code) + ", \"reason\": ";
    AppendJsonString(line, reason);
    line += "}\n";
    out.Write(line);
}
