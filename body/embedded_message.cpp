// embedded_message.cpp - a message inside a message is not shown inline: it
// becomes a link to a sub-document the host can open as a mail of its own,
// named by its file name or else by its own subject.
#include "body/body.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"
#include "message/message.h"

namespace {

const char* LinkName(MessagePart* part, FilterProc* proc) {
    char* buffer = proc->paramBuf.text;
    uint32_t size = proc->paramBuf.size;
    if (GetFieldParam("content-disposition", "filename", buffer, size, part->headers)) return buffer;
    if (GetFieldParam("content-type", "name", buffer, size, part->headers)) return buffer;
    return nullptr;
}

constexpr const char* kUntitled = "Embedded Mail Message";

// The subject of the embedded message itself, or the fixed text.
void PutEmbeddedSubject(ByteReader* reader, MessagePart* part, FilterProc* proc) {
    ReaderSeek(reader, 0, 0);
    SkipBlanks(reader);
    uint32_t end = part->bodyOffset;
    HeaderList* headers = nullptr;
    if (FindBodyStart(reader, &proc->lineBuf, &end) != kNoHeader)
        headers = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
    if (headers) ParseHeader(reader, 0, end, headers, 0, &proc->lineBuf);
    const char* subject = FindField("subject", headers);
    PutText(subject ? subject : kUntitled, proc);
    HeaderListFree(headers);
}

}  // namespace

uint16_t EmbeddedMessageLink(ByteReader* reader, MessagePart* part, FilterProc* proc) {
    uint32_t number = 0;
    SoNewSubdoc(&number, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_SPECIAL, part->bodyOffset, part->bodyLength, proc);
    if (part->transferCode != 0) SoSetProperty(PROP_RECIPE_STEP, STEP_DECODE, part->transferCode, 0, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    const char* name = LinkName(part, proc);
    int32_t text = name ? RegisterText(name, proc) : -1;
    uint32_t record[3] = {0, number, static_cast<uint32_t>(text)};
    SoBeginTag(TAG_LINK, number, record, proc);
    SoSetProperty(PROP_ATTRIBUTE, ATTR_UNDERLINE, 1, 0, proc);
    SoSetTextColor(0, 0xFF0000, proc);
    // An embedded message without a header still gets a finished link with
    // the fixed text: answering "no header" here would leave the run on this
    // part for ever, as nothing moves it on.
    if (name)
        PutText(name, proc);
    else
        PutEmbeddedSubject(reader, part, proc);
    SoSetTextColor(0, 0, proc);
    SoSetProperty(PROP_ATTRIBUTE, ATTR_UNDERLINE, 0, 0, proc);
    SoEndTag(TAG_LINK, number, proc);
    return kWriterDone;
}
