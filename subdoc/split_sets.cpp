// split_sets.cpp - finding the files a split document continues in: numbered
// siblings (a01.uue, a02.uue ...), news articles saved one per file, and
// uuencoded files that name their successor in an "include " line. The
// pieces go into multiFile, the document first; the read of such a document
// is then the one link that SplitFileWrite declares.
#include <cstring>

#include "charset/charset.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "message/message.h"
#include "subdoc/subdoc.h"

namespace {

constexpr uint32_t kOpenUsual = 1;
// The longest digit run that still counts a file; longer runs are not tried.
constexpr size_t kMaxRunDigits = 16;
// An "include " line is looked for only in this many bytes at a file's end.
constexpr int32_t kIncludeTail = 256;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsPieceFormat(uint32_t formatId) {
    return formatId == FI_UUE_PIECE || formatId == FI_XXE_PIECE || formatId == FI_YENC_PIECE ||
           formatId == FI_BINHEX_PIECE;
}

bool IsNewsKind(uint32_t formatId) { return formatId == FI_INTERNET_NEWS || formatId == FI_OUTLOOK_NEWS; }

// A sibling must stay in the folder of the first piece, whatever a file's
// data says: no separators, no parent, nothing empty or too long.
bool SafeSiblingName(const char* name) {
    size_t length = std::strlen(name);
    if (length == 0 || length >= kSiblingNameSize) return false;
    if (std::strchr(name, '/') || std::strchr(name, '\\')) return false;
    return std::strcmp(name, ".") != 0 && std::strstr(name, "..") == nullptr;
}

bool FillSiblingRequest(IoSiblingRequest* request, IoObject* stream, const char* name) {
    std::memset(request, 0, sizeof *request);
    request->base = stream;
    if (!SafeSiblingName(name)) return false;
    std::memcpy(request->name, name, std::strlen(name) + 1);
    return true;
}

IoObject* OpenSibling(IoSiblingRequest* request) {
    IoObject* base = request->base;
    if (!base || !base->Open) return nullptr;
    return OpenOn(base, IO_OPEN_SIBLING, request, kOpenUsual);
}

void CloseObject(IoObject* object) {
    if (IsOpenObject(object)) object->Close(object);
}

// A copy of `text` into the record's own block; null text leaves it empty.
void CopyName(SplitFileRecord* record, const char* text) {
    record->nameBlock = record->name = nullptr;
    if (!text || !*text) return;
    record->name = StringDup(static_cast<uint32_t>(std::strlen(text)) + 1, &record->nameBlock, text);
    if (!record->name) record->nameBlock = nullptr;
}

bool AddRecord(FilterProc* proc, SplitFileRecord* record) {
    if (!proc->multiFile) proc->multiFile = ListCreate(0, 0, sizeof(SplitFileRecord), 4, 4);
    if (proc->multiFile && ListAdd(proc->multiFile, record) >= 0) return true;
    StringFree(record->nameBlock);
    return false;
}

// An "include " line among the last bytes of what `reader` reads: its start
// (0 when there is none), with the name it holds in `name`. Blanks and line
// ends behind the name are not part of it.
uint32_t FindIncludeLine(ByteReader* reader, TextBuffer* line, char* name) {
    if (ReaderSeek(reader, -kIncludeTail, 2) != 0) return 0;
    uint32_t at = SkipToLine(reader, line, "include ");
    if (at == 0) return 0;
    size_t length = std::strlen(line->text);
    while (length > 0 && (line->text[length - 1] == ' ' || line->text[length - 1] == '\t' ||
                          line->text[length - 1] == '\r' || line->text[length - 1] == '\n'))
        --length;
    if (length >= kSiblingNameSize) return 0;
    std::memcpy(name, line->text, length);
    name[length] = '\0';
    return at;
}

// A chain that names a file it already passed would never end.
bool AlreadyInSet(const GrowList* pieces, const char* name, const char* documentName) {
    if (documentName && std::strcmp(name, documentName) == 0) return true;
    for (uint16_t i = 1; i < ListCount(pieces); ++i)
        if (std::strcmp(ListAt<SplitFileRecord>(pieces, i)->openSpec.name, name) == 0) return true;
    return false;
}

// Whether the piece of FormatId `format` that `reader` reads closes its data.
bool PieceEndsData(ByteReader* reader, TextBuffer* line, uint32_t format) {
    switch (format) {
        case FI_UUE_PIECE:
        case FI_XXE_PIECE: return SkipToLine(reader, line, "end") != 0;
        case FI_YENC_PIECE:
            return SkipToLine(reader, line, "=ybegin") != 0 && SkipToLine(reader, line, "=yend") != 0;
        case FI_BINHEX_PIECE: {
            uint16_t index = 0;
            ReadUntil(reader, line, &index, ":", 0);
            return ReaderGet(reader) == ':';
        }
        // The search ended at a file that is no piece at all.
        default: return false;
    }
}

uint16_t IdentifyRange(IoObject* base, uint32_t first) {
    IoRangeRequest range{base, first, kToTheEnd};
    IoObject* object = OpenOn(base, IO_OPEN_RANGE, &range, kOpenUsual);
    if (!object) return 0;
    uint16_t format = IdentifySpecial(object, FI_UUE);
    object->Close(object);
    return format;
}

}  // namespace

