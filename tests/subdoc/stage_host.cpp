// stage_host.cpp - the logging document stream, its Open and the toy decoder.
#include "tests/subdoc/stage_host.h"

#include "platform/platform.h"
#include "host/constants.h"
#include "host/host_routines.h"
#include "tests/support/memory_object.h"

namespace {

struct StageState {
    std::vector<OpenRequest> opens;
    std::vector<uint32_t> closed;
    StageFailure failure;
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
IoObject* Inner(IoObject* object) { return AsShell(object)->inner; }

int32_t StageOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags);

int32_t ShellClose(IoObject* object) {
    Shell* shell = AsShell(object);
    State().closed.push_back(shell->label);
    if (shell->label != 1) --State().live;
    shell->inner->Close(shell->inner);
    delete shell;
    return 0;
}

int32_t ShellRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    return Inner(object)->Read(Inner(object), buf, count, got);
}

int32_t ShellSeek(IoObject* object, uint16_t whence, int32_t offset) {
    return Inner(object)->Seek(Inner(object), whence, offset);
}

int32_t ShellTell(IoObject* object, uint32_t* pos) { return Inner(object)->Tell(Inner(object), pos); }

int32_t ShellGetInfo(IoObject* object, uint32_t what, void* answer) {
    return Inner(object)->GetInfo(Inner(object), what, answer);
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
        const int digit = HexDigit(c);
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
    object->Seek(object, 2, 0);  // a stage may stand anywhere when it opens
    return object;
}

IoObject* MakeFor(uint32_t kind, void* request, uint32_t flags) {
    if (kind == IO_OPEN_DECODE) return DecodeHex(static_cast<IoDecodeRequest*>(request)->base);
    IoObject* made = nullptr;
    return PlatformOpen(&made, kind, request, flags) == 0 ? made : nullptr;
}

int32_t StageOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags) {
    StageState& state = State();
    const auto* words = static_cast<const uintptr_t*>(request);
    OpenRequest logged{0, kind, LabelOf(reinterpret_cast<IoObject*>(words[0])),
                       static_cast<uint32_t>(words[1]), static_cast<uint32_t>(words[2]), flags};
    const bool fail = state.opens.size() + 1 == state.failure.failAt;
    IoObject* made = fail && !state.failure.leaveObject ? nullptr : MakeFor(kind, request, flags);
    if (made) {
        logged.label = state.nextLabel++;
        *out = Wrap(made, logged.label);
        ++state.live;
    }
    state.opens.push_back(logged);
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

const std::vector<OpenRequest>& StageHost::Opens() { return State().opens; }
const std::vector<uint32_t>& StageHost::Closed() { return State().closed; }
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

std::string NameOf(IoObject* object, uint32_t what) {
    char name[513] = {};
    return object->GetInfo(object, what, name) == 0 ? name : "<refused>";
}

std::vector<Recipe> RecipesOf(const RecordingHost& host) {
    std::vector<Recipe> recipes;
    bool open = false;
    for (const HostEvent& event : host.Calls()) {
        if (event.id == SO_NEWSUBDOC) {
            recipes.push_back(Recipe{event.result, {}});
            open = true;
        } else if (event.id == SO_SETPROPERTY && event.args[0].number == PROP_RECIPE_END) {
            open = false;
        } else if (open && event.id == SO_SETPROPERTY && event.args[0].number == PROP_RECIPE_STEP) {
            recipes.back().steps.push_back({event.args[1].number, event.args[2].number, event.args[3].number});
        }
    }
    return recipes;
}
