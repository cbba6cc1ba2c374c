// part_emit.cpp - the head and the body of one part. The head runs once, when
// the part begins (readPos 0): the scan for inline encoded segments, the
// header table and the attachments row. The body goes to the writer of its
// kind, over the decoding stage when the part has a transfer encoding.
#include "body/body.h"
#include "charset/charset.h"
#include "encoded/encoded.h"
#include "filter/frame.h"
#include "core/host_calls.h"
#include "host/constants.h"
#include "message/message.h"

namespace {

uint32_t RangeLength(const IoRangeRequest& range) {
    return range.last == kToTheEnd ? kToTheEnd
                                   : static_cast<uint32_t>(range.last) - static_cast<uint32_t>(range.first);
}

// A record found by the scan becomes a picture when its decoded data is of an
// embeddable format, else a link.
void IdentifySegment(IoObject* partStream, uint32_t first, AttachRecord* record) {
    uint32_t start = record->offset - first;
    uint32_t last = record->length == kToTheEnd ? kToTheEnd : start + record->length - 1;
    IoRangeRequest range{partStream, start, last};
    IoObject* raw = OpenOn(partStream, IO_OPEN_RANGE, &range);
    if (!raw) return;
    IoDecodeRequest decode{raw, 0, record->transferCode, {}};
    if (IoObject* decoded = OpenOn(raw, IO_OPEN_DECODE, &decode)) {
        uint16_t format = 0;
        IdentifyHandle(decoded, 0, &format);
        record->formatId = IsEmbeddable(format) ? format : FI_UNKNOWN;
        decoded->Close(decoded);
    }
    raw->Close(raw);
}

void ScanForSegments(ByteReader* reader, const IoRangeRequest& range, MessagePart* part,
                     FilterProc* proc) {
    uint16_t before = ListCount(proc->attachments);
    auto* top = ListAt<MessagePart>(proc->parts, 0);
    if (!IsDigest(top->headers))
        part->segmentCount = ScanSegments(reader, proc->readPos, RangeLength(range), part,
                                          proc->attachments, &proc->lineBuf, proc->currentPart);
    part->segmentsScanned = 1;
    if (part->segmentCount == 0) return;
    for (uint16_t i = before; i < ListCount(proc->attachments); ++i) {
        auto* record = ListAt<AttachRecord>(proc->attachments, i);
        if (record->transferCode != 0)
            IdentifySegment(proc->partStream, static_cast<uint32_t>(range.first), record);
    }
}

// An object in the run: a picture or other embeddable part, placed whole.
uint16_t PlaceObject(const IoRangeRequest& range, const MessagePart* part, FilterProc* proc) {
    uint32_t number = 0;
    SoNewSubdoc(&number, proc);
    uint32_t length = RangeLength(range);
    SoSetProperty(PROP_RECIPE_STEP, STEP_RANGE, static_cast<uint32_t>(range.first),
                  length == kToTheEnd ? 0xFFFFFFFF : length + 1, proc);
    if (part->transferCode != 0)
        SoSetProperty(PROP_RECIPE_STEP, STEP_DECODE, part->transferCode, 0, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    PutObject(number, part->formatId, proc);
    return kWriterDone;
}

// The steps are recorded on every read of every part while the RTF support
// filter is open, but only SupportRun1028 empties the list: without the clear
// the steps of earlier parts would stand ahead of the running body's, and the
// chains the support filter copies from them would lead elsewhere. So the
// list holds the way to the part being read and nothing else.
void RecordSupportSteps(const IoRangeRequest& range, const MessagePart* part, FilterProc* proc) {
    if (proc->ranges) ListClear(proc->ranges);
    RangeStepAdd(STEP_RANGE, static_cast<uint32_t>(range.first), RangeLength(range) + 1, proc);
    if (part->transferCode != 0) RangeStepAdd(STEP_DECODE, part->transferCode, 0, proc);
}

uint16_t WriteByContentType(ByteReader* reader, MessagePart* part, FilterProc* proc) {
    const char* type = FindField("content-type", part->headers);
    uint16_t result;
    if (type && FindNoCase(type, "text/enriched"))
        result = EnrichedBodyWrite(reader, proc->readPos, kToTheEnd, proc);
    else if (type && FindNoCase(type, "text/richtext"))
        result = RichtextBodyWrite(reader, proc->readPos, kToTheEnd, proc);
    else
        result = PlainBodyWrite(reader, proc->readPos, kToTheEnd, proc);
    proc->readPos = ReaderTell(reader);
    return result;
}

uint16_t DispatchBody(IoObject* source, MessagePart* part, FilterProc* proc) {
    if (part->formatId == FI_TNEF) return TnefBodyRun(source, proc);
    if (part->formatId == FI_SKIPPED) return kWriterDone;
    ByteReader* reader = ReaderOpen(source);
    if (!reader) return kWriterDone;  // unreadable: passed over, for the same reason
    uint16_t result;
    if (part->formatId == FI_HTML)
        result = SupportRun1101(reader, proc);
    else if (part->formatId == FI_RTF)
        result = SupportRun1028(reader, proc);
    else if (IsMailKind(part->formatId))
        result = EmbeddedMessageLink(reader, part, proc);
    else
        result = WriteByContentType(reader, part, proc);
    ReaderClose(reader);
    return result;
}

}  // namespace

IoRangeRequest PartRange(IoObject* stream, const MessagePart* part) {
    uint32_t last = part->bodyLength == kToTheEnd ? kToTheEnd
                                                   : part->bodyOffset + part->bodyLength - 1;
    return IoRangeRequest{stream, part->bodyOffset, last};
}

void PartHeadEmit(IoObject* partStream, IoRangeRequest range, MessagePart* part, FilterProc* proc) {
    ByteReader* reader = ReaderOpen(partStream);
    if (!reader) return;
    if (part->segmentsScanned == 0 && (part->formatId == FI_UNKNOWN || part->formatId == FI_TEXT) &&
        (part->transferCode == TC_NONE || part->transferCode == TC_QUOTED_PRINTABLE))
        ScanForSegments(reader, range, part, proc);
    if (!IsEncodedKind(proc->formatId)) {
        if (proc->formatId != FI_TNEF) ShowHeaderBlock(part, proc);
        ShowAttachmentRow(part, proc);
        SoPutBreak(BRK_PARAGRAPH, proc);
    }
    ReaderClose(reader);
}

uint16_t PartBodyEmit(IoObject* partStream, IoRangeRequest range, MessagePart* part,
                      FilterProc* proc) {
    if (part->display & DISPLAY_ATTACHMENT) return kWriterDone;
    if (part->segmentCount != 0)
        return InlineSegmentsWrite(partStream, proc->readPos, RangeLength(range), proc);
    if (IsEmbeddable(part->formatId)) return PlaceObject(range, part, proc);
    if (part->transferCode != 0 && !proc->decodeStream) {
        IoDecodeRequest decode{partStream, 0, part->transferCode, {}};
        proc->decodeStream = OpenOn(partStream, IO_OPEN_DECODE, &decode);
        // A body that can't be decoded is passed over: stopping here would
        // leave a host that reads on meeting the same failure for ever.
        if (!proc->decodeStream) return kWriterDone;
    }
    if (proc->support1028Open && proc->formatId != FI_TNEF) RecordSupportSteps(range, part, proc);
    IoObject* source = proc->decodeStream ? proc->decodeStream : partStream;
    return DispatchBody(source, part, proc);
}
