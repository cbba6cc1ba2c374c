// stage_host.cpp - the logging document stream, its Open and the toy decoder.
#include "tests/subdoc/stage_host.h"

#include <cstring>

#include "platform/platform.h"
#include "tests/support/memory_object.h"

namespace {

struct StageState {
    std::vector<StageEvent> log;
    StageFailure failure;
    uint32_t opens = 0;
    uint32_t nextLabel = 2;
    size_t live = 0;
};

StageState& State() {
    static StageState state;
    return state;
}

// Every object the host hands out is this shell over a platform or memory
// object; the shell logs its Close and makes derived objects through StageOpen.
struct Shell {
    IoObject io;  // first, so an IoObject* is a Shell*
    IoObject* inner;
    uint32_t label;
};

Shell* AsShell(IoObject* object) { return reinterpret_cast<Shell*>(object); }

int32_t StageOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags);

int32_t ShellClose(IoObject* object) {
    Shell* shell = AsShell(object);
    StageEvent event;
    event.kind = StageEvent::Close;
    event.label = shell->label;
    State().log.push_back(event);
    if (shell->label != 1) --State().live;
    shell->inner->Close(shell->inner);
    delete shell;
    return 0;
}

int32_t ShellRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    IoObject* inner = AsShell(object)->inner;
    return inner->Read(inner, buf, count, got);
}

int32_t ShellSeek(IoObject* object, uint16_t whence, int32_t offset) {
    IoObject* inner = AsShell(object)->inner;
    return inner->Seek(inner, whence, offset);
}

int32_t ShellTell(IoObject* object, uint32_t* pos) {
    IoObject* inner = AsShell(object)->inner;
    return inner->Tell(inner, pos);
}

int32_t ShellGetInfo(IoObject* object, uint32_t what, void* answer) {
    IoObject* inner = AsShell(object)->inner;
    return inner->GetInfo(inner, what, answer);
}

IoObject* Wrap(IoObject* inner, uint32_t label) {
    auto* shell = new Shell{};
    shell->inner = inner;
    shell->label = label;
    shell->io.Close = ShellClose;
    shell->io.Read = ShellRead;
    shell->io.Seek = ShellSeek;
    shell->io.Tell = ShellTell;
    shell->io.GetInfo = ShellGetInfo;
    shell->io.Open = StageOpen;
    return &shell->io;
}

uint32_t LabelOf(IoObject* object) {
    return object && object->Open == StageOpen ? AsShell(object)->label : 0;
}

int HexDigit(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The toy decoding stage: reads the whole base from its start.
IoObject* DecodeHex(IoObject* base) {
    if (base->Seek(base, 0, 0) != 0) return nullptr;
    std::string decoded;
    int high = -1;
    for (unsigned char c : ReadRest(base)) {
        int digit = HexDigit(c);
        if (digit < 0) continue;
        if (high < 0) {
            high = digit;
        } else {
            decoded += static_cast<char>(high * 16 + digit);
            high = -1;
        }
    }
    MemoryObjectOptions options;
    options.name = "decoded";
    IoObject* object = MemoryObjectOpen(decoded, options);
    // A stage may stand anywhere when it opens; this one stands at its end.
    object->Seek(object, 2, 0);
    return object;
}

StageEvent DescribeRequest(uint32_t kind, void* request, uint32_t flags) {
    StageEvent event;
    event.openKind = kind;
    event.flags = flags;
    const auto* words = static_cast<const uintptr_t*>(request);
    event.base = LabelOf(reinterpret_cast<IoObject*>(words[0]));
    event.first = static_cast<uint32_t>(words[1]);
    event.second = static_cast<uint32_t>(words[2]);
    return event;
}

IoObject* MakeFor(uint32_t kind, void* request, uint32_t flags) {
    if (kind == IO_OPEN_DECODE) {
        return DecodeHex(static_cast<IoDecodeRequest*>(request)->base);
    }
    IoObject* made = nullptr;
    if (PlatformOpen(&made, kind, request, flags) != 0) return nullptr;
    return made;
}

int32_t StageOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags) {
    StageState& state = State();
    StageEvent event = DescribeRequest(kind, request, flags);
    const bool fail = ++state.opens == state.failure.failAt;
    IoObject* made = fail && !state.failure.leaveObject ? nullptr : MakeFor(kind, request, flags);
    if (made) {
        event.label = state.nextLabel++;
        *out = Wrap(made, event.label);
        ++state.live;
    }
    state.log.push_back(event);
    return fail || !made ? -2 : 0;
}

}  // namespace

StageHost::StageHost(std::string_view document, StageFailure failure) {
    State() = StageState{};
    State().failure = failure;
    MemoryObjectOptions options;
    options.name = "document.eml";
    document_ = Wrap(MemoryObjectOpen(document, options), 1);
}

StageHost::~StageHost() { document_->Close(document_); }

const std::vector<StageEvent>& StageHost::Log() { return State().log; }

std::vector<StageEvent> StageHost::Opens() {
    std::vector<StageEvent> opens;
    for (const StageEvent& event : State().log)
        if (event.kind == StageEvent::Open) opens.push_back(event);
    return opens;
}

std::vector<uint32_t> StageHost::Closed() {
    std::vector<uint32_t> closed;
    for (const StageEvent& event : State().log)
        if (event.kind == StageEvent::Close) closed.push_back(event.label);
    return closed;
}

size_t StageHost::LiveObjects() { return State().live; }

std::string HexOf(std::string_view bytes) {
    static const char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char c : bytes) {
        hex += kDigits[c >> 4];
        hex += kDigits[c & 15];
    }
    return hex;
}

std::string ReadRest(IoObject* object, uint32_t chunk) {
    std::string bytes;
    std::vector<char> buffer(chunk);
    for (;;) {
        uint32_t got = 0;
        if (object->Read(object, buffer.data(), chunk, &got) != 0 || got == 0 || got > chunk) break;
        bytes.append(buffer.data(), got);
    }
    return bytes;
}
