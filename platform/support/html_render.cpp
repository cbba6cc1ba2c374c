// html_render.cpp - the HTML renderer: libxml2's HTML push parser with SAX
// callbacks only, so no document tree is built and memory stays flat
// whatever the size of the body. The bytes are decoded to UTF-8 before the
// parser sees them (html_charset.cpp); the layout of the text is
// html_layout.cpp's.
#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/support/html_markup_fixes.h"
#include "platform/support/html_charset.h"
#include "platform/support/html_layout.h"
#include "platform/support/html_pictures.h"
#include "platform/support/support_filter.h"

namespace {

// Bytes looked at for a BOM or a <meta> charset before the parse begins.
constexpr size_t kSniffBytes = 4096;
// Lists and tables nested deeper than this share the innermost one's count.
constexpr size_t kMaxNesting = 64;

enum class Role : uint8_t { Inline, Block, LineBreak, Dropped, List, OrderedList, Item, Table, Row, Cell, Pre,
                            Bold, Italic, Underline, Link, Image };

// Looked up at every tag, start and end: a hash, not a walk down the list.
Role RoleOf(const char* name) {
    static const std::unordered_map<std::string_view, Role> kRoles = {
        {"p", Role::Block}, {"div", Role::Block}, {"h1", Role::Block}, {"h2", Role::Block}, {"h3", Role::Block},
        {"h4", Role::Block}, {"h5", Role::Block}, {"h6", Role::Block}, {"blockquote", Role::Block},
        {"hr", Role::Block}, {"dl", Role::Block}, {"dt", Role::Block}, {"dd", Role::Block},
        {"address", Role::Block}, {"center", Role::Block}, {"form", Role::Block}, {"fieldset", Role::Block},
        {"section", Role::Block}, {"article", Role::Block}, {"header", Role::Block}, {"footer", Role::Block},
        {"nav", Role::Block}, {"aside", Role::Block}, {"main", Role::Block}, {"figure", Role::Block},
        {"figcaption", Role::Block}, {"caption", Role::Block}, {"body", Role::Block}, {"legend", Role::Block},
        {"details", Role::Block}, {"summary", Role::Block}, {"menu", Role::List}, {"dir", Role::List},
        {"br", Role::LineBreak}, {"script", Role::Dropped}, {"style", Role::Dropped}, {"head", Role::Dropped},
        {"title", Role::Dropped}, {"noscript", Role::Dropped}, {"template", Role::Dropped},
        {"ul", Role::List}, {"ol", Role::OrderedList}, {"li", Role::Item}, {"table", Role::Table},
        {"tr", Role::Row}, {"td", Role::Cell}, {"th", Role::Cell}, {"pre", Role::Pre}, {"xmp", Role::Pre},
        {"listing", Role::Pre}, {"plaintext", Role::Pre}, {"textarea", Role::Pre}, {"b", Role::Bold},
        {"strong", Role::Bold}, {"i", Role::Italic}, {"em", Role::Italic}, {"u", Role::Underline},
        {"ins", Role::Underline}, {"a", Role::Link}, {"img", Role::Image},
    };
    const auto found = kRoles.find(name);
    return found == kRoles.end() ? Role::Inline : found->second;
}

const char* Attribute(const xmlChar** atts, const char* name) {
    for (size_t i = 0; atts && atts[i]; i += 2)
        if (std::strcmp(reinterpret_cast<const char*>(atts[i]), name) == 0)
            return atts[i + 1] ? reinterpret_cast<const char*>(atts[i + 1]) : "";
    return nullptr;
}

// libxml2 reports through a thread's global handlers, whatever a context's
// options say about some of its errors; during our calls they go nowhere.
void Discard(void*, const char*, ...) {}
void DiscardStructured(void*, xmlErrorPtr) {}

class QuietErrors {
public:
    QuietErrors()
        : generic_(xmlGenericError), genericContext_(xmlGenericErrorContext), structured_(xmlStructuredError),
          structuredContext_(xmlStructuredErrorContext) {
        xmlSetGenericErrorFunc(nullptr, Discard);
        xmlSetStructuredErrorFunc(nullptr, DiscardStructured);
    }
    ~QuietErrors() {
        xmlSetGenericErrorFunc(genericContext_, generic_);
        xmlSetStructuredErrorFunc(structuredContext_, structured_);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    xmlGenericErrorFunc generic_;
    void* genericContext_;
    xmlStructuredErrorFunc structured_;
    void* structuredContext_;
};

class HtmlRenderer : public BodyRenderer {
public:
    explicit HtmlRenderer(const RenderContext& context) : context_(context), layout_(context.out) {}
    ~HtmlRenderer() override {
        if (parser_) htmlFreeParserCtxt(parser_);
    }

