// classify.cpp - settles, once per leaf part, what its body is: `formatId`
// and `transferCode`. The identification service names the raw bytes; when
// they look like text (or the header says quoted-printable) the sniffer names
// a transfer encoding, and the service then looks at the decoded data through
// the host's decoding stage.
//
// A body the service names as something other than text is not read here at
// all. Nothing is emitted; the part's other fields are not touched.
#include "encoded/encoded.h"
#include "core/emit.h"
#include "host/constants.h"
#include "host/services.h"
#include "message/message.h"

namespace {

IoObject* const kNoObject = reinterpret_cast<IoObject*>(~uintptr_t{0});

// The answers on the raw bytes that send a body to the sniffer: text, and the
// openings of the line encodings.
bool LooksLikeText(uint16_t format) {
    return format == FI_TEXT || format == FI_UUE || format == FI_XXE || format == FI_YENC ||
           format == FI_BINHEX;
}

// Decoded data of these kinds is shown as what it is, not as text.
bool TakesDecodedFormat(uint16_t format) {
    return (format >= FI_EMBEDDABLE_FIRST && format <= FI_EMBEDDABLE_LAST) || format == FI_HTML ||
           format == FI_RTF || format == FI_TNEF;
}

uint16_t Identify(IoObject* object) {
    uint16_t format = FI_UNKNOWN;
    IdentifyHandle(object, 1, &format);
    return format;
}

uint32_t SniffObject(IoObject* object, uint32_t limit, uint32_t qpHint, TextBuffer* scratch) {
    ByteReader* reader = ReaderOpen(object);
    // Left to us: a reader that can't be made leaves the body unreadable,
    // which is no encoding.
    if (!reader) return TC_NONE;
    uint32_t code = SniffEncoded(reader, limit, qpHint, 1, scratch);
    ReaderClose(reader);
    return code;
}

// What lies under the encoding decides the format when the service can name
// it; otherwise a declared text/html still makes the body HTML.
void LookBeneath(IoObject* raw, MessagePart* part) {
    IoObject* decoded = kNoObject;
    IoDecodeRequest request{raw, 0, part->transferCode, {}};
    int32_t opened = raw->Open(&decoded, IO_OPEN_DECODE, &request, 1);
    if (opened == 0 && IsOpenObject(decoded)) {
        uint16_t format = Identify(decoded);
        if (TakesDecodedFormat(format)) {
            part->formatId = format;
        } else if (IsHtmlPart(part->headers)) {
            part->formatId = FI_HTML;
        }
    }
    if (IsOpenObject(decoded)) decoded->Close(decoded);
}

// A body in no encoding may still be UTF-7 by its charset, which the decoding
// stage turns into 16-bit units.
void ClassifyPlain(MessagePart* part, TextBuffer* scratch) {
    const char* charset =
        GetFieldParam("content-type", "charset", scratch->text, scratch->size, part->headers);
    if (charset && FindNoCase(charset, "utf-7")) part->transferCode = TC_UTF7;
    if (IsHtmlPart(part->headers)) part->formatId = FI_HTML;
}

}  // namespace

void ClassifyPart(IoObject* stream, MessagePart* part, TextBuffer* scratch, uint32_t documentFormat) {
    uint32_t first = part->bodyOffset;
    uint32_t last = part->bodyLength == kToTheEnd ? kToTheEnd : first + part->bodyLength - 1;
    uint32_t qpHint = IsQuotedPrintable(part->headers);

    IoObject* raw = kNoObject;
    IoRangeRequest range{stream, first, last};
    int32_t opened = stream->Open(&raw, IO_OPEN_RANGE, &range, 1);
    if (opened != 0 || !IsOpenObject(raw)) {
        if (IsOpenObject(raw)) raw->Close(raw);
        return;
    }

    // A plain-text mail document is not identified part by part.
    uint16_t answer = documentFormat == FI_TEXT_MAIL ? FI_TEXT_MAIL_PART : Identify(raw);
    part->formatId = answer;
    if (LooksLikeText(answer) || qpHint) {
        part->transferCode = SniffObject(raw, last - first, qpHint, scratch);
        part->formatId = FI_TEXT;
        if (part->transferCode != TC_NONE) {
            LookBeneath(raw, part);
        } else {
            ClassifyPlain(part, scratch);
        }
    }
    raw->Close(raw);
}
