// walk_bench - the walk and plan of a large multipart message: time to open
// (walk every part, classify every leaf) and peak memory against the
// message's size. The parts list grows with the number of parts, not with
// their size, so memory stays flat as the message grows.
//
//   walk_bench [MB ...]     (default: 10 100)
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_host.h"

namespace {

// A multipart/mixed of text parts of about 1 MB each, every fourth one a
// base64 attachment, with nested alternatives in between.
std::string WriteInput(unsigned megabytes) {
    std::string path = "/tmp/mailsift_walk_" + std::to_string(megabytes) + "mb.eml";
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return {};
    std::fputs("From: bench@example.org\r\nSubject: walk\r\nMIME-Version: 1.0\r\n"
               "Content-Type: multipart/mixed; boundary=\"outer\"\r\n\r\npreamble\r\n", out);
    std::string text;
    while (text.size() < 76) text += "words and more words ";
    text += "\r\n";
    std::string b64(76, 'Q');
    b64 += "\r\n";
    for (unsigned part = 0; part < megabytes; ++part) {
        bool attachment = part % 4 == 3;
        std::fputs("--outer\r\n", out);
        if (attachment)
            std::fprintf(out, "Content-Type: application/octet-stream; name=\"blob%u.bin\"\r\n"
                              "Content-Transfer-Encoding: base64\r\n\r\n", part);
        else
            std::fputs("Content-Type: text/plain; charset=iso-8859-1\r\n\r\n", out);
        const std::string& line = attachment ? b64 : text;
        WriteRepeated(out, line, 1u << 20);
    }
    std::fputs("--outer--\r\nepilogue\r\n", out);
    std::fclose(out);
    return path;
}

}  // namespace

int main(int argc, char** argv) {
    std::printf("multipart message: walk + plan, then the whole read\n");
    for (unsigned mb : SizesFromArgs(argc, argv)) {
        std::string path = WriteInput(mb);
        BenchCounts counts = RunThroughFilter(path, FI_INTERNET_MAIL);
        std::remove(path.c_str());
        std::printf("%4u MB: open+plan %6.3f s (%6.1f MB/s)  whole run %6.3f s  %11llu chars  "
                    "peak RSS %ld KiB\n",
                    mb, counts.openSeconds, mb / counts.openSeconds, counts.totalSeconds,
                    static_cast<unsigned long long>(counts.chars), PeakKiB());
    }
    return 0;
}
