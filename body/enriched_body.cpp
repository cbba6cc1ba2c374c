// enriched_body.cpp - the text/enriched writer: filled lines joined into
// paragraphs, blank lines as paragraph breaks, and the formatting commands
// as host calls. Its whole format lives in FilterData, so a run that stops at
// a paragraph break can be resumed from a saved copy.
#include "body/body.h"
#include "body/rich_format.h"
#include "charset/charset.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"
#include "mailtext/charset_ids.h"

namespace {

constexpr int32_t kCR = 13;
constexpr int32_t kLF = 10;

void ResetState(FilterProc* proc) {
    proc->enrBold = proc->enrItalic = proc->enrUnderline = 0;
    proc->enrNofill = proc->enrParam = proc->enrVerbatim = 0;
    proc->enrFontSize = kStartFontSize;
    proc->enrAlign = 0;
    proc->enrLeftIndent = proc->enrFirstIndent = proc->enrRightIndent = 0;
    proc->enrColor = 0;
}

void SendParagraphFormat(FilterProc* proc) {
    SendIndents(proc->enrLeftIndent, proc->enrRightIndent, proc->enrFirstIndent, proc);
    SoSetProperty(PROP_ALIGNMENT, proc->enrAlign, 0, 0, proc);
}

// Everything, also at its start values: a resumed run cannot know what the
// host was told before.
void SendState(FilterProc* proc) {
    SendParagraphFormat(proc);
    SoSetFontSize(proc->enrFontSize, proc);
    SoSetTextColor(0, proc->enrColor, proc);
    if (proc->enrBold) SendAttribute(ATTR_BOLD, 1, proc);
    if (proc->enrItalic) SendAttribute(ATTR_ITALIC, 1, proc);
    if (proc->enrUnderline) SendAttribute(ATTR_UNDERLINE, 1, proc);
}

void SendIndentsOf(FilterProc* proc) {
    SendIndents(proc->enrLeftIndent, proc->enrRightIndent, proc->enrFirstIndent, proc);
}
void SendAlignmentOf(FilterProc* proc) { SoSetProperty(PROP_ALIGNMENT, proc->enrAlign, 0, 0, proc); }

// A paragraph format changed. At a line start it applies at once. In the
// middle of a line followed by a blank line it waits for that line's break;
// otherwise the paragraph ends here.
void ChangeFormat(RichRun& run, void (*send)(FilterProc*)) {
    if (run.previous == kAtLineStart) {
        send(run.proc);
        return;
    }
    run.pendingFormat = NextIsBlankLine(run.reader);
    if (run.pendingFormat) return;
    BreakForFormat(run);
    send(run.proc);
}

void Align(RichRun& run, uint32_t alignment) {
    run.proc->enrAlign = alignment;
    ChangeFormat(run, SendAlignmentOf);
}

void IndentsEnd(RichRun& run) {
    FilterProc* proc = run.proc;
    proc->enrLeftIndent = proc->enrFirstIndent = proc->enrRightIndent = 0;
    ChangeFormat(run, SendIndentsOf);
}

void Nothing(RichRun&) {}

const CommandWord kOpening[] = {
    {"bold", [](RichRun& r) { SetAttribute(&r.proc->enrBold, ATTR_BOLD, 1, r.proc); }},
    {"italic", [](RichRun& r) { SetAttribute(&r.proc->enrItalic, ATTR_ITALIC, 1, r.proc); }},
    {"bigger", [](RichRun& r) { StepFontSize(&r.proc->enrFontSize, 4, r.proc); }},
    {"fixed", Nothing},
    {"smaller", [](RichRun& r) { StepFontSize(&r.proc->enrFontSize, -4, r.proc); }},
    {"underline", [](RichRun& r) { SetAttribute(&r.proc->enrUnderline, ATTR_UNDERLINE, 1, r.proc); }},
    {"center", [](RichRun& r) { Align(r, kAlignCenter); }},
    {"flushleft", [](RichRun& r) { Align(r, kAlignLeft); }},
    {"flushright", [](RichRun& r) { Align(r, kAlignRight); }},
    // Before "indent", which it contains.
    {"indentright",
     [](RichRun& r) {
         r.proc->enrRightIndent += kIndentStep;
         ChangeFormat(r, SendIndentsOf);
     }},
    {"indent",
     [](RichRun& r) {
         FilterProc* p = r.proc;
         IndentDeeper(&p->enrLeftIndent, &p->enrFirstIndent, p->enrRightIndent, r.previous, p);
     }},
    {"excerpt", [](RichRun& r) { SetColour(&r.proc->enrColor, kExcerptColour, r.proc); }},
    {"verbatim", [](RichRun& r) { r.proc->enrVerbatim = 1; }},
    {"nofill", [](RichRun& r) { r.proc->enrNofill = 1; }},
    {"param", [](RichRun& r) { r.proc->enrParam = 1; }},
};

const CommandWord kClosing[] = {
    {"bold", [](RichRun& r) { SetAttribute(&r.proc->enrBold, ATTR_BOLD, 0, r.proc); }},
    {"italic", [](RichRun& r) { SetAttribute(&r.proc->enrItalic, ATTR_ITALIC, 0, r.proc); }},
    {"bigger", [](RichRun& r) { StepFontSize(&r.proc->enrFontSize, -4, r.proc); }},
    {"fixed", Nothing},
    {"smaller", [](RichRun& r) { StepFontSize(&r.proc->enrFontSize, 4, r.proc); }},
    {"underline", [](RichRun& r) { SetAttribute(&r.proc->enrUnderline, ATTR_UNDERLINE, 0, r.proc); }},
    {"center", [](RichRun& r) { Align(r, kAlignEnded); }},
    {"flushleft", [](RichRun& r) { Align(r, kAlignEnded); }},
    {"flushright", [](RichRun& r) { Align(r, kAlignEnded); }},
    // Nested indents all end at once.
    {"indent", IndentsEnd},
    {"excerpt", [](RichRun& r) { SetColour(&r.proc->enrColor, 0, r.proc); }},
    {"verbatim", [](RichRun& r) { r.proc->enrVerbatim = 0; }},
    {"nofill", [](RichRun& r) { r.proc->enrNofill = 0; }},
    {"param", [](RichRun& r) { r.proc->enrParam = 0; }},
};

// Answers false when the host said stop.
bool ParagraphBreak(RichRun& run) {
    run.previous = kAtLineStart;
    return SoPutBreak(BRK_PARAGRAPH, run.proc) != 1;
}

// A line end in filled text: the second of two in a row ends the paragraph,
// a single one is a blank.
bool FilledLineEnd(RichRun& run) {
    if (run.previous == kAtLineStart) {
        if (!ParagraphBreak(run)) return false;
        if (run.pendingFormat) {
            run.pendingFormat = 0;
            SendParagraphFormat(run.proc);
        }
        return true;
    }
    int32_t next = PeekNext(run);
    if (next == kCR || next == kLF) {
        run.previous = kAtLineStart;
        return true;
    }
    if (run.previous != kAfterBlank) SoPutChar(0x20, run.proc);
    run.previous = kAfterBlank;
    return true;
}

bool KeepsLines(const FilterProc* proc) { return proc->enrNofill || proc->enrVerbatim; }

bool LineFeed(RichRun& run) {
    if (run.proc->enrParam) return true;
    return KeepsLines(run.proc) ? ParagraphBreak(run) : FilledLineEnd(run);
}

bool CarriageReturn(RichRun& run) {
    if (run.proc->enrParam) return true;
    bool lfNext = PeekNext(run) == kLF;
    if (KeepsLines(run.proc)) return lfNext || ParagraphBreak(run);  // the LF acts for CR LF
    if (lfNext) TakeChar(run);
    return FilledLineEnd(run);
}

void Command(RichRun& run) {
    FilterProc* proc = run.proc;
    if (PeekNext(run) == '<') {
        TakeChar(run);
        run.previous = '<';
        if (!proc->enrParam) SoPutChar(0x3C, proc);
        return;
    }
    const char* text = ReadCommandText(run);
    if (!*text) return;
    bool closing = IsClosing(text);
    if (proc->enrVerbatim && !(closing && FindNoCase(text, "verbatim"))) {
        SoPutChar('<', proc);
        PutText(text, proc);
        // The command shows as text, so a blank behind it is kept.
        run.previous = '>';
        return;
    }
    if (closing)
        DoFirstCommand(text, kClosing, run);
    else
        DoFirstCommand(text, kOpening, run);
}

// One character of the main loop; false when the host said stop.
bool Step(RichRun& run, int32_t ch) {
    bool silent = run.proc->enrParam != 0;
    switch (ch) {
        case 9:
            run.previous = kAfterBlank;
            if (!silent) SoPutSpecialChar(SPC_TAB, run.proc);
            return true;
        case 0x20: PutBlank(run, silent); return true;
        case kLF: return LineFeed(run);
        case kCR: return CarriageReturn(run);
        case '<': Command(run); return true;
        default:
            run.previous = ch;
            if (!silent) SoPutChar(static_cast<uint32_t>(ch), run.proc);
            return true;
    }
}

}  // namespace

uint32_t NextIsBlankLine(ByteReader* reader) {
    // Always read as bytes: only the line-end bytes matter, in any charset.
    auto at = [reader](uint16_t n) { return PeekChar(reader, n, CharsetPlain); };
    int32_t first = at(1), second = at(2);
    if (first == kLF) return second == kLF;
    if (first != kCR) return 0;
    if (second == kCR) return 1;
    return second == kLF && at(3) == kCR && at(4) == kLF;
}

uint16_t EnrichedBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
    ReaderSeek(reader, static_cast<int32_t>(start), 0);
    if (start == 0) ResetState(proc);
    SendState(proc);
    RichRun run{reader, proc, start};
    for (;;) {
        int32_t ch = TakeChar(run);
        if (ch == kCharEnd) return kWriterDone;
        if (!Step(run, ch)) return kWriterStopped;
        if (run.counted >= limit) return kWriterLimit;
    }
}
