// subdoc.h - the file objects the filter makes for the host: attachment
// bodies, joined split files and locator chains, and the sets of files they
// come from.
#pragma once

#include <cstdint>

#include "filter/filter_proc.h"
#include "input/input.h"

// Follows "include " lines of uuencoded data from file to file; fills
// multiFile when a chain exists.
void IncludeChainFind(ByteReader* reader, IoObject* stream, const char* name, FilterProc* proc);

// Looks for numbered sibling files that continue the data: 0 (a complete set,
// or none), -2 when an object can't be opened, -5 when the last piece lacks
// its end.
int16_t SplitSetFind(IoObject* stream, uint32_t offset, const char* name, FilterProc* proc);
