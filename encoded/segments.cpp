// segments.cpp - finds the encoded blocks that stand between the lines of a
// text part and records each one as an attachment of that part. Only blocks
// whose opening stands at a line start count, and only with their closing:
// an opening without its closing is ordinary text.
#include <cstring>

#include "encoded/encoded.h"
#include "host/constants.h"
#include "message/message.h"

namespace {

constexpr uint16_t kNameSize = 256;
constexpr char kBinHexSentence[] = "This file must be converted with BinHex 4.0)";

bool IsLineEnd(uint16_t c) { return c == '\r' || c == '\n'; }
bool EndsWord(uint16_t c) {
    return c == ' ' || c == '\t' || IsLineEnd(c) || c == 0x08 || c == kReaderEnd;
}

// What trying one opening came to. kNotHere: the scan goes on behind the
// opening's first byte (also when the opening held but its closing never
// came). kGoOn: the scan goes on from where the reader stands.
enum class Outcome { kFound, kNotHere, kGoOn };

struct Block {
    uint32_t start = 0;  // position of the opening's first byte
    uint32_t code = 0;   // its TransferCode
    uint16_t last = 0;   // for kGoOn: the byte the attempt ended on
    char name[kNameSize] = {};
};

// The closing line of a block: true with the reader behind it.
bool Closed(ByteReader* reader, TextBuffer* scratch, const char* prefix) {
    return SkipToLine(reader, scratch, prefix) != 0;
}

// "begin " opens uuencode and xxencode alike; only the identification
// service tells them apart, once the whole block is known.
bool IdentifyUuencode(ByteReader* reader, uint32_t behind, Block* block) {
    uint16_t answer = IdentifyBlock(reader, block->start, behind);
    if (answer == FI_UUE || answer == FI_UUE_PIECE) block->code = TC_UUENCODE;
    else if (answer == FI_XXE) block->code = TC_XXENCODE;
    else return false;
    return true;
}

Outcome TryUuencode(ByteReader* reader, TextBuffer* scratch, Block* block) {
    ReadNameToken(reader, block->name, kNameSize);
    block->code = TC_UUENCODE;
    if (!Closed(reader, scratch, "end")) return Outcome::kNotHere;
    return IdentifyUuencode(reader, ReaderTell(reader), block) ? Outcome::kFound : Outcome::kNotHere;
}

Outcome TryBegin(ByteReader* reader, TextBuffer* scratch, Block* block) {
    if (MatchLiteral(reader, "egin ### ") || MatchLiteral(reader, "egin "))
        return TryUuencode(reader, scratch, block);
    if (!MatchLiteral(reader, "egin-base64 ### ")) return Outcome::kNotHere;
    ReadNameToken(reader, block->name, kNameSize);
    block->code = TC_BASE64;
    return Closed(reader, scratch, "====") ? Outcome::kFound : Outcome::kNotHere;
}

Outcome TryYenc(ByteReader* reader, TextBuffer* scratch, Block* block) {
    if (!MatchLiteral(reader, "ybegin ")) return Outcome::kNotHere;
    GetParam("name", ReadLine(reader, scratch, 0), block->name, kNameSize);
    block->code = TC_YENC;
    return Closed(reader, scratch, "=yend") ? Outcome::kFound : Outcome::kNotHere;
}

Outcome TryAscii85(ByteReader* reader, TextBuffer* scratch, Block* block) {
    if (!MatchLiteral(reader, "~")) return Outcome::kNotHere;
    block->code = TC_ASCII85;
    return Closed(reader, scratch, "~>") ? Outcome::kFound : Outcome::kNotHere;
}

Outcome TryBtoa(ByteReader* reader, TextBuffer* scratch, Block* block) {
    if (!MatchLiteral(reader, "btoa5 ## ")) return Outcome::kNotHere;
    ReadNameToken(reader, block->name, kNameSize);
    block->code = TC_BTOA;
    return Closed(reader, scratch, "x") ? Outcome::kFound : Outcome::kNotHere;
}

// The file's name leads the BinHex stream: a length byte, then the name.
void ReadBinHexName(ByteReader* reader, Block* block) {
    BinHexState state{};
    uint16_t value = 0;
    if (BinHexNext(reader, &value, &state) != 0 || value == 0) return;
    const uint16_t length = value;
    uint16_t n = 0;
    while (n < length && BinHexNext(reader, &value, &state) == 0)
        block->name[n++] = static_cast<char>(value);
    block->name[n] = '\0';
}

// Unlike a whole BinHex document, the stream must start on the line right
// behind the banner: in running text a blank line there ends the attempt.
Outcome TryBinHex(ByteReader* reader, TextBuffer* scratch, Block* block) {
    if (!MatchLiteral(reader, kBinHexSentence)) return Outcome::kNotHere;
    ReadLine(reader, scratch, 0);
    block->last = ReaderGet(reader);
    if (block->last != ':') return Outcome::kGoOn;
    ReadBinHexName(reader, block);
    uint16_t index = 0;
    ReadUntil(reader, scratch, &index, ":", 0);
    block->code = TC_BINHEX;
    if (ReaderGet(reader) != ':') return Outcome::kNotHere;
    ReadLine(reader, scratch, 0);
    return Outcome::kFound;
}

Outcome TryOpening(uint16_t c, ByteReader* reader, TextBuffer* scratch, Block* block) {
    switch (c) {
        case '(': return TryBinHex(reader, scratch, block);
        case '<': return TryAscii85(reader, scratch, block);
        case '=': return TryYenc(reader, scratch, block);
        case 'b': return TryBegin(reader, scratch, block);
        case 'x': return TryBtoa(reader, scratch, block);
        default: return Outcome::kNotHere;
    }
}

// A part that holds segments is read as raw text, never as quoted-printable.
void KeepRaw(MessagePart* part) {
    if (part->transferCode == TC_QUOTED_PRINTABLE) part->transferCode = 0;
}

// A failed ListAdd loses the segment, and its lines stay text.
bool AddRecord(const Block& block, uint32_t behind, MessagePart* part, GrowList* list,
               uint16_t partIndex) {
    AttachRecord record{};
    record.ownerPart = partIndex;
    record.transferCode = block.code;
    if (block.name[0] != '\0')
        record.name = StringDup(static_cast<uint32_t>(std::strlen(block.name)), &record.nameBlock,
                                block.name);
    record.offset = block.start + part->bodyOffset;
    record.length = behind - block.start;
    KeepRaw(part);
    if (ListAdd(list, &record) >= 0) return true;
    StringFree(record.nameBlock);
    return false;
}

}  // namespace

