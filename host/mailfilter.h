/*
 * mailfilter.h - the boundary of the mail filter: what a host includes.
 *
 * Conventions, stated once for every declaration below:
 *  - Plain C99; the same header compiles as C++. Nothing here allocates.
 *  - The filter is driven by the host: VwGetRtns hands out the routine table,
 *    VwAllocProc makes one instance block (FilterProc) per open document, and
 *    the host runs open / section / read ... / close on it.
 *  - A position is a 32-bit unsigned byte offset. A length or a last offset of
 *    0xFFFFFFFE means "to the end of the stream".
 *  - Pointers are native. Every number keeps its 32-bit (or stated) width, also
 *    where it travels in a pointer-sized word (zero-extended).
 *  - Every host routine ("So..." routine) returns int32_t and ends with the two
 *    opaque words the host gave to VwSetUser. The filter stores the routines as
 *    VwRoutine and calls each through a pointer of its own exact type.
 *  - Stream routines answer a signed 16-bit code: 0, or one of VW_ERR_*.
 *    Nothing crosses this boundary as an exception.
 */
#ifndef MAILSIFT_HOST_MAILFILTER_H
#define MAILSIFT_HOST_MAILFILTER_H

#include <stdint.h>

#include "io_object.h"
#include "host_routines.h"
#include "services.h"
#include "constants.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The instance block. Opaque to a host: it only passes the pointer around. */
typedef struct FilterProc FilterProc;

/* Written by VwStreamOpen for the host. */
typedef struct VwOpenInfo {
    uint32_t flags;   /* 0x78 */
    uint32_t charset; /* 0x14B00000 */
    char name[40];    /* "Mime File", NUL-terminated */
} VwOpenInfo;

/* Slots of the table that VwGetRtns fills; see VwGetRtns for which are written. */
enum {
    VW_SLOT_STREAM_OPEN = 0,
    VW_SLOT_STREAM_SECTION = 1,
    VW_SLOT_STREAM_READ = 2,
    VW_SLOT_STREAM_SEEK = 3,
    VW_SLOT_STREAM_TELL = 4,
    VW_SLOT_GET_INFO = 5,
    VW_SLOT_GET_DATA = 6,
    VW_SLOT_SET_DATA = 7,
    VW_SLOT_LOCAL_UP = 8,
    VW_SLOT_LOCAL_DOWN = 9,
    VW_SLOT_ALLOC_PROC = 10,
    VW_SLOT_FREE_PROC = 11,
    VW_SLOT_SET_USER = 12,
    VW_SLOT_SET_SO_RTN = 13,
    VW_SLOT_STREAM_CLOSE = 14,
    VW_SLOT_NO_OP = 17,
    VW_SLOT_DO_SPECIAL = 18
};

/* Fills `table`: slots 0..17 always, slot 18 when count >= 19, clears 19..21
 * when count >= 22 and 22..32 when count >= 29. */
void VwGetRtns(VwRoutine* table, uint16_t count);

/* Answers 1 and writes the value of a known id (low 16 bits of `id`), else 0.
 * Id 1 is the size of FilterData: the size of a host's save buffer. */
int32_t VwGetInfo(void* answer, uint32_t id);

FilterProc* VwAllocProc(void);
void VwFreeProc(FilterProc* proc);

/* Copy the savable state out of / back into the block (VwGetInfo id 1 bytes). */
void VwGetData(void* destination, FilterProc* proc);
void VwSetData(const void* source, FilterProc* proc);

/* VwLocalUp must come before VwSetSoRtn: it puts valid stand-ins in every slot. */
void VwLocalUp(void* handle, void** out, FilterProc* proc);
void VwLocalDown(void* handle, void** out);
void VwSetUser(uintptr_t user1, uintptr_t user2, FilterProc* proc);

/* Installs a host routine by id (1..121 except 119, 120). A null routine means
 * "none": the filter then calls a stand-in that does nothing and answers 0. */
void VwSetSoRtn(int32_t id, VwRoutine routine, FilterProc* proc);

/* On a non-zero code VwStreamOpen has released everything itself: do not call
 * VwStreamClose after it. */
int16_t VwStreamOpen(IoObject* stream, uint16_t formatId, uintptr_t reserved,
                     VwOpenInfo* info, FilterProc* proc);
int16_t VwStreamSection(IoObject* stream, FilterProc* proc);
int16_t VwStreamRead(IoObject* stream, FilterProc* proc);
int16_t VwStreamSeek(IoObject* stream, FilterProc* proc); /* does nothing, 0 */
int16_t VwStreamTell(IoObject* stream, FilterProc* proc); /* does nothing, 0 */
void VwStreamClose(IoObject* stream, FilterProc* proc);

/* Opens the sub-document that a recipe step (0xC1, 0x100, a, b) names, from
 * the document's stream, between VwStreamSection and VwStreamClose:
 *   a 0: attachment number b;  a 1: the joined pieces of a split file;
 *   a 2: chain number b (from 1);  a >= 3: b bytes from offset a.
 * Preset *out to null: the new object lands there, and the host ends it with
 * its own Close (before VwStreamClose for requests 1 and 2). c and d are not
 * read. Answers 0 when an object was handed out, VW_ERR_NOT_MINE when none
 * was. */
int16_t VwDoSpecial(IoObject* stream, uint32_t a, IoObject** out, uint32_t b, uintptr_t c,
                    uintptr_t d, FilterProc* proc);

/* Three names of the bare no-op routine. */
void VwStreamReadRecord(void);
void VwGetSectionDataFunc(void);
void VwSetSectionDataFunc(void);

#ifdef __cplusplus
}
#endif

#endif
