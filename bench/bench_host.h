// bench_host.h - what the filter benchmarks share: a host that only counts,
// a driver that reads a file through the filter, and peak memory.
#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/mailfilter.h"
#include "platform/platform.h"

struct BenchCounts {
    uint64_t chars = 0;
    uint64_t breaks = 0;
    bool ended = false;
    double openSeconds = 0;   // VwStreamOpen and the first VwStreamSection
    double totalSeconds = 0;  // the whole run
    int16_t openCode = 0;
};

inline long PeakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

namespace bench_detail {
inline int32_t CountChar(uint32_t, uintptr_t user, uintptr_t) {
    ++reinterpret_cast<BenchCounts*>(user)->chars;
    return 0;
}
inline int32_t CountBreak(uint32_t kind, uint32_t, uintptr_t user, uintptr_t) {
    auto* counts = reinterpret_cast<BenchCounts*>(user);
    ++counts->breaks;
    if (kind == BRK_DOCUMENT_END) counts->ended = true;
    return 0;
}
}  // namespace bench_detail

// Reads `path` through the filter as `formatId` with a counting host; all
// sections, until the end of the document.
inline BenchCounts RunThroughFilter(const std::string& path, uint16_t formatId) {
    BenchCounts counts;
    IoObject* stream = FileObjectOpen(path.c_str());
    if (!stream) {
        counts.openCode = -1;
        return counts;
    }
    FilterProc* proc = VwAllocProc();
    void* handle = nullptr;
    VwLocalUp(proc, &handle, proc);
    VwSetUser(reinterpret_cast<uintptr_t>(&counts), 0, proc);
    VwSetSoRtn(SO_PUTCHAR, reinterpret_cast<VwRoutine>(&bench_detail::CountChar), proc);
    VwSetSoRtn(SO_PUTBREAK, reinterpret_cast<VwRoutine>(&bench_detail::CountBreak), proc);
    auto start = std::chrono::steady_clock::now();
    counts.openCode = VwStreamOpen(stream, formatId, 0, nullptr, proc);
    if (counts.openCode == 0) {
        VwStreamSection(stream, proc);
        counts.openSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        uint64_t sections = 0;
        while (!counts.ended && sections < 1000000) {
            uint64_t before = counts.breaks;
            if (VwStreamRead(stream, proc) != 0) break;
            if (counts.breaks == before) break;  // nothing more comes
            if (!counts.ended) {
                VwStreamSection(stream, proc);
                ++sections;
            }
        }
        VwStreamClose(stream, proc);
    }
    counts.totalSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    VwFreeProc(proc);
    stream->Close(stream);
    return counts;
}

// The sizes in MB named on the command line, or 10 and 100.
inline std::vector<unsigned> SizesFromArgs(int argc, char** argv) {
    std::vector<unsigned> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(static_cast<unsigned>(std::atoi(argv[i])));
    if (sizes.empty()) sizes = {10, 100};
    return sizes;
}

// Writes `line` again and again until `bytes` have gone out.
inline void WriteRepeated(FILE* out, const std::string& line, uint64_t bytes) {
    for (uint64_t written = 0; written < bytes; written += line.size())
        std::fwrite(line.data(), 1, line.size(), out);
}