    void Feed(const uint8_t* bytes, size_t length, bool last) override {
        QuietErrors quiet;
        if (!decoder_) {
            head_.append(reinterpret_cast<const char*>(bytes), length);
            if (head_.size() < kSniffBytes && !last) return;
            Start();
            Parse(reinterpret_cast<const uint8_t*>(head_.data()), head_.size(), last);
            head_ = std::string();
            return;
        }
        Parse(bytes, length, last);
    }

private:
    void Start() {
        static std::once_flag once;
        std::call_once(once, [] { xmlInitParser(); });
        decoder_ = MakeHtmlDecoder(ChooseHtmlEncoding(head_, context_.charset));
        xmlSAXHandler sax{};
        sax.startElement = [](void* self, const xmlChar* name, const xmlChar** atts) {
            static_cast<HtmlRenderer*>(self)->StartElement(reinterpret_cast<const char*>(name), atts);
        };
        sax.endElement = [](void* self, const xmlChar* name) {
            static_cast<HtmlRenderer*>(self)->EndElement(reinterpret_cast<const char*>(name));
        };
        sax.characters = [](void* self, const xmlChar* text, int length) {
            static_cast<HtmlRenderer*>(self)->Characters(reinterpret_cast<const char*>(text), length);
        };
        sax.ignorableWhitespace = sax.characters;
        sax.cdataBlock = [](void*, const xmlChar*, int) {};  // script and style bodies
        sax.initialized = XML_SAX2_MAGIC;                    // so that serror below is used
        sax.serror = DiscardStructured;
        parser_ = htmlCreatePushParserCtxt(&sax, this, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8);
        if (parser_)
            htmlCtxtUseOptions(parser_, HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                                            HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC);
    }

    void Parse(const uint8_t* bytes, size_t length, bool last) {
        utf8_.clear();
        decoder_->Decode(bytes, length, last, utf8_);
        markupFixes_.Apply(utf8_, last);
        if (!parser_) return;
        // The parser takes an int's worth at a time.
        for (size_t at = 0; at < utf8_.size();) {
            const size_t take = std::min<size_t>(utf8_.size() - at, 1 << 20);
            htmlParseChunk(parser_, utf8_.data() + at, static_cast<int>(take), 0);
            at += take;
        }
        if (!last) return;
        htmlParseChunk(parser_, nullptr, 0, 1);
        layout_.CloseAll();
        layout_.BlockBoundary();
    }

    void StartElement(const char* name, const xmlChar** atts) {
        const Role role = RoleOf(name);
        if (dropped_ > 0 || role == Role::Dropped) {
            dropped_ += role == Role::Dropped;
            return;
        }
        switch (role) {
            case Role::Block: layout_.BlockBoundary(); return;
            case Role::LineBreak: layout_.LineBreak(); return;
            case Role::List:
            case Role::OrderedList: EnterList(role, atts); return;
            case Role::Item: StartItem(); return;
            case Role::Table:
                layout_.BlockBoundary();
                if (++tableDepth_ <= kMaxNesting) cells_.push_back(0);
                return;
            case Role::Row:
                layout_.BlockBoundary();
                if (!cells_.empty()) cells_.back() = 0;
                return;
            case Role::Cell:
                if (!cells_.empty() && cells_.back()++ > 0) layout_.CellSeparator();
                return;
            case Role::Pre: layout_.EnterPre(); return;
            case Role::Bold: layout_.Open(TextLayout::kBold); return;
            case Role::Italic: layout_.Open(TextLayout::kItalic); return;
            case Role::Underline: layout_.Open(TextLayout::kUnderline); return;
            case Role::Link: StartLink(atts); return;
            case Role::Image: PlaceImage(atts); return;
            case Role::Inline:
            case Role::Dropped: return;
        }
    }

