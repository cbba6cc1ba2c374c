// message_walker.cpp - one pass over a message that fills the flat list of
// parts with the byte range and header of every header block.
//
// Follows only multiparts with a boundary; the inside of a leaf, an embedded
// message too, is not looked at. Decides nothing about display. The levels of
// nesting are kept on an explicit stack of kMaxNesting frames rather than by
// recursion, and the lists are capped, so neither the stack nor the heap
// grows with hostile input; the bytes themselves are only streamed.
#include <cstring>

#include "message/message.h"

namespace {

constexpr uint32_t kToEnd = 0xFFFFFFFE;
constexpr size_t kBoundarySize = 256;
// Counts above the lists are 16-bit.
constexpr uint32_t kMaxParts = 0xFFFF;
// All header blocks of one message together keep at most this many fields
// (some 25 MiB of records), whatever the size of the input; a walk that
// reaches it ends there. Real mail stays far below, digests included.
constexpr uint32_t kMaxFieldsTotal = 1u << 18;

// One level of multipart nesting: the delimiter of its parts and whether its
// blocks keep all their fields (a digest's entries are whole messages).
struct WalkLevel {
    const char* boundary;
    uint32_t keepAll;
    char inner[kBoundarySize];
};

struct Walk {
    ByteReader* reader;
    PartList* parts;
    TextBuffer* line;
    uint32_t fields;
};

uint32_t PartCount(const PartList* parts) { return parts->capacity - parts->freeSlots; }

// An empty boundary gives the level's records no boundary text, so such a
// level ends like the top one: its parts run to the end of the stream.
bool HasDelimiter(const WalkLevel* level) { return level->boundary != nullptr && level->boundary[0] != '\0'; }

bool IsClosingDelimiter(const char* line, const char* boundary) {
    size_t length = std::strlen(line);
    return length == std::strlen(boundary) + 2 && std::strcmp(line + length - 2, "--") == 0;
}

void RecordFree(MessagePart* record) {
    HeaderListFree(record->headers);
    StringFree(record->boundaryBlock);
    *record = MessagePart{};
}

bool AddPart(Walk* walk, MessagePart* record) {
    if (PartCount(walk->parts) < kMaxParts && ListAdd(walk->parts, record) >= 0) return true;
    RecordFree(record);
    return false;
}

// The body of a part that runs to the end of the stream, with its true length.
void RunToEnd(Walk* walk, MessagePart* record) {
    ReaderSeek(walk->reader, 0, 2);
    record->bodyLength = ReaderTell(walk->reader) - record->bodyOffset;
}

enum class Step {
    kNext,     // go on with the next block at this level
    kDescend,  // a multipart was added; walk its children
    kDone,     // this level has ended with `code`
};

enum class Block {
    kFields,  // a header block with kept fields is in the record
    kEmpty,   // the block kept no field and was passed over
    kEnd,     // no further block; `code` says why
};

// Reads the next header block at `level` into `record`.
Block ReadBlock(Walk* walk, const WalkLevel* level, MessagePart* record, int32_t* code) {
    *record = MessagePart{};
    uint32_t start = ReaderTell(walk->reader);
    record->partIndex = static_cast<uint16_t>(PartCount(walk->parts));
    if (FindBodyStart(walk->reader, walk->line, &record->bodyOffset) == kNoHeader) {
        *code = kNoHeader;
        return Block::kEnd;
    }
    if (walk->fields < kMaxFieldsTotal) record->headers = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
    // Without memory for a header list, or past the budget of fields, the
    // walk cannot go on; what was read so far stands.
    if (record->headers == nullptr) {
        *code = PartCount(walk->parts) > 0 ? 0 : kNoHeader;
        return Block::kEnd;
    }
    ParseHeader(walk->reader, start, record->bodyOffset, record->headers, level->keepAll, walk->line);
    walk->fields += ListCount(record->headers);
    if (ListCount(record->headers) == 0) {
        ListDestroy(record->headers);
        record->headers = nullptr;
        return Block::kEmpty;
    }
    if (HasDelimiter(level)) {
        record->boundary =
            StringDup(static_cast<uint32_t>(std::strlen(level->boundary)), &record->boundaryBlock, level->boundary);
    }
    return Block::kFields;
}

// A leaf's body runs to the next delimiter of its level, or to the end.
Step FinishLeaf(Walk* walk, const WalkLevel* level, MessagePart* record, int32_t* code) {
    *code = 0;
    uint32_t delimiter = 0;
    if (HasDelimiter(level)) delimiter = FindBoundaryLine(walk->reader, walk->line, level->boundary);
    if (delimiter == 0) {
        RunToEnd(walk, record);
        AddPart(walk, record);
        return Step::kDone;
    }
    record->bodyLength = delimiter - record->bodyOffset;
    AddPart(walk, record);
    if (IsClosingDelimiter(walk->line->text, level->boundary)) return Step::kDone;
    return Step::kNext;
}

// One pass of a level: the next block, and what follows from it. `child` is
// the level a multipart would open, null at the nesting limit, where a
// multipart is read as a leaf.
Step WalkPass(Walk* walk, const WalkLevel* level, WalkLevel* child, int32_t* code) {
    MessagePart record;
    Block block = ReadBlock(walk, level, &record, code);
    if (block == Block::kEnd) return Step::kDone;
    if (block == Block::kEmpty) return Step::kNext;
    record.isMultipart = child != nullptr && HasBoundary(record.headers);
    if (!record.isMultipart) return FinishLeaf(walk, level, &record, code);

    GetFieldParam("content-type", "boundary", child->inner, kBoundarySize, record.headers);
    child->boundary = child->inner;
    child->keepAll = IsDigest(record.headers);
    // The preamble is passed over. Without a first delimiter the multipart is
    // a leaf to the end of the stream, and its children find nothing.
    if (FindBoundaryLine(walk->reader, walk->line, child->inner) == 0) {
        record.isMultipart = 0;
        record.bodyLength = kToEnd;
    }
    AddPart(walk, &record);
    return Step::kDescend;
}

// Back at a level whose nested multipart has ended: only the top level stops
// here; any other passes over the epilogue to its own next delimiter. When
// that is the level's closing delimiter, the level ends too, and the level
// around it looks for its own next delimiter. Taking the closing line as the
// start of one more part instead would make a part that follows at an outer
// level (mixed, then alternative, then related, then an attachment) a child
// of this level, running to the end of the stream with the closing line
// inside it: a base64 attachment would come out as text.
Step AfterNested(Walk* walk, const WalkLevel* level) {
    if (!HasDelimiter(level)) return Step::kDone;
    if (FindBoundaryLine(walk->reader, walk->line, level->boundary) == 0) return Step::kDone;
    if (IsClosingDelimiter(walk->line->text, level->boundary)) return Step::kDone;
    return Step::kNext;
}

}  // namespace

