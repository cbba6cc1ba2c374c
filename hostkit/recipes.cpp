// recipes.cpp - see recipes.h.
#include "hostkit/recipes.h"

#include <memory>

#include "host/constants.h"
#include "host/platform_extras.h"

namespace {

// Guards against a filter that declares without end; no real document comes
// near these (part indexes are 16-bit, recipes have at most four steps).
constexpr size_t kMaxRecipes = 1u << 17;
constexpr size_t kMaxSteps = 16;
constexpr size_t kMaxTexts = 1u << 17;
constexpr uint32_t kMaxTextUnits = 4096;

// A caller asks the filter's objects for at most this much at a time.
constexpr uint32_t kReadChunk = 65535;

// Stops a decoded stream that never ends (a broken stage); 64 GiB is more
// than any document of 32-bit positions can decode to.
constexpr uint64_t kLargestStream = 1ull << 36;

constexpr uint32_t kToTheEnd = 0xFFFFFFFEu;

}  // namespace

int32_t RecipeStream::ProbeRead(IoObject* o, void* buf, uint32_t count, uint32_t* got) {
    IoObject* d = reinterpret_cast<DocumentProbe*>(o)->document;
    return d->Read(d, buf, count, got);
}

void RecipeStream::MakeProbe(IoObject* document) {
    probe_ = DocumentProbe{};
    probe_.document = document;
    probe_.owner = this;
    // The probe is never handed out to be closed: closing it is a no-op.
    probe_.io.Close = [](IoObject*) -> int32_t { return 0; };
    probe_.io.Read = ProbeRead;
    probe_.io.Seek = [](IoObject* o, uint16_t whence, int32_t offset) -> int32_t {
        IoObject* d = reinterpret_cast<DocumentProbe*>(o)->document;
        return d->Seek(d, whence, offset);
    };
    probe_.io.Tell = [](IoObject* o, uint32_t* pos) -> int32_t {
        IoObject* d = reinterpret_cast<DocumentProbe*>(o)->document;
        return d->Tell(d, pos);
    };
    probe_.io.GetInfo = [](IoObject* o, uint32_t what, void* answer) -> int32_t {
        IoObject* d = reinterpret_cast<DocumentProbe*>(o)->document;
        return d->GetInfo(d, what, answer);
    };
    probe_.io.Open = [](IoObject** out, uint32_t kind, void* request, uint32_t flags) -> int32_t {
        // Every request record starts with its base. The filter's own objects
        // copy this Open from the probe they are made on; asked to open on
        // one of them, there is no document to hand the request to, and a
        // refusal beats reading that object as a probe.
        auto* base = request ? *static_cast<IoObject**>(request) : nullptr;
        if (!base || base->Read != ProbeRead) return -2;
        auto* probe = reinterpret_cast<DocumentProbe*>(base);
        IoObject* document = probe->document;
        if (kind == IO_OPEN_RANGE && probe->owner->partOffset_ == kNoPartOffset)
            probe->owner->partOffset_ = static_cast<uint32_t>(static_cast<IoRangeRequest*>(request)->first);
        if (kind == IO_OPEN_SIBLING) {
            // A sibling is found next to the document's file, which the probe
            // itself has none of.
            IoSiblingRequest sibling = *static_cast<IoSiblingRequest*>(request);
            sibling.base = document;
            return document->Open(out, kind, &sibling, flags);
        }
        return document->Open(out, kind, request, flags);
    };
}

int32_t RecipeCollector::NewSubdoc(uint32_t* number) {
    declaring_ = nullptr;
    if (recipes_.size() >= kMaxRecipes) return 0;
    Recipe recipe;
    recipe.number = static_cast<uint32_t>(recipes_.size() + 1);
    recipe.repeats = linkOpen_;
    recipes_.push_back(std::move(recipe));
    declaring_ = &recipes_.back();
    if (number) *number = declaring_->number;
    return 0;
}

int32_t RecipeCollector::SetProperty(uint32_t form, uint32_t what, uint32_t a, uint32_t b) {
    if (!declaring_) return 0;
    if (form == PROP_RECIPE_END) {
        declaring_->complete = true;
        MarkRepeat(*declaring_);
        declaring_ = nullptr;
    } else if (form == PROP_RECIPE_STEP) {
        if (declaring_->steps.size() < kMaxSteps)
            declaring_->steps.push_back({what, a, b});
        else
            declaring_->overlong = true;
    }
    return 0;
}

int32_t RecipeCollector::RegisterText(const uint16_t* text, uint32_t charset, uint32_t length,
                                      uint32_t* number) {
    const uint32_t issued = nextText_++;
    if (text && texts_.size() < kMaxTexts) {
        const uint32_t kept = length < kMaxTextUnits ? length : kMaxTextUnits;
        texts_[issued] = Text{std::u16string(reinterpret_cast<const char16_t*>(text), kept), charset};
    }
    if (number) *number = issued;
    return 0;
}

void RecipeCollector::MarkRepeat(Recipe& recipe) {
    if (recipe.repeats != 0) return;
    for (const Recipe& earlier : recipes_) {
        if (&earlier == &recipe) return;
        if (earlier.complete && earlier.steps == recipe.steps) {
            recipe.repeats = earlier.repeats != 0 ? earlier.repeats : earlier.number;
            return;
        }
    }
}

