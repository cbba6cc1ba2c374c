// stand_ins.cpp - typed do-nothing routines for the host table.
#include "core/stand_ins.h"

namespace {

template <typename Fn>
struct StandIn;

template <typename... Args>
struct StandIn<int32_t (*)(Args...)> {
    static int32_t Call(Args...) { return 0; }
    static VwRoutine Routine() { return reinterpret_cast<VwRoutine>(&Call); }
};

}  // namespace

VwRoutine StandInFor(int id) {
    switch (id) {
        case SO_PUTCHAR: return StandIn<SoPutCharFn>::Routine();
        case SO_PUTSPECIALCHAR: return StandIn<SoPutSpecialCharFn>::Routine();
        case SO_SETFONTSIZE: return StandIn<SoSetFontSizeFn>::Routine();
        case SO_PUTBREAK: return StandIn<SoPutBreakFn>::Routine();
        case SO_BEGINSECTION: return StandIn<SoBeginSectionFn>::Routine();
        case SO_BAILOUT: return StandIn<SoBailOutFn>::Routine();
        case SO_SETPARASPACING: return StandIn<SoSetParaSpacingFn>::Routine();
        case SO_BEGINTABLE: return StandIn<SoBeginTableFn>::Routine();
        case SO_ENDTABLE: return StandIn<SoEndTableFn>::Routine();
        case SO_PUTOBJECT: return StandIn<SoPutObjectFn>::Routine();
        case SO_PUTRULE: return StandIn<SoPutRuleFn>::Routine();
        case SO_BEGINTAG: return StandIn<SoBeginTagFn>::Routine();
        case SO_ENDTAG: return StandIn<SoEndTagFn>::Routine();
        case SO_REGISTERTEXT: return StandIn<SoRegisterTextFn>::Routine();
        case SO_DECLARESUBTEXT: return StandIn<SoDeclareSubTextFn>::Routine();
        case SO_PUTROWFORMAT: return StandIn<SoPutRowFormatFn>::Routine();
        case SO_SETTEXTCOLOR: return StandIn<SoSetTextColorFn>::Routine();
        case SO_SETSECONDCOLOR: return StandIn<SoSetSecondColorFn>::Routine();
        case SO_SETCHARSET: return StandIn<SoSetCharsetFn>::Routine();
        case SO_NEWSUBDOC: return StandIn<SoNewSubdocFn>::Routine();
        case SO_PUTSTRINGID: return StandIn<SoPutStringIdFn>::Routine();
        case SO_PUTCELLFORMAT: return StandIn<SoPutCellFormatFn>::Routine();
        case SO_SETPROPERTY: return StandIn<SoSetPropertyFn>::Routine();
        case SO_SETSECTIONNAME: return StandIn<SoSetSectionNameFn>::Routine();
        default: return &VwStreamReadRecord;  // never called by the filter
    }
}

// The bare no-op lives here, beside the stand-ins that fall back to it; the
// entry points export it under three names.
extern "C" {
void VwStreamReadRecord(void) {}
void VwGetSectionDataFunc(void) __attribute__((alias("VwStreamReadRecord")));
void VwSetSectionDataFunc(void) __attribute__((alias("VwStreamReadRecord")));
}
