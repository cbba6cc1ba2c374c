// platform.h - the file objects of the platform library, as the CLI and the
// tests make them. Every object made here answers Open kinds 8 (byte range),
// 9 (sibling file) and 19 (decoding stage) through PlatformOpen.
#pragma once

#include <cstdint>

#include "host/io_object.h"

// Opens `path` read-only as an IoObject; null when it can't be opened (errno
// tells why).
IoObject* FileObjectOpen(const char* path);

// The Open routine of every platform object: derives a new object from the
// base named in `request`. 0 on success, -2 when it can't be made.
int32_t PlatformOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags);
