/*
 * services.h - the platform services the filter imports by name.
 *
 * libmailplatform.so defines all of them; a process that defines a symbol of
 * the same name itself overrides it (ELF interposition), which is how a test
 * substitutes a fake service. A service that has no answer says "nothing":
 * IdentifyHandle writes nothing, IdentifySpecial returns 1999, DelegateOpen
 * sets a non-zero status.
 */
#ifndef MAILSIFT_HOST_SERVICES_H
#define MAILSIFT_HOST_SERVICES_H

#include <stdint.h>

#include "host_routines.h"
#include "io_object.h"

#ifdef __cplusplus
extern "C" {
#endif

struct FilterProc;

/* Reads at most the first 8 KiB of `object` from its start and writes the
 * FormatId of what it holds; writes nothing when it does not know. */
void IdentifyHandle(IoObject* object, uint32_t mode, uint16_t* formatId);

/* The same question for encoded data; 1999 when it has no answer. */
uint16_t IdentifySpecial(IoObject* object, uint16_t hint);

/* A support filter entry: only entry 1's low 16 bits are read. */
typedef int32_t (*SupportEntryFn)(uint32_t zero, void* image);

/* Opens support filter `filterId` over `stream`, fills the five entries and
 * answers a handle; a non-zero *status means it did not open. */
uintptr_t DelegateOpen(IoObject* stream, uint16_t filterId, VwRoutine entries[5],
                       uint16_t* info, uint16_t* status);

/* Answers the FilterProc that owns the support slot `context` lies in. */
struct FilterProc* DelegateSwitch(void* context, void* routines);
void DelegateClose(uintptr_t handle);

/* Widens a NUL-terminated byte text into 16-bit units (zero-extended),
 * with a 16-bit NUL. */
void CopyWideText(uint16_t* dst, const char* src);

#ifdef __cplusplus
}
#endif

#endif
