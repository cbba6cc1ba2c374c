// rich_format.h - what the text/enriched and text/richtext writers share:
// the run of one writer call, the command text, its word tables, and the
// format calls that both kinds send the same way.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/filter_proc.h"
#include "input/input.h"

// The class of the last character: a line start, a blank, or the character.
constexpr int32_t kAtLineStart = 10;
constexpr int32_t kAfterBlank = 0x20;

constexpr uint32_t kIndentStep = 720;
constexpr int16_t kStartFontSize = 24;
constexpr uint32_t kExcerptColour = 0xFF0000;

// Values of the alignment property.
constexpr uint32_t kAlignLeft = 1;
constexpr uint32_t kAlignRight = 2;
constexpr uint32_t kAlignCenter = 3;
constexpr uint32_t kAlignEnded = 4;

// One writer call: the state that does not outlive it.
struct RichRun {
    ByteReader* reader;
    FilterProc* proc;
    uint32_t counted;                  // bytes of text taken, against the limit
    int32_t previous = kAtLineStart;   // every call starts at a line start
    uint32_t pendingFormat = 0;        // text/enriched only
    bool hostStopped = false;          // the host answered 1 inside a command
};

// A word of a command table and what it does; the first word that the
// command's text contains decides.
struct CommandWord {
    const char* word;
    void (*act)(RichRun& run);
};

// Runs the first entry whose word the text contains; false when none does.
bool DoFirstCommand(const char* text, const CommandWord* table, size_t count, RichRun& run);

template <size_t N>
bool DoFirstCommand(const char* text, const CommandWord (&table)[N], RichRun& run) {
    return DoFirstCommand(text, table, N, run);
}

// The text of a command behind its '<', up to and with its '>', in lineBuf;
// empty only at the end of input.
const char* ReadCommandText(RichRun& run);
inline bool IsClosing(const char* text) { return text[0] == '/'; }

// The next character of the text, counted against the limit.
int32_t TakeChar(RichRun& run);
int32_t PeekNext(const RichRun& run);

// A blank where a blank is due: never at a line start, never two in a row.
void PutBlank(RichRun& run, bool silent);

void SendIndents(uint32_t left, uint32_t right, uint32_t first, FilterProc* proc);
void SendAttribute(uint32_t attribute, uint32_t on, FilterProc* proc);
void SetAttribute(uint32_t* field, uint32_t attribute, uint32_t on, FilterProc* proc);
// The size moves always; the host is not sent a size below 8.
void StepFontSize(int16_t* size, int delta, FilterProc* proc);
void SetColour(uint32_t* field, uint32_t colour, FilterProc* proc);

// Opening indent: one step deeper, sent at once with no break. In the middle
// of a line the first line is pulled back so the line under way stays put.
void IndentDeeper(uint32_t* left, uint32_t* first, uint32_t right, int32_t previous,
                  FilterProc* proc);

// Ends the paragraph under way for a format change; the host's answer is
// not a stop here.
void BreakForFormat(RichRun& run);
