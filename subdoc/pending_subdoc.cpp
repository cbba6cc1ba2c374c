// Until sub-document requests exist, slot 18 of the exported table is empty.
#include "filter/stand_ins.h"

VwRoutine DoSpecialRoutine() { return nullptr; }

// Until split sets are looked for, every document stands alone.
#include "subdoc/subdoc.h"

void IncludeChainFind(ByteReader*, IoObject*, const char*, FilterProc*) {}
int16_t SplitSetFind(IoObject*, uint32_t, const char*, FilterProc*) { return 0; }
