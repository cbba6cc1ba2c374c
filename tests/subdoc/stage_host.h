// stage_host.h - a host's file objects for the sub-document tests: a document
// stream whose Open logs every request and every Close of what it made, and
// can be told to fail. Ranges are the platform's; the decoding stage is a toy
// one (pairs of hex digits become bytes, everything else is skipped; it opens
// standing at its end), so that tests can nest stages and see each one work.
// The log is global because Open has no object of its own to keep it in; a
// StageHost resets it and owns the document stream for one test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <cctype>

#include "host/io_object.h"
#include "platform/platform.h"
#include "tests/support/memory_object.h"

// One Open: the label of the object made (0 when none; the document is 1,
// made objects count on from 2), the request's kind, the label of its base
// and its words 1 and 2, and the flags.
struct OpenRequest {
    uint32_t label, kind, base, first, second, flags;
};

// The `failAt`-th Open (counted from 1; 0: none) fails, and may still write
// an object to *out.
struct StageFailure {
    uint32_t failAt = 0;
    bool leaveObject = false;
};

struct StageLog {
    std::vector<OpenRequest> opens;
    std::vector<uint32_t> closed;
    StageFailure failure;
    uint32_t nextLabel = 2;
    size_t live = 0;  // made by Open and not closed yet
};

inline StageLog& Stages() {
    static StageLog log;
    return log;
}

// The toy encoding: each byte as two lower-case hex digits.
inline std::string HexOf(std::string_view bytes) {
    std::string hex;
    for (unsigned char c : bytes) hex += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    return hex;
}

namespace stage_detail {

// Every object the host hands out is this shell over a platform or memory
// object; the shell logs its Close and makes derived objects through Open.
struct Shell {
    IoObject io;  // first, so an IoObject* is a Shell*
    IoObject* inner;
    uint32_t label;
};

inline Shell* AsShell(IoObject* object) { return reinterpret_cast<Shell*>(object); }
inline IoObject* Inner(IoObject* object) { return AsShell(object)->inner; }

int32_t Open(IoObject** out, uint32_t kind, void* request, uint32_t flags);

inline IoObject* Wrap(IoObject* inner, uint32_t label) {
    auto* shell = new Shell{{}, inner, label};
    shell->io.Close = [](IoObject* object) -> int32_t {
        Shell* self = AsShell(object);
        Stages().closed.push_back(self->label);
        if (self->label != 1) --Stages().live;
        self->inner->Close(self->inner);
        delete self;
        return 0;
    };
    shell->io.Read = [](IoObject* o, void* buf, uint32_t count, uint32_t* got) {
        return Inner(o)->Read(Inner(o), buf, count, got);
    };
    shell->io.Seek = [](IoObject* o, uint16_t whence, int32_t offset) { return Inner(o)->Seek(Inner(o), whence, offset); };
    shell->io.Tell = [](IoObject* o, uint32_t* pos) { return Inner(o)->Tell(Inner(o), pos); };
    shell->io.GetInfo = [](IoObject* o, uint32_t what, void* answer) { return Inner(o)->GetInfo(Inner(o), what, answer); };
    shell->io.Open = Open;
    return &shell->io;
}

// The toy decoding stage: reads the whole base from its start.
inline IoObject* DecodeHex(IoObject* base) {
    if (base->Seek(base, 0, 0) != 0) return nullptr;
    std::string digits, decoded;
    for (char c : ReadRest(base)) {
        if (std::isxdigit(static_cast<unsigned char>(c))) digits += c;
        if (digits.size() == 2) decoded += static_cast<char>(std::stoi(digits, nullptr, 16));
        if (digits.size() == 2) digits.clear();
    }
    IoObject* object = MemoryObjectOpen(decoded, {.name = "decoded"});
    object->Seek(object, 2, 0);  // a stage may stand anywhere when it opens
    return object;
}

inline int32_t Open(IoObject** out, uint32_t kind, void* request, uint32_t flags) {
    StageLog& log = Stages();
    const auto* words = static_cast<const uintptr_t*>(request);
    auto* base = reinterpret_cast<IoObject*>(words[0]);
    OpenRequest logged{0, kind, base && base->Open == Open ? AsShell(base)->label : 0,
                       static_cast<uint32_t>(words[1]), static_cast<uint32_t>(words[2]), flags};
    const bool fail = log.opens.size() + 1 == log.failure.failAt;
    IoObject* made = nullptr;
    if (!fail || log.failure.leaveObject) {
        if (kind == IO_OPEN_DECODE) made = DecodeHex(base);
        else if (PlatformOpen(&made, kind, request, flags) != 0) made = nullptr;
    }
    if (made) {
        logged.label = log.nextLabel++;
        *out = Wrap(made, logged.label);
        ++log.live;
    }
    log.opens.push_back(logged);
    return fail || !made ? -2 : 0;
}

}  // namespace stage_detail

class StageHost {
public:
    explicit StageHost(std::string_view document, StageFailure failure = {}) {
        Stages() = StageLog{};
        Stages().failure = failure;
        document_ = stage_detail::Wrap(MemoryObjectOpen(document, {.name = "document.eml"}), 1);
    }
    ~StageHost() { document_->Close(document_); }
    StageHost(const StageHost&) = delete;
    StageHost& operator=(const StageHost&) = delete;

    IoObject* document() const { return document_; }

private:
    IoObject* document_;
};
