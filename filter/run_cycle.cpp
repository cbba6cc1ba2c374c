// run_cycle.cpp - the frame of a run: VwStreamOpen sets up the block and the
// lists, VwStreamSection opens a section, VwStreamRead walks `parts` from
// `currentPart` on and emits part by part, VwStreamClose frees what the run
// made. Everything a resumed read needs lies in FilterData; readers live only
// within one call, so a restart costs one ReaderOpen and one seek.
#include <cstring>
#include <initializer_list>

#include "charset/charset.h"
#include "filter/frame.h"
#include "core/host_calls.h"
#include "host/mailfilter.h"
#include "message/message.h"
#include "subdoc/subdoc.h"

namespace {

constexpr uint16_t kNameBufSize = 256;
constexpr uint16_t kLineBufSize = 1024;
constexpr uint16_t kParamBufSize = 512;
constexpr uint32_t kNameKindWide = 4;

// A name reported as 16-bit characters is narrowed in place. A character above
// 0xFF has no byte of its own and becomes '_', which keeps sibling names
// built from it harmless.
void NarrowWideName(char* text, size_t capacity) {
    const auto* wide = reinterpret_cast<const uint8_t*>(text);
    size_t i = 0;
    for (; i + 1 < capacity; ++i) {
        uint16_t unit = static_cast<uint16_t>(wide[2 * i] | (wide[2 * i + 1] << 8));
        if (unit == 0 || 2 * i + 1 >= capacity) break;
        text[i] = unit > 0xFF ? '_' : static_cast<char>(unit);
    }
    text[i] = '\0';
}

void FetchDocumentName(IoObject* stream, FilterProc* proc) {
    proc->nameBuf.size = kNameBufSize;
    BlockAlloc(reinterpret_cast<void**>(&proc->nameBuf.block),
               reinterpret_cast<void**>(&proc->nameBuf.text), kNameBufSize + 1);
    if (!proc->nameBuf.text) return;
    stream->GetInfo(stream, IO_INFO_NAME, proc->nameBuf.text);
    uint32_t kind = 0;
    stream->GetInfo(stream, IO_INFO_NAME_KIND, &kind);
    if (kind == kNameKindWide) NarrowWideName(proc->nameBuf.text, kNameBufSize);
    proc->nameBuf.text[kNameBufSize] = '\0';
}

void FillFixedRecords(FilterProc* proc) {
    uint32_t* left = proc->cellFormatLeft;
    left[0] = sizeof proc->cellFormatLeft;
    left[4] = 3600;
    left[6] = 13;
    left[7] = 80;
    left[9] = 0xFAFAFA;
    for (int word : {11, 14, 19, 24, 29}) left[word] = 1;
    std::memcpy(proc->cellFormatRight, left, sizeof proc->cellFormatRight);
    proc->cellFormatRight[4] = 5900;
    uint32_t* row = proc->rowFormat;
    row[2] = 240;
    row[3] = 1;
    row[5] = 1;
    row[6] = 2;
    proc->support1101Open = 0;
    proc->support1028Open = 0;
}

// Every refusal releases what the call made, so the host must not close.
int16_t Refuse(int16_t code, FilterProc* proc) {
    if (proc->openReader) {
        ReaderClose(proc->openReader);
        proc->openReader = nullptr;
    }
    VwStreamClose(nullptr, proc);
    return code;
}

bool CreateLists(FilterProc* proc) {
    proc->parts = ListCreate(0, 0, sizeof(MessagePart), 4, 4);
    proc->attachments = ListCreate(0, 0, sizeof(AttachRecord), 4, 4);
    proc->locators = ListCreate(0, 0, sizeof(LocatorRecord), 4, 4);
    return proc->parts && proc->attachments && proc->locators;
}

// The part's charset settles `charset` before anything of it is emitted.
void SettleCharset(const MessagePart* part, FilterProc* proc) {
    proc->charset = PartCharset(part->headers, proc->charset);
    if (proc->charset == CS_ISO2022_MARK) {
        proc->iso2022Active = 1;
        proc->charset = CS_ISO2022_TEXT;
    }
    AnnounceCharset(proc->charset, proc);
}

// Ends the part just emitted and steps to the next shown one. Answers true
// when the read goes on in this call.
bool StepToNextPart(FilterProc* proc) {
    uint16_t ended = proc->currentPart;
    uint16_t next = NextShownPart(proc->parts, ended);
    if (next <= ended) {
        SoPutBreak(BRK_DOCUMENT_END, proc);
        return false;
    }
    proc->readPos = 0;
    proc->currentPart = next;
    const auto* done = ListAt<MessagePart>(proc->parts, ended);
    // A section ends behind each member of a digest that is a section body,
    // and behind a body of a multipart/related.
    if ((done->parentKind == MP_RELATED && (done->display & DISPLAY_HTML_BODY)) ||
        done->parentKind == MP_DIGEST) {
        SoPutBreak(BRK_SECTION_END, proc);
        return false;
    }
    PutPartRule(proc);
    return true;
}

}  // namespace

