// section_plan.cpp - what each part becomes: text in the run, a link in the
// attachments row, an embedded object, or a body for a support filter. The
// first section plans the whole document; later sections only name the body
// they hold. Planning is not remembered: a call with currentPart 0 plans again.
#include <cstring>

#include "body/body.h"
#include "charset/charset.h"
#include "encoded/encoded.h"
#include "filter/frame.h"
#include "core/host_calls.h"
#include "message/message.h"
#include "subdoc/subdoc.h"
#include "tnef/tnef.h"

namespace {

MessagePart* PartAt(FilterProc* proc, uint16_t index) {
    return ListAt<MessagePart>(proc->parts, index);
}

// Tells the host where the body of this section lives, so that references in
// it can be resolved.
void PutSectionName(const MessagePart* part, const char* text, FilterProc* proc) {
    int32_t number = RegisterText(text, proc);
    SoSetSectionName(static_cast<uint32_t>(number), proc);
    uint32_t id = part->subdocOrdinal | 0x80000000u;
    uint32_t record[2] = {0, static_cast<uint32_t>(number)};
    SoBeginTag(TAG_BODY_NAME, id, record, proc);
    SoEndTag(TAG_BODY_NAME, id, proc);
}

int16_t LaterSection(FilterProc* proc) {
    MessagePart* part = PartAt(proc, proc->currentPart);
    if (const char* location = FindField("content-location", part->headers))
        PutSectionName(part, location, proc);
    return VW_OK;
}

void SettleDisplay(FilterProc* proc) {
    uint16_t topKind = MultipartKind(PartAt(proc, 0));
    for (uint16_t i = 0; i < ListCount(proc->parts); ++i) {
        MessagePart* part = PartAt(proc, i);
        if (part->isMultipart || part->display != 0) continue;
        if (part->transferCode != 0 && IsEmbeddable(part->formatId))
            part->display = DISPLAY_EMBEDDED;
        else if (topKind == MP_OTHER && IsTextOrMessage(part->headers))
            part->display = DISPLAY_SHOWN;
        // A body for a support filter can stay at 0 here: the bodies pass
        // takes it up.
        if (part->display == 0 && part->formatId != FI_HTML && part->formatId != FI_RTF)
            part->display = DISPLAY_ATTACHMENT;
    }
}

// The display name of an attachment, as far as paramBuf holds it.
char* AttachmentName(const MessagePart* part, FilterProc* proc) {
    char* buffer = proc->paramBuf.text;
    uint32_t size = proc->paramBuf.size;
    if (GetFieldParam("content-disposition", "filename", buffer, size, part->headers)) return buffer;
    if (GetFieldParam("content-type", "name", buffer, size, part->headers)) return buffer;
    return nullptr;
}

void AddAttachments(FilterProc* proc) {
    for (uint16_t i = 0; i < ListCount(proc->parts); ++i) {
        MessagePart* part = PartAt(proc, i);
        if (part->isMultipart || !(part->display & DISPLAY_ATTACHMENT)) continue;
        AttachRecord record{};
        record.ownerPart = proc->currentPart;
        record.transferCode = part->transferCode;
        record.offset = part->bodyOffset;
        record.length = part->bodyLength;
        if (const char* name = AttachmentName(part, proc))
            record.name = StringDup(static_cast<uint32_t>(std::strlen(name)), &record.nameBlock, name);
        if (ListAdd(proc->attachments, &record) < 0) StringFree(record.nameBlock);
    }
}

// A part that a body may refer to by content-id or content-location gets a
// sub-document and a locator record.
void DeclareReferable(MessagePart* part, FilterProc* proc) {
    const char* cid = FindField("content-id", part->headers);
    const char* loc = FindField("content-location", part->headers);
    if (!cid && !loc) return;
    SoNewSubdoc(&part->subdocHandle, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_RANGE, part->bodyOffset, part->bodyLength, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_DECODE, part->transferCode, 0, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    LocatorRecord locator{};
    if (cid) locator.contentId = StringDup(static_cast<uint32_t>(std::strlen(cid)), &locator.idBlock, cid);
    if (loc)
        locator.contentLocation =
            StringDup(static_cast<uint32_t>(std::strlen(loc)), &locator.locationBlock, loc);
    locator.subdocHandle = part->subdocHandle;
    if (!locator.contentId && !locator.contentLocation) return;
    if (ListAdd(proc->locators, &locator) < 0) {
        StringFree(locator.idBlock);
        StringFree(locator.locationBlock);
    }
}

void PlanBodies(IoObject* stream, FilterProc* proc) {
    uint16_t nextOrdinal = 2;
    for (uint16_t i = 0; i < ListCount(proc->parts); ++i) {
        MessagePart* part = PartAt(proc, i);
        bool object = (part->display & DISPLAY_EMBEDDED) ||
                      ((part->display & DISPLAY_ATTACHMENT) && IsEmbeddable(part->formatId));
        if (object) DeclareReferable(part, proc);
        part = PartAt(proc, i);
        bool supportBody = part->formatId == FI_HTML || part->formatId == FI_RTF;
        bool current = part->partIndex == proc->currentPart;
        if (!(part->display & (DISPLAY_EMBEDDED | DISPLAY_ATTACHMENT)) && !part->isMultipart &&
            supportBody && (part->display == 0 || current)) {
            part->display = part->formatId == FI_HTML ? (DISPLAY_HTML_BODY | DISPLAY_SHOWN)
                                                      : (DISPLAY_RTF_BODY | DISPLAY_SHOWN);
            if (current) {
                part->subdocOrdinal = 1;
                if (const char* location = FindField("content-location", part->headers))
                    PutSectionName(part, location, proc);
            } else {
                part->subdocOrdinal = nextOrdinal++;
            }
        }
        part = PartAt(proc, i);
        if (!proc->support1101Open && part->formatId == FI_HTML && (part->display & DISPLAY_SHOWN))
            SupportOpen(FI_HTML, stream, part, proc);
        if (!proc->support1028Open && part->formatId == FI_RTF && (part->display & DISPLAY_SHOWN))
            SupportOpen(FI_RTF, stream, part, proc);
    }
}

void OpenTnefFilters(IoObject* stream, FilterProc* proc) {
    for (uint16_t i = 0; i < ListCount(proc->attachments); ++i) {
        const auto* record = ListAt<AttachRecord>(proc->attachments, i);
        bool want1028 = record->forFilter1028 != 0;
        bool want1101 = record->forFilter1101 != 0;
        if (want1028 && !proc->support1028Open) SupportOpen(FI_RTF, stream, nullptr, proc);
        if (want1101 && !proc->support1101Open) SupportOpen(FI_HTML, stream, nullptr, proc);
    }
}

int16_t TnefPart(IoObject* stream, FilterProc* proc) {
    MessagePart* part = PartAt(proc, proc->currentPart);
    if (part->formatId != FI_TNEF) return VW_OK;
    IoRangeRequest range = PartRange(stream, part);
    IoObject* raw = nullptr;
    if (stream->Open(&raw, IO_OPEN_RANGE, &range, 1) != 0) return VW_ERR_NOT_MINE;
    if (!IsOpenObject(raw)) return VW_OK;
    IoObject* decoded = nullptr;
    uint32_t start = part->bodyOffset;
    uint32_t limit = static_cast<uint32_t>(range.last - range.first);
    if (part->transferCode != 0) {
        IoDecodeRequest request{raw, 0, part->transferCode, {}};
        decoded = reinterpret_cast<IoObject*>(~uintptr_t{0});
        if (raw->Open(&decoded, IO_OPEN_DECODE, &request, 1) != 0 || !IsOpenObject(decoded)) {
            if (IsOpenObject(decoded)) decoded->Close(decoded);
            raw->Close(raw);
            return VW_ERR_NOT_MINE;
        }
        start = 0;
        limit = kToTheEnd;
    }
    ByteReader* reader = ReaderOpen(IsOpenObject(decoded) ? decoded : raw);
    if (reader) {
        TnefWalk(reader, start, limit, part, proc->attachments, proc->currentPart);
        OpenTnefFilters(stream, proc);
        ReaderClose(reader);
    }
    if (IsOpenObject(decoded)) decoded->Close(decoded);
    raw->Close(raw);
    return VW_OK;
}

int16_t TnefDocument(IoObject* stream, FilterProc* proc) {
    MessagePart* part = PartAt(proc, proc->currentPart);
    if (ByteReader* reader = ReaderOpen(stream)) {
        TnefWalk(reader, 0, part->bodyLength, part, proc->attachments, proc->currentPart);
        ReaderClose(reader);
    }
    OpenTnefFilters(stream, proc);
    return VW_OK;
}

int16_t PlanMessage(IoObject* stream, FilterProc* proc) {
    MessagePart* top = PartAt(proc, 0);
    proc->charset = PartCharset(top->headers, proc->charset);
    if (proc->charset == CS_ISO2022_MARK) {
        proc->iso2022Active = 1;
        proc->charset = CS_ISO2022_TEXT;
    }
    AnnounceCharset(proc->charset, proc);
    proc->headerPending = 1;
    for (uint16_t i = 0; i < ListCount(proc->parts); ++i) {
        MessagePart* part = PartAt(proc, i);
        if (!part->isMultipart) ClassifyPart(stream, part, &proc->lineBuf, proc->formatId);
    }
    top = PartAt(proc, 0);
    if ((proc->formatId == FI_INTERNET_NEWS || proc->formatId == FI_OUTLOOK_NEWS) &&
        top->transferCode == 0)
        if (int16_t code = SplitSetFind(stream, top->bodyOffset, proc->nameBuf.text, proc)) return code;
    bool tnefBody;
    if (top->isMultipart) {
        proc->currentPart = PlanMultipart(proc->parts, 0);
        tnefBody = PartAt(proc, proc->currentPart)->formatId == FI_TNEF;
    } else {
        top->display = DISPLAY_SHOWN;
        if (IsAttachment(top->headers, top->headers)) top->display |= DISPLAY_ATTACHMENT;
        tnefBody = top->formatId == FI_TNEF;
    }
    if (tnefBody) return TnefPart(stream, proc);
    SettleDisplay(proc);
    AddAttachments(proc);
    PlanBodies(stream, proc);
    return VW_OK;
}

}  // namespace

int16_t PlanSection(IoObject* stream, FilterProc* proc) {
    if (proc->currentPart != 0) return LaterSection(proc);
    if (IsMailKind(proc->formatId)) return PlanMessage(stream, proc);
    if (proc->formatId == FI_TNEF) return TnefDocument(stream, proc);
    return VW_OK;
}
