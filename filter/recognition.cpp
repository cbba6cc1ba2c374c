// recognition.cpp - whether and how a document is read: the first gate turns
// away later pieces of split files, the second gate mailboxes of more than one
// message and formats that aren't ours, and then `parts` is built: a walked
// message, or one synthetic part for encoded data and TNEF. The host has
// already identified the file; nothing here guesses a type of its own.
#include <cstring>

#include "encoded/encoded.h"
#include "filter/frame.h"
#include "host/constants.h"
#include "message/message.h"
#include "subdoc/subdoc.h"

namespace {

constexpr size_t kNameSize = 256;



bool IsPieceKind(uint32_t formatId) {
    return formatId == FI_UUE_PIECE || formatId == FI_XXE_PIECE || formatId == FI_YENC_PIECE ||
           formatId == FI_BINHEX_PIECE;
}

void CloseIfOpen(IoObject* object) {
    if (IsOpenObject(object)) object->Close(object);
}

// A lone uuencoded piece is readable when what it decodes to is something the
// identification service can name.
int16_t AdmitUuencodedPiece(IoObject* stream, FilterProc* proc) {
    IoObject* decoded = reinterpret_cast<IoObject*>(~uintptr_t{0});
    IoDecodeRequest request{stream, 0, TC_UUENCODE, {}};
    uint16_t format = FI_UNKNOWN;
    if (stream->Open(&decoded, IO_OPEN_DECODE, &request, 1) == 0 && IsOpenObject(decoded))
        IdentifyHandle(decoded, 1, &format);
    CloseIfOpen(decoded);
    if (format == FI_UNKNOWN) return VW_ERR_DECLINED;
    proc->formatId = FI_UUE;
    return VW_OK;
}

// Copies `text` into `name`, cut to the buffer.
void CopyName(const char* text, char* name) {
    std::strncpy(name, text, kNameSize - 1);
    name[kNameSize - 1] = '\0';
}

// "begin 644 name": everything behind the first blank after the mode. A line
// longer than the name buffer is cut there.
bool FindBeginName(FilterProc* proc, char* name) {
    if (!SkipToLine(proc->openReader, &proc->lineBuf, "begin ")) return false;
    // The buffer holds what follows "begin ": the mode, a blank, the name.
    const char* rest = proc->lineBuf.text;
    const char* blank = std::strchr(rest, ' ');
    if (!blank || blank[1] == '\0') return false;
    CopyName(blank + 1, name);
    return true;
}

bool FindYencName(FilterProc* proc, char* name) {
    if (!SkipToLine(proc->openReader, &proc->lineBuf, "=ybegin ")) return false;
    return GetParam("name", proc->lineBuf.text, name, kNameSize) != nullptr;
}

bool FindBinHexName(FilterProc* proc, char* name) {
    ByteReader* reader = proc->openReader;
    if (!SkipToLine(reader, &proc->lineBuf, "(This file must be converted with BinHex 4.0)"))
        return false;
    uint16_t index = 0;
    ReadUntil(reader, &proc->lineBuf, &index, ":", 0);
    if (ReaderPeek(reader, 1) != ':') return false;
    BinHexState state{};
    uint16_t value = 0;
    if (BinHexNext(reader, &value, &state) != 0 || value < 1 || value > 255) return false;
    uint16_t length = value;
    char* text = proc->lineBuf.text;
    uint16_t got = 0;
    for (; got < length && got < proc->lineBuf.size; ++got) {
        if (BinHexNext(reader, &value, &state) != 0) break;
        text[got] = static_cast<char>(value);
    }
    text[got] = '\0';
    CopyName(text, name);
    return true;
}

bool FindEncodedName(FilterProc* proc, char* name) {
    ReaderSeek(proc->openReader, 0, 0);
    switch (proc->formatId) {
        case FI_UUE:
        case FI_XXE: return FindBeginName(proc, name);
        case FI_YENC: return FindYencName(proc, name);
        case FI_BINHEX: return FindBinHexName(proc, name);
        default: return false;
    }
}

MessagePart SyntheticPart(uint16_t formatId) {
    MessagePart part{};
    part.bodyOffset = 0;
    part.bodyLength = kToTheEnd;
    part.formatId = formatId == FI_TNEF ? FI_TNEF : FI_TEXT;
    return part;
}

// A news article's body may be one piece of a posting spread over several
// articles, which this filter does not read.
int16_t CheckNewsBody(IoObject* stream, FilterProc* proc) {
    auto* top = ListAt<MessagePart>(proc->parts, 0);
    IoRangeRequest range{stream, top->bodyOffset, kToTheEnd};
    IoObject* body = nullptr;
    if (stream->Open(&body, IO_OPEN_RANGE, &range, 1) != 0 || !IsOpenObject(body))
        return VW_ERR_NOT_MINE;
    uint16_t format = IdentifySpecial(body, FI_UUE);
    CloseIfOpen(body);
    return IsPieceKind(format) ? VW_ERR_DECLINED : VW_OK;
}

int16_t BuildMessage(IoObject* stream, FilterProc* proc) {
    int32_t walked = WalkMessage(proc->openReader, nullptr, proc->parts, 0, &proc->lineBuf);
    ReaderClose(proc->openReader);
    proc->openReader = nullptr;
    if (walked != 0 || ListCount(proc->parts) == 0) return VW_ERR_NO_HEADER;
    if (proc->formatId == FI_INTERNET_NEWS || proc->formatId == FI_OUTLOOK_NEWS)
        return CheckNewsBody(stream, proc);
    return VW_OK;
}

int16_t BuildSynthetic(IoObject* stream, FilterProc* proc) {
    char nameText[kNameSize] = {};
    const char* name = nullptr;
    uint32_t sniffed = 0;
    if (IsEncodedKind(proc->formatId)) {
        sniffed = SniffEncoded(proc->openReader, kToTheEnd, 0, 0, &proc->lineBuf);
        if (sniffed == 0) {
            if (FindEncodedName(proc, nameText)) name = nameText;
            if (proc->formatId == FI_UUE) IncludeChainFind(proc->openReader, stream, name, proc);
        }
    }
    ReaderClose(proc->openReader);
    proc->openReader = nullptr;
    if (IsEncodedKind(proc->formatId) && sniffed == 0 && !proc->multiFile)
        if (int16_t code = SplitSetFind(stream, 0, name, proc)) return code;
    MessagePart part = SyntheticPart(proc->formatId);
    return ListAdd(proc->parts, &part) < 0 ? VW_ERR_NOT_MINE : VW_OK;
}

}  // namespace

