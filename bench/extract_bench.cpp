// extract_bench.cpp - attachment extraction through the command-line path:
// `mailsift extract` on generated mails with one base64 attachment of 10 MB
// and of 100 MB. Prints wall time, decoded MB/s by wall and by CPU time, and
// the child's peak memory (wait4): flat memory shows as two nearly equal peaks.
//
// usage: extract_bench [PATH-TO-mailsift]   (default: MAILSIFT_CLI, else the
// mailsift next to the bench/ folder this program was built into)
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

std::string CliPath(int argc, char** argv) {
    if (argc > 1) return argv[1];
    if (const char* env = std::getenv("MAILSIFT_CLI")) return env;
    return (fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "mailsift").string();
}

// A mail whose one attachment decodes to `bytes` bytes of varied data,
// written in pieces so that the generator holds no more than a line.
bool WriteMail(const std::string& path, size_t bytes) {
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return false;
    std::fputs("From: bench@example.org\r\nTo: you@example.org\r\nSubject: large attachment\r\n"
               "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"bench\"\r\n\r\n"
               "--bench\r\nContent-Type: text/plain\r\n\r\nsee the attachment\r\n--bench\r\n"
               "Content-Type: application/octet-stream; name=\"data.bin\"\r\n"
               "Content-Disposition: attachment; filename=\"data.bin\"\r\n"
               "Content-Transfer-Encoding: base64\r\n\r\n",
               out);
    // 57 bytes a line: 76 symbols, no padding until the end.
    uint32_t seed = 12345;
    std::string line;
    for (size_t done = 0; done < bytes; done += 57) {
        line.clear();
        const size_t take = bytes - done < 57 ? bytes - done : 57;
        unsigned char group[3];
        for (size_t i = 0; i < take; i += 3) {
            for (size_t k = 0; k < 3; ++k) {
                seed = seed * 1103515245u + 12345u;
                group[k] = static_cast<unsigned char>(seed >> 16);
            }
            const uint32_t value = (group[0] << 16) | (group[1] << 8) | group[2];
            const size_t real = take - i < 3 ? take - i : 3;
            for (size_t k = 0; k < 4; ++k)
                line += k <= real ? kAlphabet[(value >> (18 - 6 * k)) & 63] : '=';
        }
        line += "\r\n";
        std::fwrite(line.data(), 1, line.size(), out);
    }
    std::fputs("--bench--\r\n", out);
    return std::fclose(out) == 0;
}

struct Run {
    bool ok = false;
    double seconds = 0;
    double cpuSeconds = 0;  // user + system: steadier than wall time on a shared machine
    long peakKiB = 0;
};

Run Extract(const std::string& cli, const std::string& mail, const std::string& dir) {
    std::vector<std::string> args = {cli, "extract", "-o", dir, mail};
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    Run run;
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawn(&pid, cli.c_str(), &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        struct rusage usage {};
        wait4(pid, &status, 0, &usage);
        run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        run.peakKiB = usage.ru_maxrss;
        run.cpuSeconds = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 +
                         usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
    }
    posix_spawn_file_actions_destroy(&actions);
    return run;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string cli = CliPath(argc, argv);
    const fs::path work = fs::temp_directory_path() / ("mailsift-extract-bench-" + std::to_string(getpid()));
    fs::create_directories(work);
    int failures = 0;
    std::printf("%-28s %10s %10s %10s %12s\n", "attachment", "seconds", "MB/s", "cpu MB/s",
                "peak MiB");
    for (size_t megabytes : {10, 100}) {
        const size_t bytes = megabytes * 1000 * 1000;
        const std::string mail = (work / ("mail-" + std::to_string(megabytes) + ".eml")).string();
        const fs::path out = work / ("out-" + std::to_string(megabytes));
        if (!WriteMail(mail, bytes)) {
            std::fprintf(stderr, "cannot write %s\n", mail.c_str());
            return 1;
        }
        // One warm-up so that both runs read the mail from the page cache.
        Extract(cli, mail, (work / "warm").string());
        fs::remove_all(work / "warm");
        const Run run = Extract(cli, mail, out.string());
        std::error_code error;
        const auto written = fs::file_size(out / "data.bin", error);
        if (!run.ok || error || written != bytes) {
            std::fprintf(stderr, "extraction of %zu MB failed (%s)\n", megabytes, cli.c_str());
            ++failures;
        }
        std::printf("%-28s %10.3f %10.1f %10.1f %12.1f\n",
                    ("base64, " + std::to_string(megabytes) + " MB decoded").c_str(), run.seconds,
                    bytes / 1e6 / run.seconds, bytes / 1e6 / run.cpuSeconds, run.peakKiB / 1024.0);
        fs::remove_all(out);
        fs::remove(mail);
    }
    fs::remove_all(work);
    return failures == 0 ? 0 : 1;
}
