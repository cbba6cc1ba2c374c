// split_body.cpp - the pieces of multiFile offered to the host as one
// stream, on which its decoder runs as on a single file. Bytes are joined,
// nothing is decoded. At most one piece besides the document's own stream is
// open at a time.
#include <cstring>

#include "core/emit.h"
#include "core/host_calls.h"
#include "subdoc/subdoc.h"

namespace {

constexpr uint32_t kOpenUsual = 1;
constexpr uint32_t kMaxReadCount = 0xFFFF;
constexpr char kSplitName[] = "splitbody.tmp";
// lastByte when the current piece has handed out nothing yet.
constexpr uint16_t kNoByte = 0xFFFF;

struct MIMEMultiObject {
    IoObject io;
    IoObject* source;       // the host's stream, also the first piece's
    ByteReader* reader;     // over the current piece; null after a piece failed to open
    uint16_t currentPiece;
    void* block;
    GrowList* pieces;       // multiFile, not owned
    // The last data byte of the current piece before the reader's position:
    // a piece that ends without a line end gets one CR behind it, however the
    // reads are cut.
    uint16_t lastByte;
    char name[kObjectNameSize];
};

static_assert(offsetof(MIMEMultiObject, io) == 0, "an IoObject* is a MIMEMultiObject*");

MIMEMultiObject* AsMulti(IoObject* object) { return reinterpret_cast<MIMEMultiObject*>(object); }

SplitFileRecord* Piece(const MIMEMultiObject* self, uint16_t index) {
    return ListAt<SplitFileRecord>(self->pieces, index);
}

uint16_t LastIndex(const MIMEMultiObject* self) {
    return static_cast<uint16_t>(ListCount(self->pieces) - 1);
}

void CloseReader(MIMEMultiObject* self) {
    if (!self->reader) return;
    IoObject* stream = ReaderClose(self->reader);
    self->reader = nullptr;
    if (self->currentPiece != 0 && IsOpenObject(stream)) stream->Close(stream);
}

// Makes piece `index` current with a reader at its offset 0; false when the
// piece does not open, which leaves the object without a reader.
bool ChangePiece(MIMEMultiObject* self, uint16_t index) {
    CloseReader(self);
    self->currentPiece = index;
    self->lastByte = kNoByte;
    IoObject* stream = self->source;
    if (index != 0) {
        SplitFileRecord* piece = Piece(self, index);
        piece->openSpec.base = self->source;
        stream = OpenOn(self->source, IO_OPEN_SIBLING, &piece->openSpec, kOpenUsual);
        if (!stream) return false;
    }
    self->reader = ReaderOpen(stream);
    if (!self->reader && index != 0) stream->Close(stream);
    return self->reader != nullptr;
}

// Puts the reader at `offset` of the current piece and learns the byte in
// front of it.
void SeekInPiece(MIMEMultiObject* self, uint32_t offset) {
    const uint32_t dataOffset = Piece(self, self->currentPiece)->dataOffset;
    self->lastByte = kNoByte;
    if (offset > dataOffset && ReaderSeek(self->reader, static_cast<int32_t>(offset - 1), 0) == 0) {
        uint16_t before = ReaderGet(self->reader);
        if (before != kReaderEnd) self->lastByte = before;
    }
    ReaderSeek(self->reader, static_cast<int32_t>(offset), 0);
}

}  // namespace

bool SplitBodyOpen(IoObject* stream, IoObject** out, FilterProc* proc) {
    GrowList* pieces = proc->multiFile;
    if (!pieces || ListCount(pieces) == 0) return false;
    void* block = nullptr;
    void* data = nullptr;
    if (BlockAlloc(&block, &data, sizeof(MIMEMultiObject)) != 0 || !data) {
        SoBailOut(proc);
        return false;
    }
    auto* self = static_cast<MIMEMultiObject*>(data);
    std::memset(self, 0, sizeof *self);
    self->io.Close = &MIMEMultiDoClose;
    self->io.Read = &MIMEMultiDoRead;
    self->io.Seek = &MIMEMultiDoSeek;
    self->io.Tell = &MIMEMultiDoTell;
    self->io.GetInfo = &MIMEMultiDoGetInfo;
    self->io.Open = stream->Open;
    self->source = stream;
    self->reader = ReaderOpen(stream);
    self->block = block;
    self->pieces = pieces;
    self->lastByte = kNoByte;
    *out = &self->io;

    // Each piece is measured once, by seeking to its end; a second object
    // over the same list finds the sizes known.
    uint32_t sum = 0;
    for (uint16_t i = 0; i < ListCount(pieces); ++i) {
        SplitFileRecord* piece = Piece(self, i);
        if (piece->endOffset == 0 && (i == 0 ? self->reader != nullptr : ChangePiece(self, i)) &&
            ReaderSeek(self->reader, 0, 2) == 0)
            piece->endOffset = ReaderTell(self->reader);
        piece->startOffset = sum;
        sum += piece->endOffset;
    }
    if (self->currentPiece != 0) ChangePiece(self, 0);
    std::strcpy(self->name, kSplitName);
    return true;
}

