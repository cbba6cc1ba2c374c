// range_steps.cpp - the steps (byte range, decoding stage) that lead from the
// document's stream to the body a support filter reads; the RTF support filter
// copies them into the chains it records.
#include "body/body.h"

void RangeStepAdd(uint32_t kind, uint32_t first, uint32_t second, FilterProc* proc) {
    // A range at offset 0 is the whole stream and needs no step.
    if (first == 0) return;
    if (!proc->ranges) proc->ranges = ListCreate(0, 0, sizeof(RangeStep), 4, 4);
    if (!proc->ranges) return;
    RangeStep step{kind, first, second, 0};
    ListAdd(proc->ranges, &step);
}
