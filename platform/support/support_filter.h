// support_filter.h - what the two support filters (HTML and RTF) share.
//
// A renderer is a push parser: it is fed the body's bytes in chunks and
// answers with output events, which the session (support_session.cpp) hands
// to the host through the routine table in the slot. The queue between the
// two is what lets a read stop at any paragraph break even though a parser
// cannot stop in the middle of a chunk: what the chunk produced beyond the
// stop waits in the queue for the next read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "input/input.h"

struct SupportEvent {
    enum Kind : uint8_t {
        kChar,       // a: a Unicode code point
        kBreak,      // a: break kind; only paragraph breaks (1) are stop points
        kAttribute,  // a: attribute (bold 2, italic 3, underline 4 ...), b: 1 on, 0 off
        kTextColor,  // a: colour as the host takes it (0 = default)
        kObject,     // a: sub-document number, b: FormatId (0: as the sub-document is)
        kTab,
        kDataObject  // a: offset, b: length of data inside the body; c: its FormatId
    };
    Kind kind;
    uint32_t a;
    uint32_t b;
    uint32_t c;
};

// Where a renderer writes. Text, then the structure around it.
class RenderSink {
public:
    void Char(char32_t c) { events_.push_back({SupportEvent::kChar, static_cast<uint32_t>(c), 0, 0}); }
    void Break(uint32_t kind = 1) { events_.push_back({SupportEvent::kBreak, kind, 0, 0}); }
    void Attribute(uint32_t attribute, bool on) {
        events_.push_back({SupportEvent::kAttribute, attribute, on ? 1u : 0u, 0});
    }
    void TextColor(uint32_t colour) { events_.push_back({SupportEvent::kTextColor, colour, 0, 0}); }
    void Object(uint32_t subdoc, uint32_t formatId) {
        events_.push_back({SupportEvent::kObject, subdoc, formatId, 0});
    }
    void Tab() { events_.push_back({SupportEvent::kTab, 0, 0, 0}); }
    // Data that lies in the body's own bytes (an RTF picture in \binN form)
    // becomes a sub-document of its own, reached by a chain of steps from the
    // document's stream to the body and on to the data.
    void DataObject(uint32_t offset, uint32_t length, uint32_t formatId) {
        events_.push_back({SupportEvent::kDataObject, offset, length, formatId});
    }

    bool Empty() const { return events_.empty(); }
    SupportEvent Take() {
        SupportEvent event = events_.front();
        events_.pop_front();
        return event;
    }
    void Clear() { events_.clear(); }

private:
    std::deque<SupportEvent> events_;
};

// What a renderer may know about the body beyond its bytes. The session sets
// `locators` again before each feed: the list is the filter's and is handed
// over anew on every read.
struct RenderContext {
    RenderSink* out = nullptr;
    uint32_t charset = 0;                // the part's CharsetId
    const GrowList* locators = nullptr;  // LocatorRecord elements, may be null
};

class BodyRenderer {
public:
    virtual ~BodyRenderer() = default;
    // The next `length` bytes of the body; `last` once, at its end (with no bytes).
    virtual void Feed(const uint8_t* bytes, size_t length, bool last) = 0;
};

// The two renderers; each reads `context` for as long as it lives.
std::unique_ptr<BodyRenderer> MakeHtmlRenderer(const RenderContext& context);
std::unique_ptr<BodyRenderer> MakeRtfRenderer(const RenderContext& context);

// The C++ side of the filter-access service.
uintptr_t SupportFilterOpen(uint16_t filterId, void (*entries[5])(void), uint16_t* status);
void* SupportFilterOwner(void* context);
void SupportFilterClose(uintptr_t handle);
