// document_render.h - a HostSink that turns the filter's calls into a
// document: header tables as rows of label and value, body text as UTF-8,
// links as [name], rules between parts, and the list of attachments that
// the links declare. Where the document goes is a RenderTarget's business
// (plain text, JSON). Body text is handed on in chunks as it comes; only
// table rows are held until their table ends.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/charset_convert.h"
#include "hostkit/host_sink.h"

struct TableRow {
    std::string label;  // fixed text or field name, without a trailing colon
    std::string value;
    uint32_t labelId = 0;  // the fixed text's number, 0 for a field name
};

struct RenderedTable {
    std::vector<TableRow> rows;
    bool attachments = false;  // the row of attachment links
};

struct AttachmentLink {
    uint32_t index = 0;  // the filter's attachment number (recipe 0x100, 0, index)
    std::u16string linkText;  // the link's registered text as the filter passed it
    std::string name;    // the file name the host gives it; empty when it has none
    std::string type;    // MIME type of the decoded data; empty when it couldn't be opened
    bool sized = false;  // whether `size` was measured
    uint64_t size = 0;   // decoded bytes
};

// Values of the filter's paragraph alignment; 0 (never set) and the end of
// an aligned span both mean flush left.
enum ParagraphAlignment : uint32_t {
    kAlignLeft = 1,
    kAlignRight = 2,
    kAlignCentre = 3,
    kAlignEnd = 4
};

// The paragraph format the filter has set, in its own units.
struct ParagraphFormat {
    int32_t leftIndent = 0;   // 720 to an indent step
    int32_t rightIndent = 0;
    int32_t firstIndent = 0;  // the first line's, relative to the left one
    uint32_t alignment = 0;   // a ParagraphAlignment, or 0
    bool operator==(const ParagraphFormat&) const = default;
};

// Character attributes a renderer may show, as bits.
enum TextAttribute : unsigned { kAttrBold = 1, kAttrItalic = 2, kAttrUnderline = 4 };

class RenderTarget {
public:
    virtual ~RenderTarget() = default;
    virtual void Table(const RenderedTable& table) = 0;
    virtual void Text(std::string_view utf8) = 0;
    // Formats hold for the text handed on after them, until the next call;
    // a target that shows bare text leaves them alone.
    virtual void Format(const ParagraphFormat&) {}
    virtual void Attributes(unsigned /*textAttributes*/) {}
};

// The host's words behind the fixed-text numbers; empty for an unknown one.
std::string_view FixedText(uint32_t number);

class DocumentRender final : public HostSink {
public:
    // `documentFormat`: the FormatId the document is opened as, when known.
    explicit DocumentRender(RenderTarget& target, uint16_t documentFormat = 0)
        : target_(target), documentFormat_(documentFormat) {}

    // Hands on everything still waiting; call once the run has ended.
    void Finish();
    const std::vector<AttachmentLink>& attachments() const { return attachments_; }
    std::vector<AttachmentLink>& attachments() { return attachments_; }

    int32_t PutChar(uint32_t ch) override {
        converter_.Put(ch);
        if (converter_.text().size() >= kTextChunk && tableDepth_ == 0) Drain();
        return 0;
    }
    VwRoutine PutCharRoutine() const override;
    int32_t PutSpecialChar(uint32_t kind) override;
    int32_t PutBreak(uint32_t kind, uint32_t zero) override;
    int32_t BeginSection(uint32_t, uint32_t, uint32_t) override;
    int32_t BeginTable() override;
    int32_t EndTable() override;
    int32_t PutObject(const uint32_t* record) override;
    int32_t PutRule(const uint32_t* record, uint32_t, uint32_t, uint32_t, uint32_t) override;
    int32_t BeginTag(uint32_t kind, uint32_t id, const uint32_t* record) override;
    int32_t EndTag(uint32_t kind, uint32_t id) override;
    int32_t RegisterText(const uint16_t* text, uint32_t charset, uint32_t length,
                         uint32_t* number) override;
    int32_t SetCharset(uint32_t charset) override;
    int32_t NewSubdoc(uint32_t* number) override;
    int32_t PutStringId(uint32_t number) override;
    int32_t SetProperty(uint32_t form, uint32_t a, uint32_t b, uint32_t c) override;

private:
    static constexpr size_t kTextChunk = 64 * 1024;

    void Drain();                    // converted body text to the target
    void NoteBodyKind(const RenderedTable& table);
    void EndBody();
    void Route();                    // everything put so far to where it belongs
    void PutAscii(std::string_view text);
    void EndRow();
    std::string& CurrentCell();
    void SetIndentOrAlignment(uint32_t form, uint32_t which, uint32_t amount);
    void SetAttribute(uint32_t attribute, bool on);
    void PlainFormat();

    RenderTarget& target_;
    uint16_t documentFormat_;
    CharsetConverter converter_;
    int tableDepth_ = 0;
    RenderedTable table_;
    std::vector<std::string> cells_;  // cells of the row being filled
    uint32_t rowLabelId_ = 0;
    std::map<uint32_t, std::u16string> texts_;  // registered texts by number
    uint32_t nextText_ = 1;
    uint32_t nextSubdoc_ = 1;
    uint32_t declaring_ = 0;  // the sub-document whose recipe is being given
    std::map<uint32_t, uint32_t> attachmentOf_;  // sub-document -> attachment index
    std::vector<AttachmentLink> attachments_;
    // The part being shown is one the filter hands to a support filter
    // (its type, from the header table), and whether anything of its body
    // has been shown yet.
    std::string richType_;
    bool bodyShown_ = false;
    ParagraphFormat format_;
    unsigned attributes_ = 0;  // TextAttribute bits
};
