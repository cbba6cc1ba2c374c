// charset.h - character handling: charset names to CharsetIds, reading
// characters in a charset, and the header table with its encoded words.
//
// Nothing here keeps state between calls: the ISO 2022 state is the caller's
// CharsetId, the host's current charset is whatever was last announced.
#pragma once

#include <cstdint>

#include "mailtext/base64_alphabet.h"
#include "mailtext/charset_names.h"
#include "mailtext/encoded_words.h"
#include "mailtext/utf8.h"
#include "core/filter_proc.h"
#include "input/input.h"

// --- Charset resolution -----------------------------------------------------

// Tells the host the set of the characters that follow (SoSetCharset), with
// the sets the filter decodes itself mapped to what the host receives.
void AnnounceCharset(uint32_t charset, FilterProc* proc);

// --- Character reader -------------------------------------------------------

// A character is -1 at the end of input, else 0..0xFFFF; *count gets the
// bytes taken.
constexpr int32_t kCharEnd = -1;
constexpr int32_t kReplacementChar = 0xFFFD;

int32_t ReadChar(ByteReader* reader, uint16_t* count, uint32_t charset);
// ISO 2022 text: *charset is the state, changed by escape sequences. The
// caller announces a changed state before handing the character on.
int32_t ReadCharIso2022(ByteReader* reader, uint16_t* count, uint32_t* charset);
// The same over a zero-terminated text. It has no end mark: the caller bounds
// the walk by the text's length, and the terminating zero may be taken as
// the second byte of a pair.
int32_t ReadCharIso2022Text(const char* text, uint16_t* count, uint32_t* charset);
// The n-th character ahead (n from 1) read with ReadChar; the reader does not
// move. 0 for n of 0, -1 when the input ends first.
int16_t PeekChar(ByteReader* reader, uint16_t n, uint32_t charset);
uint16_t JisToShiftJis(uint32_t c1, uint32_t c2);

// --- Header display ---------------------------------------------------------

void ShowHeaderBlock(MessagePart* part, FilterProc* proc);
void ShowAttachmentRow(MessagePart* part, FilterProc* proc);
// Emits a field value through SoPutChar, decoding RFC 2047 encoded words.
void PutEncodedText(const char* text, FilterProc* proc);
