// lean_host.h - a host for pushing many documents through the filter fast.
// It keeps counts, not transcripts, and checks as the calls arrive the rules
// any host relies on: characters fit 16 bits, breaks are of a known kind,
// every tagged span is closed by an end of the same kind and id, a link
// names a sub-document the host handed out, each sub-document declaration is
// closed by its recipe's end before the next one, tables neither nest nor
// stay open and their row and cell breaks fall inside them, nothing is
// emitted behind the break that ends a read, no bail-out. It also folds the
// rendered output (each character and break with the charset, attributes and
// colour in force) into a digest, whole and per read, so that two readings of
// one document can be compared without keeping either.
//
// It stores no output; RecordingHost (tests/support) is the host for looking
// at rendered text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostkit/host_sink.h"
#include "host/constants.h"

class LeanHost : public HostSink {
public:
    // Answer 1 at every paragraph break, so that each read is one paragraph.
    void StopAtEveryParagraph(bool on) { stopAll_ = on; }
    // Past this many calls the output counts as runaway: the host then asks
    // for a stop at every paragraph so that the read comes back.
    void SetCallLimit(uint64_t limit) { callLimit_ = limit; }

    // The runner calls this before each VwStreamSection and VwStreamRead.
    void BeginHostCall() {
        endBreak = 0;
        stopsThisCall_ = 0;
        ended_ = false;
        s_.readDigest = 0xCBF29CE484222325u;
    }
    bool stoppedThisCall() const { return stopsThisCall_ > 0; }

    // What a document has built up in the host: taken at a stop and put back
    // to replay a read from an earlier saved filter state.
    struct State {
        bool tableOpen = false;
        bool declaring = false;
        uint32_t texts = 0, subdocs = 0;
        uint32_t charset = 0, attributes = 0, colour = 0;
        uint64_t digest = 0xCBF29CE484222325u;  // FNV-1a of everything rendered
        uint64_t readDigest = 0;                // the same since BeginHostCall
        std::map<std::pair<uint32_t, uint32_t>, int64_t> openTags;
    };
    const State& state() const { return s_; }
    void SetState(const State& state) { s_ = state; }
    bool runaway() const { return runaway_; }

    // Spans, tables and declarations still open; call once the document is
    // done.
    void CheckAllClosed() {
        for (const auto& [key, depth] : s_.openTags)
            if (depth != 0)
                Problem("span of kind " + Hex(key.first) + " id " + Hex(key.second) + " left open");
        if (s_.tableOpen) Problem("table left open");
        if (s_.declaring) Problem("sub-document declaration without its recipe end");
    }

    // The (a, b) of every recipe step that sends the host to VwDoSpecial.
    const std::vector<std::pair<uint32_t, uint32_t>>& specials() const { return specials_; }
    // A rule broken outside the host calls, found by the runner.
    void Problem(const std::string& what) {
        ++problemCount_;
        if (problems_.size() < kProblemsKept) problems_.push_back(what);
    }

    const std::vector<std::string>& problems() const { return problems_; }
    uint64_t problemCount() const { return problemCount_; }

