// tnef_walk.cpp - one pass over a TNEF envelope that records where its rich
// bodies and its attachments lie, as AttachRecords. It reads no content: a
// record names a byte range (and the decoding that reaches it), a support
// filter or the host reads the bytes later.
//
// Only four attributes matter: the message's property block (for the
// compressed RTF and HTML bodies), and an attachment's title, data and
// property block (for its display name and data). Everything else is passed
// over by its length. Checksums are never looked at. Bad lengths are not
// errors: the walk ends at the end of the input, keeping what it found.
#include <algorithm>

#include "host/constants.h"
#include "tnef/tnef.h"

namespace {

// Attribute levels and ids (the low word of the attribute number).
constexpr uint8_t kLevelMessage = 1;
constexpr uint8_t kLevelAttachment = 2;
constexpr uint16_t kAttMsgProps = 0x9003;
constexpr uint16_t kAttAttachTitle = 0x8010;
constexpr uint16_t kAttAttachData = 0x800F;
constexpr uint16_t kAttAttachment = 0x9005;

// Property ids.
constexpr uint16_t kPrRtfCompressed = 0x1009;
constexpr uint16_t kPrBodyHtml = 0x1013;
constexpr uint16_t kPrAttachDataBin = 0x3701;
constexpr uint16_t kPrDisplayName = 0x3001;

constexpr uint32_t kScratchSize = 256;
// PR_ATTACH_DATA_BIN starts with 16 bytes that are not the attachment's.
constexpr uint32_t kDataBinHeader = 16;
// Loops over a title's bytes and over a property's values count in 16 bits;
// a count beyond that ends the walk rather than wrapping.
constexpr uint32_t kMaxLoopCount = 0xFFFF;
constexpr uint32_t kCompressedRtf = 22;

uint32_t RoundUp4(uint32_t n) { return (n + 3) & ~3u; }

// The walk's state: the reader, the record being filled and the scratch
// bytes that titles and sized values pass through. `ended` is set once a
// read meets the end of the input, or a count the walk won't follow.
struct Walk {
    ByteReader* reader;
    uint32_t start;
    MessagePart* part;
    GrowList* attachments;
    uint16_t partIndex;
    AttachRecord record;
    char scratch[kScratchSize];
    bool ended;

    uint8_t Get8() {
        uint16_t byte = ReaderGet(reader);
        if (byte == kReaderEnd) ended = true;
        return static_cast<uint8_t>(byte);
    }
    uint16_t Get16() { return static_cast<uint16_t>(Get8() | Get8() << 8); }
    uint32_t Get32() { return Get16() | static_cast<uint32_t>(Get16()) << 16; }
    void Skip(uint32_t n) { ReaderSeek(reader, static_cast<int32_t>(n), 1); }

