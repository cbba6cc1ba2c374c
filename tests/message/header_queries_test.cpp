// Questions put to parsed header lists: field lookup, parameters, the
// predicates, charset, multipart kind and body preference.
#include <gtest/gtest.h>

#include "charset/charset.h"
#include "message_fixture.h"

using message_test::Headers;

namespace {

std::string Param(const char* key, const char* text, uint32_t size = 256) {
    char out[256];
    const char* got = GetParam(key, text, out, size);
    return got ? std::string("[") + got + "]" : "null";
}

MessagePart PartOf(const Headers& h, uint32_t formatId = 0) {
    MessagePart part{};
    part.headers = h.list;
    part.formatId = formatId;
    return part;
}

}  // namespace

TEST(FindField, FirstFieldWhoseNameBeginsWithTheName) {
    Headers h(
        "Content-Type-Extra: first\n"
        "content-type: second\n"
        "X-Content-Id: no\n"
        "Content-Identifier: id\n"
        "Subject: s\n"
        "SUBJECT: s2\n\n");
    EXPECT_STREQ(FindField("content-type", h.list), "first");
    EXPECT_STREQ(FindField("content-id", h.list), "id");
    EXPECT_STREQ(FindField("subject", h.list), "s");
    EXPECT_EQ(FindField("to", h.list), nullptr);
    EXPECT_EQ(FindField(nullptr, h.list), nullptr);
    EXPECT_EQ(FindField("subject", nullptr), nullptr);

    EXPECT_STREQ(FieldName(4, h.list), "Subject:");
    EXPECT_STREQ(FieldValue(5, h.list), "s2");
    EXPECT_EQ(FieldName(6, h.list), nullptr);
    EXPECT_EQ(FieldValue(0, nullptr), nullptr);
}

TEST(GetParam, FindsTheFirstOccurrenceAndCopiesToTheSemicolon) {
    EXPECT_EQ(Param("boundary", "multipart/mixed; boundary=\"abc\"; x=y"), "[abc]");
    EXPECT_EQ(Param("charset", "text/plain; charset = utf-8"), "[utf-8]");  // blank before '='
    EXPECT_EQ(Param("CHARSET", "text/plain; Charset=\tiso-8859-1  "), "[iso-8859-1]");
    // Quotes are dropped and protect nothing.
    EXPECT_EQ(Param("name", "a; name=\"x;y.txt\""), "[x]");
    // "name" is found inside "filename".
    EXPECT_EQ(Param("name", "attachment; filename=f.pdf; name=n.pdf"), "[f.pdf]");
    // White space inside becomes blanks; trailing blanks go, one blank stays.
    EXPECT_EQ(Param("b", "b=\"a\tc\r\nd\""), "[a c  d]");
    EXPECT_EQ(Param("b", "b=\" \""), "[ ]");
    // A key with nothing behind it is found with an empty value.
    EXPECT_EQ(Param("charset", "text/plain; charset"), "[]");
    EXPECT_EQ(Param("charset", "text/plain; charset="), "[]");
    EXPECT_EQ(Param("charset", "text/plain"), "null");
    EXPECT_EQ(Param(nullptr, "x"), "null");
    EXPECT_EQ(Param("x", nullptr), "null");
    // The output size bounds what is stored.
    EXPECT_EQ(Param("boundary", "boundary=0123456789", 8), "[0123456]");

    Headers h("Content-Type: multipart/related; start=\"<a@b>\"; boundary=q\n\n");
    char out[64];
    EXPECT_STREQ(GetFieldParam("content-type", "start", out, sizeof out, h.list), "<a@b>");
    EXPECT_EQ(GetFieldParam("content-disposition", "filename", out, sizeof out, h.list), nullptr);
}