extern "C" {

int16_t VwStreamOpen(IoObject* stream, uint16_t formatId, uintptr_t, VwOpenInfo* info,
                     FilterProc* proc) {
    std::memset(static_cast<void*>(proc), 0, kOpenClearSize);
    FetchDocumentName(stream, proc);
    if (info) {
        info->flags = 0x78;
        info->charset = CS_UNICODE;
        std::strcpy(info->name, "Mime File");
    }
    proc->formatId = formatId;
    if (int16_t code = FirstGate(stream, proc)) return Refuse(code, proc);

    proc->openReader = ReaderOpen(stream);
    bool buffers = TextBufferAlloc(&proc->lineBuf, kLineBufSize) == 0 &&
                   TextBufferAlloc(&proc->paramBuf, kParamBufSize) == 0;
    // Without a reader or buffers the stream counts as unreadable.
    if (!proc->openReader || !buffers) return Refuse(VW_ERR_NOT_MINE, proc);
    if (int16_t code = SecondGate(proc)) return Refuse(code, proc);

    if (!CreateLists(proc)) return Refuse(VW_ERR_NOT_MINE, proc);
    if (int16_t code = BuildParts(stream, proc)) return Refuse(code, proc);
    FillFixedRecords(proc);
    return VW_OK;
}

int16_t VwStreamSection(IoObject* stream, FilterProc* proc) {
    proc->charset = CS_UNICODE;
    SoBeginSection(proc);
    SoSetTextColor(1, 0, proc);
    SoSetSecondColor(1, 0, proc);
    SoSetProperty(PROP_SECTION_START, 0x4000, 0, 0, proc);
    return PlanSection(stream, proc);
}

int16_t VwStreamRead(IoObject* stream, FilterProc* proc) {
    // A document in several files is read whole as its one joined link.
    if (proc->multiFile) return SplitFileWrite(stream, proc);
    for (;;) {
        auto* part = ListAt<MessagePart>(proc->parts, proc->currentPart);
        SettleCharset(part, proc);
        auto* top = ListAt<MessagePart>(proc->parts, 0);
        if (proc->headerPending && top->isMultipart) {
            ShowHeaderBlock(top, proc);
            proc->headerPending = 0;
            part = ListAt<MessagePart>(proc->parts, proc->currentPart);
        }
        if (proc->currentPart != proc->streamsPart) {
            ClosePartStreams(proc);
            proc->streamsPart = proc->currentPart;
        }
        IoRangeRequest range = PartRange(stream, part);
        if (!proc->partStream) {
            IoObject* opened = nullptr;
            if (stream->Open(&opened, IO_OPEN_RANGE, &range, 1) != 0 || !IsOpenObject(opened))
                return VW_ERR_NOT_MINE;
            proc->partStream = opened;
        }
        if (proc->readPos == 0) {
            PartHeadEmit(proc->partStream, range, part, proc);
            part = ListAt<MessagePart>(proc->parts, proc->currentPart);
        }
        if (PartBodyEmit(proc->partStream, range, part, proc) != kWriterDone) return VW_OK;
        if (!StepToNextPart(proc)) return VW_OK;
    }
}

void VwStreamClose(IoObject*, FilterProc* proc) {
    // Support filters close first: they may still read through the streams.
    if (proc->support1028Open) {
        reinterpret_cast<SupportEntryFn>(proc->support1028.entry[4])(0, proc->support1028.image);
        DelegateClose(proc->support1028.handle);
        proc->support1028Open = 0;
    }
    if (proc->support1101Open) {
        reinterpret_cast<SupportEntryFn>(proc->support1101.entry[4])(0, proc->support1101.image);
        DelegateClose(proc->support1101.handle);
        proc->support1101Open = 0;
    }
    ClosePartStreams(proc);
    StringFree(proc->lineBuf.block);
    StringFree(proc->paramBuf.block);
    StringFree(proc->nameBuf.block);
    PartsDestroy(proc->parts);
    if (GrowList* list = proc->attachments) {
        for (uint16_t i = 0; i < ListCount(list); ++i) StringFree(ListAt<AttachRecord>(list, i)->nameBlock);
        ListDestroy(list);
    }
    if (GrowList* list = proc->multiFile) {
        // A split-file record owns its name block in its first word.
        for (uint16_t i = 0; i < ListCount(list); ++i) StringFree(*ListAt<char*>(list, i));
        ListDestroy(list);
    }
    if (GrowList* list = proc->locators) {
        for (uint16_t i = 0; i < ListCount(list); ++i) {
            auto* locator = ListAt<LocatorRecord>(list, i);
            StringFree(locator->idBlock);
            StringFree(locator->locationBlock);
        }
        ListDestroy(list);
    }
    ListDestroy(proc->ranges);
    if (GrowList* list = proc->chains) {
        for (uint16_t i = 0; i < ListCount(list); ++i) ListDestroy(*ListAt<GrowList*>(list, i));
        ListDestroy(list);
    }
    // Nothing may reach freed lists or buffers through the block afterwards,
    // e.g. a host asking for an attachment of a closed document.
    proc->parts = proc->attachments = proc->multiFile = proc->locators = proc->ranges =
        proc->chains = nullptr;
    proc->lineBuf = proc->paramBuf = proc->nameBuf = TextBuffer{};
}

}  // extern "C"

void ClosePartStreams(FilterProc* proc) {
    if (IsOpenObject(proc->decodeStream)) proc->decodeStream->Close(proc->decodeStream);
    if (IsOpenObject(proc->partStream)) proc->partStream->Close(proc->partStream);
    proc->decodeStream = nullptr;
    proc->partStream = nullptr;
}

void PartsDestroy(PartList* parts) {
    if (!parts) return;
    for (uint16_t i = 0; i < ListCount(parts); ++i) {
        auto* part = ListAt<MessagePart>(parts, i);
        if (HeaderList* headers = part->headers) {
            for (uint16_t f = 0; f < ListCount(headers); ++f) {
                auto* field = ListAt<HeaderField>(headers, f);
                StringFree(field->nameBlock);
                StringFree(field->valueBlock);
            }
            ListDestroy(headers);
        }
        StringFree(part->boundaryBlock);
    }
    ListDestroy(parts);
}
