// document_render.cpp - the host's reading of the filter's calls; see
// document_render.h.
#include "hostkit/document_render.h"

#include <algorithm>

#include "hostkit/host_event.h"
#include "host/constants.h"
#include "mailtext/header_params.h"

namespace {

// The separator drawn for SoPutRule.
const std::string_view kRuleLine =
    "------------------------------------------------------------";

}  // namespace

std::string_view FixedText(uint32_t number) {
    switch (number) {
    case TXT_FROM: return "From";
    case TXT_TO: return "To";
    case TXT_BCC: return "Bcc";
    case TXT_CC: return "Cc";
    case TXT_SUBJECT: return "Subject";
    case TXT_DATE: return "Date";
    case TXT_NEWSGROUPS: return "Newsgroups";
    case TXT_ATTACHMENTS: return "Attachments";
    default: return "";
    }
}

namespace {

// SoPutChar without the virtual call: the filter makes one call per character.
int32_t RenderPutChar(uint32_t ch, uintptr_t user1, uintptr_t user2) {
    return hostsink::Forward(user1, user2, [&](HostSink& sink) {
        return static_cast<DocumentRender&>(sink).PutChar(ch);
    });
}

}  // namespace

VwRoutine DocumentRender::PutCharRoutine() const {
    return hostsink::AsRoutine<SoPutCharFn>(&RenderPutChar);
}

void DocumentRender::Drain() {
    if (converter_.text().empty()) return;
    if (!richType_.empty() && !bodyShown_)
        bodyShown_ = converter_.text().find_first_not_of(" \t\r\n") != std::string::npos;
    target_.Text(converter_.text());
    converter_.Consume();
}

// HTML, RTF and TNEF bodies are rendered by support filters; one that
// renders nothing (none available, or nothing it could read) would leave the
// reader looking at an empty space, so the space says why it is empty.
void DocumentRender::NoteBodyKind(const RenderedTable& table) {
    if (table.attachments) return;
    richType_.clear();
    bodyShown_ = false;
    for (const TableRow& row : table.rows) {
        if (row.labelId != 0 || AsciiLower(row.label) != "content-type") continue;
        std::string type = AsciiLower(row.value.substr(0, row.value.find(';')));
        if (type == "text/html" || type.ends_with("/rtf") || type.ends_with("ms-tnef")) richType_ = type;
    }
}

// A TNEF document has no header table to say what its body is: the whole
// document is the rich body.
int32_t DocumentRender::BeginSection(uint32_t, uint32_t, uint32_t) {
    if (documentFormat_ == FI_TNEF) {
        richType_ = "application/ms-tnef";
        bodyShown_ = false;
    }
    return 0;
}

void DocumentRender::EndBody() {
    Route();
    if (!richType_.empty() && !bodyShown_) {
        const std::string type = richType_;
        richType_.clear();
        PutAscii("[no support filter rendered this " + type + " body]\n");
    }
    richType_.clear();
    PlainFormat();
}

// A body that ends inside a centred span or an indent must not leave the
// next part's text formatted: formats last to the end of a body.
void DocumentRender::PlainFormat() {
    if (!(format_ == ParagraphFormat{})) target_.Format(format_ = ParagraphFormat{});
    if (attributes_ != 0) target_.Attributes(attributes_ = 0);
}

void DocumentRender::Route() {
    converter_.Flush();
    if (tableDepth_ == 0) {
        Drain();
        return;
    }
    CurrentCell() += converter_.text();
    converter_.Consume();
}

std::string& DocumentRender::CurrentCell() {
    if (cells_.empty()) cells_.emplace_back();
    return cells_.back();
}

void DocumentRender::PutAscii(std::string_view text) {
    Route();
    if (tableDepth_ == 0)
        target_.Text(text);
    else
        CurrentCell() += text;
}

void DocumentRender::Finish() {
    EndBody();
    if (tableDepth_ > 0) {  // a table the filter never closed
        tableDepth_ = 1;
        EndTable();
    }
}

int32_t DocumentRender::PutSpecialChar(uint32_t kind) {
    if (kind == SPC_TAB) PutAscii(tableDepth_ ? " " : "\t");
    if (kind == SPC_PAGE_BREAK) PutAscii("\f");
    return 0;
}

int32_t DocumentRender::PutBreak(uint32_t kind, uint32_t) {
    switch (kind) {
    case BRK_PARAGRAPH: PutAscii(tableDepth_ ? " " : "\n"); break;
    case BRK_CELL_END:
        Route();
        if (tableDepth_) cells_.emplace_back();
        break;
    case BRK_ROW_END:
        Route();
        if (tableDepth_) EndRow();
        break;
    case BRK_SECTION_END:
        EndBody();
        PutAscii("\n");
        PutAscii(kRuleLine);
        PutAscii("\n");
        break;
    default: Route(); break;
    }
    return 0;
}