char* ReadNameToken(ByteReader* reader, char* buffer, uint16_t size) {
    uint16_t c = ReaderGet(reader);
    while (c == ' ' || c == '\t') c = ReaderGet(reader);
    uint16_t kept = 0;
    for (; !EndsWord(c); c = ReaderGet(reader))
        if (kept + 1 < size) buffer[kept++] = static_cast<char>(c);
    if (size != 0) buffer[kept] = '\0';
    return kept == 0 ? nullptr : buffer;
}

uint16_t ScanSegments(ByteReader* reader, uint32_t start, uint32_t end, MessagePart* part,
                      GrowList* list, TextBuffer* scratch, uint16_t partIndex) {
    uint16_t added = 0;
    ReaderSeek(reader, static_cast<int32_t>(start), 0);
    uint16_t before = '\n';
    while (ReaderTell(reader) < end) {
        const uint32_t at = ReaderTell(reader);
        const uint16_t c = ReaderGet(reader);
        if (c == kReaderEnd) break;
        if (!IsLineEnd(before)) {
            before = c;
            continue;
        }
        Block block;
        block.start = at;
        switch (TryOpening(c, reader, scratch, &block)) {
            case Outcome::kFound:
                if (AddRecord(block, ReaderTell(reader), part, list, partIndex)) ++added;
                before = '\n';
                break;
            case Outcome::kGoOn: before = block.last; break;
            case Outcome::kNotHere:
                ReaderSeek(reader, static_cast<int32_t>(at + 1), 0);
                before = c;
                break;
        }
    }
    return added;
}
