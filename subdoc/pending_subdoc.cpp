// Stand-ins for the sub-document work that comes later: split sets, joined
// split bodies and locator streams. Until then every document stands alone
// and VwDoSpecial requests 1, 2 and 3+ hand out no object.
#include "subdoc/subdoc.h"

void IncludeChainFind(ByteReader*, IoObject*, const char*, FilterProc*) {}
int16_t SplitSetFind(IoObject*, uint32_t, const char*, FilterProc*) { return 0; }

bool SplitBodyOpen(IoObject*, IoObject**, FilterProc*) { return false; }
bool LocatorChainOpen(IoObject*, IoObject**, uint32_t, FilterProc*) { return false; }
bool LocatorRangeOpen(IoObject*, uint32_t, IoObject**, uint32_t, FilterProc*) { return false; }
