// fake_services.cpp - the scripted identification service and the fake
// document stream of this test program.
#include "tests/encoded_fake/fake_services.h"

#include <algorithm>
#include <cstring>

#include "host/services.h"

namespace fake {
namespace {

Identity g_service;
bool g_inService = false;

bool StartsWith(const std::string& bytes, const char* prefix) {
    return bytes.compare(0, std::strlen(prefix), prefix) == 0;
}

bool IsPrintable(const std::string& bytes) {
    for (unsigned char c : bytes) {
        if (c >= 0x80 || (c < 0x20 && c != '\t' && c != '\r' && c != '\n')) return false;
    }
    return true;
}

// The first 8 KiB of an object, read from its start as the service does.
std::string Peek(IoObject* object) {
    g_inService = true;
    std::string bytes;
    object->Seek(object, 0, 0);
    char buffer[1024];
    uint32_t got = 0;
    while (bytes.size() < 8192 && object->Read(object, buffer, sizeof buffer, &got) == 0 && got > 0)
        bytes.append(buffer, got);
    g_inService = false;
    return bytes.substr(0, 8192);
}

struct FakeStream {
    IoObject io;  // first: an IoObject* is a FakeStream*
    std::string data;
    uint32_t pos = 0;
    bool isRange = false;
    bool counted = true;  // derived objects count in log->alive; the root does not
    std::shared_ptr<StreamLog> log;
};

FakeStream* Self(IoObject* object) { return reinterpret_cast<FakeStream*>(object); }

IoObject* Make(std::string bytes, std::shared_ptr<StreamLog> log, bool isRange);

int32_t FakeClose(IoObject* object) {
    FakeStream* self = Self(object);
    if (self->counted) --self->log->alive;
    delete self;
    return 0;
}

int32_t FakeRead(IoObject* object, void* buffer, uint32_t count, uint32_t* got) {
    FakeStream* self = Self(object);
    uint32_t size = static_cast<uint32_t>(self->data.size());
    uint32_t n = self->pos >= size ? 0 : std::min(count, size - self->pos);
    if (n > 0) std::memcpy(buffer, self->data.data() + self->pos, n);
    self->pos += n;
    *got = n;
    if (self->isRange && !g_inService) ++self->log->rangeReads;
    return 0;
}

int32_t FakeSeek(IoObject* object, uint16_t whence, int32_t offset) {
    FakeStream* self = Self(object);
    int64_t base = whence == 1 ? self->pos : whence == 2 ? static_cast<int64_t>(self->data.size()) : 0;
    int64_t target = whence == 0 ? static_cast<int64_t>(static_cast<uint32_t>(offset)) : base + offset;
    if (target < 0) return -1;
    self->pos = static_cast<uint32_t>(target);
    return 0;
}

int32_t FakeTell(IoObject* object, uint32_t* pos) {
    *pos = Self(object)->pos;
    return 0;
}

int32_t FakeGetInfo(IoObject*, uint32_t, void*) { return -10; }

int32_t FakeOpen(IoObject** out, uint32_t kind, void* request, uint32_t) {
    auto* words = static_cast<uintptr_t*>(request);
    FakeStream* base = Self(reinterpret_cast<IoObject*>(words[0]));
    if (kind == IO_OPEN_RANGE) {
        if (base->log->failRange) return -2;
        uint32_t first = static_cast<uint32_t>(words[1]);
        uint32_t last = static_cast<uint32_t>(words[2]);
        std::string bytes;
        if (first < base->data.size() && (last == 0xFFFFFFFEu || last >= first))
            bytes = base->data.substr(first, last == 0xFFFFFFFEu ? std::string::npos : last - first + 1);
        *out = Make(bytes, base->log, true);
        return 0;
    }
    if (kind == IO_OPEN_DECODE) {
        uint32_t code = static_cast<uint32_t>(words[2]);
        base->log->decodeCodes.push_back(code);
        auto found = base->log->decoded.find(code);
        if (found == base->log->decoded.end()) return -2;
        *out = Make(found->second, base->log, false);
        return 0;
    }
    return -2;
}

IoObject* Make(std::string bytes, std::shared_ptr<StreamLog> log, bool isRange) {
    auto* stream = new FakeStream{};
    stream->io.Close = FakeClose;
    stream->io.Read = FakeRead;
    stream->io.Seek = FakeSeek;
    stream->io.Tell = FakeTell;
    stream->io.GetInfo = FakeGetInfo;
    stream->io.Open = FakeOpen;
    stream->data = std::move(bytes);
    stream->isRange = isRange;
    stream->log = std::move(log);
    ++stream->log->alive;
    return &stream->io;
}

}  // namespace

Identity& Service() { return g_service; }

void ResetService() {
    g_service = Identity{};
    g_service.handle = DefaultHandle;
    g_service.special = DefaultSpecial;
}

uint16_t DefaultHandle(const std::string& bytes) {
    if (bytes.empty()) return 4022;
    if (StartsWith(bytes, "\x89PNG")) return 1502;
    if (StartsWith(bytes, "{\\rtf")) return 1028;
    if (StartsWith(bytes, "<html")) return 1101;
    if (StartsWith(bytes, "\x78\x9F\x3E\x22")) return 1197;
    if (StartsWith(bytes, "begin ")) return 4050;
    if (StartsWith(bytes, "=ybegin ")) return 4054;
    if (StartsWith(bytes, "(This file must be converted with BinHex")) return 4056;
    return IsPrintable(bytes) ? 4022 : 0;
}

uint16_t DefaultSpecial(const std::string& bytes) {
    size_t data = bytes.find_first_of("\r\n");
    if (data != std::string::npos) data = bytes.find_first_not_of("\r\n", data);
    if (!StartsWith(bytes, "begin ") || data == std::string::npos) return 1999;
    char lead = bytes[data];
    return lead == 'M' ? 4050 : lead == 'h' ? 4052 : 1999;
}

IoObject* FakeStreamOpen(std::string bytes, std::shared_ptr<StreamLog> log) {
    IoObject* object = Make(std::move(bytes), std::move(log), false);
    Self(object)->counted = false;
    --Self(object)->log->alive;
    return object;
}

}  // namespace fake

extern "C" void IdentifyHandle(IoObject* object, uint32_t mode, uint16_t* formatId) {
    std::string bytes = fake::Peek(object);
    fake::Service().handleSeen.push_back(bytes);
    fake::Service().handleModes.push_back(mode);
    uint16_t answer = fake::Service().handle(bytes);
    if (answer != 0) *formatId = answer;
}

extern "C" uint16_t IdentifySpecial(IoObject* object, uint16_t hint) {
    std::string bytes = fake::Peek(object);
    fake::Service().specialSeen.push_back(bytes);
    fake::Service().specialHints.push_back(hint);
    return fake::Service().special(bytes);
}