TEST(Predicates, AnswerFromWordsInRawValues) {
    Headers html("Content-Type: TEXT/HTML; charset=x\nContent-Transfer-Encoding: Quoted-Printable\n\n");
    EXPECT_EQ(IsTextOrMessage(html.list), 1u);
    EXPECT_EQ(IsHtmlPart(html.list), 1u);
    EXPECT_EQ(IsQuotedPrintable(html.list), 1u);
    EXPECT_EQ(HasBoundary(html.list), 0u);

    Headers message("Content-Type: message/rfc822\n\n");
    EXPECT_EQ(IsTextOrMessage(message.list), 1u);
    EXPECT_EQ(IsHtmlPart(message.list), 0u);

    Headers image("Content-Type: image/png\n\n");
    EXPECT_EQ(IsTextOrMessage(image.list), 0u);

    Headers multi("Content-Type: multipart/mixed; boundary=\"a very long boundary text\"\n\n");
    EXPECT_EQ(HasBoundary(multi.list), 1u);
    Headers noBoundary("Content-Type: multipart/mixed\n\n");
    EXPECT_EQ(HasBoundary(noBoundary.list), 0u);
    Headers notMulti("Content-Type: text/plain; boundary=x\n\n");
    EXPECT_EQ(HasBoundary(notMulti.list), 0u);

    for (HeaderList* none : {static_cast<HeaderList*>(nullptr), image.list}) {
        EXPECT_EQ(IsDigest(none), 0u);
        EXPECT_EQ(IsQuotedPrintable(none), 0u);
        EXPECT_EQ(IsAttachment(none, none), 0u);
        EXPECT_EQ(MatchesContentId(none, "x"), 0u);
    }
}

TEST(Predicates, IsDigestLooksAnywhereButMultipartKindOnlyBeforeTheSemicolon) {
    Headers digest("Content-Type: multipart/mixed; boundary=\"digest-sep\"\n\n");
    EXPECT_EQ(IsDigest(digest.list), 1u);
    MessagePart part = PartOf(digest);
    EXPECT_EQ(MultipartKind(&part), MP_OTHER);

    struct Case {
        const char* type;
        uint16_t kind;
    } cases[] = {
        {"multipart/alternative; boundary=x", MP_ALTERNATIVE},
        {"Multipart/Related; type=\"multipart/alternative\"", MP_RELATED},
        {"multipart/digest", MP_DIGEST},
        {"multipart/mixed; type=multipart/digest", MP_OTHER},
        // More than one word in front of the semicolon: digest, related, alternative.
        {"multipart/alternative multipart/related", MP_RELATED},
        {"text/plain", MP_OTHER},
    };
    for (const Case& c : cases) {
        Headers h(std::string("Content-Type: ") + c.type + "\n\n");
        MessagePart p = PartOf(h);
        EXPECT_EQ(MultipartKind(&p), c.kind) << c.type;
        EXPECT_EQ(p.multipartKind, c.kind) << c.type;
    }

    // The kind is cached: a stored kind is answered as it stands.
    Headers alt("Content-Type: multipart/alternative\n\n");
    MessagePart cached = PartOf(alt);
    cached.multipartKind = MP_DIGEST;
    EXPECT_EQ(MultipartKind(&cached), MP_DIGEST);

    MessagePart headerless{};
    EXPECT_EQ(MultipartKind(&headerless), MP_OTHER);
    EXPECT_EQ(headerless.multipartKind, MP_OTHER);
}

TEST(Predicates, ContentIdMatchIsExactContainment) {
    Headers h("Content-ID: <Part1@Example>\nContent-Location: http://x/Page.html\n\n");
    EXPECT_EQ(MatchesContentId(h.list, "Part1@Example"), 1u);
    EXPECT_EQ(MatchesContentId(h.list, "<Part1@Example>"), 1u);
    EXPECT_EQ(MatchesContentId(h.list, "part1@example"), 0u);
    EXPECT_EQ(MatchesContentId(h.list, "Page.html"), 1u);
    EXPECT_EQ(MatchesContentId(h.list, nullptr), 0u);
    // An empty identifier is contained in every content-id.
    EXPECT_EQ(MatchesContentId(h.list, ""), 1u);
}

