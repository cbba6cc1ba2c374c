// input.h - the input layer shared by the filter and the platform library:
// the buffered reader over an IoObject, the growable list, the scratch line
// buffer, the block allocators, the case-blind search, and the records of a
// message.
//
// The records here cross library boundaries (support filters read GrowList,
// ByteReader, LocatorRecord and RangeStep directly), so their field order is
// fixed; sizes are whatever this build makes of them and are checked below.
// All memory is the C heap (malloc/realloc/free) so either library may free
// what the other made. No message logic lives here.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/io_object.h"

// --- ByteReader -----------------------------------------------------------

constexpr uint32_t kReaderBufferSize = 2048;
constexpr uint16_t kReaderEnd = 0xFFFF;     // end of input from ReaderGet / ReaderPeek
constexpr uint32_t kToTheEnd = 0xFFFFFFFE;  // a length or last offset "to the end"

struct ByteReader {
    int16_t remaining;      // unread bytes in the buffer; -1 after end of input
    uint32_t bufferCount;   // bytes the last Read placed in the buffer
    uint32_t bufferOffset;  // stream offset of buffer[0]
    uint8_t* next;          // next byte to hand out
    IoObject* file;         // not owned
    ByteReader* self;       // what ReaderClose frees
    uint8_t buffer[kReaderBufferSize];
};

ByteReader* ReaderOpen(IoObject* file);
IoObject* ReaderClose(ByteReader* reader);
uint16_t ReaderRefill(ByteReader* reader);
uint16_t ReaderPeek(ByteReader* reader, uint16_t n);
int32_t ReaderUnget(ByteReader* reader, uint16_t n);
int32_t ReaderSeek(ByteReader* reader, int32_t offset, uint16_t whence);
uint16_t ReaderGet16(ByteReader* reader);
uint32_t ReaderGet32(ByteReader* reader);

// The hot path: one decrement, one compare, one load.
inline uint16_t ReaderGet(ByteReader* reader) {
    if (--reader->remaining >= 0) return *reader->next++;
    return ReaderRefill(reader);
}

inline uint32_t ReaderTell(const ByteReader* reader) {
    return reader->bufferOffset + reader->bufferCount - static_cast<uint32_t>(static_cast<int32_t>(reader->remaining));
}

// --- GrowList -------------------------------------------------------------

struct GrowList {
    uint32_t headerSize;  // sizeof(GrowList)
    uint16_t flags;       // always 0
    uint16_t flagsHigh;   // the other half of flags' word
    uint32_t growBy;
    uint32_t elementSize;
    uint32_t capacity;
    uint32_t freeSlots;   // count = capacity - freeSlots
    uint32_t baseIndex;
    uint32_t reserved;
    uint8_t* first;
    uint8_t* nextFree;
    GrowList* self;
    uint8_t* block;
};

GrowList* ListCreate(uint16_t flags, uint32_t baseIndex, uint32_t elementSize, uint32_t capacity,
                     uint32_t growBy);
void ListDestroy(GrowList* list);
int32_t ListResize(GrowList* list, uint32_t newCapacity);
int32_t ListAdd(GrowList* list, const void* element);
int32_t ListClear(GrowList* list);

inline uint16_t ListCount(const GrowList* list) {
    return list ? static_cast<uint16_t>(list->capacity - list->freeSlots) : 0;
}

template <typename T>
inline T* ListAt(const GrowList* list, uint32_t index) {
    return reinterpret_cast<T*>(list->first + static_cast<size_t>(index) * list->elementSize);
}

// --- TextBuffer and blocks ------------------------------------------------

struct TextBuffer {
    char* block;
    char* text;    // same address as block
    uint16_t size; // usable bytes; the block has at least size + 2
};

int32_t BlockAlloc(void** block, void** data, uint32_t size);
char* StringDup(uint32_t length, char** block, const char* source);
void StringFree(void* block);

// Typed convenience over BlockAlloc for a TextBuffer of `size` usable bytes.
int32_t TextBufferAlloc(TextBuffer* buffer, uint16_t size);

const char* FindNoCase(const char* haystack, const char* needle);

// --- Records of a message ---------------------------------------------------

struct HeaderField {
    char* nameBlock;
    char* name;   // as written, with its colon
    char* valueBlock;
    char* value;  // unfolded, never empty
};

using HeaderList = GrowList;

// multipartKind values.
enum : uint16_t {
    MP_UNKNOWN = 0,
    MP_ALTERNATIVE = 1,
    MP_RELATED = 2,
    MP_OTHER = 3,
    MP_DIGEST = 4,
};

// display bits.
enum : uint16_t {
    DISPLAY_SHOWN = 0x0001,
    DISPLAY_LOSER = 0x0002,
    DISPLAY_ATTACHMENT = 0x0004,
    DISPLAY_EMBEDDED = 0x0008,
    DISPLAY_HTML_BODY = 0x0010,
    DISPLAY_RTF_BODY = 0x0020,
};

// Body preference numbers; higher wins.
enum : uint16_t {
    PREF_NONE = 0,
    PREF_PLAIN = 1,
    PREF_RICHTEXT = 3,
    PREF_ENRICHED = 4,
    PREF_HTML = 5,
    PREF_RTF = 6,
    PREF_START = 10,
};

struct MessagePart {
    HeaderList* headers;
    char* boundaryBlock;
    char* boundary;
    uint32_t bodyOffset;
    uint32_t bodyLength;
    uint32_t segmentsScanned;
    uint16_t segmentCount;
    uint32_t isMultipart;
    uint16_t multipartKind;
    uint16_t parentKind;
    uint16_t subdocOrdinal;
    uint16_t partIndex;
    uint16_t display;
    uint32_t formatId;
    uint32_t transferCode;
    uint32_t subdocHandle;
};

using PartList = GrowList;

struct AttachRecord {
    uint16_t ownerPart;
    uint32_t formatId;
    uint32_t transferCode;
    uint32_t offset;
    uint32_t length;
    uint32_t forFilter1028;
    uint32_t forFilter1101;
    uint32_t innerTransfer;
    uint32_t innerOffset;
    uint32_t innerLength;
    char* nameBlock;
    char* name;
};

struct LocatorRecord {
    char* idBlock;
    char* contentId;
    char* locationBlock;
    char* contentLocation;
    uint32_t reserved;
    uint32_t subdocHandle;
};

struct RangeStep {
    uint32_t kind;    // 8 byte range, 0x2000 decoding stage
    uint32_t first;   // offset, or TransferCode
    uint32_t second;  // length, or 0
    uintptr_t object; // the object opened for the step, 0 when added
};

static_assert(sizeof(GrowList) == 64 && offsetof(GrowList, first) == 32);
static_assert(offsetof(ByteReader, buffer) == 40);
static_assert(sizeof(LocatorRecord) == 40 && offsetof(LocatorRecord, subdocHandle) == 36);
static_assert(sizeof(RangeStep) == 24 && offsetof(RangeStep, object) == 16);
static_assert(sizeof(HeaderField) == 32);
static_assert(offsetof(MessagePart, bodyOffset) == 24 && offsetof(MessagePart, subdocHandle) == 64);
