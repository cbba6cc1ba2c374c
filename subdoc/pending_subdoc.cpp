// Stand-ins for the sub-document work that comes later: split sets and joined
// split bodies. Until then every document stands alone and VwDoSpecial
// request 1 hands out no object.
#include "subdoc/subdoc.h"

void IncludeChainFind(ByteReader*, IoObject*, const char*, FilterProc*) {}
int16_t SplitSetFind(IoObject*, uint32_t, const char*, FilterProc*) { return 0; }

bool SplitBodyOpen(IoObject*, IoObject**, FilterProc*) { return false; }
