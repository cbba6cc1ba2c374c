// sibling_object.cpp - Open kind 9: another file in the directory of the
// base's file, by name (the filter probes for the numbered pieces of a split
// set this way).
//
// The name is a bare file name: anything that could leave the directory is
// refused, so a crafted mail cannot make the filter open files elsewhere. A
// base that isn't one of our file objects, or a range over one, has no known
// directory, and then nothing is opened.
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/objects.h"
#include "platform/platform.h"

namespace {

constexpr size_t kNameField = sizeof(IoSiblingRequest::name);

// A name must end (NUL) inside its 256-byte field, be non-empty, hold no path
// separator and not be "." or "..". Without a separator, ".." can only do
// harm as the whole name, so "a..b" is an ordinary file name and allowed.
bool SafeSiblingName(const char* name) {
    const void* end = memchr(name, '\0', kNameField);
    if (end == nullptr || end == name) return false;
    if (strchr(name, '/') != nullptr) return false;
    return strcmp(name, ".") != 0 && strcmp(name, "..") != 0;
}

}  // namespace

int32_t SiblingObjectOpen(const IoSiblingRequest* request, IoObject** out) {
    if (request->base == nullptr || !SafeSiblingName(request->name)) return kIoNotMade;
    const char* directory = PlatformObjectDirectory(request->base);
    if (directory == nullptr) return kIoNotMade;
    std::string path;
    try {
        path.append(directory).append("/").append(request->name);
    } catch (...) {
        return kIoNotMade;
    }
    IoObject* sibling = FileObjectOpen(path.c_str());
    if (sibling == nullptr) return kIoNotMade;
    *out = sibling;
    return 0;
}
