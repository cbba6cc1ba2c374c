/*
 * platform_extras.h - what libmailplatform.so offers a host beyond the
 * filter's services. The filter never calls these.
 */
#ifndef MAILSIFT_HOST_PLATFORM_EXTRAS_H
#define MAILSIFT_HOST_PLATFORM_EXTRAS_H

#include "io_object.h"

#ifdef __cplusplus
extern "C" {
#endif

/* libmagic's MIME type of the object's first 8 KiB (read from its start; the
 * position is not restored), e.g. "application/pdf". Never null:
 * "application/octet-stream" when nothing better is known. The text stays
 * valid until the next call on the same thread. */
const char* IdentifyMimeType(IoObject* object);

/* Opens the file at `path` read-only as a platform file object (Open kinds
 * 8, 9 and 19 work on it); null when it can't be opened, errno telling why.
 * Close it with its own Close. */
IoObject* PlatformFileOpen(const char* path);

#ifdef __cplusplus
}
#endif

#endif
