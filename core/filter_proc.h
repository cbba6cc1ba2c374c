// filter_proc.h - the instance block, one per open document, and the support
// slots inside it.
//
// The field order is a contract: the leading part up to and including
// support1028 is FilterData, which a host copies out and back as one block
// (VwGetData / VwSetData), and each SupportSlot is the instance block of a
// support filter in the platform library. Widths follow the 64-bit rules of
// the C interface: numbers keep their widths, addresses are pointer-sized.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/host_routines.h"
#include "host/services.h"
#include "input/input.h"
#include "input/support_slot.h"

struct FilterProc {
    // ---- FilterData: saved and restored by the host ----
    uint32_t readPos;        // position in the current part's data; 0 = not begun
    uint32_t charset;        // CharsetId in force
    uint32_t headerPending;  // 1 until the top-level header block is shown
    uint32_t iso2022Active;
    uint16_t currentPart;
    uint16_t nextAttach;
    uint32_t enrBold, enrItalic, enrUnderline;
    uint32_t enrNofill, enrParam, enrVerbatim;
    int16_t enrFontSize;
    uint32_t enrAlign, enrLeftIndent, enrFirstIndent, enrRightIndent, enrColor;
    uint32_t rtBold, rtItalic, rtUnderline, rtSubscript, rtSuperscript;
    int16_t rtFontSize;
    uint32_t rtSamePage, rtAlign, rtLeftIndent, rtFirstIndent, rtRightIndent, rtColor,
        rtSubTextCount, rtCharset;
    SupportSlot1101 support1101;
    SupportSlot1028 support1028;
    // ---- end of FilterData ----
    uint32_t support1101Open;
    uint32_t support1028Open;
    IoObject* partStream;
    IoObject* decodeStream;
    uint16_t streamsPart;
    TextBuffer lineBuf;
    TextBuffer paramBuf;
    TextBuffer nameBuf;
    ByteReader* openReader;
    uint16_t formatId;
    PartList* parts;
    GrowList* locators;
    GrowList* ranges;
    GrowList* attachments;
    GrowList* multiFile;
    GrowList* chains;
    uint32_t cellFormatLeft[32];
    uint32_t cellFormatRight[32];
    uint32_t rowFormat[7];
    // ---- end of what VwStreamOpen clears ----
    VwRoutine hostRoutines[kHostRoutineSlots];
    uintptr_t user1;
    uintptr_t user2;
    FilterProc* self;
};

// Size of FilterData (VwGetInfo ids 1 and 10) and of the part VwStreamOpen
// clears (id 2).
constexpr size_t kFilterDataSize = offsetof(FilterProc, support1028) + sizeof(SupportSlot1028);
constexpr size_t kOpenClearSize = offsetof(FilterProc, rowFormat) + sizeof(FilterProc::rowFormat);

static_assert(kFilterDataSize <= 0xFFFF, "VwGetInfo answers the size as 16 bits");
static_assert(kOpenClearSize <= 0xFFFF);
static_assert(offsetof(FilterProc, support1101) % alignof(void*) == 0);
static_assert(offsetof(FilterProc, charset) == offsetof(FilterDataHead, charset));
