// richtext_body.cpp - the text/richtext writer: line ends are blanks, the
// paragraph breaks are commands, and a format change in the middle of a line
// ends the paragraph there. Like the text/enriched writer it keeps its
// format in FilterData and re-sends it at every start.
#include "body/body.h"
#include "body/rich_format.h"
#include "charset/charset.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"
#include "mailtext/charset_ids.h"
#include "mailtext/charset_names.h"

namespace {

// Side texts, as the host knows their kinds.
constexpr uint32_t kSideComment = 5;
constexpr uint32_t kSideHeading = 8;
constexpr uint32_t kSideFooting = 0x10;
constexpr uint32_t kAnySpan = 0xFFFFFFFF;
constexpr uint32_t kSamePageOn = 3;

void ResetState(FilterProc* proc) {
    proc->rtBold = proc->rtItalic = proc->rtUnderline = 0;
    proc->rtSubscript = proc->rtSuperscript = 0;
    proc->rtFontSize = kStartFontSize;
    proc->rtSamePage = proc->rtAlign = 0;
    proc->rtLeftIndent = proc->rtFirstIndent = proc->rtRightIndent = 0;
    proc->rtColor = 0;
    proc->rtSubTextCount = 0;
    proc->rtCharset = CharsetPlain;
}

void SendIndentsOf(FilterProc* proc) {
    SendIndents(proc->rtLeftIndent, proc->rtRightIndent, proc->rtFirstIndent, proc);
}
void SendAlignmentOf(FilterProc* proc) { SoSetProperty(PROP_ALIGNMENT, proc->rtAlign, 0, 0, proc); }
void SendSamePageOf(FilterProc* proc) { SoSetProperty(PROP_SAMEPAGE, proc->rtSamePage, 0, 0, proc); }

// Everything, also at its start values: a resumed run cannot know what the
// host was told before.
void SendState(FilterProc* proc) {
    SendIndentsOf(proc);
    SendAlignmentOf(proc);
    SendSamePageOf(proc);
    SoSetCharset(proc->rtCharset, proc);
    SoSetFontSize(proc->rtFontSize, proc);
    SoSetTextColor(0, proc->rtColor, proc);
    const struct { uint32_t on, attribute; } attributes[] = {
        {proc->rtBold, ATTR_BOLD},           {proc->rtItalic, ATTR_ITALIC},
        {proc->rtUnderline, ATTR_UNDERLINE}, {proc->rtSubscript, ATTR_SUBSCRIPT},
        {proc->rtSuperscript, ATTR_SUPERSCRIPT},
    };
    for (const auto& a : attributes)
        if (a.on) SendAttribute(a.attribute, 1, proc);
}

// No look-ahead here: in the middle of a line the paragraph always ends.
void ChangeFormat(RichRun& run, void (*send)(FilterProc*)) {
    if (run.previous != kAtLineStart) BreakForFormat(run);
    send(run.proc);
}

void Align(RichRun& run, uint32_t alignment) {
    run.proc->rtAlign = alignment;
    ChangeFormat(run, SendAlignmentOf);
}

void SamePage(RichRun& run, uint32_t value) {
    run.proc->rtSamePage = value;
    ChangeFormat(run, SendSamePageOf);
}

void EndParagraph(RichRun& run) {
    if (run.previous != kAtLineStart) SoPutBreak(BRK_PARAGRAPH, run.proc);
    run.previous = kAtLineStart;
}

void SetCharset(RichRun& run, uint32_t charset) {
    run.proc->rtCharset = charset;
    SoSetCharset(charset, run.proc);
}

// The span's text follows as usual; its number runs through the whole body.
void SideText(RichRun& run, uint32_t kind) {
    FilterProc* proc = run.proc;
    ++proc->rtSubTextCount;
    SoDeclareSubText(kind, proc->rtSubTextCount, proc);
    SoBeginTag(TAG_SIDE_TEXT, proc->rtSubTextCount, nullptr, proc);
}

void IndentsEnd(RichRun& run) {
    FilterProc* proc = run.proc;
    proc->rtLeftIndent = proc->rtFirstIndent = proc->rtRightIndent = 0;
    ChangeFormat(run, SendIndentsOf);
}

void Nothing(RichRun&) {}

// At most one of these acts; the break of "nl" is the only place where a
// run stops.
const CommandWord kStructural[] = {
    {"lt", [](RichRun& r) { SoPutChar(0x3C, r.proc); }},
    {"nl",
     [](RichRun& r) {
         r.previous = kAtLineStart;
         r.hostStopped = SoPutBreak(BRK_PARAGRAPH, r.proc) == 1;
     }},
    {"np", [](RichRun& r) { SoPutSpecialChar(SPC_PAGE_BREAK, r.proc); }},
    {"paragraph", EndParagraph},
};

const CommandWord kOpening[] = {
    {"bold", [](RichRun& r) { SetAttribute(&r.proc->rtBold, ATTR_BOLD, 1, r.proc); }},
    {"italic", [](RichRun& r) { SetAttribute(&r.proc->rtItalic, ATTR_ITALIC, 1, r.proc); }},
    {"bigger", [](RichRun& r) { StepFontSize(&r.proc->rtFontSize, 4, r.proc); }},
    {"fixed", Nothing},
    {"smaller", [](RichRun& r) { StepFontSize(&r.proc->rtFontSize, -4, r.proc); }},
    {"underline", [](RichRun& r) { SetAttribute(&r.proc->rtUnderline, ATTR_UNDERLINE, 1, r.proc); }},
    {"subscript", [](RichRun& r) { SetAttribute(&r.proc->rtSubscript, ATTR_SUBSCRIPT, 1, r.proc); }},
    {"superscript",
     [](RichRun& r) { SetAttribute(&r.proc->rtSuperscript, ATTR_SUPERSCRIPT, 1, r.proc); }},
    // The command names the charset; only the host is told, the bytes are
    // still read in the part's charset.
    {"iso-8859-", [](RichRun& r) { SetCharset(r, ResolveCharset(r.proc->lineBuf.text)); }},
    {"us-ascii", [](RichRun& r) { SetCharset(r, ResolveCharset(r.proc->lineBuf.text)); }},
    {"center", [](RichRun& r) { Align(r, kAlignCenter); }},
    {"flushleft", [](RichRun& r) { Align(r, kAlignLeft); }},
    {"flushright", [](RichRun& r) { Align(r, kAlignRight); }},
    {"samepage", [](RichRun& r) { SamePage(r, kSamePageOn); }},
    // Before "indent", which it contains.
    {"indentright",
     [](RichRun& r) {
         r.proc->rtRightIndent += kIndentStep;
         ChangeFormat(r, SendIndentsOf);
     }},
    {"indent",
     [](RichRun& r) {
         FilterProc* p = r.proc;
         IndentDeeper(&p->rtLeftIndent, &p->rtFirstIndent, p->rtRightIndent, r.previous, p);
     }},
    {"excerpt", [](RichRun& r) { SetColour(&r.proc->rtColor, kExcerptColour, r.proc); }},
    {"comment", [](RichRun& r) { SideText(r, kSideComment); }},
    {"heading", [](RichRun& r) { SideText(r, kSideHeading); }},
    {"footing", [](RichRun& r) { SideText(r, kSideFooting); }},
};

void EndSideText(RichRun& r) { SoEndTag(TAG_SIDE_TEXT, kAnySpan, r.proc); }

const CommandWord kClosing[] = {
    {"paragraph", EndParagraph},
    {"bold", [](RichRun& r) { SetAttribute(&r.proc->rtBold, ATTR_BOLD, 0, r.proc); }},
    {"italic", [](RichRun& r) { SetAttribute(&r.proc->rtItalic, ATTR_ITALIC, 0, r.proc); }},
    {"bigger", [](RichRun& r) { StepFontSize(&r.proc->rtFontSize, -4, r.proc); }},
    {"fixed", Nothing},
    {"smaller", [](RichRun& r) { StepFontSize(&r.proc->rtFontSize, 4, r.proc); }},
    {"underline", [](RichRun& r) { SetAttribute(&r.proc->rtUnderline, ATTR_UNDERLINE, 0, r.proc); }},
    {"subscript", [](RichRun& r) { SetAttribute(&r.proc->rtSubscript, ATTR_SUBSCRIPT, 0, r.proc); }},
    {"superscript",
     [](RichRun& r) { SetAttribute(&r.proc->rtSuperscript, ATTR_SUPERSCRIPT, 0, r.proc); }},
    // Nested charsets are not stacked: any closing one goes back to plain.
    {"iso-8859-", [](RichRun& r) { SetCharset(r, CharsetPlain); }},
    {"us-ascii", [](RichRun& r) { SetCharset(r, CharsetPlain); }},
    {"center", [](RichRun& r) { Align(r, kAlignEnded); }},
    {"flushleft", [](RichRun& r) { Align(r, kAlignEnded); }},
    {"flushright", [](RichRun& r) { Align(r, kAlignEnded); }},
    {"samepage", [](RichRun& r) { SamePage(r, 0); }},
    {"indent", IndentsEnd},
    {"excerpt", [](RichRun& r) { SetColour(&r.proc->rtColor, 0, r.proc); }},
    {"comment", EndSideText},
    {"heading", EndSideText},
    {"footing", EndSideText},
};

// Answers false when the host said stop at the break of "nl".
// The two searches are independent: a text with a word of each does both.
bool OpeningCommand(RichRun& run, const char* text) {
    DoFirstCommand(text, kStructural, run);
    if (run.hostStopped) return false;
    DoFirstCommand(text, kOpening, run);
    return true;
}

bool Command(RichRun& run) {
    // "<<" is no escape here: the first '<' is dropped and the second opens
    // a command.
    if (PeekNext(run) == '<') {
        run.previous = '<';
        return true;
    }
    const char* text = ReadCommandText(run);
    if (!*text) return true;
    if (!IsClosing(text)) return OpeningCommand(run, text);
    DoFirstCommand(text, kClosing, run);
    return true;
}

// One character of the main loop; false when the host said stop.
bool Step(RichRun& run, int32_t ch) {
    switch (ch) {
        case 9:
            SoPutSpecialChar(SPC_TAB, run.proc);
            run.previous = kAfterBlank;
            return true;
        case 13:
        case 10:
        case 0x20: PutBlank(run, false); return true;
        case '<': return Command(run);
        default:
            SoPutChar(static_cast<uint32_t>(ch), run.proc);
            run.previous = ch;
            return true;
    }
}

}  // namespace

uint16_t RichtextBodyWrite(ByteReader* reader, uint32_t start, uint32_t limit, FilterProc* proc) {
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
