// emit.cpp - the small emission routines every writer uses: raw text,
// registered texts, embedded objects, the rule between parts, and the step
// to the next part that takes part in the run of text.
#include <cstdlib>
#include <cstring>

#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"

void PutText(const char* text, FilterProc* proc) {
    if (!text) return;
    // Bytes go sign-extended (0xE9 as 0xFFE9): the host tells raw bytes from
    // decoded characters by that.
    for (const char* p = text; *p; ++p)
        SoPutChar(static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(*p))), proc);
}

int32_t RegisterText(const char* text, FilterProc* proc) {
    if (!text || !*text) return -1;
    size_t length = std::strlen(text);
    auto* wide = static_cast<uint16_t*>(std::malloc(2 * length + 2));
    if (!wide) return -1;
    CopyWideText(wide, text);
    uint32_t number = 0;
    SoRegisterText(wide, proc->charset, static_cast<uint16_t>(length), &number, proc);
    std::free(wide);
    return static_cast<int32_t>(number);
}

void PutObject(uint32_t number, uint32_t formatId, FilterProc* proc) {
    if (number == 0) return;
    host::PutObject(HostOf(proc), number, formatId);
    SoPutBreak(BRK_PARAGRAPH, proc);
}

void PutPartRule(FilterProc* proc) {
    static const uint32_t kRuleRecord[8] = {2, 0x200, 0, 0, 0, 0, 0, 0};
    SoPutBreak(BRK_PARAGRAPH, proc);
    SoSetParaSpacing(3, 2, 244, 244, proc);
    SoPutRule(kRuleRecord, proc);
    SoPutBreak(BRK_PARAGRAPH, proc);
    SoSetParaSpacing(1, 0, 0, 0, proc);
}

uint16_t NextShownPart(PartList* parts, uint16_t index) {
    uint16_t count = ListCount(parts);
    for (uint32_t i = static_cast<uint32_t>(index) + 1; i < count; ++i) {
        const auto* part = ListAt<MessagePart>(parts, i);
        if ((part->display & DISPLAY_SHOWN) ||
            ((part->display & DISPLAY_EMBEDDED) && part->parentKind != MP_RELATED))
            return static_cast<uint16_t>(i);
    }
    return 0;
}