int32_t RecipeCollector::BeginTag(uint32_t kind, uint32_t id, const uint32_t* record) {
    if (kind != TAG_LINK || !record || id == 0 || id > recipes_.size()) return 0;
    linkOpen_ = id;
    Recipe& recipe = recipes_[id - 1];
    if (!recipe.linkName.empty() || !recipe.linkText.empty()) return 0;  // the first link names it
    const auto text = texts_.find(record[2]);
    if (text == texts_.end()) {
        showing_ = id;
        return 0;
    }
    recipe.linkName = text->second.units;
    recipe.nameCharset = text->second.charset;
    return 0;
}

int32_t RecipeCollector::EndTag(uint32_t kind, uint32_t) {
    if (kind == TAG_LINK) showing_ = linkOpen_ = 0;
    return 0;
}

int32_t RecipeCollector::PutChar(uint32_t ch) {
    if (showing_ == 0) return 0;
    std::u16string& text = recipes_[showing_ - 1].linkText;
    if (text.size() < kMaxTextUnits) text.push_back(static_cast<char16_t>(ch & 0xFFFF));
    return 0;
}

bool RecipeStream::Apply(const FilterApi& api, FilterProc* proc, const RecipeStep& step,
                         IoObject* base, IoObject* document, std::string* error) {
    IoObject* made = nullptr;
    // Stages over an object the filter made go through the document's own
    // Open: the filter's objects carry the probe's, which opens on probes only.
    IoObject* opener = document ? document : base;
    switch (step.what) {
    case STEP_RANGE: {
        if (step.b == 0) {
            empty_ = true;
            return true;
        }
        // A length of either top value runs to the end; so does one that
        // would pass the last position.
        const uint64_t last = static_cast<uint64_t>(step.a) + step.b - 1;
        IoRangeRequest request{base, step.a, kToTheEnd};
        if (step.b < kToTheEnd && last < kToTheEnd) request.last = static_cast<uint32_t>(last);
        if (base == document && partOffset_ == kNoPartOffset) partOffset_ = step.a;
        if (opener->Open(&made, IO_OPEN_RANGE, &request, 9) != 0) made = nullptr;
        break;
    }
    case STEP_DECODE: {
        if (step.a == 0) return true;  // no transfer encoding: the bytes as they are
        IoDecodeRequest request{base, 0, step.a, {0, 0, 0, 0}};
        if (opener->Open(&made, IO_OPEN_DECODE, &request, 1) != 0) made = nullptr;
        break;
    }
    case STEP_SPECIAL:
        if (!api.doSpecial) {
            *error = "the filter cannot open sub-documents";
            return false;
        }
        // On the document itself, through the probe that sees where the
        // filter opens the part.
        if (base == document) {
            MakeProbe(document);
            base = &probe_.io;
        }
        api.doSpecial(base, step.a, &made, step.b, 0, 0, proc);
        break;
    default:
        *error = "a recipe step of unknown kind " + std::to_string(step.what);
        return false;
    }
    if (!made) {
        *error = "a recipe step could not be opened";
        return false;
    }
    opened_.push_back(made);
    return true;
}

bool RecipeStream::Open(const FilterApi& api, IoObject* document, FilterProc* proc,
                        const Recipe& recipe, std::string* error) {
    Close();
    if (recipe.overlong || recipe.steps.empty()) {
        *error = "the filter gave no usable recipe";
        return false;
    }
    for (const RecipeStep& step : recipe.steps) {
        if (empty_) break;  // nothing is derived from nothing
        IoObject* base = opened_.empty() ? document : opened_.back();
        if (!Apply(api, proc, step, base, document, error)) {
            Close();
            return false;
        }
    }
    if (opened_.empty() && !empty_) {
        // Only identity stages: the document itself, seen through a range
        // object so that closing it leaves the document open.
        return Apply(api, proc, {STEP_RANGE, 0, kToTheEnd}, document, nullptr, error);
    }
    return true;
}

void RecipeStream::Close() {
    while (!opened_.empty()) {
        IoObject* object = opened_.back();
        opened_.pop_back();
        object->Close(object);
    }
    empty_ = false;
    partOffset_ = kNoPartOffset;
}

uint64_t RecipeCopy(IoObject* object, const RecipeSinkFn& sink, bool* ok) {
    *ok = true;
    if (!object) return 0;
    if (object->Seek(object, 0, 0) != 0) {
        *ok = false;
        return 0;
    }
    std::unique_ptr<char[]> buffer(new char[kReadChunk]);
    uint64_t total = 0;
    while (total < kLargestStream) {
        uint32_t got = 0;
        if (object->Read(object, buffer.get(), kReadChunk, &got) != 0) {
            *ok = false;
            break;
        }
        if (got == 0) break;
        if (got > kReadChunk) {  // an object that overstates its read
            *ok = false;
            break;
        }
        total += got;
        if (!sink(std::string_view(buffer.get(), got))) break;
    }
    return total;
}

std::string RecipeMimeType(IoObject* object) {
    if (!object) return "application/x-empty";
    std::string type = IdentifyMimeType(object);
    object->Seek(object, 0, 0);
    return type;
}