uint32_t SiblingExists(const char* name, IoObject* stream) {
    IoSiblingRequest request;
    if (!stream || !stream->Open || !FillSiblingRequest(&request, stream, name)) return 0;
    IoObject* object = nullptr;
    int32_t result = stream->Open(&object, IO_OPEN_SIBLING, &request, kOpenUsual);
    if ((result & 0xFFFF) != 0) return 0;
    CloseObject(object);
    return 1;
}

void NumberedName(char* out, const char* pattern, uint16_t number) {
    out[0] = '\0';
    const char* run = std::strchr(pattern, kNumberMark);
    if (!run) return;
    size_t width = 0;
    while (run[width] == kNumberMark) ++width;
    char digits[kMaxRunDigits + 1];
    size_t count = 0;
    uint32_t value = number;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count < width && count < kMaxRunDigits) digits[count++] = '0';
    size_t head = static_cast<size_t>(run - pattern);
    size_t tail = std::strlen(run + width);
    if (head + count + tail >= kSiblingNameSize) return;
    std::memcpy(out, pattern, head);
    for (size_t i = 0; i < count; ++i) out[head + i] = digits[count - 1 - i];
    std::memcpy(out + head + count, run + width, tail + 1);
}

uint16_t NumberPatternFind(char* pattern, const char* name, IoObject* stream) {
    pattern[0] = '\0';
    if (!name) return 0;
    size_t length = std::strlen(name);
    if (length == 0 || length >= kSiblingNameSize) return 0;
    char probe[kSiblingNameSize];
    // Runs from the right; one that starts the name is never tried.
    size_t end = length;
    while (end > 0) {
        while (end > 0 && !IsDigit(name[end - 1])) --end;
        size_t start = end;
        while (start > 0 && IsDigit(name[start - 1])) --start;
        if (start == 0) break;
        if (end - start <= kMaxRunDigits) {
            std::memcpy(pattern, name, length + 1);
            uint16_t number = 0;
            for (size_t i = start; i < end; ++i) {
                number = static_cast<uint16_t>(number * 10 + (name[i] - '0'));  // wraps at 16 bits
                pattern[i] = kNumberMark;
            }
            NumberedName(probe, pattern, static_cast<uint16_t>(number + 1));
            if (probe[0] && SiblingExists(probe, stream)) return number;
        }
        end = start;
    }
    // Names that count in letters (parta, partb ...) are probed but not
    // followed: the answer stays "no set".
    if (name[length - 1] == 'a') {
        std::memcpy(probe, name, length + 1);
        probe[length - 1] = 'b';
        SiblingExists(probe, stream);
    }
    pattern[0] = '\0';
    return 0;
}

int16_t SplitSetFind(IoObject* stream, uint32_t offset, const char* name, FilterProc* proc) {
    const bool news = IsNewsKind(proc->formatId);
    // Siblings are numbered after the document's own file name; the name
    // found in the data only labels the link. Without a file name the data's
    // name is all there is to count in.
    const char* counted = proc->nameBuf.text && proc->nameBuf.text[0] ? proc->nameBuf.text : name;
    char pattern[kSiblingNameSize];
    uint16_t first = NumberPatternFind(pattern, counted, stream);
    if (first == 0) return 0;

    SplitFileRecord record{};
    if (news) {
        IoRangeRequest range{stream, offset, kToTheEnd};
        IoObject* body = OpenOn(stream, IO_OPEN_RANGE, &range, kOpenUsual);
        if (!body) return VW_ERR_NOT_MINE;
        record.formatId = IdentifySpecial(body, FI_UUE);
        body->Close(body);
    } else {
        record.formatId = proc->formatId;
    }
    CopyName(&record, name);
    record.file = stream;
    if (!AddRecord(proc, &record)) return 0;

    uint16_t current = first;
    uint32_t lastFormat = 0;
    for (;;) {
        uint16_t next = static_cast<uint16_t>(current + 1);
        if (next == first) break;  // the numbers went all the way round
        record = SplitFileRecord{};
        char sibling[kSiblingNameSize];
        NumberedName(sibling, pattern, next);
        if (!FillSiblingRequest(&record.openSpec, stream, sibling)) break;
        IoObject* object = OpenSibling(&record.openSpec);
        if (!object) break;
        uint32_t format;
        if (!news) {
            format = IdentifySpecial(object, FI_UUE);
        } else {
            ByteReader* reader = ReaderOpen(object);
            const bool readable = reader != nullptr;
            uint32_t bodyStart = 0;
            if (readable) FindBodyStart(reader, &proc->lineBuf, &bodyStart);
            ReaderClose(reader);
            format = readable ? IdentifyRange(object, bodyStart) : 0;
            record.dataOffset = bodyStart;
            if (format == 0) {
                object->Close(object);
                return VW_ERR_SPLIT_END;
            }
        }
        object->Close(object);
        lastFormat = format;
        if (!IsPieceFormat(format)) break;
        record.formatId = format;
        CopyName(&record, sibling);
        record.file = stream;
        if (!AddRecord(proc, &record)) break;
        current = next;
    }
    // No piece followed: the set is the document alone, and it is read as
    // a split file all the same (a news article that merely has a numbered
    // neighbour becomes its own link).
    if (current == first) return 0;

    // The set must end because the next number is missing, and its last piece
    // must close the data.
    IoSiblingRequest last;
    char lastName[kSiblingNameSize];
    NumberedName(lastName, pattern, current);
    if (!FillSiblingRequest(&last, stream, lastName)) return VW_ERR_SPLIT_END;
    IoObject* object = OpenSibling(&last);
    if (!object) return VW_ERR_SPLIT_END;
    ByteReader* reader = ReaderOpen(object);
    bool complete = reader && PieceEndsData(reader, &proc->lineBuf, lastFormat);
    ReaderClose(reader);
    object->Close(object);
    return complete ? VW_OK : VW_ERR_SPLIT_END;
}

