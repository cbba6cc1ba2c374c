// attachment_body.cpp - the object a host gets for attachment number n: the
// attachment's byte range of the document, its decoding, and for an
// attachment found inside decoded data (TNEF) a range of that and a second
// decoding. Reads, seeks and tells go to the last stage that opened.
//
// The object copies what it needs from the AttachRecord when it is made and
// never looks at FilterProc again, so it outlives the document. It decodes
// nothing itself: every stage is an object the host's Open makes.
#include <cstring>

#include "core/emit.h"
#include "core/host_calls.h"
#include "subdoc/subdoc.h"

namespace {

// An out-pointer preset, and the mark of a free stream field.
IoObject* const kNoStream = reinterpret_cast<IoObject*>(~uintptr_t{0});

// The fourth argument of Open. Its meaning is the host's; 9 goes with the
// outer range and with the stage that ends a chain inside decoded data.
constexpr uint32_t kOpenUsual = 1;
constexpr uint32_t kOpenMarked = 9;

constexpr uint32_t kMaxStages = 4;  // outer range, outer decoding, inner range, inner decoding

constexpr char kPlainName[] = "mimeattachbody.tmp";
// Every encoded attachment without a name gets this one, TNEF or not.
constexpr char kDecodedName[] = "tnefbody.tmp";

struct MIMEDoObject {
    IoObject io;
    IoObject* bodyStream;  // the outer range; kNoStream when it couldn't be opened
    IoObject* lastStream;  // the last stage of the chain; kNoStream for none
    IoObject* opened[kMaxStages];  // in order of opening; kNoStream in a free place
    uint16_t openedCount;
    void* block;  // this object's own heap block
    char name[kObjectNameSize];
};

static_assert(offsetof(MIMEDoObject, io) == 0, "an IoObject* is a MIMEDoObject*");

MIMEDoObject* AsMimeDo(IoObject* object) { return reinterpret_cast<MIMEDoObject*>(object); }

// The stream that reads answer from, or null for a dead object.
IoObject* ReadingStream(IoObject* object) {
    if (!object) return nullptr;
    MIMEDoObject* self = AsMimeDo(object);
    if (self->lastStream != kNoStream) return self->lastStream;
    if (self->bodyStream != kNoStream) return self->bodyStream;
    return nullptr;
}

// Opens a derived object of `base` with base's own Open. A failed Open may
// still have written an object to the out-pointer; that one is closed.
IoObject* OpenDerived(IoObject* base, uint32_t kind, void* request, uint32_t flags) {
    if (!base->Open) return nullptr;
    IoObject* made = kNoStream;
    int32_t result = base->Open(&made, kind, request, flags);
    if (result == 0 && IsOpenObject(made)) return made;
    if (IsOpenObject(made)) made->Close(made);
    return nullptr;
}

IoObject* OpenRange(IoObject* base, uint32_t offset, uint32_t length, uint32_t flags) {
    // Positions wrap in 32 bits: a length of 0 makes a last offset before
    // the first, which is an empty range.
    uint32_t last = length == kToTheEnd ? kToTheEnd : offset + length - 1;
    IoRangeRequest request{base, offset, last};
    return OpenDerived(base, IO_OPEN_RANGE, &request, flags);
}

IoObject* OpenDecoding(IoObject* base, uint32_t transferCode, uint32_t flags) {
    IoDecodeRequest request{base, 0, transferCode, {0, 0, 0, 0}};
    return OpenDerived(base, IO_OPEN_DECODE, &request, flags);
}

void Remember(MIMEDoObject* self, IoObject* stream) {
    if (self->openedCount < kMaxStages) self->opened[self->openedCount++] = stream;
}

void SetName(MIMEDoObject* self, const char* name, const char* fallback) {
    const char* chosen = name ? name : fallback;
    size_t length = strnlen(chosen, kObjectNameSize - 1);
    std::memcpy(self->name, chosen, length);
    self->name[length] = '\0';
}

void InitShell(MIMEDoObject* self, IoObject* stream, void* block) {
    self->io.Close = MIMEDoClose;
    self->io.Read = MIMEDoRead;
    self->io.Write = nullptr;
    self->io.Seek = MIMEDoSeek;
    self->io.Tell = MIMEDoTell;
    self->io.GetInfo = MIMEDoGetInfo;
    self->io.Open = stream->Open;
    self->block = block;
    self->bodyStream = kNoStream;
    self->lastStream = kNoStream;
    for (IoObject*& place : self->opened) place = kNoStream;
    self->openedCount = 0;
}

// The stages behind the outer decoding. Answers the last one, or kNoStream
// when one fails: the object then reads the undecoded outer range.
IoObject* OpenInnerStages(MIMEDoObject* self, IoObject* decoded, const AttachRecord& record) {
    if (record.innerTransfer != 0) {
        IoObject* range = OpenRange(decoded, record.innerOffset, record.innerLength, kOpenUsual);
        if (!range) return kNoStream;
        Remember(self, range);
        IoObject* inner = OpenDecoding(range, record.innerTransfer, kOpenMarked);
        if (!inner) return kNoStream;
        Remember(self, inner);
        return inner;
    }
    if (record.innerOffset != 0) {
        IoObject* range = OpenRange(decoded, record.innerOffset, record.innerLength, kOpenMarked);
        if (!range) return kNoStream;
        Remember(self, range);
        return range;
    }
    return decoded;
}

// Opens the chain of `record` into a fresh object.
void OpenStages(MIMEDoObject* self, IoObject* stream, const AttachRecord& record) {
    IoObject* range = OpenRange(stream, record.offset, record.length, kOpenMarked);
    if (!range) return;  // the object stays dead
    Remember(self, range);
    self->bodyStream = range;
    if (record.transferCode == 0) {
        // A raw attachment is left at its end; the host seeks where it reads.
        range->Seek(range, 2, 0);
        SetName(self, record.name, kPlainName);
        return;
    }
    IoObject* decoded = OpenDecoding(range, record.transferCode, kOpenUsual);
    if (!decoded) return;  // reads the encoded bytes, with no name
    Remember(self, decoded);
    self->lastStream = OpenInnerStages(self, decoded, record);
    if (self->lastStream != kNoStream) self->lastStream->Seek(self->lastStream, 0, 0);
    SetName(self, record.name, kDecodedName);
}

}  // namespace