    int32_t PutChar(uint32_t ch) override {
        Count();
        Render(0, ch);
        if (ch > 0xFFFFu) Problem("character " + Hex(ch) + " does not fit 16 bits");
        return 0;
    }
    int32_t PutSpecialChar(uint32_t kind) override {
        Count();
        Render(1, kind);
        if (kind != SPC_TAB && kind != SPC_PAGE_BREAK) Problem("special character " + Hex(kind));
        return 0;
    }
    int32_t PutBreak(uint32_t kind, uint32_t zero) override {
        Count();
        Render(2, kind);
        if (zero != 0) Problem("break with second argument " + Hex(zero));
        switch (kind) {
        case BRK_PARAGRAPH:
            if (stopAll_ || runaway_) {
                ++stopsThisCall_;
                return 1;
            }
            return 0;
        case BRK_DOCUMENT_END:
        case BRK_SECTION_END:
            endBreak = kind;
            ended_ = true;
            return 0;
        case BRK_ROW_END:
        case BRK_CELL_END:
            if (!s_.tableOpen) Problem("row or cell break outside a table");
            return 0;
        default: Problem("break of kind " + Hex(kind)); return 0;
        }
    }
    int32_t BeginTag(uint32_t kind, uint32_t id, const uint32_t* record) override {
        Count();
        // A richtext side text closes with id 0xFFFFFFFF and may be left open
        // or closed twice by the document: it is not paired here.
        if (kind == TAG_SIDE_TEXT) return 0;
        if ((kind & 0xFFFFu) != 0 && record == nullptr) Problem("tag " + Hex(kind) + " without its record");
        if (kind == TAG_LINK && (id == 0 || id > s_.subdocs))
            Problem("link to sub-document " + Hex(id) + " that the host never numbered");
        ++s_.openTags[{kind, id}];
        return 0;
    }
    int32_t EndTag(uint32_t kind, uint32_t id) override {
        Count();
        if (kind == TAG_SIDE_TEXT) return 0;
        int64_t& depth = s_.openTags[{kind, id}];
        if (depth == 0)
            Problem("end of tag " + Hex(kind) + " id " + Hex(id) + " that was not begun");
        else
            --depth;
        return 0;
    }
    int32_t BailOut(uint32_t code) override {
        Count();
        Problem("bail-out " + Hex(code));
        return 0;
    }
    int32_t SetFontSize(int32_t) override { return Count(); }
    int32_t BeginSection(uint32_t, uint32_t, uint32_t) override { return Count(); }
    int32_t SetParaSpacing(uint32_t, uint32_t, uint32_t, uint32_t) override { return Count(); }
    int32_t BeginTable() override {
        if (s_.tableOpen) Problem("table begun inside a table");
        s_.tableOpen = true;
        return Count();
    }
    int32_t EndTable() override {
        if (!s_.tableOpen) Problem("end of a table that was not begun");
        s_.tableOpen = false;
        return Count();
    }
    int32_t PutObject(const uint32_t*) override { return Count(); }
    int32_t PutRule(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) override { return Count(); }
    int32_t RegisterText(const uint16_t*, uint32_t, uint32_t, uint32_t* number) override {
        if (number) *number = ++s_.texts;
        return Count();
    }
    int32_t DeclareSubText(uint32_t, uint32_t) override { return Count(); }
    int32_t PutRowFormat(const uint32_t*) override { return Count(); }
    int32_t SetTextColor(uint32_t which, uint32_t colour) override {
        if (which == 0) s_.colour = colour;
        return Count();
    }
    int32_t SetSecondColor(uint32_t, uint32_t) override { return Count(); }
    int32_t SetCharset(uint32_t charset) override {
        s_.charset = charset;
        return Count();
    }
    int32_t NewSubdoc(uint32_t* number) override {
        if (s_.declaring) Problem("sub-document declared before the last one's recipe ended");
        s_.declaring = true;
        if (number) *number = ++s_.subdocs;
        return Count();
    }
    int32_t PutStringId(uint32_t id) override {
        Render(3, id);
        return Count();
    }
    int32_t PutCellFormat(const uint32_t*) override { return Count(); }
    int32_t SetProperty(uint32_t form, uint32_t what, uint32_t a, uint32_t b) override {
        if (form == PROP_ATTRIBUTE && what < 32)
            s_.attributes = a ? (s_.attributes | 1u << what) : (s_.attributes & ~(1u << what));
        if ((form == PROP_RECIPE_STEP || form == PROP_RECIPE_END) && !s_.declaring)
            Problem("recipe form " + Hex(form) + " outside a sub-document declaration");
        if (form == PROP_RECIPE_STEP && what == STEP_SPECIAL) specials_.push_back({a, b});
        if (form == PROP_RECIPE_END) s_.declaring = false;
        return Count();
    }
    int32_t SetSectionName(uint32_t, uint32_t) override { return Count(); }

private:
    static constexpr size_t kProblemsKept = 8;

    static std::string Hex(uint64_t value) {
        char text[24];
        std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
        return text;
    }

    static void Fold(uint64_t& digest, uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) digest = (digest ^ ((value >> shift) & 0xFF)) * 0x100000001B3u;
    }
    void Render(uint32_t kind, uint32_t value) {
        for (uint64_t* digest : {&s_.digest, &s_.readDigest})
            for (uint32_t part : {kind, value, s_.charset, s_.attributes, s_.colour}) Fold(*digest, part);
    }

    // Every call goes through here: counts it, and flags anything that
    // arrives behind the break that ended this read.
    int32_t Count() {
        if (ended_) Problem("host call behind the break that ends the read");
        if (++calls_ > callLimit_ && !runaway_) runaway_ = true;
        return 0;
    }

    bool stopAll_ = false;
    bool runaway_ = false;
    bool ended_ = false;
    State s_;
    uint64_t callLimit_ = UINT64_MAX;
    uint64_t calls_ = 0;
    uint64_t stopsThisCall_ = 0;
    std::vector<std::pair<uint32_t, uint32_t>> specials_;
    std::vector<std::string> problems_;
    uint64_t problemCount_ = 0;
};
