// file_object.cpp - the platform's object over a regular file.
//
// Reads go through a 64 KiB window filled with pread: the filter's readers ask
// for 2 KiB at a time, seek back a little all the time and ask Tell before
// every refill, so a window keeps that cheap without mapping the whole file
// (a mapping would count a large message in the process's resident memory).
// The object remembers its path, so that a sibling can be opened next to it.
// It won't open anything but a regular file, nor one whose length doesn't fit
// the interface's 32-bit positions.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/objects.h"
#include "platform/platform.h"
#include "host/platform_extras.h"

namespace {

constexpr uint32_t kWindowSize = 64 * 1024;
constexpr uint32_t kMaxNameBytes = 255;  // GetInfo 3 callers may hold only 256 bytes

struct FileObject {
    IoObject io;            // first, so an IoObject* is a FileObject*
    int fd;
    uint64_t position;
    char* path;             // as given to FileObjectOpen
    char* directory;        // where siblings are looked up
    uint8_t* window;        // kWindowSize bytes read ahead
    uint64_t windowStart;   // file offset of window[0]
    uint32_t windowCount;   // valid bytes in window
};

FileObject* AsFile(IoObject* object) { return reinterpret_cast<FileObject*>(object); }

// pread that retries interruptions and short counts; -1 on an error.
int64_t ReadAt(int fd, uint8_t* buf, uint32_t count, uint64_t offset) {
    uint32_t total = 0;
    while (total < count) {
        ssize_t got = pread(fd, buf + total, count - total, static_cast<off_t>(offset + total));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        total += static_cast<uint32_t>(got);
    }
    return total;
}

bool FillWindow(FileObject* file) {
    int64_t got = ReadAt(file->fd, file->window, kWindowSize, file->position);
    if (got < 0) return false;
    file->windowStart = file->position;
    file->windowCount = static_cast<uint32_t>(got);
    return true;
}

int32_t FileClose(IoObject* object) {
    FileObject* file = AsFile(object);
    close(file->fd);
    free(file->window);
    free(file->path);
    free(file->directory);
    free(file);
    return 0;
}

int32_t FileRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    FileObject* file = AsFile(object);
    if (got == nullptr || (buf == nullptr && count != 0)) return kIoFailed;
    *got = 0;
    if (count == 0) return 0;
    if (count >= kWindowSize) {
        // A large read gains nothing from the window.
        int64_t direct = ReadAt(file->fd, static_cast<uint8_t*>(buf), count, file->position);
        if (direct < 0) return kIoFailed;
        file->position += static_cast<uint64_t>(direct);
        *got = static_cast<uint32_t>(direct);
        return 0;
    }
    // Fill the whole request, refilling the window as often as needed, so
    // that a short count means the end of the file.
    auto* out = static_cast<uint8_t*>(buf);
    while (*got < count) {
        bool inWindow = file->position >= file->windowStart &&
                        file->position < file->windowStart + file->windowCount;
        if (!inWindow && !FillWindow(file)) return *got != 0 ? 0 : kIoFailed;
        uint64_t offset = file->position - file->windowStart;
        uint64_t available = file->windowCount - offset;  // 0 at the end of the file
        uint32_t want = count - *got;
        uint32_t n = available < want ? static_cast<uint32_t>(available) : want;
        if (n == 0) break;
        memcpy(out + *got, file->window + offset, n);
        file->position += n;
        *got += n;
    }
    return 0;
}

int32_t FileSeek(IoObject* object, uint16_t whence, int32_t offset) {
    FileObject* file = AsFile(object);
    auto endOf = [file](uint64_t* end) {
        struct stat info;
        if (fstat(file->fd, &info) != 0) return false;
        *end = static_cast<uint64_t>(info.st_size);
        return true;
    };
    return SeekTarget(whence, offset, file->position, endOf, &file->position) ? 0 : kIoFailed;
}

int32_t FileTell(IoObject* object, uint32_t* pos) {
    if (pos == nullptr) return kIoFailed;
    *pos = static_cast<uint32_t>(AsFile(object)->position);
    return 0;
}

int32_t FileGetInfo(IoObject* object, uint32_t what, void* answer) {
    if (answer == nullptr) return kIoFailed;
    if (what == IO_INFO_NAME) {
        const char* name = PathBaseName(AsFile(object)->path);
        size_t length = strnlen(name, kMaxNameBytes);
        memcpy(answer, name, length);
        static_cast<char*>(answer)[length] = '\0';
        return 0;
    }
    if (what == IO_INFO_NAME_KIND) {
        *static_cast<uint32_t*>(answer) = kNameKindBytes;
        return 0;
    }
    return kIoNotAnswered;
}

char* DirectoryOf(const char* path) {
    const char* slash = strrchr(path, '/');
    if (slash == nullptr) return strdup(".");
    if (slash == path) return strdup("/");
    return strndup(path, static_cast<size_t>(slash - path));
}

// Checks that fd is a regular file small enough for 32-bit positions;
// sets errno when not.
bool UsableFile(int fd) {
    struct stat info;
    if (fstat(fd, &info) != 0) return false;
    if (S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        errno = EINVAL;
        return false;
    }
    if (static_cast<uint64_t>(info.st_size) > kLargestObjectLength) {
        errno = EFBIG;
        return false;
    }
    return true;
}

}  // namespace

const char* PathBaseName(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

const char* FileObjectDirectory(IoObject* object) {
    if (object == nullptr || object->Close != FileClose) return nullptr;
    return AsFile(object)->directory;
}

IoObject* FileObjectOpen(const char* path) {
    if (path == nullptr || *path == '\0') {
        errno = ENOENT;
        return nullptr;
    }
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    if (!UsableFile(fd)) {
        int saved = errno;
        close(fd);
        errno = saved;
        return nullptr;
    }
    auto* file = static_cast<FileObject*>(calloc(1, sizeof(FileObject)));
    char* ownPath = strdup(path);
    char* directory = DirectoryOf(path);
    auto* window = static_cast<uint8_t*>(malloc(kWindowSize));
    if (file == nullptr || ownPath == nullptr || directory == nullptr || window == nullptr) {
        free(file);
        free(ownPath);
        free(directory);
        free(window);
        close(fd);
        errno = ENOMEM;
        return nullptr;
    }
    file->io.Close = FileClose;
    file->io.Read = FileRead;
    file->io.Write = nullptr;
    file->io.Seek = FileSeek;
    file->io.Tell = FileTell;
    file->io.GetInfo = FileGetInfo;
    file->io.Open = PlatformOpen;
    file->fd = fd;
    file->path = ownPath;
    file->directory = directory;
    file->window = window;
    return &file->io;
}

extern "C" IoObject* PlatformFileOpen(const char* path) { return FileObjectOpen(path); }
