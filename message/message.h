// message.h - message structure: the header field scanner, the queries on a
// header list, the walk over a message and the choice among the children of a
// multipart.
//
// Everything here reads through a ByteReader and keeps its scratch text in a
// TextBuffer (the instance's line buffer). Nothing here emits to the host.
#pragma once

#include <cstdint>

#include "input/input.h"

// --- Limits -----------------------------------------------------------------

// TextBuffer sizes and line indices are 16-bit; the buffer grows in steps of
// 1024, so the last step that still fits is 63 x 1024. A longer line keeps
// its first bytes and the rest of it is read and dropped.
constexpr uint16_t kLineGrowStep = 1024;
constexpr uint16_t kMaxLineSize = 63 * kLineGrowStep;  // 64,512

// A multipart nested deeper than this is read as a leaf, so that no input can
// drive the walker or the planner arbitrarily deep.
constexpr uint32_t kMaxNesting = 64;

// --- Header field scanner -----------------------------------------------------

constexpr int32_t kNoHeader = 31;

// Reads into `line` from *index on until a stop character or end of input;
// *index ends behind what was stored. With keepStop the stop byte is taken and
// stored (if it fits); without it, it is left unread. Returns the text at the
// first value of *index.
char* ReadUntil(ByteReader* reader, TextBuffer* line, uint16_t* index, const char* stops,
                uint32_t keepStop);
// Reads the rest of the line from `start` on and consumes its end (CR, LF or
// CR LF). Returns the start of the buffer's text.
char* ReadLine(ByteReader* reader, TextBuffer* line, uint16_t start);
void SkipBlanks(ByteReader* reader);
// Position of the next line that starts with `prefix` (1 stands for 0), or 0
// when there is none. On success the buffer holds the rest of that line and
// the reader stands behind its line end.
uint32_t SkipToLine(ByteReader* reader, TextBuffer* line, const char* prefix);
// 1 when the next line is empty or starts with a field name and its colon.
// The position is kept.
uint32_t IsFieldStart(ByteReader* reader);
// One unfolded field value, continuation lines joined without separator.
char* ReadFieldValue(ByteReader* reader, TextBuffer* line);
// Scans to the blank line that ends a header block and stores the offset
// behind it (length + 1 at end of input). 0, or kNoHeader when nothing stood
// in front of the block's end. `line` is not used.
int32_t FindBodyStart(ByteReader* reader, TextBuffer* line, uint32_t* bodyOffset);
// Parses the fields of [start, end) into `headers`. A block not at offset 0
// keeps only its Content- fields unless keepAll is set.
void ParseHeader(ByteReader* reader, uint32_t start, uint32_t end, HeaderList* headers,
                 uint32_t keepAll, TextBuffer* line);
// Frees the strings of every field and the list itself; the list may be null.
void HeaderListFree(HeaderList* headers);

// --- Header queries -------------------------------------------------------------

const char* FieldName(uint16_t index, HeaderList* headers);
const char* FieldValue(uint16_t index, HeaderList* headers);
// Value of the first field whose name begins with `name`, any case.
const char* FindField(const char* name, HeaderList* headers);
// The value behind `key` in `text`, cut at the next semicolon, into `out`
// (at most size - 1 bytes). Null when the key does not occur.
char* GetParam(const char* key, const char* text, char* out, uint32_t size);
char* GetFieldParam(const char* field, const char* key, char* out, uint32_t size,
                    HeaderList* headers);

uint32_t IsTextOrMessage(HeaderList* headers);
uint32_t IsHtmlPart(HeaderList* headers);
uint32_t HasBoundary(HeaderList* headers);
uint32_t IsDigest(HeaderList* headers);
uint32_t MatchesContentId(HeaderList* headers, const char* identifier);
uint32_t IsAttachment(HeaderList* part, HeaderList* multipart);
uint32_t IsQuotedPrintable(HeaderList* headers);

uint32_t PartCharset(HeaderList* headers, uint32_t defaultCharset);
// Computed once and cached in the part.
uint16_t MultipartKind(MessagePart* part);
uint16_t BodyPreference(const MessagePart* part);

// --- Message walker ---------------------------------------------------------------

// Fills `parts` with one record per header block that holds a kept field.
// 0, or kNoHeader when the header search ended the walk.
int32_t WalkMessage(ByteReader* reader, const char* boundary, PartList* parts, uint32_t keepAll,
                    TextBuffer* line);
// Position of the next line that starts with "--" and contains `boundary`, or
// 0. The buffer then holds that line without its two hyphens.
uint32_t FindBoundaryLine(ByteReader* reader, TextBuffer* line, const char* boundary);

// --- Multipart planning -------------------------------------------------------------

// Marks the children of the multipart at `index` shown, hidden or attached and
// answers the index of the part where its display starts.
uint16_t PlanMultipart(PartList* parts, uint16_t index);
