// recording_host.cpp - the recording host: its stops, transcript and the
// rendered view built from the recorded calls.
#include "tests/support/recording_host.h"

#include <algorithm>

#include "host/constants.h"

uint16_t RecordingHost::BreakAnswer(uint32_t kind) {
    if (kind != BRK_PARAGRAPH) return 0;
    const size_t ordinal = ++paragraphBreaks_;
    return stopAll_ || std::find(stops_.begin(), stops_.end(), ordinal) != stops_.end() ? 1 : 0;
}

std::string RecordingHost::Transcript(size_t from) const {
    std::string out;
    for (size_t i = from; i < calls_.size(); ++i) {
        out += FormatHostEvent(calls_[i]);
        out += '\n';
    }
    return out;
}

size_t RecordingHost::Count(int id) const {
    return static_cast<size_t>(std::count_if(calls_.begin(), calls_.end(),
                                             [id](const HostEvent& e) { return e.id == id; }));
}

namespace {

uint32_t ArgAt(const HostEvent& event, size_t i) {
    return i < event.args.size() ? event.args[i].number : 0;
}

// The state a character is shown in, followed through the calls that change it.
struct RenderState {
    uint32_t charset = 0;
    uint32_t attributes = 0;
    uint32_t colour = 0;

    void Apply(const HostEvent& event) {
        if (event.id == SO_SETCHARSET) charset = ArgAt(event, 0);
        if (event.id == SO_SETTEXTCOLOR && ArgAt(event, 0) == 0) colour = ArgAt(event, 1);
        if (event.id == SO_SETPROPERTY && ArgAt(event, 0) == PROP_ATTRIBUTE) {
            const uint32_t attribute = ArgAt(event, 1);
            if (attribute < 32) {
                const uint32_t bit = 1u << attribute;
                attributes = ArgAt(event, 2) ? (attributes | bit) : (attributes & ~bit);
            }
        }
    }
};

}  // namespace

std::vector<RenderedItem> RecordingHost::Rendered(size_t from) const {
    std::vector<RenderedItem> items;
    RenderState state;
    for (size_t i = 0; i < calls_.size(); ++i) {
        const HostEvent& event = calls_[i];
        state.Apply(event);
        if (i < from) continue;
        RenderedItem::Kind kind;
        switch (event.id) {
            case SO_PUTCHAR: kind = RenderedItem::Char; break;
            case SO_PUTSPECIALCHAR: kind = RenderedItem::Special; break;
            case SO_PUTBREAK: kind = RenderedItem::Break; break;
            case SO_PUTSTRINGID: kind = RenderedItem::StringId; break;
            default: continue;
        }
        items.push_back({kind, ArgAt(event, 0), state.charset, state.attributes, state.colour});
    }
    return items;
}

std::string RecordingHost::Text(size_t from) const {
    std::string out;
    for (const RenderedItem& item : Rendered(from)) {
        if (item.kind == RenderedItem::Char) {
            AppendUtf8(out, item.value);
        } else if (item.kind == RenderedItem::StringId) {
            out += '{';
            AppendEventNumber(out, item.value);
            out += '}';
        } else if (item.kind == RenderedItem::Special) {
            out += item.value == SPC_TAB ? "\t" : "\f";
        } else if (item.value == BRK_PARAGRAPH || item.value == BRK_ROW_END) {
            out += '\n';
        } else if (item.value == BRK_CELL_END) {
            out += " | ";
        }
    }
    return out;
}
