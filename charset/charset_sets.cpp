// charset_sets.cpp - telling the host the set of the characters that follow
// (the sets and their lead bytes are mailtext's).
#include "charset/charset.h"
#include "core/host_calls.h"

void AnnounceCharset(uint32_t charset, FilterProc* proc) {
    SoSetCharset(AnnouncedCharset(charset), proc);
}
