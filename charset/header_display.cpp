// header_display.cpp - a part's header fields as a two-column table for the
// host, and the row of links to the part's attachments.
//
// Rows follow the header's order. Known fields are labelled with the host's
// fixed texts; every other field is shown with its own name under attribute
// 15. Attachment names are shown as written: they are not decoded here
// (a host that wants RFC 2047 or RFC 2231 names decodes them itself).
#include <cstring>

#include "charset/charset.h"
#include "core/emit.h"
#include "core/host_calls.h"
#include "host/constants.h"
#include "message/message.h"

namespace {

// The rowFormat words a plain row changes, and their values between rows.
constexpr size_t kRowWordA = 2;
constexpr size_t kRowWordB = 3;
constexpr uint32_t kRowBetweenA = 240;
constexpr uint32_t kRowBetweenB = 1;
constexpr uint32_t kRowPlainB = 3;

struct FieldLabel {
    const char* prefix;  // field names carry their colon
    uint32_t text;
};

// Tested in this order: "bcc:" before "cc:".
constexpr FieldLabel kFieldLabels[] = {
    {"from:", TXT_FROM},       {"to:", TXT_TO},     {"bcc:", TXT_BCC},
    {"cc:", TXT_CC},           {"subject:", TXT_SUBJECT}, {"date:", TXT_DATE},
    {"newsgroups:", TXT_NEWSGROUPS},
};

// The fixed text of a known field, or 0. The label must match at the start
// of the name, so "Resent-From:" is not a known field.
uint32_t LabelOf(const char* name) {
    if (!name) return 0;
    for (const FieldLabel& label : kFieldLabels)
        if (FindNoCase(name, label.prefix) == name) return label.text;
    return 0;
}

void ShowKnownField(uint16_t index, uint32_t label, const char* value, FilterProc* proc) {
    SoPutStringId(label, proc);
    SoPutBreak(BRK_CELL_END, proc);
    uint32_t record = label;
    SoBeginTag(TAG_HEADER_VALUE, index, &record, proc);
    PutEncodedText(value, proc);
    SoEndTag(TAG_HEADER_VALUE, index, proc);
}

void ShowPlainField(const char* name, const char* value, FilterProc* proc) {
    SoSetProperty(PROP_ATTRIBUTE, ATTR_FIELD_NAME, 1, 0, proc);
    PutText(name, proc);
    SoPutBreak(BRK_CELL_END, proc);
    PutEncodedText(value, proc);
    SoSetProperty(PROP_ATTRIBUTE, ATTR_FIELD_NAME, 0, 0, proc);
    proc->rowFormat[kRowWordA] = 0;
    proc->rowFormat[kRowWordB] = kRowPlainB;
}

// Closes a row of the header table or of the attachments table.
void CloseRow(FilterProc* proc) {
    SoPutBreak(BRK_CELL_END, proc);
    SoPutRowFormat(proc->rowFormat, proc);
    SoPutCellFormat(proc->cellFormatLeft, proc);
    SoPutCellFormat(proc->cellFormatRight, proc);
    SoPutBreak(BRK_ROW_END, proc);
}

bool IsLinkedAttachment(const AttachRecord& record, const MessagePart& part) {
    return !record.forFilter1028 && !record.forFilter1101 && record.ownerPart == part.partIndex;
}

// The record's name, or one from the part's header, which the record then
// keeps (attachments owns it). Null when neither has one.
const char* AttachmentName(AttachRecord* record, MessagePart* part, FilterProc* proc) {
    if (record->name) return record->name;
    TextBuffer& param = proc->paramBuf;
    if (!param.text || param.size == 0) return nullptr;
    const char* found =
        GetFieldParam("content-disposition", "filename", param.text, param.size, part->headers);
    if (!found) found = GetFieldParam("content-type", "name", param.text, param.size, part->headers);
    if (!found) return nullptr;
    // An empty value copies to nothing and leaves the record unnamed.
    char* copy = StringDup(static_cast<uint32_t>(std::strlen(found)), &record->nameBlock, found);
    if (copy) record->name = copy;
    return record->name;
}

void ShowAttachmentLink(uint16_t index, AttachRecord* record, MessagePart* part, FilterProc* proc) {
    uint32_t number = 0;
    SoNewSubdoc(&number, proc);
    SoSetProperty(PROP_RECIPE_STEP, STEP_SPECIAL, 0, index, proc);
    SoSetProperty(PROP_RECIPE_END, 0, 0, 0, proc);
    const char* name = AttachmentName(record, part, proc);
    const uint32_t tag[3] = {0, number, static_cast<uint32_t>(RegisterText(name, proc))};
    SoBeginTag(TAG_LINK, number, tag, proc);
    if (name) PutText(name, proc);
    else SoPutStringId(TXT_ATTACHMENTS, proc);
    SoEndTag(TAG_LINK, number, proc);
}

}  // namespace

void ShowHeaderBlock(MessagePart* part, FilterProc* proc) {
    HeaderList* headers = part->headers;
    uint16_t count = ListCount(headers);
    if (count == 0) return;
    SoBeginTable(proc);
    for (uint16_t i = 0; i < count; ++i) {
        const char* name = FieldName(i, headers);
        const char* value = FieldValue(i, headers);
        // A saved web page shows every field under its own name.
        uint32_t label = proc->formatId == FI_MHTML ? 0 : LabelOf(name);
        if (label) ShowKnownField(i, label, value, proc);
        else ShowPlainField(name, value, proc);
        CloseRow(proc);
        if (proc->rowFormat[kRowWordA] == 0) {
            proc->rowFormat[kRowWordA] = kRowBetweenA;
            proc->rowFormat[kRowWordB] = kRowBetweenB;
        }
    }
    SoEndTable(proc);
    // Encoded words left the host in 0x14B00000; the part's text is in its own set.
    AnnounceCharset(proc->charset, proc);
}

void ShowAttachmentRow(MessagePart* part, FilterProc* proc) {
    GrowList* attachments = proc->attachments;
    uint16_t count = ListCount(attachments);
    bool anyShown = false;
    for (uint16_t i = 0; i < count; ++i) {
        auto* record = ListAt<AttachRecord>(attachments, i);
        if (!IsLinkedAttachment(*record, *part)) continue;
        if (!anyShown) {
            SoBeginTable(proc);
            SoPutStringId(TXT_ATTACHMENTS, proc);
            SoPutBreak(BRK_CELL_END, proc);
            anyShown = true;
        } else {
            SoPutChar(' ', proc);
            SoPutSpecialChar(SPC_TAB, proc);
        }
        ShowAttachmentLink(i, record, part, proc);
    }
    if (!anyShown) return;
    CloseRow(proc);
    SoEndTable(proc);
}
