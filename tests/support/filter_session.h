// filter_session.h - runs one document through the statically linked filter
// the way a host does: allocate, install the recording host, open, then
// sections and reads until the end of the document, with optional stops,
// saves and restores of FilterData on the way.
//
// Defined in this header, not in the support library: a test program links
// the filter's static core before the support library, so the calls into
// the filter have to come from the test's own objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "host/mailfilter.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"

class FilterSession {
public:
    // What ended one VwStreamRead.
    enum class Stop {
        Paragraph,  // the host answered 1 to a paragraph break
        Section,    // a break of kind 3: the next step begins a section
        Document,   // a break of kind 2
        Nothing,    // the read returned without any of these
        Failed      // the read answered a non-zero code
    };

    explicit FilterSession(RecordingHost& host) : host_(host), proc_(VwAllocProc()) {
        if (!proc_) return;
        void* handle = nullptr;
        VwLocalUp(proc_, &handle, proc_);
        HostSinkInstall(host_, VwSetUser, VwSetSoRtn, proc_);
    }
    ~FilterSession() {
        Close();
        if (!proc_) return;
        void* handle = nullptr;
        VwLocalDown(proc_, &handle);
        VwFreeProc(proc_);
    }
    FilterSession(const FilterSession&) = delete;
    FilterSession& operator=(const FilterSession&) = delete;

    // VwStreamOpen on `stream` (not owned; it must outlive the session).
    int16_t Open(IoObject* stream, uint16_t formatId) {
        if (!proc_) return VW_ERR_NOT_MINE;
        VwOpenInfo info{};
        const int16_t code = VwStreamOpen(stream, formatId, 0, &info, proc_);
        stream_ = stream;
        open_ = code == 0;
        sectionDue_ = true;
        return code;
    }
    // VwStreamSection when one is due, then one VwStreamRead.
    Stop Step() {
        if (!open_) return Stop::Failed;
        if (sectionDue_) {
            sectionDue_ = false;
            if (VwStreamSection(stream_, proc_) != 0) return Stop::Failed;
        }
        const size_t first = host_.Calls().size();
        if (VwStreamRead(stream_, proc_) != 0) return Stop::Failed;
        const std::vector<HostEvent>& calls = host_.Calls();
        for (size_t i = calls.size(); i-- > first;) {
            if (calls[i].id != SO_PUTBREAK) continue;
            const uint32_t kind = calls[i].args[0].number;
            if (kind == BRK_DOCUMENT_END) return Stop::Document;
            if (kind == BRK_SECTION_END) {
                sectionDue_ = true;
                return Stop::Section;
            }
            if (kind == BRK_PARAGRAPH && calls[i].result == 1) return Stop::Paragraph;
            break;
        }
        return Stop::Nothing;
    }
    // Steps until the document ends, a read stops for nothing or fails, or
    // `maxSteps` have run. Answers the last stop.
    Stop ReadToEnd(size_t maxSteps = 100000) {
        Stop stop = Stop::Nothing;
        for (size_t i = 0; i < maxSteps; ++i) {
            stop = Step();
            if (stop == Stop::Document || stop == Stop::Nothing || stop == Stop::Failed) break;
        }
        return stop;
    }
    void Close() {
        if (open_) VwStreamClose(stream_, proc_);
        open_ = false;
    }
    // One bare VwStreamRead, outside the bookkeeping of Step (for replays).
    int16_t ReadOnly() { return open_ ? VwStreamRead(stream_, proc_) : int16_t{VW_ERR_NOT_MINE}; }

    std::vector<uint8_t> Save() const {  // VwGetData
        uint16_t size = 0;
        VwGetInfo(&size, 1);
        std::vector<uint8_t> data(size);
        if (proc_) VwGetData(data.data(), proc_);
        return data;
    }
    void Restore(const std::vector<uint8_t>& data) {  // VwSetData
        if (proc_) VwSetData(data.data(), proc_);
    }

    FilterProc* proc() const { return proc_; }

private:
    RecordingHost& host_;
    FilterProc* proc_;
    IoObject* stream_ = nullptr;
    bool open_ = false;
    bool sectionDue_ = true;
};

// Opens `bytes` as a memory object and reads it through to the end with a
// fresh session. Answers the open code; the calls land in `host`.
inline int16_t RunDocument(RecordingHost& host, std::string_view bytes, uint16_t formatId) {
    MemoryObject stream(bytes);
    FilterSession session(host);
    const int16_t code = session.Open(stream.get(), formatId);
    if (code == 0) session.ReadToEnd();
    return code;
}

// Reads `bytes` stopping at every paragraph break; at each stop the state is
// saved, the filter is sent back to the previous stop's state and read on
// from there once more (discarding that output), then the saved state is put
// back. A filter that resumes correctly gives the same rendered output as
// RunDocument. Answers the open code.
inline int16_t RunDocumentWithReplays(RecordingHost& host, std::string_view bytes, uint16_t formatId) {
    MemoryObject stream(bytes);
    FilterSession session(host);
    const int16_t code = session.Open(stream.get(), formatId);
    if (code != 0) return code;
    host.StopAtEveryParagraph();
    std::vector<uint8_t> previous;
    for (size_t steps = 0; steps < 1000000; ++steps) {
        const FilterSession::Stop stop = session.Step();
        if (stop == FilterSession::Stop::Section) {
            previous.clear();  // replays stay inside one section
            continue;
        }
        if (stop != FilterSession::Stop::Paragraph) break;
        std::vector<uint8_t> here = session.Save();
        if (!previous.empty()) {
            // Go back one stop, read that slice once more, throw its output away.
            const size_t mark = host.Calls().size();
            session.Restore(previous);
            session.ReadOnly();
            host.Truncate(mark);
            session.Restore(here);
        }
        previous = std::move(here);
    }
    host.NeverStop();
    return code;
}
