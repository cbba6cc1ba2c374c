// recipes.h - the sub-documents a filter declares while it renders a
// document, and how the host turns one back into a stream.
//
// A declaration is SoNewSubdoc, then recipe steps (SoSetProperty 0xC1) up to
// the end of the recipe (0xC2). A link (tag 0x8003000C) names its
// sub-document through a registered text. RecipeCollector keeps all of that
// and nothing else; RecipeStream applies a recipe's steps to the document's
// stream: a byte range (Open kind 8), a decoding stage (Open kind 19), or
// VwDoSpecial. Data is never held whole: RecipeCopy streams through a fixed
// buffer.
#pragma once

#include <cstdint>
#include <functional>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/filter_loader.h"
#include "hostkit/host_sink.h"

struct RecipeStep {
    uint32_t what = 0;  // 8 range, 0x2000 decoding stage, 0x100 VwDoSpecial
    uint32_t a = 0;
    uint32_t b = 0;
    bool operator==(const RecipeStep&) const = default;
};

struct Recipe {
    uint32_t number = 0;  // the sub-document number the host handed out, from 1
    std::vector<RecipeStep> steps;
    bool complete = false;     // the end of the recipe was given
    bool overlong = false;     // more steps than any recipe has: not opened
    std::u16string linkName;   // the link's registered text, as the filter passed it
    uint32_t nameCharset = 0;  // the CharsetId it was registered under
    // What the first link showed when it registered no text (an embedded
    // message's subject), as the filter put it.
    std::u16string linkText;
    // The number of an earlier recipe for the same data, 0 for none: a
    // segment's link stands both in the attachments row and in the text, and
    // a picture placed in the text repeats the link it stands in. Listings
    // show such data once.
    uint32_t repeats = 0;
};

// A HostSink that only collects recipes and link names; everything else the
// filter sends is dropped.
class RecipeCollector final : public HostSink {
public:
    const std::vector<Recipe>& recipes() const { return recipes_; }

    int32_t NewSubdoc(uint32_t* number) override;
    int32_t SetProperty(uint32_t form, uint32_t what, uint32_t a, uint32_t b) override;
    int32_t RegisterText(const uint16_t* text, uint32_t charset, uint32_t length,
                         uint32_t* number) override;
    int32_t BeginTag(uint32_t kind, uint32_t id, const uint32_t* record) override;
    int32_t EndTag(uint32_t kind, uint32_t id) override;
    int32_t PutChar(uint32_t ch) override;

private:
    void MarkRepeat(Recipe& recipe);
    struct Text {
        std::u16string units;
        uint32_t charset = 0;
    };
    std::vector<Recipe> recipes_;
    Recipe* declaring_ = nullptr;  // between SoNewSubdoc and the recipe's end
    uint32_t showing_ = 0;         // the number of the unnamed link being shown, whose text is kept
    uint32_t linkOpen_ = 0;        // the number of the link tag open now, 0 outside links
    std::map<uint32_t, Text> texts_;
    uint32_t nextText_ = 1;
};

// The streams one recipe opened, closed last first when it goes.
class RecipeStream {
public:
    RecipeStream() = default;
    ~RecipeStream() { Close(); }
    RecipeStream(const RecipeStream&) = delete;
    RecipeStream& operator=(const RecipeStream&) = delete;

    // Applies the steps to `document`. False, with the reason in words, when
    // a step could not be made. A range of length 0 is an empty stream.
    bool Open(const FilterApi& api, IoObject* document, FilterProc* proc, const Recipe& recipe,
              std::string* error);
    // The last stage, null for an empty stream.
    IoObject* object() const { return opened_.empty() || empty_ ? nullptr : opened_.back(); }
    // Where in the document the recipe's data starts: the first byte range
    // opened on the document itself, by the recipe or by the filter while
    // opening it; kNoPartOffset when none was.
    static constexpr uint32_t kNoPartOffset = 0xFFFFFFFFu;
    uint32_t partOffset() const { return partOffset_; }
    void Close();

private:
    // The document as VwDoSpecial sees it: every call goes to the document,
    // and the first range opened on it is remembered. Its IoObject comes
    // first, so the object's address is the probe's.
    struct DocumentProbe {
        IoObject io;
        IoObject* document;
        RecipeStream* owner;
    };
    static_assert(offsetof(DocumentProbe, io) == 0);
    // The probe's Read, which also tells a probe from other objects.
    static int32_t ProbeRead(IoObject* object, void* buf, uint32_t count, uint32_t* got);

    bool Apply(const FilterApi& api, FilterProc* proc, const RecipeStep& step, IoObject* base,
               IoObject* document, std::string* error);
    void MakeProbe(IoObject* document);

    std::vector<IoObject*> opened_;
    bool empty_ = false;
    uint32_t partOffset_ = kNoPartOffset;
    DocumentProbe probe_{};
};

// Reads the stream from its start (an attachment may stand at its end when
// handed out) and hands each piece to `sink`, which answers false to stop.
// Answers the bytes read; `ok` tells whether the read ended without failure.
using RecipeSinkFn = std::function<bool(std::string_view piece)>;
uint64_t RecipeCopy(IoObject* object, const RecipeSinkFn& sink, bool* ok);

// libmagic's MIME type of the stream's start; leaves the stream at 0.
// "application/x-empty" for an empty stream.
std::string RecipeMimeType(IoObject* object);
