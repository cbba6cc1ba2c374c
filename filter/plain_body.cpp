// plain_body.cpp - the plain text writer: characters in the part's charset,
// one paragraph break per line end, a stop wherever the host answers 1.
#include "charset/charset.h"
#include "filter/frame.h"
#include "filter/host_calls.h"
#include "host/constants.h"

namespace {

int32_t NextChar(ByteReader* reader, uint16_t* count, FilterProc* proc) {
    if (!proc->iso2022Active) return ReadChar(reader, count, proc->charset);
    uint32_t before = proc->charset;
    int32_t ch = ReadCharIso2022(reader, count, &proc->charset);
    if (proc->charset != before) AnnounceCharset(proc->charset, proc);
    return ch;
}

}  // namespace

uint16_t PlainBodyWrite(ByteReader* reader, uint32_t position, uint32_t limit, FilterProc* proc) {
    ReaderSeek(reader, static_cast<int32_t>(position), 0);
    uint32_t running = position;
    if (running >= limit) return kWriterLimit;
    for (;;) {
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
