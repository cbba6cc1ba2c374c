// rtf_render.cpp - the RTF support filter's renderer: text, paragraph
// breaks, bold / italic / underline, pictures that lie in the body as \bin
// data, and the HTML that an RTF body may carry inside it (\fromhtml1).
//
// Everything is driven by the streaming tokenizer, one token at a time, with
// the group stack in a vector: untrusted input never deepens the C++ stack.
#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "mailtext/charset_ids.h"
#include "platform/support/rtf_codepages.h"
#include "platform/support/rtf_tokenizer.h"
#include "platform/support/support_filter.h"

namespace {

constexpr size_t kMaxDepth = 200;  // groups nested deeper are dropped whole
constexpr uint32_t kFormatJpeg = 1501;
constexpr uint32_t kFormatPng = 1502;
constexpr uint32_t kBreakParagraph = 1;
constexpr uint32_t kBreakCellEnd = 0x14;
constexpr uint32_t kAttrBold = 2, kAttrItalic = 3, kAttrUnderline = 4;
constexpr char32_t kReplacement = 0xFFFD;

enum class Destination : uint8_t { Text, Skip, FontTable, HtmlTag, Picture };

struct GroupState {
    Destination destination = Destination::Text;
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool htmlRtf = false;  // RTF-only text of an encapsulated HTML body
    int32_t font = -1;
    uint32_t fallbackCount = 1;  // \ucN: characters that stand in for each \uN
    uint32_t pictureFormat = 0;  // FormatId of this \pict's data, 0 if not one we place
};

// Groups whose text is never shown: tables, document properties, page
// furniture, field codes, and what only other writers read.
constexpr std::string_view kSkippedDestinations[] = {
    "colortbl", "stylesheet", "info", "object", "header", "headerl", "headerr", "headerf",
    "footer", "footerl", "footerr", "footerf", "footnote", "listtable", "listoverridetable",
    "rsidtbl", "generator", "xmlnstbl", "themedata", "datastore", "colorschememapping",
    "latentstyles", "pgdsctbl", "revtbl", "filetbl", "fldinst", "bkmkstart", "bkmkend",
    "mmathPr", "nonshppict", "shpinst", "blipuid", "mhtmltag", "annotation", "atnid",
    "atnauthor", "xe", "tc", "txe", "rxe", "template", "docvar", "userprops", "wgrffmtfilter",
    "passwordhash", "ftnsep", "ftnsepc", "aftnsep", "aftnsepc", "pnseclvl", "pntxta", "pntxtb",
    "defchp", "defpap", "listpicture", "protusertbl", "fchars", "lchars", "keywords", "comment",
    "title", "subject", "author", "operator", "company", "objdata", "objclass", "datafield"};

// Starred destinations we read; every other \*\word group is skipped.
constexpr std::string_view kReadStarred[] = {"shppict", "htmltag"};

struct NamedChar {
    std::string_view name;
    char32_t c;
};
constexpr NamedChar kNamedChars[] = {
    {"emdash", 0x2014},    {"endash", 0x2013},    {"emspace", 0x2003}, {"enspace", 0x2002},
    {"qmspace", 0x2005},   {"bullet", 0x2022},    {"lquote", 0x2018},  {"rquote", 0x2019},
    {"ldblquote", 0x201C}, {"rdblquote", 0x201D}, {"zwj", 0x200D},     {"zwnj", 0x200C}};

template <size_t N>
bool OneOf(const std::string_view (&names)[N], std::string_view name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool IsUnderlineOn(std::string_view name) {
    return name == "ul" || name == "uld" || name == "uldb" || name == "uldash" || name == "ulw" ||
           name == "ulth" || name == "ulwave" || name == "uldashd" || name == "uldashdd";
}

class RtfRenderer : public BodyRenderer, private RtfTokenSink {
public:
    explicit RtfRenderer(const RenderContext& context) : context_(context), tokenizer_(*this) {
        groups_.emplace_back();
    }

    void Feed(const uint8_t* bytes, size_t length, bool last) override {
        if (length > 0) tokenizer_.Feed(bytes, length);
        if (!last) {
            FeedHtml(false);
            return;
        }
        tokenizer_.Finish();
        EndBody();
    }

private:
    GroupState& Group() { return groups_.back(); }
    RenderSink& Out() { return *context_.out; }

    // --- groups ---------------------------------------------------------
    void GroupOpen() override {
        EndPendingBytes();
        if (ignoredDepth_ > 0 || groups_.size() > kMaxDepth) {
            ++ignoredDepth_;
            return;
        }
        groups_.push_back(groups_.back());
    }

    void GroupClose() override {
        EndPendingBytes();
        if (ignoredDepth_ > 0) {
            --ignoredDepth_;
            return;
        }
        if (groups_.size() > 1) groups_.pop_back();  // a stray '}' closes nothing
    }

    // Beyond the depth limit, and outside the document's group: what follows
    // its last brace is padding or junk (a decompressed body often has some).
    bool Ignoring() const { return ignoredDepth_ > 0 || groups_.size() == 1; }

    // --- control words --------------------------------------------------
    void ControlWord(std::string_view name, bool hasParam, int32_t param) override {
        pendingLead_ = 0;
        if (Ignoring()) return;
        const bool starred = starred_;
        starred_ = false;
        GroupState& group = Group();
        if (group.destination == Destination::Skip) return;
        if (starred && !OneOf(kReadStarred, name)) {
            group.destination = Destination::Skip;
            return;
        }
        if (group.destination == Destination::FontTable) return FontTableWord(name, hasParam, param);
        if (OneOf(kSkippedDestinations, name)) {
            group.destination = Destination::Skip;
            return;
        }
        if (group.destination == Destination::Picture) return PictureWord(name);
        if (DestinationWord(name) || DocumentWord(name, hasParam, param) || FormatWord(name, hasParam, param))
            return;
        OutputWord(name);
    }

    bool DestinationWord(std::string_view name) {
        GroupState& group = Group();
        if (name == "fonttbl") {
            group.destination = Destination::FontTable;
        } else if (name == "pict") {
            group.destination = htmlMode_ ? Destination::Skip : Destination::Picture;
            group.pictureFormat = 0;
        } else if (name == "htmltag") {
            group.destination = htmlMode_ ? Destination::HtmlTag : Destination::Skip;
        } else {
            return false;
        }
        return true;
    }

    bool DocumentWord(std::string_view name, bool hasParam, int32_t param) {
        if (name == "ansicpg" && param > 0) {
            codePage_ = static_cast<uint32_t>(param);
        } else if (name == "deff") {
            if (Group().font < 0) Group().font = param;
        } else if (name == "fromhtml") {
            htmlMode_ = !hasParam || param != 0;
        } else if (name == "htmlrtf") {
            Group().htmlRtf = !hasParam || param != 0;
        } else if (name == "uc") {
            Group().fallbackCount = static_cast<uint32_t>(std::clamp(param, 0, 16));
        } else if (name == "u") {
            UnicodeWord(param);
        } else {
            return false;
        }
        return true;
    }

    bool FormatWord(std::string_view name, bool hasParam, int32_t param) {
        GroupState& group = Group();
        const bool on = !hasParam || param != 0;
        if (name == "b") {
            group.bold = on;
        } else if (name == "i") {
            group.italic = on;
        } else if (IsUnderlineOn(name)) {
            group.underline = on;
        } else if (name == "ulnone") {
            group.underline = false;
        } else if (name == "plain") {
            group.bold = group.italic = group.underline = false;
        } else if (name == "f") {
            group.font = param;
        } else {
            return false;
        }
        return true;
    }

    void OutputWord(std::string_view name) {
        if (name == "par" || name == "sect" || name == "page" || name == "line" || name == "row") {
            Break(kBreakParagraph);
        } else if (name == "cell") {
            Break(kBreakCellEnd);
        } else if (name == "tab") {
            Tab();
        } else {
            for (const NamedChar& named : kNamedChars)
                if (named.name == name) return Char(named.c);
        }
    }

    // The table names each font's character set; \'hh under that font are
    // read in its code page.
    void FontTableWord(std::string_view name, bool hasParam, int32_t param) {
        if (name == "f" && hasParam) {
            tableFont_ = param;
        } else if (name == "fcharset") {
            if (uint32_t page = CodePageOfFontCharset(param)) fontPages_[tableFont_] = page;
        } else if (name == "cpg" && param > 0) {
            fontPages_[tableFont_] = static_cast<uint32_t>(param);
        }
    }

    void PictureWord(std::string_view name) {
        if (name == "pngblip") Group().pictureFormat = kFormatPng;
        if (name == "jpegblip") Group().pictureFormat = kFormatJpeg;
    }

    // \uN is a signed 16-bit number; two in a row may make a surrogate pair.
    void UnicodeWord(int32_t param) {
        const uint32_t unit = static_cast<uint32_t>(param < 0 ? param + 65536 : param) & 0xFFFF;
        fallbackLeft_ = Group().fallbackCount;
        if (unit >= 0xDC00 && unit <= 0xDFFF && highSurrogate_ != 0) {
            const char32_t c = 0x10000 + ((highSurrogate_ - 0xD800) << 10) + (unit - 0xDC00);
            highSurrogate_ = 0;
            return Char(c);
        }
        if (highSurrogate_ != 0) Char(kReplacement);
        highSurrogate_ = 0;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            highSurrogate_ = unit;
            return;
        }
        Char(unit >= 0xDC00 && unit <= 0xDFFF ? kReplacement : unit);
    }

    // --- symbols and bytes ----------------------------------------------
    void ControlSymbol(uint8_t symbol) override {
        pendingLead_ = 0;
        if (Ignoring() || SkipsFallback()) return;
        starred_ = symbol == '*';
        switch (symbol) {
            case '\\':
            case '{':
            case '}': Char(symbol); break;
            case '~': Char(0xA0); break;
            case '_': Char(0x2011); break;
            default: break;  // \- (a hyphen only where the line breaks), \|, \:
        }
    }

    void TextByte(uint8_t byte) override {
        if (Ignoring() || SkipsFallback()) return;
        if (byte == '\t' && pendingLead_ == 0) return Tab();
        Byte(byte);
    }

    void HexByte(uint8_t byte) override {
        if (Ignoring() || SkipsFallback()) return;
        Byte(byte);
    }

    // The characters that follow \uN for readers without Unicode.
    bool SkipsFallback() {
        if (fallbackLeft_ == 0) return false;
        --fallbackLeft_;
        return true;
    }

    void Byte(uint8_t byte) {
        if (!ShowsText()) return;
        const uint32_t page = CodePage();
        if (pendingLead_ != 0) {
            const uint8_t lead = pendingLead_;
            pendingLead_ = 0;
            return Char(codePages_.Double(page, lead, byte));
        }
        if (CodePages::IsLeadByte(page, byte)) {
            pendingLead_ = byte;
            return;
        }
        Char(codePages_.Single(page, byte));
    }

    uint32_t CodePage() const {
        auto found = fontPages_.find(groups_.back().font);
        return found != fontPages_.end() ? found->second : codePage_;
    }

    void EndPendingBytes() {
        pendingLead_ = 0;
        fallbackLeft_ = 0;
        starred_ = false;
    }

    // Data that lies in the body as \binN bytes: a PNG or JPEG picture
    // becomes an object of its own. Its chain, which the session records, is
    // the way to the running body (the steps the filter followed to reach it
    // from the document: a range of the document, a decoding stage) followed
    // by the range of the \bin data inside the body. A picture written in
    // hex has no object: a chain can only cut ranges and undo transfer
    // encodings, and there is no stage that turns hex digits into bytes.
    void Binary(uint32_t offset, uint32_t length) override {
        if (Ignoring() || htmlMode_) return;
        const GroupState& group = Group();
        if (group.destination != Destination::Picture || group.pictureFormat == 0) return;
        Out().DataObject(offset, length, group.pictureFormat);
        lineHasContent_ = true;
    }

    // --- output ---------------------------------------------------------
    bool ShowsText() const {
        const GroupState& group = groups_.back();
        if (group.destination == Destination::HtmlTag) return true;
        return group.destination == Destination::Text && !(htmlMode_ && group.htmlRtf);
    }

    void Char(char32_t c) {
        if (!ShowsText() || (c < 0x20 && c != '\t')) return;
        if (htmlMode_) return HtmlChar(c);
        SyncAttributes(Group());
        Out().Char(c);
        lineHasContent_ = true;
    }

    void Break(uint32_t kind) {
        if (!ShowsText()) return;
        if (htmlMode_) return HtmlChar('\n');
        SyncAttributes(Group());
        Out().Break(kind);
        lineHasContent_ = false;
    }

    void Tab() {
        if (!ShowsText()) return;
        if (htmlMode_) return HtmlChar('\t');
        SyncAttributes(Group());
        Out().Tab();
        lineHasContent_ = true;
    }

    // The host hears of an attribute only when text under it appears, so
    // groups that change formatting around no text leave no trace.
    void SyncAttributes(const GroupState& want) {
        const std::array<std::pair<uint32_t, bool>, 3> wanted = {
            {{kAttrBold, want.bold}, {kAttrItalic, want.italic}, {kAttrUnderline, want.underline}}};
        for (size_t i = 0; i < wanted.size(); ++i) {
            if (shown_[i] == wanted[i].second) continue;
            shown_[i] = wanted[i].second;
            Out().Attribute(wanted[i].first, shown_[i]);
        }
    }

    void EndBody() {
        if (highSurrogate_ != 0 && !htmlMode_) Out().Char(kReplacement);
        if (htmlMode_) return FeedHtml(true);
        SyncAttributes(GroupState{});
        if (lineHasContent_) Out().Break(kBreakParagraph);
        lineHasContent_ = false;
    }

    // --- encapsulated HTML ------------------------------------------------
    // The HTML is handed on as ASCII, every other character as a numeric
    // reference, so that whatever charset its <meta> declares reads it alike.
    void HtmlChar(char32_t c) {
        if (c < 0x80) {
            html_.push_back(static_cast<char>(c));
        } else {
            html_ += "&#" + std::to_string(static_cast<uint32_t>(c)) + ";";
        }
    }

    void FeedHtml(bool last) {
        if (html_.empty() && !last) return;
        if (!htmlRenderer_) {
            htmlContext_.out = context_.out;
            htmlContext_.charset = CharsetUtf8;
            htmlRenderer_ = MakeHtmlRenderer(htmlContext_);
        }
        htmlContext_.locators = context_.locators;
        const auto* bytes = reinterpret_cast<const uint8_t*>(html_.data());
        if (!html_.empty()) htmlRenderer_->Feed(bytes, html_.size(), false);
        html_.clear();
        if (last) htmlRenderer_->Feed(nullptr, 0, true);
    }

    const RenderContext& context_;
    RtfTokenizer tokenizer_;
    CodePages codePages_;
    std::vector<GroupState> groups_;  // [0] stands outside the document's group
    size_t ignoredDepth_ = 0;
    bool starred_ = false;
    uint32_t codePage_ = kDefaultCodePage;
    std::map<int32_t, uint32_t> fontPages_;
    int32_t tableFont_ = 0;
    uint8_t pendingLead_ = 0;  // first byte of a double-byte character
    uint32_t fallbackLeft_ = 0;
    uint32_t highSurrogate_ = 0;
    std::array<bool, 3> shown_ = {false, false, false};  // bold, italic, underline as the host has them
    bool lineHasContent_ = false;
    bool htmlMode_ = false;
    std::string html_;
    RenderContext htmlContext_;
    std::unique_ptr<BodyRenderer> htmlRenderer_;
};

}  // namespace

std::unique_ptr<BodyRenderer> MakeRtfRenderer(const RenderContext& context) {
    return std::make_unique<RtfRenderer>(context);
}
