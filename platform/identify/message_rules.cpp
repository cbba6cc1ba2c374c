// message_rules.cpp - does a window start like a message: an mbox "From "
// line, a saved web page (MHTML), a block of MIME fields alone, or an RFC 822
// mail or news header.
//
// The header block is judged by its field names only; values are not parsed,
// except that Content-Type is searched for "multipart/related". The block
// ends at the first blank line, or at the first line that is neither a field
// nor a folded continuation (a body glued to its header). Nothing here reads
// past the window.
#include <cctype>

#include "platform/identify/identify.h"
#include "platform/identify/lines.h"

using namespace identify;

namespace {

constexpr uint16_t kMbox = 1817;
constexpr uint16_t kMhtml = 1198;
constexpr uint16_t kMimeOnly = 1187;
constexpr uint16_t kNews = 1193;
constexpr uint16_t kMail = 1192;

// What the leading header block holds.
struct HeaderSummary {
    unsigned fields = 0;
    bool mailField = false;       // any field that makes a mail header
    bool personalField = false;   // From, To, Subject, Date, Received, Message-ID
    bool contentField = false;    // Content-*
    bool newsgroups = false;
    bool relatedType = false;     // Content-Type names multipart/related
    bool contentLocation = false; // (Snapshot-)Content-Location in this block
    bool transitFields = false;   // Received or Message-ID: a mail that travelled
};

// Length of the field name when `line` is a field line ("Name: value"), else 0.
// RFC 5322 names are printable ASCII without ':'; blanks before the colon are
// an obsolete form that old mail still carries.
size_t FieldNameLength(const TextLine& line) {
    size_t n = 0;
    while (n < line.length && line.text[n] > ' ' && line.text[n] < 127 && line.text[n] != ':') ++n;
    if (n == 0) return 0;
    size_t colon = n;
    while (colon < line.length && (line.text[colon] == ' ' || line.text[colon] == '\t')) ++colon;
    return colon < line.length && line.text[colon] == ':' ? n : 0;
}

bool NameIs(const TextLine& line, size_t nameLength, const char* name) {
    size_t i = 0;
    for (; i < nameLength && name[i] != '\0'; ++i) {
        if (LowerAscii(line.text[i]) != name[i]) return false;
    }
    return i == nameLength && name[i] == '\0';
}

bool NameIsAny(const TextLine& line, size_t nameLength, const char* const* names) {
    for (; *names != nullptr; ++names) {
        if (NameIs(line, nameLength, *names)) return true;
    }
    return false;
}

constexpr const char* kPersonalFields[] = {"from", "to", "subject", "date", "received",
                                           "message-id", nullptr};
constexpr const char* kOtherMailFields[] = {"mime-version", "return-path", "path", nullptr};

void NoteField(const TextLine& line, size_t nameLength, HeaderSummary* summary) {
    ++summary->fields;
    bool personal = NameIsAny(line, nameLength, kPersonalFields);
    summary->personalField |= personal;
    summary->mailField |= personal || NameIsAny(line, nameLength, kOtherMailFields);
    summary->contentField |= StartsWithNoCase(line, "content-");
    summary->newsgroups |= NameIs(line, nameLength, "newsgroups");
    summary->transitFields |= NameIs(line, nameLength, "received") ||
                              NameIs(line, nameLength, "message-id");
    summary->contentLocation |= NameIs(line, nameLength, "content-location") ||
                                NameIs(line, nameLength, "snapshot-content-location");
}

// Reads the header block at the cursor; folded lines belong to the field
// above them.
HeaderSummary ScanHeader(LineCursor* cursor) {
    HeaderSummary summary;
    bool inContentType = false;
    TextLine line;
    while (cursor->Next(&line)) {
        if (line.length == 0) break;
        bool folded = line.text[0] == ' ' || line.text[0] == '\t';
        if (folded && summary.fields == 0) break;
        if (!folded) {
            size_t nameLength = FieldNameLength(line);
            if (nameLength == 0) break;
            NoteField(line, nameLength, &summary);
            inContentType = NameIs(line, nameLength, "content-type");
        }
        if (inContentType && ContainsNoCase(line.text, line.length, "multipart/related")) {
            summary.relatedType = true;
        }
    }
    return summary;
}

bool HasTimeOfDay(const TextLine& line) {
    for (size_t i = 0; i + 4 <= line.length; ++i) {
        const char* p = line.text + i;
        if (isdigit(static_cast<unsigned char>(p[0])) && p[1] == ':' &&
            isdigit(static_cast<unsigned char>(p[2])) && isdigit(static_cast<unsigned char>(p[3]))) {
            return true;
        }
    }
    return false;
}

// An mbox separator: "From " and the envelope sender, then a date with a time
// of day, or directly a header field on the next line. Text that merely
// starts with the word "From " (a body part) must not pass.
bool IsMboxStart(const uint8_t* data, size_t length) {
    LineCursor cursor(data, length);
    TextLine first;
    if (!cursor.Next(&first) || !StartsWith(first, "From ")) return false;
    // Some mail stores write a bare "From " line; it still separates when a
    // header field follows directly.
    bool bare = first.length == 5;
    if (!bare && first.text[5] == ' ') return false;
    if (!bare && HasTimeOfDay(first)) return true;
    TextLine next;
    return cursor.Next(&next) && FieldNameLength(next) != 0;
}

// A saved page names its address in the top header (browsers) or, from
// other savers, only in the first part's header; the latter counts only when
// the top header shows no sign of a travelled mail, since HTML mail with
// pictures is multipart/related too.
bool LaterContentLocation(LineCursor* cursor) {
    TextLine line;
    while (cursor->Next(&line)) {
        if (line.length > 0 && FieldNameLength(line) != 0 &&
            (StartsWithNoCase(line, "content-location") ||
             StartsWithNoCase(line, "snapshot-content-location"))) {
            return true;
        }
    }
    return false;
}

}  // namespace

uint16_t IdentifyMessage(const uint8_t* data, size_t length) {
    if (IsMboxStart(data, length)) return kMbox;
    LineCursor cursor(data, length);
    HeaderSummary header = ScanHeader(&cursor);
    if (header.fields == 0) return 0;
    if (header.relatedType &&
        (header.contentLocation || (!header.transitFields && LaterContentLocation(&cursor)))) {
        return kMhtml;
    }
    if (header.contentField && !header.personalField) return kMimeOnly;
    if (header.fields >= 2 && header.mailField) return header.newsgroups ? kNews : kMail;
    return 0;
}
