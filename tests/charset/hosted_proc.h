// hosted_proc.h - a FilterProc wired to a RecordingHost without a document,
// for calling the header display directly, and a compact view of its calls.
#pragma once

#include <cstdio>
#include <string>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/support/recording_host.h"

class HostedProc {
public:
    HostedProc() : proc_(VwAllocProc()) {
        void* out = nullptr;
        VwLocalUp(nullptr, &out, proc_);
        HostSinkInstall(host_, &VwSetUser, &VwSetSoRtn, proc_);
        proc_->charset = 0x14B00000;
    }
    ~HostedProc() {
        StringFree(proc_->lineBuf.block);
        StringFree(proc_->paramBuf.block);
        VwFreeProc(proc_);
    }
    HostedProc(const HostedProc&) = delete;
    HostedProc& operator=(const HostedProc&) = delete;

    FilterProc* proc() const { return proc_; }
    RecordingHost& host() { return host_; }

    // The calls as one line: printable ASCII characters as themselves, other
    // characters as {HEX}, charset changes as [HEX], any other call as
    // <its events line>.
    std::string Compact() const {
        std::string out;
        char buf[32];
        for (const HostEvent& event : host_.Calls()) {
            const uint32_t first = event.args.empty() ? 0 : event.args[0].number;
            const bool printable = first >= 0x20 && first < 0x7F && first != '{' && first != '[' && first != '<';
            if (event.id == SO_PUTCHAR && printable) {
                out += static_cast<char>(first);
            } else if (event.id == SO_PUTCHAR || event.id == SO_SETCHARSET) {
                std::snprintf(buf, sizeof buf, event.id == SO_PUTCHAR ? "{%X}" : "[%X]", first);
                out += buf;
            } else {
                out += "<" + FormatHostEvent(event) + ">";
            }
        }
        return out;
    }

private:
    RecordingHost host_;
    FilterProc* proc_;
};
