// input_file.cpp - the checks every command makes before a file reaches the
// filter, and the complaint line.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/commands.h"
#include "host/platform_extras.h"

namespace {

// The two top positions are sentinels ("to the end", "past the end").
constexpr unsigned long long kLargestFile = 0xFFFFFFFCull;

}  // namespace

void Complain(const std::string& what) { std::fprintf(stderr, "mailsift: %s\n", what.c_str()); }

int OpenInput(const std::string& path, IoObject** object) {
    *object = nullptr;
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        Complain(path + ": " + std::strerror(errno));
        return kExitIo;
    }
    if (S_ISDIR(info.st_mode)) {
        Complain(path + ": is a directory");
        return kExitIo;
    }
    if (S_ISREG(info.st_mode) && static_cast<unsigned long long>(info.st_size) > kLargestFile) {
        Complain(path + ": larger than 4 GiB less 4 bytes: too large to read");
        return kExitRefused;
    }
    *object = PlatformFileOpen(path.c_str());
    if (!*object) {
        Complain(path + ": " + std::strerror(errno ? errno : EIO));
        return kExitIo;
    }
    return kExitOk;
}