bool AttachmentBodyOpen(IoObject* stream, uint32_t index, IoObject** out, FilterProc* proc) {
    // The index is compared whole: 65536 does not stand for attachment 0.
    GrowList* attachments = proc->attachments;
    if (!attachments || index >= ListCount(attachments)) return false;
    void* block = nullptr;
    void* data = nullptr;
    if (BlockAlloc(&block, &data, sizeof(MIMEDoObject)) != 0) {
        SoBailOut(proc);
        return false;
    }
    auto* self = static_cast<MIMEDoObject*>(data);
    *out = &self->io;
    InitShell(self, stream, block);
    const AttachRecord record = *ListAt<AttachRecord>(attachments, index);
    OpenStages(self, stream, record);
    return true;
}

extern "C" {

int32_t MIMEDoClose(IoObject* object) {
    if (!object) return 0;
    MIMEDoObject* self = AsMimeDo(object);
    self->io.Close = nullptr;
    self->io.Read = nullptr;
    self->io.Write = nullptr;
    self->io.Seek = nullptr;
    self->io.Tell = nullptr;
    self->io.GetInfo = nullptr;
    self->io.Open = nullptr;
    // Last opened first: each stage closes before the one it reads from.
    while (self->openedCount != 0) {
        IoObject* stream = self->opened[--self->openedCount];
        if (IsOpenObject(stream)) stream->Close(stream);
    }
    StringFree(self->block);
    return 0;
}

int32_t MIMEDoRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    IoObject* stream = ReadingStream(object);
    if (!stream) {
        if (got) *got = 0;
        return kObjectNoStream;
    }
    return stream->Read(stream, buf, count, got);
}

int32_t MIMEDoSeek(IoObject* object, uint16_t whence, int32_t offset) {
    IoObject* stream = ReadingStream(object);
    if (!stream) return kObjectNoStream;
    if (whence > 2) return 0;
    return stream->Seek(stream, whence, offset);
}

int32_t MIMEDoTell(IoObject* object, uint32_t* pos) {
    IoObject* stream = ReadingStream(object);
    if (!stream) return kObjectNoStream;
    return stream->Tell(stream, pos);
}

int32_t MIMEDoGetInfo(IoObject* object, uint32_t what, void* answer) {
    if (!object) return kObjectNotAnswered;
    return ObjectGetInfo(object, AsMimeDo(object)->name, what, answer);
}

}  // extern "C"
