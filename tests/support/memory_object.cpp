// memory_object.cpp - the in-memory file object and its failure switches.
#include "tests/support/memory_object.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "platform/platform.h"

namespace {

constexpr int32_t kAnswerFailed = -1;
constexpr int32_t kAnswerUnknown = -10;

struct MemoryData {
    std::string bytes;
    uint32_t position = 0;
    MemoryObjectOptions options;
    MemoryObjectStats stats;
};

// Standard layout with the IoObject first, so the object pointer converts back.
struct MemoryShell {
    IoObject io;
    MemoryData* data;
};

MemoryData* FileOf(const IoObject* object) {
    return reinterpret_cast<const MemoryShell*>(object)->data;
}

int32_t MemoryClose(IoObject* object) {
    delete FileOf(object);
    delete reinterpret_cast<MemoryShell*>(object);
    return 0;
}

int32_t MemoryRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    MemoryData* file = FileOf(object);
    file->stats.reads++;
    file->stats.largestRequest = std::max(file->stats.largestRequest, count);
    if (got) *got = 0;
    const uint32_t failFrom = file->options.failReadFrom;
    if (file->options.failRead || (failFrom && file->position >= failFrom)) return kAnswerFailed;
    const size_t size = file->bytes.size();
    size_t n = file->position < size ? std::min<size_t>(count, size - file->position) : 0;
    if (file->options.shortReads) n = std::min<size_t>(n, file->options.shortReads);
    if (n) std::memcpy(buf, file->bytes.data() + file->position, n);
    file->position += static_cast<uint32_t>(n);
    file->stats.bytesRead += n;
    if (got) *got = static_cast<uint32_t>(n);
    return 0;
}

int32_t MemorySeek(IoObject* object, uint16_t whence, int32_t offset) {
    MemoryData* file = FileOf(object);
    file->stats.seeks++;
    if (file->options.failSeek) return kAnswerFailed;
    int64_t base = 0;
    if (whence == 0) {  // the offset counts as unsigned from the start
        file->position = static_cast<uint32_t>(offset);
        return 0;
    }
    if (whence == 1) base = file->position;
    else if (whence == 2) base = static_cast<int64_t>(file->bytes.size());
    else return kAnswerFailed;
    const int64_t target = base + offset;
    if (target < 0 || target > 0xFFFFFFFFll) return kAnswerFailed;
    file->position = static_cast<uint32_t>(target);
    return 0;
}

int32_t MemoryTell(IoObject* object, uint32_t* pos) {
    if (pos) *pos = FileOf(object)->position;
    return 0;
}

int32_t MemoryGetInfo(IoObject* object, uint32_t what, void* answer) {
    MemoryData* file = FileOf(object);
    if (what == IO_INFO_NAME) {
        const std::string& name = file->options.name;
        const size_t n = std::min<size_t>(name.size(), 255);
        std::memcpy(answer, name.data(), n);
        static_cast<char*>(answer)[n] = '\0';
        return 0;
    }
    if (what == IO_INFO_NAME_KIND) {
        const uint32_t eightBit = 2;
        std::memcpy(answer, &eightBit, sizeof eightBit);
        return 0;
    }
    return kAnswerUnknown;
}

}  // namespace

IoObject* MemoryObjectOpen(std::string_view bytes, const MemoryObjectOptions& options) {
    MemoryShell* shell = new MemoryShell{};
    shell->data = new MemoryData{};
    shell->data->bytes.assign(bytes.data(), bytes.size());
    shell->data->options = options;
    shell->io.Close = MemoryClose;
    shell->io.Read = MemoryRead;
    shell->io.Seek = MemorySeek;
    shell->io.Tell = MemoryTell;
    shell->io.GetInfo = MemoryGetInfo;
    shell->io.Open = PlatformOpen;
    return &shell->io;
}

const MemoryObjectStats& MemoryObjectStatsOf(const IoObject* object) {
    return FileOf(object)->stats;
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