void IncludeChainFind(ByteReader* reader, IoObject* stream, const char* name, FilterProc* proc) {
    char fileName[kSiblingNameSize];
    SplitFileRecord record{};
    record.endOffset = FindIncludeLine(reader, &proc->lineBuf, fileName);
    if (record.endOffset == 0) return;
    const char* documentName = proc->nameBuf.text;
    bool haveName = true;
    while (haveName) {
        if (!proc->multiFile) {
            CopyName(&record, name);
            record.formatId = proc->formatId;
            record.file = stream;
            if (!AddRecord(proc, &record)) return;
        }
        if (AlreadyInSet(proc->multiFile, fileName, documentName)) return;
        record = SplitFileRecord{};
        if (!FillSiblingRequest(&record.openSpec, stream, fileName)) return;
        IoObject* object = OpenSibling(&record.openSpec);
        if (!object) return;
        uint16_t format = IdentifySpecial(object, FI_UUE);
        char nextName[kSiblingNameSize];
        ByteReader* next = ReaderOpen(object);
        record.endOffset = next ? FindIncludeLine(next, &proc->lineBuf, nextName) : 0;
        haveName = record.endOffset != 0;
        ReaderClose(next);
        object->Close(object);
        if (format != FI_UUE_PIECE) return;
        CopyName(&record, fileName);
        record.formatId = proc->formatId;
        record.file = stream;
        if (!AddRecord(proc, &record)) return;
        std::memcpy(fileName, nextName, sizeof fileName);
    }
}

int16_t SplitFileWrite(IoObject* stream, FilterProc* proc) {
    auto* record = ListAt<SplitFileRecord>(proc->multiFile, 0);
    uint32_t code;
    switch (record->formatId) {
        case FI_UUE: case FI_UUE_PIECE: code = TC_UUENCODE; break;
        case FI_XXE: case FI_XXE_PIECE: code = TC_XXENCODE; break;
        case FI_YENC: case FI_YENC_PIECE: code = TC_YENC; break;
        case FI_BINHEX: case FI_BINHEX_PIECE: code = TC_BINHEX; break;
        default: code = TC_DETECT; break;
    }
    if (IsNewsKind(proc->formatId)) {
        ShowHeaderBlock(ListAt<MessagePart>(proc->parts, 0), proc);
        SoPutBreak(1, proc);
    }
    uint32_t number = 0;
    SoNewSubdoc(&number, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_SPECIAL, 1, 0, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_DECODE, code, 0, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    const char* name = record->name;
    uint32_t text = name ? static_cast<uint32_t>(RegisterText(name, proc)) : 0;

    uint16_t format = FI_UNKNOWN;
    IoDecodeRequest request{stream, 0, code, {}};
    IoObject* decoded = reinterpret_cast<IoObject*>(~uintptr_t{0});
    if (stream->Open && stream->Open(&decoded, IO_OPEN_DECODE, &request, kOpenUsual) == 0 &&
        IsOpenObject(decoded))
        IdentifyHandle(decoded, 1, &format);
    CloseObject(decoded);

    const uint32_t tag[3] = {0, number, text};
    SoBeginTag(TAG_LINK, number, tag, proc);
    if (IsEmbeddable(format)) {
        PutObject(number, 0, proc);
    } else {
        SoSetTextColor(0, 0xFF0000, proc);
        if (name) PutText(name, proc);
        else SoPutStringId(TXT_ATTACHMENTS, proc);
        SoSetTextColor(0, 0, proc);
    }
    SoEndTag(TAG_LINK, number, proc);
    SoPutBreak(2, proc);
    return VW_OK;
}
