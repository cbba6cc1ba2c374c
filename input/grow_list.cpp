// grow_list.cpp - the array of fixed-size elements kept by value. Its header
// is read directly by support filters, so the routines keep every field in
// step exactly as the layout promises.
#include <cstdlib>
#include <cstring>

#include "input/input.h"

GrowList* ListCreate(uint16_t flags, uint32_t baseIndex, uint32_t elementSize, uint32_t capacity,
                     uint32_t growBy) {
    auto* list = static_cast<GrowList*>(std::calloc(1, sizeof(GrowList)));
    if (!list) return nullptr;
    size_t bytes = static_cast<size_t>(capacity) * elementSize;
    auto* block = static_cast<uint8_t*>(std::malloc(bytes ? bytes : 1));
    if (!block) {
        std::free(list);
        return nullptr;
    }
    list->headerSize = sizeof(GrowList);
    list->flags = flags;
    list->growBy = growBy;
    list->elementSize = elementSize;
    list->capacity = capacity;
    list->freeSlots = capacity;
    list->baseIndex = baseIndex;
    list->first = block;
    list->nextFree = block;
    list->self = list;
    list->block = block;
    return list;
}

void ListDestroy(GrowList* list) {
    if (!list) return;
    std::free(list->block);
    std::free(list->self);
}

int32_t ListResize(GrowList* list, uint32_t newCapacity) {
    size_t bytes = static_cast<size_t>(newCapacity) * list->elementSize;
    auto* block = static_cast<uint8_t*>(std::realloc(list->block, bytes ? bytes : 1));
    if (!block) return 0;
    list->block = block;
    list->first = block;
    int64_t freeSlots = static_cast<int64_t>(list->freeSlots) + newCapacity - list->capacity;
    list->freeSlots = freeSlots < 1 ? 0 : static_cast<uint32_t>(freeSlots);
    list->capacity = newCapacity;
    list->nextFree = list->first + static_cast<size_t>(list->capacity - list->freeSlots) * list->elementSize;
    return 1;
}

int32_t ListAdd(GrowList* list, const void* element) {
    if (list->freeSlots < 1) {
        list->freeSlots = 0;
        // Counts are 16-bit above this layer: a list never passes 65,535.
        if (list->capacity + list->growBy > 0xFFFF) return -1;
        if (!ListResize(list, list->capacity + list->growBy)) return -1;
    }
    --list->freeSlots;
    if (element) std::memcpy(list->nextFree, element, list->elementSize);
    list->nextFree += list->elementSize;
    return static_cast<int32_t>(list->baseIndex + list->capacity - list->freeSlots - 1);
}

int32_t ListClear(GrowList* list) {
    if (!list) return 0;
    list->freeSlots = list->capacity;
    list->nextFree = list->first;
    return 0;
}
