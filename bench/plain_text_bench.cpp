// plain_text_bench - characters per second through the plain text path, and
// peak memory, with a host that only counts. Memory must stay flat however
// large the input: the filter holds no body whole.
//
//   plain_text_bench [MB ...]     (default: 10 100)
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_host.h"

namespace {

// A mail whose body is UTF-8 prose: the path the filter takes for most mail.
// (Letters-only lines would look like bare base64 to the sniffer.)
std::string WriteInput(unsigned megabytes) {
    std::string path = "/tmp/mailsift_plain_" + std::to_string(megabytes) + "mb.eml";
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return {};
    std::fputs("From: bench@example.org\r\nSubject: plain text\r\n"
               "Content-Type: text/plain; charset=utf-8\r\n\r\n", out);
    std::string line;
    while (line.size() < 68) line += "the quick brown fox, ";
    line += "caf\xC3\xA9\r\n";
    WriteRepeated(out, line, uint64_t{megabytes} << 20);
    std::fclose(out);
    return path;
}

}  // namespace

int main(int argc, char** argv) {
    std::printf("plain text through a counting host (a mail of one UTF-8 text part)\n");
    for (unsigned mb : SizesFromArgs(argc, argv)) {
        std::string path = WriteInput(mb);
        BenchCounts counts = RunThroughFilter(path, FI_INTERNET_MAIL);
        std::remove(path.c_str());
        std::printf("%4u MB: %11llu chars %8llu breaks %7.3f s %7.1f Mchar/s %7.1f MB/s  peak RSS %ld KiB\n",
                    mb, static_cast<unsigned long long>(counts.chars),
                    static_cast<unsigned long long>(counts.breaks), counts.totalSeconds,
                    counts.chars / counts.totalSeconds / 1e6, mb / counts.totalSeconds, PeakKiB());
    }
    return 0;
}
