// header_queries.cpp - read-only questions put to a header list or a part.
//
// Words are looked for in a field's raw value by substring search without
// regard to case; no value grammar is parsed. Only the content-id match is
// exact. Nothing here changes a list; the one record written is the cache of
// a part's multipart kind. Every query accepts a null list.
#include <cstring>

#include "mailtext/charset_names.h"
#include "message/message.h"

namespace {

constexpr uint32_t kFormatHtml = 1101;
constexpr uint32_t kFormatRtf = 1028;

bool FieldHas(const char* field, const char* word, HeaderList* headers) {
    const char* value = FindField(field, headers);
    return value != nullptr && FindNoCase(value, word) != nullptr;
}

// Blank, tab, LF, CR and backspace all count as white space in a parameter.
bool IsParamSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\b'; }

// True when `word` occurs first somewhere in front of `end`.
bool HasWordBefore(const char* value, const char* end, const char* word) {
    const char* at = FindNoCase(value, word);
    return at != nullptr && at < end;
}

}  // namespace

const char* FieldName(uint16_t index, HeaderList* headers) {
    if (headers == nullptr || index >= ListCount(headers)) return nullptr;
    return ListAt<HeaderField>(headers, index)->name;
}

const char* FieldValue(uint16_t index, HeaderList* headers) {
    if (headers == nullptr || index >= ListCount(headers)) return nullptr;
    return ListAt<HeaderField>(headers, index)->value;
}

const char* FindField(const char* name, HeaderList* headers) {
    if (name == nullptr) return nullptr;
    uint16_t count = ListCount(headers);
    for (uint16_t i = 0; i < count; ++i) {
        const char* fieldName = FieldName(i, headers);
        // A prefix match on the stored name: "content-id" also meets
        // Content-Identifier.
        if (fieldName != nullptr && FindNoCase(fieldName, name) == fieldName) return FieldValue(i, headers);
    }
    return nullptr;
}

char* GetParam(const char* key, const char* text, char* out, uint32_t size) {
    // With no room even for the terminating zero there is no answer to give.
    if (key == nullptr || text == nullptr || out == nullptr || size == 0) return nullptr;
    const char* at = FindNoCase(text, key);
    if (at == nullptr) return nullptr;
    at += std::strlen(key);
    while (*at != '\0' && *at != '=') ++at;
    while (*at == '=' || IsParamSpace(*at)) ++at;
    // Quotes give no protection: a semicolon inside them ends the value too.
    uint32_t stored = 0;
    for (; *at != '\0' && *at != ';'; ++at) {
        if (*at == '"' || stored >= size - 1) continue;
        out[stored++] = IsParamSpace(*at) ? ' ' : *at;
    }
    while (stored > 1 && out[stored - 1] == ' ') --stored;
    out[stored] = '\0';
    return out;
}

char* GetFieldParam(const char* field, const char* key, char* out, uint32_t size,
                    HeaderList* headers) {
    return GetParam(key, FindField(field, headers), out, size);
}

uint32_t IsTextOrMessage(HeaderList* headers) {
    return FieldHas("content-type", "text", headers) || FieldHas("content-type", "rfc822", headers);
}

uint32_t IsHtmlPart(HeaderList* headers) { return FieldHas("content-type", "text/html", headers); }

uint32_t HasBoundary(HeaderList* headers) {
    if (!FieldHas("content-type", "multipart", headers)) return 0;
    char answer[8];
    return GetFieldParam("content-type", "boundary", answer, sizeof answer, headers) != nullptr;
}

uint32_t IsDigest(HeaderList* headers) { return FieldHas("content-type", "digest", headers); }

uint32_t MatchesContentId(HeaderList* headers, const char* identifier) {
    if (identifier == nullptr) return 0;
    // Exact and with case; angle brackets need no care as only containment
    // is asked.
    const char* id = FindField("content-id", headers);
    if (id != nullptr && std::strstr(id, identifier) != nullptr) return 1;
    const char* location = FindField("content-location", headers);
    return location != nullptr && std::strstr(location, identifier) != nullptr;
}

uint32_t IsAttachment(HeaderList* part, HeaderList* multipart) {
    const char* disposition = FindField("content-disposition", part);
    if (disposition == nullptr) return 0;
    if (FindNoCase(disposition, "attachment") != nullptr) return 1;
    if (FindNoCase(disposition, "inline") == nullptr) return 0;
    // One mail program marks attached text files inline; a named text/plain
    // part from it is still an attachment.
    if (!FieldHas("user-agent", "thunderbird", multipart)) return 0;
    if (!FieldHas("content-type", "text/plain", part)) return 0;
    char fileName[64];
    return GetFieldParam("content-disposition", "filename", fileName, sizeof fileName, part) != nullptr;
}

uint32_t IsQuotedPrintable(HeaderList* headers) {
    return FieldHas("content-transfer-encoding", "quoted-printable", headers);
}

uint32_t PartCharset(HeaderList* headers, uint32_t defaultCharset) {
    const char* type = FindField("content-type", headers);
    if (type == nullptr || FindNoCase(type, "charset") == nullptr) return defaultCharset;
    char name[64];
    GetParam("charset", type, name, sizeof name);
    return ResolveCharset(name);
}

uint16_t MultipartKind(MessagePart* part) {
    if (part == nullptr) return MP_OTHER;
    if (part->multipartKind != MP_UNKNOWN) return part->multipartKind;
    part->multipartKind = MP_OTHER;
    const char* type = FindField("content-type", part->headers);
    if (type == nullptr) return MP_OTHER;
    // Only the type in front of the parameters counts.
    const char* end = std::strchr(type, ';');
    if (end == nullptr) end = type + std::strlen(type);
    if (HasWordBefore(type, end, "multipart/digest")) {
        part->multipartKind = MP_DIGEST;
    } else if (HasWordBefore(type, end, "multipart/related")) {
        part->multipartKind = MP_RELATED;
    } else if (HasWordBefore(type, end, "multipart/alternative")) {
        part->multipartKind = MP_ALTERNATIVE;
    }
    return part->multipartKind;
}

uint16_t BodyPreference(const MessagePart* part) {
    if (part == nullptr) return PREF_NONE;
    if (part->formatId == kFormatRtf) return PREF_RTF;
    if (part->formatId == kFormatHtml) return PREF_HTML;
    const char* type = FindField("content-type", part->headers);
    if (type == nullptr) return PREF_NONE;
    if (FindNoCase(type, "text/plain") != nullptr) return PREF_PLAIN;
    if (FindNoCase(type, "text/richtext") != nullptr) return PREF_RICHTEXT;
    if (FindNoCase(type, "text/enriched") != nullptr) return PREF_ENRICHED;
    if (FindNoCase(type, "text/html") != nullptr) return PREF_HTML;
    return PREF_NONE;
}