    void SetName(uint32_t length) {
        StringFree(record.nameBlock);
        record.nameBlock = nullptr;
        record.name = StringDup(std::min(length, kScratchSize), &record.nameBlock, scratch);
    }
    // The list owns the record's name from here on.
    void AddRecord() {
        if (ListAdd(attachments, &record) < 0) StringFree(record.nameBlock);
        record = AttachRecord{};
    }
};

// Where an attachment's data lies: in the walked stream itself, or, when the
// part is encoded, inside the decoded part.
void SetAttachmentData(Walk* walk, uint32_t position, uint32_t length) {
    AttachRecord& record = walk->record;
    if (walk->part->transferCode == 0) {
        record.transferCode = 0;
        record.offset = position + walk->start;
        record.length = length;
    } else {
        record.transferCode = walk->part->transferCode;
        record.offset = walk->part->bodyOffset;
        record.length = walk->part->bodyLength;
        record.innerTransfer = 0;
        record.innerOffset = position;
        record.innerLength = length;
    }
    record.ownerPart = walk->partIndex;
}

// A rich body: its range counts from the start of the walked stream.
void AddBody(Walk* walk, uint32_t position, uint32_t size, bool rtf) {
    AttachRecord& record = walk->record;
    walk->part->formatId = FI_TNEF;
    if (rtf) {
        record.forFilter1028 = 1;
        record.transferCode = kCompressedRtf;
        record.innerTransfer = 0;
    } else {
        record.forFilter1101 = 1;
        record.transferCode = 0;
    }
    record.offset = position;
    record.length = size;
    record.innerOffset = 0;
    record.innerLength = 0;
    record.ownerPart = walk->partIndex;
    if (record.offset != 0) walk->AddRecord();
}

// A value of a counted type; answers the bytes it took.
uint32_t SizedValue(Walk* walk, bool messageBlock, uint16_t id, uint32_t attributeLength) {
    uint32_t size = walk->Get32();
    uint32_t position = ReaderTell(walk->reader);
    if (messageBlock && id == kPrRtfCompressed) AddBody(walk, position, size, true);
    if (messageBlock && id == kPrBodyHtml) AddBody(walk, position, size, false);
    if (!messageBlock && id == kPrAttachDataBin)
        SetAttachmentData(walk, position + kDataBinHeader, size - kDataBinHeader);
    // The first 252 bytes pass through scratch in groups of four; the rest
    // is passed over.
    const uint32_t rounded = RoundUp4(size);
    const uint32_t kept = std::min(rounded, kScratchSize - 4);
    for (uint32_t i = 0; i < kept && !walk->ended; ++i) walk->scratch[i] = static_cast<char>(walk->Get8());
    if (rounded > kept) walk->Skip(rounded - kept);
    // The name's length is the whole attribute's, cut at 256: the text runs
    // to its first zero byte, and a 16-bit name is not converted.
    if (!messageBlock && id == kPrDisplayName && size != 0) walk->SetName(attributeLength);
    return 4 + rounded;
}

uint32_t FixedWidth(uint32_t type) {
    switch (type) {
        case 2: return 2;
        case 3: case 4: case 10: case 11: return 4;
        case 5: case 6: case 7: case 20: case 64: return 8;
        case 72: return 20;
        default: return 0;
    }
}

bool IsCounted(uint32_t type) { return type == 13 || type == 30 || type == 31 || type == 258; }

// The data of attMsgProps or attAttachment: `count` properties, read while
// the bytes used stay below the attribute's length.
void PropertyBlock(Walk* walk, bool messageBlock, uint32_t length) {
    uint32_t consumed = 4;
    uint32_t valueCount = 1;
    const uint32_t count = walk->Get32();
    for (uint32_t n = 0; n < count && consumed < length && !walk->ended; ++n) {
        const uint32_t type = walk->Get16() & 0xFFF;
        const uint16_t id = walk->Get16();
        consumed += 4;
        if (id >= 0x8000 && id <= 0xFFFE) {  // a named property: its name is passed over
            walk->Skip(16);
            const uint32_t kind = walk->Get32();
            consumed += 20;
            if (kind == 1) {
                const uint32_t nameLength = RoundUp4(walk->Get32());
                walk->Skip(nameLength);
                consumed += 4 + nameLength;
            } else if (kind == 0) {
                walk->Get32();
                consumed += 4;
            }
        }
        if (IsCounted(type)) {
            valueCount = walk->Get32();
            consumed += 4;
        }
        if (valueCount > kMaxLoopCount) walk->ended = true;
        for (uint32_t v = 0; v < valueCount && !walk->ended; ++v) {
            if (IsCounted(type)) {
                consumed += SizedValue(walk, messageBlock, id, length);
            } else {
                walk->Skip(FixedWidth(type));
                consumed += FixedWidth(type);
            }
        }
    }
    walk->Skip(2);  // checksum
}

void AttachTitle(Walk* walk, uint32_t length) {
    if (length > kMaxLoopCount) {
        walk->ended = true;
        return;
    }
    for (uint32_t i = 0; i < length && !walk->ended; ++i) {
        const uint8_t byte = walk->Get8();
        if (i < kScratchSize) walk->scratch[i] = static_cast<char>(byte);
    }
    if (length != 0) walk->SetName(length);
    walk->Skip(2);
}

void Attribute(Walk* walk, uint8_t level, uint16_t id, uint32_t length) {
    if (level == kLevelMessage && id == kAttMsgProps) {
        PropertyBlock(walk, true, length);
    } else if (level == kLevelAttachment && id == kAttAttachTitle) {
        AttachTitle(walk, length);
    } else if (level == kLevelAttachment && id == kAttAttachData) {
        SetAttachmentData(walk, ReaderTell(walk->reader), length);
        walk->Skip(length + 2);
    } else if (level == kLevelAttachment && id == kAttAttachment) {
        PropertyBlock(walk, false, length);
        // Also when the input ended inside the block: the data was placed
        // already, and an attachment read as far as it goes beats none.
        if (walk->record.offset != 0 && walk->record.name != nullptr) walk->AddRecord();
    } else {
        walk->Skip(length + 2);
    }
}

}  // namespace

void TnefWalk(ByteReader* reader, uint32_t start, uint32_t limit, MessagePart* part,
              GrowList* attachments, uint16_t currentPart) {
    // A stream walked again, or a second one in the document, starts from an
    // empty list.
    for (uint16_t i = 0; i < ListCount(attachments); ++i)
        StringFree(ListAt<AttachRecord>(attachments, i)->nameBlock);
    ListClear(attachments);

    Walk walk{reader, start, part, attachments, currentPart, AttachRecord{}, {}, false};
    ReaderSeek(reader, 6, 1);  // signature and key
    // The first test is made before anything is read, as at position 0.
    for (uint32_t position = 0; position < limit; position = ReaderTell(reader)) {
        const uint8_t level = walk.Get8();
        if (walk.ended) break;
        const uint16_t id = walk.Get16();
        walk.Get16();  // the attribute's type word
        const uint32_t length = walk.Get32();
        if (walk.ended) break;
        Attribute(&walk, level, id, length);
        if (walk.ended) break;
    }
    // A record still being filled when the input ends is dropped; its name
    // is freed rather than lost.
    StringFree(walk.record.nameBlock);
}