    void EndElement(const char* name) {
        const Role role = RoleOf(name);
        if (dropped_ > 0) {
            dropped_ -= role == Role::Dropped;
            return;
        }
        switch (role) {
            case Role::Block:
            case Role::Item:
            case Role::Row: layout_.BlockBoundary(); return;
            case Role::List:
            case Role::OrderedList:
                Leave(listDepth_, lists_);
                layout_.BlockBoundary();
                return;
            case Role::Table:
                Leave(tableDepth_, cells_);
                layout_.BlockBoundary();
                return;
            case Role::Pre: layout_.LeavePre(); return;
            case Role::Bold: layout_.Close(TextLayout::kBold); return;
            case Role::Italic: layout_.Close(TextLayout::kItalic); return;
            case Role::Underline: layout_.Close(TextLayout::kUnderline); return;
            case Role::Link:
                if (linkDepth_ > 0 && linkDepth_ <= kMaxNesting && openLinks_.back()) layout_.Close(TextLayout::kLink);
                Leave(linkDepth_, openLinks_);
                return;
            default: return;
        }
    }

    void Characters(const char* text, int length) {
        if (dropped_ == 0 && length > 0) layout_.Text(std::string_view(text, static_cast<size_t>(length)));
    }

    // Past kMaxNesting levels only the depth is counted.
    template <typename Stack>
    static void Leave(size_t& depth, Stack& stack) {
        if (depth == 0) return;
        if (depth-- <= kMaxNesting && !stack.empty()) stack.pop_back();
    }

    // A list remembers whether it counts, and the number of its next item.
    void EnterList(Role role, const xmlChar** atts) {
        layout_.BlockBoundary();
        if (++listDepth_ > kMaxNesting) return;
        long start = 1;
        if (const char* value = Attribute(atts, "start")) start = std::strtol(value, nullptr, 10);
        lists_.push_back(role == Role::OrderedList ? std::clamp<long>(start, -999999, 999999) : kBullet);
    }

    void StartItem() {
        layout_.BlockBoundary();
        if (lists_.empty() || lists_.back() == kBullet) {
            layout_.Marker("\xE2\x80\xA2 ");
            return;
        }
        layout_.Marker(std::to_string(lists_.back()++) + ". ");
    }

    // Only an anchor with a target is a link; the others mark a place.
    void StartLink(const xmlChar** atts) {
        const bool link = Attribute(atts, "href") != nullptr;
        if (++linkDepth_ > kMaxNesting) return;
        openLinks_.push_back(link);
        if (link) layout_.Open(TextLayout::kLink);
    }

    void PlaceImage(const xmlChar** atts) {
        const char* src = Attribute(atts, "src");
        if (uint32_t subdoc = src ? FindPicture(context_.locators, src) : 0) {
            layout_.Picture(subdoc);
            return;
        }
        const char* alt = Attribute(atts, "alt");
        if (alt && *alt) layout_.Literal(std::string("[") + alt + "]");
    }

    static constexpr long kBullet = 1L << 40;

    const RenderContext& context_;
    TextLayout layout_;
    std::string head_;  // the first bytes, until the encoding is chosen
    std::string utf8_;
    std::unique_ptr<HtmlDecoder> decoder_;
    MarkupFixes markupFixes_;
    htmlParserCtxtPtr parser_ = nullptr;
    uint32_t dropped_ = 0;  // depth inside script, style, head ...
    std::vector<long> lists_;
    size_t listDepth_ = 0;
    std::vector<uint32_t> cells_;  // cells so far in the current row of each table
    size_t tableDepth_ = 0;
    std::vector<bool> openLinks_;  // whether each open anchor is a link
    size_t linkDepth_ = 0;
};

}  // namespace

std::unique_ptr<BodyRenderer> MakeHtmlRenderer(const RenderContext& context) {
    return std::make_unique<HtmlRenderer>(context);
}