extern "C" {

int32_t MIMEMultiDoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    if (!object) return kObjectNoStream;
    MIMEMultiObject* self = AsMulti(object);
    if (!self->reader) return kObjectPieceMissing;
    if (count > kMaxReadCount) count = kMaxReadCount;
    {
        const SplitFileRecord* piece = Piece(self, self->currentPiece);
        if (self->currentPiece == LastIndex(self) && piece->endOffset != 0 &&
            ReaderTell(self->reader) >= piece->endOffset)
            return kObjectPieceMissing;
    }
    auto* out = static_cast<uint8_t*>(buf);
    uint32_t n = 0;
    int32_t result = 0;
    while (n < count) {
        SplitFileRecord* piece = Piece(self, self->currentPiece);
        if (piece->endOffset == 0 || ReaderTell(self->reader) < piece->endOffset) {
            uint16_t c = ReaderGet(self->reader);
            if (c != kReaderEnd) {
                out[n++] = static_cast<uint8_t>(c);
                self->lastByte = c;
                continue;
            }
        }
        // The piece has ended.
        if (self->lastByte != kNoByte && self->lastByte != '\r' && self->lastByte != '\n')
            out[n++] = '\r';  // no position of the joined stream
        self->lastByte = kNoByte;
        if (piece->endOffset == 0) piece->endOffset = ReaderTell(self->reader);
        if (self->currentPiece == LastIndex(self)) {
            if (n == 0) result = kObjectPieceMissing;
            break;
        }
        uint16_t next = static_cast<uint16_t>(self->currentPiece + 1);
        if (!ChangePiece(self, next)) {
            result = kObjectPieceMissing;
            break;
        }
        ReaderSeek(self->reader, static_cast<int32_t>(Piece(self, next)->dataOffset), 0);
    }
    if (got) *got = n;
    return result;
}

int32_t MIMEMultiDoTell(IoObject* object, uint32_t* pos) {
    if (!object) return kObjectNoStream;
    MIMEMultiObject* self = AsMulti(object);
    if (!self->reader) return kObjectPieceMissing;
    const SplitFileRecord* piece = Piece(self, self->currentPiece);
    if (pos) *pos = ReaderTell(self->reader) + piece->startOffset - piece->dataOffset;
    return 0;
}

int32_t MIMEMultiDoSeek(IoObject* object, uint16_t whence, int32_t offset) {
    if (!object) return kObjectNoStream;
    MIMEMultiObject* self = AsMulti(object);
    if (!self->reader) return kObjectPieceMissing;
    const uint32_t delta = static_cast<uint32_t>(offset);
    uint32_t target;
    if (whence == 2) {
        const SplitFileRecord* last = Piece(self, LastIndex(self));
        target = delta + last->endOffset - last->dataOffset + last->startOffset;
    } else if (whence == 1) {
        const SplitFileRecord* piece = Piece(self, self->currentPiece);
        target = delta + ReaderTell(self->reader) + piece->startOffset - piece->dataOffset;
    } else {
        target = delta;
    }
    for (uint16_t i = 0; i < ListCount(self->pieces); ++i) {
        const SplitFileRecord* piece = Piece(self, i);
        if (target < piece->startOffset || target - piece->startOffset >= piece->endOffset) continue;
        if (i != self->currentPiece && !ChangePiece(self, i)) return kObjectPieceMissing;
        SeekInPiece(self, target + piece->dataOffset - piece->startOffset);
        return 0;
    }
    // A position outside every piece (the very end among them) moves nothing.
    return 0;
}

int32_t MIMEMultiDoGetInfo(IoObject* object, uint32_t what, void* answer) {
    if (!object) return kObjectNotAnswered;
    return ObjectGetInfo(object, AsMulti(object)->name, what, answer);
}

int32_t MIMEMultiDoClose(IoObject* object) {
    if (!object) return 0;
    MIMEMultiObject* self = AsMulti(object);
    std::memset(&self->io, 0, 7 * sizeof(void*));
    CloseReader(self);
    StringFree(self->block);
    return 0;
}

}  // extern "C"
