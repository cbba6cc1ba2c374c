// decode_test_util.cpp - the helpers of decode_test_util.h.
#include "tests/decode/decode_test_util.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include "platform/decode/decode.h"
#include "platform/decode/decoders.h"

namespace {

MemoryBase* AsBase(IoObject* object) { return reinterpret_cast<MemoryBase*>(object); }

int32_t BaseClose(IoObject* object) {
    AsBase(object)->closed = true;
    return 0;
}

int32_t BaseRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    MemoryBase* base = AsBase(object);
    if (count > base->biggestAsk) base->biggestAsk = count;
    size_t left = base->position < base->data.size() ? base->data.size() - base->position : 0;
    size_t n = count < left ? count : left;
    if (n > base->largestRead) n = base->largestRead;
    if (base->position + n > base->failReadsAt) {
        *got = 0;
        return -1;
    }
    std::memcpy(buf, base->data.data() + base->position, n);
    base->position += n;
    base->bytesRead += n;
    *got = static_cast<uint32_t>(n);
    return 0;
}

int32_t BaseSeek(IoObject* object, uint16_t whence, int32_t offset) {
    MemoryBase* base = AsBase(object);
    ++base->seeks;
    if (base->failSeeks) return -1;
    int64_t target = whence == 1   ? static_cast<int64_t>(base->position) + offset
                     : whence == 2 ? static_cast<int64_t>(base->data.size()) + offset
                                   : static_cast<uint32_t>(offset);
    if (target < 0) return -1;
    base->position = static_cast<size_t>(target);
    return 0;
}

int32_t BaseTell(IoObject* object, uint32_t* pos) {
    *pos = static_cast<uint32_t>(AsBase(object)->position);
    return 0;
}

int32_t BaseGetInfo(IoObject* object, uint32_t what, void* answer) {
    if (what != IO_INFO_NAME) return -10;
    std::strcpy(static_cast<char*>(answer), AsBase(object)->name.c_str());
    return 0;
}

int32_t BaseOpen(IoObject**, uint32_t, void*, uint32_t) { return -2; }

}  // namespace

MemoryBase* MemoryBaseMake(Bytes data) {
    auto* base = new MemoryBase;
    base->io = IoObject{};
    base->io.Close = BaseClose;
    base->io.Read = BaseRead;
    base->io.Seek = BaseSeek;
    base->io.Tell = BaseTell;
    base->io.GetInfo = BaseGetInfo;
    base->io.Open = BaseOpen;
    base->data = std::move(data);
    return base;
}

void MemoryBaseFree(MemoryBase* base) { delete base; }

IoObject* DecodeOpen(MemoryBase* base, uint32_t code) {
    IoObject* out = nullptr;
    return DecodeObjectOpen(&base->io, code, &out) == 0 ? out : nullptr;
}

Bytes ReadToEnd(IoObject* object, uint32_t chunk) {
    Bytes all;
    std::vector<uint8_t> buf(chunk);
    for (;;) {
        uint32_t got = 0xDEADBEEF;
        if (object->Read(object, buf.data(), chunk, &got) != 0 || got == 0 || got > chunk) break;
        all.insert(all.end(), buf.begin(), buf.begin() + got);
    }
    return all;
}

Bytes DecodeBytes(uint32_t code, const Bytes& data, uint32_t chunk) {
    MemoryBase* base = MemoryBaseMake(data);
    IoObject* object = DecodeOpen(base, code);
    Bytes out;
    if (object) {
        out = ReadToEnd(object, chunk);
        object->Close(object);
    }
    MemoryBaseFree(base);
    return out;
}

Bytes DecodeTrickled(uint32_t code, const Bytes& data, size_t step) {
    const DecoderKind* kind = DecoderKindFor(code);
    std::unique_ptr<uint8_t[]> state(new uint8_t[kind->stateSize]);
    kind->init(state.get());
    Bytes out, pending;
    std::vector<uint8_t> room(kMinRoom);
    size_t fed = 0;
    for (int guard = 0; guard < 100000000; ++guard) {
        bool atEnd = fed == data.size();
        DecodeStep result = kind->decode(state.get(), pending.data(), pending.size(), atEnd,
                                         room.data(), room.size());
        out.insert(out.end(), room.begin(), room.begin() + result.produced);
        pending.erase(pending.begin(), pending.begin() + result.consumed);
        if (result.finished || (atEnd && pending.empty())) break;
        if (result.consumed == 0 && result.produced == 0) {
            if (atEnd) break;
            size_t n = std::min(step, data.size() - fed);
            pending.insert(pending.end(), data.begin() + fed, data.begin() + fed + n);
            fed += n;
        }
    }
    return out;
}

Bytes FileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

Bytes TextBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

TempDir::TempDir() {
    char pattern[] = "/tmp/decode-test-XXXXXX";
    path = mkdtemp(pattern) ? pattern : "";
}

TempDir::~TempDir() {
    if (!path.empty()) std::system(("rm -rf '" + path + "'").c_str());
}

bool MakeVectors(const TempDir& dir, int seed, size_t size) {
    std::string command = "python3 '" MAILSIFT_SOURCE_DIR "/tests/decode/make_vectors.py' '" +
                          dir.path + "' " + std::to_string(seed) + " " + std::to_string(size);
    return std::system(command.c_str()) == 0;
}

std::vector<std::string> Uudeview(const std::string& file, const TempDir& out) {
    std::string command =
        "uudeview -i -q -p '" + out.path + "/' '" + file + "' > /dev/null 2>&1 < /dev/null";
    std::vector<std::string> names;
    if (std::system(command.c_str()) != 0) return names;
    if (DIR* dir = opendir(out.path.c_str())) {
        while (dirent* entry = readdir(dir))
            if (entry->d_name[0] != '.') names.push_back(out / entry->d_name);
        closedir(dir);
    }
    return names;
}

std::string CorpusPath(const std::string& relative) {
    return std::string(MAILSIFT_CORPUS_DIR) + "/" + relative;
}