int16_t FirstGate(IoObject* stream, FilterProc* proc) {
    switch (proc->formatId) {
        case FI_XXE_PIECE:
        case FI_YENC_PIECE:
        case FI_BINHEX_PIECE: return VW_ERR_DECLINED;
        case FI_UUE_PIECE: return AdmitUuencodedPiece(stream, proc);
        default: return VW_OK;
    }
}

int16_t SecondGate(FilterProc* proc) {
    if (proc->formatId == FI_MBOX) {
        // Exactly one "From " line: one message, whose "From " line stays in
        // front of its header.
        uint32_t first = SkipToLine(proc->openReader, &proc->lineBuf, "From ");
        uint32_t second = first ? SkipToLine(proc->openReader, &proc->lineBuf, "From ") : 0;
        if (!first || second) return VW_ERR_DECLINED;
        proc->formatId = FI_MIME_FILE;
        ReaderSeek(proc->openReader, 0, 0);
    }
    if (!IsMailKind(proc->formatId) && !IsEncodedKind(proc->formatId) && proc->formatId != FI_TNEF)
        return VW_ERR_NOT_MINE;
    return VW_OK;
}

int16_t BuildParts(IoObject* stream, FilterProc* proc) {
    if (IsMailKind(proc->formatId)) return BuildMessage(stream, proc);
    return BuildSynthetic(stream, proc);
}