uint32_t FindBoundaryLine(ByteReader* reader, TextBuffer* line, const char* boundary) {
    // Any line that starts with "--" and contains the boundary anywhere
    // behind that is a delimiter: a longer boundary, or text around it, too.
    for (;;) {
        uint32_t position = SkipToLine(reader, line, "--");
        if (position == 0) return 0;
        if (std::strstr(line->text, boundary) != nullptr) return position;
    }
}

int32_t WalkMessage(ByteReader* reader, const char* boundary, PartList* parts, uint32_t keepAll,
                    TextBuffer* line) {
    // A stream without a reader (none could be made) has no header to find.
    if (reader == nullptr || parts == nullptr) return kNoHeader;
    Walk walk{reader, parts, line, 0};
    // levels[0] is the caller's; each further one is a multipart being walked.
    WalkLevel levels[kMaxNesting + 1];
    levels[0].boundary = boundary;
    levels[0].keepAll = keepAll;
    uint32_t depth = 0;
    for (;;) {
        int32_t code = 0;
        WalkLevel* child = depth < kMaxNesting ? &levels[depth + 1] : nullptr;
        Step step = WalkPass(&walk, &levels[depth], child, &code);
        if (step == Step::kDescend) ++depth;
        while (step == Step::kDone) {
            if (depth == 0) return code;
            // The result of a nested level is dropped.
            --depth;
            code = 0;
            step = AfterNested(&walk, &levels[depth]);
        }
    }
}
