// temp_files.h - scratch directories and files for the platform tests, and a
// few ways of reading an IoObject whole.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/io_object.h"

class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "mailsift-platform-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path_; }

    std::string Write(const std::string& name, const std::string& bytes) const {
        std::string file = path_ + "/" + name;
        std::ofstream out(file, std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return file;
    }

private:
    std::string path_;
};

inline std::string ReadFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Reads from the present position to the end, `chunk` bytes per call.
inline std::string ReadRest(IoObject* object, uint32_t chunk = 2048) {
    std::string all;
    std::string buf(chunk, '\0');
    for (;;) {
        uint32_t got = 0;
        if (object->Read(object, buf.data(), chunk, &got) != 0 || got == 0) break;
        all.append(buf.data(), got);
    }
    return all;
}

inline uint32_t TellOf(IoObject* object) {
    uint32_t pos = 0xDEADBEEF;
    object->Tell(object, &pos);
    return pos;
}

inline std::string CorpusPath(const std::string& relative) {
    return std::string(MAILSIFT_CORPUS_DIR) + "/" + relative;
}
