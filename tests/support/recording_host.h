// recording_host.h - a host for tests: records every host call the filter
// makes, answers paragraph breaks as told, and shows the output either
// as the raw transcript (the `events` lines) or as rendered output: the
// characters and breaks with the charset, attributes and text colour in force
// at each one.
//
// It drives nothing by itself; FilterSession (filter_session.h) runs a
// document through it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "hostkit/host_event.h"

// One unit of rendered output.
struct RenderedItem {
    enum Kind : uint8_t { Char, Special, Break, StringId } kind = Char;
    uint32_t value = 0;       // the character, special kind, break kind or text number
    uint32_t charset = 0;     // CharsetId in force (0 before any SoSetCharset)
    uint32_t attributes = 0;  // bit (1 << n) set while attribute n is on
    uint32_t colour = 0;      // text colour in force

    bool operator==(const RenderedItem&) const = default;
};

class RecordingHost : public EventSink {
public:
    // Paragraph breaks (counted from 1) answered 1; every other break 0.
    void StopAtEveryParagraph() { stopAll_ = true; }
    void StopAtParagraph(size_t ordinal) { stops_.push_back(ordinal); }  // adds one more stop
    void NeverStop() {
        stopAll_ = false;
        stops_.clear();
    }

    const std::vector<HostEvent>& Calls() const { return calls_; }
    size_t paragraphBreaks() const { return paragraphBreaks_; }
    // Events from index `from` on, one line each, "\n" after every line.
    std::string Transcript(size_t from = 0) const;
    std::vector<RenderedItem> Rendered(size_t from = 0) const;
    // Rendered output as UTF-8, every character taken as a Unicode value
    // whatever the charset: breaks of kind 1 and 0x13 are "\n", a cell end
    // " | ", a tab "\t", a fixed text its number as {0x1366D}. Handy for
    // ASCII assertions.
    std::string Text(size_t from = 0) const;
    // Calls of one routine id.
    size_t Count(int id) const;
    // Forgets the calls from index `size` on (numbers handed out stay used).
    void Truncate(size_t size) {
        if (size < calls_.size()) calls_.resize(size);
    }

protected:
    void Record(HostEvent& event) override { calls_.push_back(event); }
    uint16_t BreakAnswer(uint32_t kind) override;

private:
    std::vector<HostEvent> calls_;
    std::vector<size_t> stops_;
    bool stopAll_ = false;
    size_t paragraphBreaks_ = 0;
};
