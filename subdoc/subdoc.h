// subdoc.h - the file objects the filter makes for the host: attachment
// bodies, joined split files and locator chains, and the sets of files they
// come from.
//
// Every object handed to a host starts with the twelve words of an IoObject
// (Write null, Open copied from the object it is based on), belongs to the
// host from the moment *out is set, and frees itself in its Close. None of
// them reads FilterProc after it is made.
#pragma once

#include <cstdint>

#include "core/filter_proc.h"
#include "input/input.h"

// What slot 18 of the exported table holds: VwDoSpecial.
VwRoutine DoSpecialRoutine();

// Codes the filter's objects answer besides 0.
constexpr int32_t kObjectNoStream = -4;      // a dead object: nothing to read through
constexpr int32_t kObjectPieceMissing = -9;  // end of a joined stream, or a piece won't open
constexpr int32_t kObjectNotAnswered = -10;  // a GetInfo question without an answer

// Bytes of the name every object reports for GetInfo 3 and 6, NUL included.
constexpr uint32_t kObjectNameSize = 513;

// One piece of a split document, the element of multiFile; the document
// itself is the first. The name block comes first: VwStreamClose frees each
// record's first word.
struct SplitFileRecord {
    char* nameBlock;            // owned; may be null
    char* name;                 // display name: the data's name first, then the file's
    IoObject* file;             // the document's stream
    uint32_t formatId;          // FormatId of the piece (read in the first record only)
    uint32_t startOffset;       // where the piece begins in the joined stream
    uint32_t dataOffset;        // first byte of the piece that belongs to the stream
    uint32_t endOffset;         // where its data ends in its file; 0 until known
    IoSiblingRequest openSpec;  // kind 9 request; empty in the first record
};

// Bytes of a pattern or sibling name buffer, NUL included.
constexpr uint32_t kSiblingNameSize = sizeof(IoSiblingRequest::name);
// The byte that marks the digits of the counting run in a pattern.
constexpr char kNumberMark = static_cast<char>(253);

// Follows "include " lines of uuencoded data from file to file; fills
// multiFile when a chain exists.
void IncludeChainFind(ByteReader* reader, IoObject* stream, const char* name, FilterProc* proc);

// Looks for numbered sibling files that continue the data: 0 (a complete set,
// or none), -2 when an object can't be opened, -5 when the last piece lacks
// its end.
int16_t SplitSetFind(IoObject* stream, uint32_t offset, const char* name, FilterProc* proc);

// The number that `name` counts in, with `pattern` (kSiblingNameSize bytes)
// holding the name with that run marked; 0 when no numbered neighbour exists.
uint16_t NumberPatternFind(char* pattern, const char* name, IoObject* stream);
// `pattern` with its run of marks replaced by `number`, at least as wide as
// the run; empty when the pattern has no run or the result does not fit.
void NumberedName(char* out, const char* pattern, uint16_t number);
// 1 when a sibling file of that name opens next to the stream's file.
uint32_t SiblingExists(const char* name, IoObject* stream);
// The whole read of a split document: its one link. Answers 0.
int16_t SplitFileWrite(IoObject* stream, FilterProc* proc);

// The workers behind VwDoSpecial. Each sets *out when it hands out an object
// and answers whether it did; without memory for the object it calls
// SoBailOut(0) and leaves *out alone.
//
// Attachment number `index` of `attachments`, through its range and up to
// three decoding stages.
bool AttachmentBodyOpen(IoObject* stream, uint32_t index, IoObject** out, FilterProc* proc);
// The pieces of multiFile as one joined stream.
bool SplitBodyOpen(IoObject* stream, IoObject** out, FilterProc* proc);
// The steps of element `number` - 1 of chains.
bool LocatorChainOpen(IoObject* stream, IoObject** out, uint32_t number, FilterProc* proc);
// `length` bytes of the document from `offset` on.
bool LocatorRangeOpen(IoObject* stream, uint32_t offset, IoObject** out, uint32_t length,
                      FilterProc* proc);

// The GetInfo answers all three object kinds share, each with its own name:
// 3 and 6 copy `name`, 4 runs the signature check, 14 writes 2 (8-bit name),
// 15 answers 0, anything else -10.
int32_t ObjectGetInfo(IoObject* object, const char* name, uint32_t what, void* answer);

// 0 when `object` begins with the signature of an OLE compound document, else
// -10. Seeks the object to its start and back to where it stood; when the
// seek to the start or the read fails, the position is not put back.
int32_t SignatureCheck(IoObject* object);

// The routines of the attachment body object, exported under these names.
extern "C" {
int32_t MIMEDoClose(IoObject* object);
int32_t MIMEDoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got);
int32_t MIMEDoSeek(IoObject* object, uint16_t whence, int32_t offset);
int32_t MIMEDoTell(IoObject* object, uint32_t* pos);
int32_t MIMEDoGetInfo(IoObject* object, uint32_t what, void* answer);
}

// The routines of the locator object (a byte range, or a recorded chain).
extern "C" {
int32_t MIMELocatorsDoClose(IoObject* object);
int32_t MIMELocatorsDoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got);
int32_t MIMELocatorsDoSeek(IoObject* object, uint16_t whence, int32_t offset);
int32_t MIMELocatorsDoTell(IoObject* object, uint32_t* pos);
int32_t MIMELocatorsDoGetInfo(IoObject* object, uint32_t what, void* answer);
}

// The routines of the joined split-body object.
extern "C" {
int32_t MIMEMultiDoClose(IoObject* object);
int32_t MIMEMultiDoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got);
int32_t MIMEMultiDoSeek(IoObject* object, uint16_t whence, int32_t offset);
int32_t MIMEMultiDoTell(IoObject* object, uint32_t* pos);
int32_t MIMEMultiDoGetInfo(IoObject* object, uint32_t what, void* answer);
}