// A row closes with a cell break, so its last cell is empty: label and value
// are the first two.
void DocumentRender::EndRow() {
    if (!cells_.empty() && cells_.back().empty()) cells_.pop_back();
    if (!cells_.empty()) {
        TableRow row;
        row.label = cells_[0];
        while (!row.label.empty() && (row.label.back() == ':' || row.label.back() == ' '))
            row.label.pop_back();
        for (size_t i = 1; i < cells_.size(); ++i) {
            if (i > 1) row.value += ' ';
            row.value += cells_[i];
        }
        row.labelId = rowLabelId_;
        if (rowLabelId_ == TXT_ATTACHMENTS && row.value.find('[') != std::string::npos)
            table_.attachments = true;
        table_.rows.push_back(std::move(row));
    }
    cells_.clear();
    rowLabelId_ = 0;
}

int32_t DocumentRender::BeginTable() {
    Route();
    if (tableDepth_++ == 0) {
        table_ = RenderedTable{};
        cells_.clear();
        rowLabelId_ = 0;
    }
    return 0;
}

int32_t DocumentRender::EndTable() {
    if (tableDepth_ == 0) return 0;
    Route();
    if (--tableDepth_ > 0) return 0;
    EndRow();
    NoteBodyKind(table_);
    target_.Table(table_);
    table_ = RenderedTable{};
    return 0;
}

int32_t DocumentRender::PutObject(const uint32_t*) {
    bodyShown_ = true;
    PutAscii("[object]");
    return 0;
}

int32_t DocumentRender::PutRule(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) {
    EndBody();
    PutAscii(kRuleLine);
    return 0;
}

int32_t DocumentRender::BeginTag(uint32_t kind, uint32_t id, const uint32_t* record) {
    if (kind != TAG_LINK) return 0;
    PutAscii("[");
    auto attachment = attachmentOf_.find(id);
    if (attachment == attachmentOf_.end()) return 0;
    const bool listed = std::any_of(attachments_.begin(), attachments_.end(),
                                    [&](const AttachmentLink& a) {
                                        return a.index == attachment->second;
                                    });
    if (listed) return 0;
    AttachmentLink link;
    link.index = attachment->second;
    if (record) {
        auto name = texts_.find(record[2]);
        if (name != texts_.end()) link.linkText = name->second;
    }
    attachments_.push_back(std::move(link));
    return 0;
}

int32_t DocumentRender::EndTag(uint32_t kind, uint32_t) {
    if (kind == TAG_LINK) PutAscii("]");
    return 0;
}

int32_t DocumentRender::RegisterText(const uint16_t* text, uint32_t, uint32_t length,
                                     uint32_t* number) {
    const uint32_t issued = nextText_++;
    if (text) texts_[issued] = std::u16string(reinterpret_cast<const char16_t*>(text), length);
    if (number) *number = issued;
    return 0;
}

int32_t DocumentRender::SetCharset(uint32_t charset) {
    converter_.SetCharset(charset);
    return 0;
}

int32_t DocumentRender::NewSubdoc(uint32_t* number) {
    declaring_ = nextSubdoc_++;
    if (number) *number = declaring_;
    return 0;
}

int32_t DocumentRender::PutStringId(uint32_t number) {
    if (tableDepth_ && cells_.size() <= 1 && CurrentCell().empty()) rowLabelId_ = number;
    PutAscii(FixedText(number));
    return 0;
}

int32_t DocumentRender::SetProperty(uint32_t form, uint32_t what, uint32_t a, uint32_t b) {
    // The recipe (0x100, 0, index) names attachment number `index`.
    if (form == PROP_RECIPE_STEP && what == STEP_SPECIAL && a == 0 && declaring_ != 0)
        attachmentOf_[declaring_] = b;
    if (form == PROP_RECIPE_END) declaring_ = 0;
    // Table cells are laid out as rows, whatever the filter asks of them.
    if (tableDepth_ > 0) return 0;
    if (form == PROP_INDENT || form == PROP_ALIGNMENT) SetIndentOrAlignment(form, what, b);
    if (form == PROP_ATTRIBUTE) SetAttribute(what, a != 0);
    return 0;
}

// Indents come as (which, mode, amount), an alignment as (value, 0, 0).
void DocumentRender::SetIndentOrAlignment(uint32_t form, uint32_t which, uint32_t amount) {
    ParagraphFormat next = format_;
    if (form == PROP_ALIGNMENT) next.alignment = which;
    else if (which == 0) next.leftIndent = static_cast<int32_t>(amount);
    else if (which == 1) next.rightIndent = static_cast<int32_t>(amount);
    else if (which == 2) next.firstIndent = static_cast<int32_t>(amount);
    if (next == format_) return;
    Route();  // the text before the change keeps the format it came in
    target_.Format(format_ = next);
}

void DocumentRender::SetAttribute(uint32_t attribute, bool on) {
    unsigned bit = 0;
    if (attribute == ATTR_BOLD) bit = kAttrBold;
    if (attribute == ATTR_ITALIC) bit = kAttrItalic;
    if (attribute == ATTR_UNDERLINE) bit = kAttrUnderline;
    const unsigned next = on ? attributes_ | bit : attributes_ & ~bit;
    if (bit == 0 || next == attributes_) return;
    Route();
    target_.Attributes(attributes_ = next);
}
