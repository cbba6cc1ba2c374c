// support_slot.h - a support filter's instance block as the filter lays it
// out inside FilterData. The platform's support filters read and write the
// same block (their image, the host routines, the lists they are handed), so
// the layout is declared once, here, in the layer both libraries share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/host_routines.h"
#include "host/services.h"
#include "input/input.h"

struct FilterProc;

// The words of FilterData a support filter reads from its owner: the part's
// CharsetId is where the body's characters come from. FilterProc starts with
// these two (checked where it is declared).
struct FilterDataHead {
    uint32_t readPos;
    uint32_t charset;
};

constexpr size_t kHostRoutineSlots = 121;
constexpr size_t kImage1101Size = 552;
constexpr size_t kImage1028Size = 29100;
// Where each support filter keeps its read position inside its image.
constexpr size_t kImage1101ReadPos = 0;
constexpr size_t kImage1028ReadPos = 27828;

struct SupportSlot1101 {
    uint8_t image[kImage1101Size];
    VwRoutine routines[kHostRoutineSlots];
    uintptr_t user1;
    uintptr_t user2;
    FilterProc* owner;
    uintptr_t reserved[3];
    uint8_t context[512];
    GrowList* locators;
    void* stream;  // the IoObject when it opens, a ByteReader during a run
    uint16_t filterId;
    VwRoutine entry[5];
    uintptr_t handle;
    uint16_t info;
    uint16_t status;
};

struct SupportSlot1028 {
    uint8_t image[kImage1028Size];
    VwRoutine routines[kHostRoutineSlots];
    uintptr_t user1;
    uintptr_t user2;
    FilterProc* owner;
    uintptr_t reserved[3];
    uint8_t context[512];
    GrowList* locators;
    GrowList* ranges;
    GrowList* chains;
    void* stream;
    uint16_t filterId;
    VwRoutine entry[5];
    uintptr_t handle;
    uint16_t info;
    uint16_t status;
};

static_assert(kImage1028ReadPos + 4 <= kImage1028Size);
static_assert(offsetof(SupportSlot1101, routines) % alignof(void*) == 0);
static_assert(offsetof(SupportSlot1028, routines) % alignof(void*) == 0);
