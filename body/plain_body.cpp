// plain_body.cpp - the plain text writer: characters in the part's charset,
// one paragraph break per line end, a stop wherever the host answers 1.
#include "charset/charset.h"
#include "mailtext/charset_ids.h"
#include "body/body.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"

namespace {

int32_t NextChar(ByteReader* reader, uint16_t* count, FilterProc* proc) {
    if (!proc->iso2022Active) return ReadChar(reader, count, proc->charset);
    uint32_t before = proc->charset;
    int32_t ch = ReadCharIso2022(reader, count, &proc->charset);
    if (proc->charset != before) AnnounceCharset(proc->charset, proc);
    return ch;
}

// Printable ASCII is the same character in every charset the plain writer
// reads without ISO 2022 shifts, except UTF-7, whose '+' opens a run. Such
// bytes go straight from the reader's buffer to the host; everything else
// takes the character reader.
bool AsciiIsItself(const FilterProc* proc) {
    return !proc->iso2022Active && proc->charset != CharsetUtf7;
}

// Emits the run of printable ASCII at the reader's position; answers false
// when the running position reached the limit. The run is measured first so
// that the loop of host calls keeps nothing but the bytes in flight.
bool PutAsciiRun(ByteReader* reader, uint32_t* running, uint32_t limit, FilterProc* proc) {
    if (reader->remaining <= 0) return true;
    const uint8_t* bytes = reader->next;
    uint32_t room = limit - *running;
    uint32_t available = static_cast<uint32_t>(reader->remaining);
    uint32_t end = available < room ? available : room;
    uint32_t n = 0;
    while (n < end && bytes[n] >= 0x20 && bytes[n] < 0x7F) ++n;
    reader->next += n;
    reader->remaining = static_cast<int16_t>(reader->remaining - n);
    *running += n;
    SoPutCharFn putChar = HostOf(proc).At<SoPutCharFn>(SO_PUTCHAR);
    uintptr_t user1 = proc->user1, user2 = proc->user2;
    for (uint32_t i = 0; i < n; ++i) putChar(bytes[i], user1, user2);
    return *running < limit;
}

}  // namespace

uint16_t PlainBodyWrite(ByteReader* reader, uint32_t position, uint32_t limit, FilterProc* proc) {
    ReaderSeek(reader, static_cast<int32_t>(position), 0);
    uint32_t running = position;
    if (running >= limit) return kWriterLimit;
    bool fast = AsciiIsItself(proc);
    for (;;) {
        if (fast && !PutAsciiRun(reader, &running, limit, proc)) return kWriterLimit;
        uint16_t count = 0;
        int32_t ch = NextChar(reader, &count, proc);
        running += count;
        switch (ch) {
            case -1: return kWriterDone;
            case 0:
            case 0xFEFF:
            case 0xFFFE: break;
            case 9: SoPutSpecialChar(SPC_TAB, proc); break;
            case 13:
                // CR LF is one line end; a lone CR is one too.
                if (PeekChar(reader, 1, proc->charset) == 10) break;
                [[fallthrough]];
            case 10:
                if (SoPutBreak(BRK_PARAGRAPH, proc) == 1) return kWriterStopped;
                break;
            default: SoPutChar(static_cast<uint32_t>(ch), proc); break;
        }
        if (running >= limit) return kWriterLimit;
    }
}