TEST(Predicates, AttachmentByDispositionAndTheInlineTextRule) {
    Headers attached("Content-Disposition: ATTACHMENT; filename=a.pdf\n\n");
    Headers inlineNamed("Content-Type: text/plain\nContent-Disposition: inline; filename=\"a.txt\"\n\n");
    Headers inlineBare("Content-Type: text/plain\nContent-Disposition: inline\n\n");
    Headers inlineHtml("Content-Type: text/html\nContent-Disposition: inline; filename=a.html\n\n");
    Headers other("Content-Disposition: form-data; filename=a\n\n");
    Headers fromTheProgram("User-Agent: Mozilla/5.0 Thunderbird/115.0\n\n");
    Headers fromElsewhere("User-Agent: Other\n\n");

    EXPECT_EQ(IsAttachment(attached.list, fromElsewhere.list), 1u);
    EXPECT_EQ(IsAttachment(other.list, fromTheProgram.list), 0u);
    EXPECT_EQ(IsAttachment(inlineNamed.list, fromElsewhere.list), 0u);
    EXPECT_EQ(IsAttachment(inlineNamed.list, fromTheProgram.list), 1u);
    EXPECT_EQ(IsAttachment(inlineBare.list, fromTheProgram.list), 0u);
    EXPECT_EQ(IsAttachment(inlineHtml.list, fromTheProgram.list), 0u);
    EXPECT_EQ(IsAttachment(inlineNamed.list, nullptr), 0u);
}

TEST(PartCharset, NamedEmptyOrMissing) {
    constexpr uint32_t kDefault = 0x12345678;
    Headers named("Content-Type: text/plain; charset=\"ISO-8859-1\"\n\n");
    EXPECT_EQ(PartCharset(named.list, kDefault), ResolveCharset("ISO-8859-1"));
    // The word present with no usable value behind it resolves an empty name.
    Headers empty("Content-Type: text/plain; charset=\n\n");
    EXPECT_EQ(PartCharset(empty.list, kDefault), ResolveCharset(""));
    Headers without("Content-Type: text/plain; format=flowed\n\n");
    EXPECT_EQ(PartCharset(without.list, kDefault), kDefault);
    Headers noType("Subject: charset=utf-8\n\n");
    EXPECT_EQ(PartCharset(noType.list, kDefault), kDefault);
    EXPECT_EQ(PartCharset(nullptr, kDefault), kDefault);
}

TEST(BodyPreference, TypesAndFormatIds) {
    struct Case {
        const char* header;
        uint32_t formatId;
        uint16_t preference;
    } cases[] = {
        {"Content-Type: text/plain\n\n", 0, PREF_PLAIN},
        {"Content-Type: text/richtext\n\n", 0, PREF_RICHTEXT},
        {"Content-Type: text/enriched\n\n", 0, PREF_ENRICHED},
        {"Content-Type: text/html\n\n", 0, PREF_HTML},
        {"Content-Type: text/html\n\n", 1999, PREF_HTML},
        {"Content-Type: text/plain\n\n", 1101, PREF_HTML},
        {"Content-Type: text/html\n\n", 1028, PREF_RTF},
        {"Subject: no type\n\n", 1028, PREF_RTF},
        {"Subject: no type\n\n", 0, PREF_NONE},
        {"Content-Type: image/gif\n\n", 1500, PREF_NONE},
        // The first word in the table's order wins, wherever it stands.
        {"Content-Type: text/html; x=text/plain\n\n", 0, PREF_PLAIN},
    };
    for (const Case& c : cases) {
        Headers h(c.header);
        MessagePart part = PartOf(h, c.formatId);
        EXPECT_EQ(BodyPreference(&part), c.preference) << c.header << " " << c.formatId;
    }
    EXPECT_EQ(BodyPreference(nullptr), PREF_NONE);
}
