// memory_object.h - an IoObject over an owned copy of a byte buffer, for
// tests. Read, Seek, Tell and GetInfo (3: a settable name, 14: 8-bit name)
// behave like a file; Open is the platform's, so range and decoding objects
// can be derived from it. Failures can be injected. Below it, what tests of
// IoObjects and files share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/io_object.h"

struct MemoryObjectOptions {
    std::string name = "memory.eml";
    bool failRead = false;        // every Read answers -1
    bool failSeek = false;        // every Seek answers -1
    uint32_t shortReads = 0;      // when not 0, a Read delivers at most this many bytes
    uint32_t failReadFrom = 0;    // when not 0, Reads fail once the position reaches it
};

// What the object saw; lives as long as the object.
struct MemoryObjectStats {
    uint32_t reads = 0;
    uint32_t seeks = 0;
    uint32_t largestRequest = 0;  // the largest count a Read asked for
    uint64_t bytesRead = 0;       // all that Reads delivered
};

// Makes the object; it frees itself through its Close.
IoObject* MemoryObjectOpen(std::string_view bytes, const MemoryObjectOptions& options = {});
// The statistics of an object made by MemoryObjectOpen.
const MemoryObjectStats& MemoryObjectStatsOf(const IoObject* object);

// Owns one memory object for the length of a test and closes it at the end.
class MemoryObject {
public:
    explicit MemoryObject(std::string_view bytes, const MemoryObjectOptions& options = {})
        : object_(MemoryObjectOpen(bytes, options)) {}
    ~MemoryObject() {
        if (object_) object_->Close(object_);
    }
    MemoryObject(const MemoryObject&) = delete;
    MemoryObject& operator=(const MemoryObject&) = delete;

    IoObject* get() const { return object_; }
    const MemoryObjectStats& stats() const { return MemoryObjectStatsOf(object_); }

private:
    IoObject* object_;
};

// The bytes of a file, or an empty string when it can't be read.
std::string ReadWholeFile(const std::string& path);
// The same for a file below tests/data.
inline std::string CorpusBytes(const std::string& relative) { return ReadWholeFile(MAILSIFT_DATA_DIR "/" + relative); }

// Any IoObject, closed when it goes.
struct IoCloser {
    void operator()(IoObject* object) const { object->Close(object); }
};
using ObjectPtr = std::unique_ptr<IoObject, IoCloser>;

// Reads `object` from where it stands to its end, `chunk` bytes per Read; a
// Read that claims more than it was asked for ends it, as does more than any
// test expects.
inline std::string ReadRest(IoObject* object, uint32_t chunk = 4096) {
    std::string bytes;
    std::vector<char> buffer(chunk);
    uint32_t got = 0;
    while (bytes.size() < (64u << 20) && object->Read(object, buffer.data(), chunk, &got) == 0 && got > 0 &&
           got <= chunk)
        bytes.append(buffer.data(), got);
    return bytes;
}

// The position Tell answers; 0xDEADBEEF when it fails.
inline uint32_t TellOf(IoObject* object) {
    uint32_t pos = 0;
    return object->Tell(object, &pos) == 0 ? pos : 0xDEADBEEF;
}

// GetInfo `what` into the 513 bytes a host gives it, preset to 'x' so that a
// missing NUL shows; "<refused>" on failure.
inline std::string NameOf(IoObject* object, uint32_t what = 3) {
    char name[513];
    std::memset(name, 'x', sizeof name);
    return object->GetInfo(object, what, name) == 0 ? std::string(name, strnlen(name, sizeof name)) : "<refused>";
}

// A folder of this test process's own, removed when the process ends, so that
// runs side by side and whatever else lives in /tmp stay out of each other's
// way. Empty when it could not be made.
inline const std::filesystem::path& OwnTempFolder() {
    struct Folder {
        std::filesystem::path path;
        Folder() {
            std::string pattern = (std::filesystem::temp_directory_path() / "mailsift-test-XXXXXX").string();
            if (mkdtemp(pattern.data())) path = pattern;
        }
        ~Folder() {
            std::error_code error;
            if (!path.empty()) std::filesystem::remove_all(path, error);
        }
    };
    static const Folder folder;
    return folder.path;
}

// Writes `bytes` to `name` in the folder above; answers its path.
inline std::string WriteTemp(const std::string& name, const std::string& bytes) {
    const std::string path = (OwnTempFolder() / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}
