// events_output.h - the `events` rendering: every host call, one line each,
// in the order the filter makes them (format in host_event.h).
#pragma once

#include "hostkit/host_event.h"
#include "hostkit/output_buffer.h"

class EventsOutput : public EventSink {
public:
    explicit EventsOutput(OutputBuffer& out) : out_(out) {}

protected:
    void Record(HostEvent& event) override {
        line_ = FormatHostEvent(event);
        line_ += '\n';
        out_.Write(line_);
    }

private:
    OutputBuffer& out_;
    std::string line_;
};
