// decode_test_util.h - what the decoding tests share: an IoObject over bytes
// in memory that counts what it hands out and can misbehave, reading a
// decoding object out whole, a decoder fed straight in small steps, and the
// independent encoders of make_vectors.py.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/io_object.h"
#include "platform/decode/decode.h"
#include "platform/decode/decoders.h"
#include "tests/support/memory_object.h"

using Bytes = std::vector<uint8_t>;

// The object stays the test's: Close only marks it, so a test can look at it.
struct MemoryBase {
    IoObject io{};
    Bytes data;
    size_t position = 0;
    uint32_t largestRead = 0xFFFFFFFF;  // hands out at most this much per Read
    size_t failReadsAt = SIZE_MAX;      // a Read that reaches here fails
    bool failSeeks = false;
    std::string name = "base.txt";
    uint32_t biggestAsk = 0;            // the largest count a caller asked for
    uint64_t bytesRead = 0;             // bytes handed out by Read
    bool closed = false;

    static MemoryBase* Of(IoObject* object) { return reinterpret_cast<MemoryBase*>(object); }

    explicit MemoryBase(Bytes bytes) : data(std::move(bytes)) {
        io.Close = [](IoObject* object) -> int32_t {
            Of(object)->closed = true;
            return 0;
        };
        io.Read = [](IoObject* object, void* buf, uint32_t count, uint32_t* got) -> int32_t {
            MemoryBase* base = Of(object);
            base->biggestAsk = std::max(base->biggestAsk, count);
            size_t left = base->position < base->data.size() ? base->data.size() - base->position : 0;
            size_t n = std::min<size_t>({count, left, base->largestRead});
            *got = 0;
            if (base->position + n > base->failReadsAt) return -1;
            std::memcpy(buf, base->data.data() + base->position, n);
            base->position += n;
            base->bytesRead += n;
            *got = static_cast<uint32_t>(n);
            return 0;
        };
        io.Seek = [](IoObject* object, uint16_t whence, int32_t offset) -> int32_t {
            MemoryBase* base = Of(object);
            if (base->failSeeks) return -1;
            int64_t target = whence == 1   ? static_cast<int64_t>(base->position) + offset
                             : whence == 2 ? static_cast<int64_t>(base->data.size()) + offset
                                           : static_cast<uint32_t>(offset);
            if (target < 0) return -1;
            base->position = static_cast<size_t>(target);
            return 0;
        };
        io.Tell = [](IoObject* object, uint32_t* pos) -> int32_t {
            *pos = static_cast<uint32_t>(Of(object)->position);
            return 0;
        };
        io.GetInfo = [](IoObject* object, uint32_t what, void* answer) -> int32_t {
            if (what != IO_INFO_NAME) return -10;
            std::strcpy(static_cast<char*>(answer), Of(object)->name.c_str());
            return 0;
        };
        io.Open = [](IoObject**, uint32_t, void*, uint32_t) -> int32_t { return -2; };
    }
};

struct CloseObject {
    void operator()(IoObject* object) const { object->Close(object); }
};
using ObjectPtr = std::unique_ptr<IoObject, CloseObject>;

// Opens a decoding object over `base`; null when the open fails.
inline ObjectPtr DecodeOpen(MemoryBase& base, uint32_t code) {
    IoObject* out = nullptr;
    return ObjectPtr(DecodeObjectOpen(&base.io, code, &out) == 0 ? out : nullptr);
}

// Reads the object from its present position to the end, `chunk` bytes a call.
inline Bytes ReadToEnd(IoObject* object, uint32_t chunk = 65535) {
    Bytes all, buf(chunk);
    uint32_t got = 0xDEADBEEF;
    while (object->Read(object, buf.data(), chunk, &got) == 0 && got != 0 && got <= chunk)
        all.insert(all.end(), buf.begin(), buf.begin() + got);
    return all;
}

// Decodes `data` whole through a decoding object.
inline Bytes DecodeBytes(uint32_t code, const Bytes& data, uint32_t chunk = 65535) {
    MemoryBase base(data);
    ObjectPtr object = DecodeOpen(base, code);
    return object ? ReadToEnd(object.get(), chunk) : Bytes();
}

inline Bytes TextBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline Bytes FileBytes(const std::string& path) { return TextBytes(ReadWholeFile(path)); }
inline std::string CorpusPath(const std::string& relative) { return MAILSIFT_DATA_DIR "/" + relative; }

// Feeds a decoder straight, growing its input a few bytes at a time and with
// little output room, as an adversarial reader of the base would.
inline Bytes DecodeTrickled(uint32_t code, const Bytes& data, size_t step) {
    const DecoderKind* kind = DecoderKindFor(code);
    std::unique_ptr<uint8_t[]> state(new uint8_t[kind->stateSize]);
    kind->init(state.get());
    Bytes out, pending, room(kMinRoom);
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

// A fresh temporary directory, removed by the destructor.
struct TempDir {
    std::string path;
    TempDir() {
        char pattern[] = "/tmp/decode-test-XXXXXX";
        path = mkdtemp(pattern) ? pattern : "";
    }
    ~TempDir() {
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
};

// Runs make_vectors.py into `dir`; false when python3 failed.
inline bool MakeVectors(const TempDir& dir, int seed, size_t size) {
    std::string command = "python3 '" MAILSIFT_SOURCE_DIR "/tests/decode/make_vectors.py' '" + dir.path + "' " +
                          std::to_string(seed) + " " + std::to_string(size);
    return std::system(command.c_str()) == 0;
}
