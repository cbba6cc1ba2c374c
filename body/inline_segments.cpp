// inline_segments.cpp - a text part with encoded blocks inside it: the text
// between the blocks as plain text, and in place of each block a link, or a
// picture when its decoded data can be embedded. The encoded lines never
// reach the output. Only the text can be interrupted; a segment goes out whole.
#include "body/body.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"

namespace {

constexpr char kUnnamed[] = "Attachment";

// Records of this part's attachment parts, added by section planning before
// the scan, carry the same owner as its segments but lie outside its text.
// They are passed over: they already have their links in the attachments
// row, and stopping the text at them would write the encoded lines as text.
bool LiesInPart(const AttachRecord& record, const MessagePart& part) {
    if (record.offset < part.bodyOffset) return false;
    return part.bodyLength == kToTheEnd || record.offset - part.bodyOffset < part.bodyLength;
}

// The next segment of the current part, with nextAttach on it; null when none
// is left. Records passed over are never looked at again by this part.
AttachRecord* NextSegment(const MessagePart& part, FilterProc* proc) {
    for (; proc->nextAttach < ListCount(proc->attachments); ++proc->nextAttach) {
        auto* record = ListAt<AttachRecord>(proc->attachments, proc->nextAttach);
        if (record->ownerPart == proc->currentPart && LiesInPart(*record, part)) return record;
    }
    return nullptr;
}

void PutLink(uint32_t number, const AttachRecord& record, FilterProc* proc) {
    const int32_t text = record.name ? RegisterText(record.name, proc) : -1;
    const uint32_t tag[3] = {0, number, static_cast<uint32_t>(text)};
    SoBeginTag(TAG_LINK, number, tag, proc);
    SoSetProperty(PROP_ATTRIBUTE, ATTR_UNDERLINE, 1, 0, proc);
    SoSetTextColor(0, 0xFF0000, proc);
    PutText(record.name ? record.name : kUnnamed, proc);
    SoSetTextColor(0, 0, proc);
    SoSetProperty(PROP_ATTRIBUTE, ATTR_UNDERLINE, 0, 0, proc);
    // A stop asked for here is not taken: only the text can be interrupted.
    SoPutBreak(BRK_PARAGRAPH, proc);
}

// The picture has a sub-document of its own whose recipe reaches the data
// directly, so the host can place it without the filter's help.
void PutPicture(uint32_t number, const AttachRecord& record, FilterProc* proc) {
    const uint32_t tag[3] = {0, number, 0};
    SoBeginTag(TAG_LINK, number, tag, proc);
    uint32_t inner = 0;
    SoNewSubdoc(&inner, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_RANGE, record.offset, record.length, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_DECODE, record.transferCode, 0, proc);
    if (record.innerTransfer != 0)
        SoSetProperty(PROP_RECIPE_STEP, STEP_DECODE, record.innerTransfer, 0, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    PutObject(inner, 0, proc);
}

void PutSegment(const AttachRecord& record, FilterProc* proc) {
    uint32_t number = 0;
    SoNewSubdoc(&number, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_SPECIAL, 0, proc->nextAttach, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    if (record.formatId == FI_UNKNOWN) PutLink(number, record, proc);
    else PutPicture(number, record, proc);
    SoEndTag(TAG_LINK, number, proc);
}

}  // namespace

// `length` is not needed: the text behind the last segment runs to the end
// of the part's stream.
uint16_t InlineSegmentsWrite(IoObject* partStream, uint32_t start, uint32_t, FilterProc* proc) {
    ByteReader* reader = ReaderOpen(partStream);
    if (!reader) return kWriterDone;
    const auto& part = *ListAt<MessagePart>(proc->parts, proc->currentPart);
    uint32_t position = start;
    for (;;) {
        AttachRecord* segment = NextSegment(part, proc);
        const uint32_t stop = segment ? segment->offset - part.bodyOffset : kToTheEnd;
        const uint16_t result = PlainBodyWrite(reader, position, stop, proc);
        if (result != kWriterLimit || !segment) {
            // Kept at the end too, so that a read behind the end of the
            // document finds nothing left to write, as with the other writers.
            proc->readPos = ReaderTell(reader);
            ReaderClose(reader);
            return result == kWriterLimit ? kWriterDone : result;
        }
        PutSegment(*segment, proc);
        position = segment->offset + segment->length - part.bodyOffset;
        ++proc->nextAttach;
    }
}
