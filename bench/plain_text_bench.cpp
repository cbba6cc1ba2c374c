// plain_text_bench - characters per second through the plain text path, and
// peak memory, with a host that only counts. Memory must stay flat however
// large the input: the filter holds no body whole.
//
//   plain_text_bench [MB ...]     (default: 10 100)
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/mailfilter.h"
#include "platform/platform.h"

namespace {

struct Counts {
    uint64_t chars = 0;
    uint64_t breaks = 0;
    bool ended = false;
};

int32_t CountChar(uint32_t, uintptr_t user, uintptr_t) {
    ++reinterpret_cast<Counts*>(user)->chars;
    return 0;
}

int32_t CountBreak(uint32_t kind, uint32_t, uintptr_t user, uintptr_t) {
    auto* counts = reinterpret_cast<Counts*>(user);
    ++counts->breaks;
    if (kind == BRK_DOCUMENT_END || kind == BRK_SECTION_END) counts->ended = true;
    return 0;
}

std::string WriteInput(unsigned megabytes) {
    std::string path = "/tmp/mailsift_plain_" + std::to_string(megabytes) + "mb.txt";
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return {};
    // A mail whose body is UTF-8 text: the path the filter takes for most mail.
    const char* header = "From: bench@example.org\r\nSubject: plain text\r\n"
                         "Content-Type: text/plain; charset=utf-8\r\n\r\n";
    std::fputs(header, out);
    std::string line;
    // Prose, so that nothing takes the body for encoded data.
    while (line.size() < 68) line += "the quick brown fox, ";
    line += "caf\xC3\xA9\r\n";
    uint64_t target = uint64_t{megabytes} << 20;
    for (uint64_t written = 0; written < target; written += line.size())
        std::fwrite(line.data(), 1, line.size(), out);
    std::fclose(out);
    return path;
}

long PeakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void Run(unsigned megabytes) {
    std::string path = WriteInput(megabytes);
    IoObject* stream = path.empty() ? nullptr : FileObjectOpen(path.c_str());
    if (!stream) {
        std::printf("%4u MB: cannot create or open %s\n", megabytes, path.c_str());
        return;
    }
    Counts counts;
    FilterProc* proc = VwAllocProc();
    void* handle = nullptr;
    VwLocalUp(proc, &handle, proc);
    VwSetUser(reinterpret_cast<uintptr_t>(&counts), 0, proc);
    VwSetSoRtn(SO_PUTCHAR, reinterpret_cast<VwRoutine>(&CountChar), proc);
    VwSetSoRtn(SO_PUTBREAK, reinterpret_cast<VwRoutine>(&CountBreak), proc);
    auto start = std::chrono::steady_clock::now();
    if (VwStreamOpen(stream, FI_INTERNET_MAIL, 0, nullptr, proc) == 0) {
        VwStreamSection(stream, proc);
        while (!counts.ended) VwStreamRead(stream, proc);
        VwStreamClose(stream, proc);
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    VwFreeProc(proc);
    stream->Close(stream);
    std::remove(path.c_str());
    std::printf("%4u MB: %12llu chars %9llu breaks %7.3f s %8.1f Mchar/s %7.1f MB/s  peak RSS %ld KiB\n",
                megabytes, static_cast<unsigned long long>(counts.chars),
                static_cast<unsigned long long>(counts.breaks), seconds, counts.chars / seconds / 1e6,
                megabytes / seconds, PeakKiB());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<unsigned> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(static_cast<unsigned>(std::atoi(argv[i])));
    if (sizes.empty()) sizes = {10, 100};
    std::printf("plain text through a counting host (a mail of one UTF-8 text part)\n");
    for (unsigned mb : sizes) Run(mb);
    return 0;
}
