/*
 * io_object.h - the file object that host and filter pass each other.
 *
 * An IoObject starts with seven routines in a fixed order, then five reserved
 * pointer-sized words. Objects are allocated by whoever makes them and freed
 * by their own Close. Every routine answers 0 for success; Close's result is
 * not read.
 */
#ifndef MAILSIFT_HOST_IO_OBJECT_H
#define MAILSIFT_HOST_IO_OBJECT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct IoObject IoObject;

struct IoObject {
    /* Ends the object and frees it. */
    int32_t (*Close)(IoObject* object);
    /* Reads up to `count` bytes; writes the number read (0 at the end) to `got`.
     * Callers ask the filter's objects for at most 65535 bytes at a time. */
    int32_t (*Read)(IoObject* object, void* buf, uint32_t count, uint32_t* got);
    /* Never called; null in the objects the filter makes. */
    int32_t (*Write)(IoObject* object, const void* buf, uint32_t count, uint32_t* put);
    /* whence 0 from the start (offset taken as unsigned), 1 from the present
     * position, 2 from the end. */
    int32_t (*Seek)(IoObject* object, uint16_t whence, int32_t offset);
    int32_t (*Tell)(IoObject* object, uint32_t* pos);
    /* what 3: the file's name (NUL-terminated, the caller's buffer holds 513
     * bytes for the filter's objects, 256 for a host's); what 14: a 32-bit name
     * kind, 4 meaning 16-bit characters. Unanswered questions return -10. */
    int32_t (*GetInfo)(IoObject* object, uint32_t what, void* answer);
    /* Makes a derived object; the request record names the base object. */
    int32_t (*Open)(IoObject** out, uint32_t kind, void* request, uint32_t flags);
    uintptr_t reserved[5];
};

/* Open kinds and their request records (arrays of pointer-sized words). */
enum {
    IO_OPEN_RANGE = 8,    /* IoRangeRequest */
    IO_OPEN_SIBLING = 9,  /* IoSiblingRequest */
    IO_OPEN_DECODE = 19   /* IoDecodeRequest */
};

/* GetInfo questions. */
enum {
    IO_INFO_NAME = 3,
    IO_INFO_NAME_KIND = 14
};

/* Kind 8: bytes first..last (inclusive) of base; last 0xFFFFFFFE = to the end.
 * Positions of the new object count from `first`. */
typedef struct IoRangeRequest {
    IoObject* base;
    uintptr_t first;
    uintptr_t last;
} IoRangeRequest;

/* Kind 9: a file named `name` in the directory of base's file. */
typedef struct IoSiblingRequest {
    IoObject* base;
    char name[256];
} IoSiblingRequest;

/* Kind 19: the decoded data of base. */
typedef struct IoDecodeRequest {
    IoObject* base;
    uintptr_t zero;
    uintptr_t transferCode;
    uintptr_t reserved[4];
} IoDecodeRequest;

#ifdef __cplusplus
}
#endif

#endif
