// rich_format.cpp - the pieces the two rich text writers share.
#include "body/rich_format.h"

#include "charset/charset.h"
#include "core/host_calls.h"
#include "host/constants.h"
#include "message/message.h"

bool DoFirstCommand(const char* text, const CommandWord* table, size_t count, RichRun& run) {
    for (size_t i = 0; i < count; ++i) {
        if (!FindNoCase(text, table[i].word)) continue;
        table[i].act(run);
        return true;
    }
    return false;
}

const char* ReadCommandText(RichRun& run) {
    uint16_t index = 0;
    return ReadUntil(run.reader, &run.proc->lineBuf, &index, ">", 1);
}

int32_t TakeChar(RichRun& run) {
    uint16_t count = 0;
    int32_t ch = ReadChar(run.reader, &count, run.proc->charset);
    run.counted += count;
    return ch;
}

int32_t PeekNext(const RichRun& run) { return PeekChar(run.reader, 1, run.proc->charset); }

void PutBlank(RichRun& run, bool silent) {
    if (run.previous == kAfterBlank || run.previous == kAtLineStart) return;
    run.previous = kAfterBlank;
    if (!silent) SoPutChar(0x20, run.proc);
}

void SendIndents(uint32_t left, uint32_t right, uint32_t first, FilterProc* proc) {
    SoSetProperty(PROP_INDENT, 0, 0, left, proc);
    SoSetProperty(PROP_INDENT, 1, 0, right, proc);
    SoSetProperty(PROP_INDENT, 2, 2, first, proc);
}

void SendAttribute(uint32_t attribute, uint32_t on, FilterProc* proc) {
    SoSetProperty(PROP_ATTRIBUTE, attribute, on, 0, proc);
}

void SetAttribute(uint32_t* field, uint32_t attribute, uint32_t on, FilterProc* proc) {
    *field = on;
    SendAttribute(attribute, on, proc);
}

void StepFontSize(int16_t* size, int delta, FilterProc* proc) {
    *size = static_cast<int16_t>(*size + delta);
    if (*size > 4) SoSetFontSize(*size, proc);
}

void SetColour(uint32_t* field, uint32_t colour, FilterProc* proc) {
    *field = colour;
    SoSetTextColor(0, colour, proc);
}

void IndentDeeper(uint32_t* left, uint32_t* first, uint32_t right, int32_t previous,
                  FilterProc* proc) {
    *left += kIndentStep;
    if (previous != kAtLineStart) *first = 0u - *left;
    SendIndents(*left, right, *first, proc);
}

void BreakForFormat(RichRun& run) {
    SoPutBreak(BRK_PARAGRAPH, run.proc);
    run.previous = kAtLineStart;
}
