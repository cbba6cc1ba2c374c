// section_plan.cpp - what each part becomes, decided at the first section.
//
// For now the plan is the simplest one that is true to what is shown: the top
// part is shown, with its header table; the children of a multipart are not
// yet chosen among, so a multipart shows its header table only.
#include "filter/frame.h"

int16_t PlanSection(IoObject*, FilterProc* proc) {
    if (ListCount(proc->parts) == 0) return VW_OK;
    auto* top = ListAt<MessagePart>(proc->parts, 0);
    if (top->display == 0) top->display = DISPLAY_SHOWN;
    // The top part's own head shows the header table.
    proc->headerPending = top->isMultipart ? 0 : 1;
    return VW_OK;
}
