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

TEST(HeaderQueries, FindFieldIsAPrefixMatchOnTheName) {
    Headers h("Content-Type-Extra: first\ncontent-type: second\nX-Content-Id: no\nContent-Identifier: id\n"
              "Subject: s\nSUBJECT: s2\n\n");
    EXPECT_STREQ(FindField("content-type", h.list), "first");
    EXPECT_STREQ(FindField("content-id", h.list), "id");
    EXPECT_STREQ(FindField("subject", h.list), "s");
    EXPECT_EQ(FindField("to", h.list), nullptr);
    EXPECT_EQ(FindField(nullptr, h.list), nullptr);
    EXPECT_STREQ(FieldValue(5, h.list), "s2");
    EXPECT_EQ(FieldName(6, h.list), nullptr);
}

TEST(HeaderQueries, GetParam) {
    EXPECT_EQ(Param("boundary", "multipart/mixed; boundary=\"abc\"; x=y"), "[abc]");
    EXPECT_EQ(Param("charset", "text/plain; charset = utf-8"), "[utf-8]");  // a blank before '='
    EXPECT_EQ(Param("CHARSET", "text/plain; Charset=\tiso-8859-1  "), "[iso-8859-1]");
    EXPECT_EQ(Param("name", "a; name=\"x;y.txt\""), "[x]");  // quotes protect nothing
    EXPECT_EQ(Param("name", "attachment; filename=f.pdf; name=n.pdf"), "[f.pdf]");
    EXPECT_EQ(Param("b", "b=\"a\tc\r\nd\""), "[a c  d]");
    EXPECT_EQ(Param("b", "b=\" \""), "[ ]");  // one blank stays
    EXPECT_EQ(Param("charset", "text/plain; charset"), "[]");  // found, with no value
    EXPECT_EQ(Param("charset", "text/plain"), "null");
    EXPECT_EQ(Param(nullptr, "x"), "null");
    EXPECT_EQ(Param("x", nullptr), "null");
    EXPECT_EQ(Param("boundary", "boundary=0123456789", 8), "[0123456]");
}

TEST(HeaderQueries, Predicates) {
    Headers html("Content-Type: TEXT/HTML; charset=x\nContent-Transfer-Encoding: Quoted-Printable\n\n");
    Headers message("Content-Type: message/rfc822\n\n");
    Headers image("Content-Type: image/png\n\n");
    EXPECT_EQ(IsTextOrMessage(html.list) + IsHtmlPart(html.list) + IsQuotedPrintable(html.list), 3u);
    EXPECT_EQ(IsTextOrMessage(message.list), 1u);
    EXPECT_EQ(IsHtmlPart(message.list) + IsTextOrMessage(image.list), 0u);

    for (const auto& [type, expected] : {std::pair{"multipart/mixed; boundary=\"a long boundary\"", 1u},
                                         {"multipart/mixed", 0u}, {"text/plain; boundary=x", 0u}})
        EXPECT_EQ(HasBoundary(Headers("Content-Type: " + std::string(type) + "\n\n").list), expected) << type;

    // exact and with case, on the id or the location
    Headers id("Content-ID: <Part1@Example>\nContent-Location: http://x/Page.html\n\n");
    for (const auto& [text, expected] : {std::pair<const char*, uint32_t>{"<Part1@Example>", 1},
                                         {"part1@example", 0}, {"Page.html", 1}, {"", 1}, {nullptr, 0}})
        EXPECT_EQ(MatchesContentId(id.list, text), expected) << (text ? text : "null");

    // Every query takes the null list of a headerless part.
    EXPECT_EQ(IsDigest(nullptr) + IsHtmlPart(nullptr) + HasBoundary(nullptr) + IsAttachment(nullptr, nullptr) +
                  MatchesContentId(nullptr, "x") + IsQuotedPrintable(nullptr) + IsTextOrMessage(nullptr),
              0u);
}

TEST(HeaderQueries, Attachments) {
    Headers attached("Content-Disposition: ATTACHMENT; filename=a.pdf\n\n");
    Headers inlineNamed("Content-Type: text/plain\nContent-Disposition: inline; filename=\"a.txt\"\n\n");
    Headers inlineBare("Content-Type: text/plain\nContent-Disposition: inline\n\n");
    Headers inlineHtml("Content-Type: text/html\nContent-Disposition: inline; filename=a.html\n\n");
    Headers other("Content-Disposition: form-data; filename=a\n\n");
    Headers program("User-Agent: Mozilla/5.0 Thunderbird/115.0\n\n");
    Headers elsewhere("User-Agent: Other\n\n");
    EXPECT_EQ(IsAttachment(attached.list, elsewhere.list), 1u);
    EXPECT_EQ(IsAttachment(other.list, program.list), 0u);
    // Inline counts only for a named text/plain part under that one program.
    EXPECT_EQ(IsAttachment(inlineNamed.list, program.list), 1u);
    EXPECT_EQ(IsAttachment(inlineNamed.list, elsewhere.list), 0u);
    EXPECT_EQ(IsAttachment(inlineBare.list, program.list), 0u);
    EXPECT_EQ(IsAttachment(inlineHtml.list, program.list), 0u);
}

TEST(HeaderQueries, CharsetKindAndPreference) {
    constexpr uint32_t kDefault = 0x12345678;
    EXPECT_EQ(PartCharset(Headers("Content-Type: text/plain; charset=\"ISO-8859-2\"\n\n").list, kDefault),
              ResolveCharset("ISO-8859-2"));
    EXPECT_EQ(PartCharset(Headers("Content-Type: text/plain; charset=\n\n").list, kDefault), ResolveCharset(""));
    EXPECT_EQ(PartCharset(Headers("Content-Type: text/plain; format=flowed\n\n").list, kDefault), kDefault);
    EXPECT_EQ(PartCharset(Headers("Subject: charset=utf-8\n\n").list, kDefault), kDefault);

    // IsDigest looks anywhere; the kind only at the words before the semicolon.
    Headers digestWord("Content-Type: multipart/mixed; boundary=\"digest-sep\"\n\n");
    EXPECT_EQ(IsDigest(digestWord.list), 1u);
    const std::pair<const char*, uint16_t> kinds[] = {
        {"multipart/mixed; boundary=\"digest-sep\"", MP_OTHER},
        {"multipart/alternative; boundary=x", MP_ALTERNATIVE},
        {"Multipart/Related; type=\"multipart/alternative\"", MP_RELATED},
        {"multipart/digest", MP_DIGEST},
        {"multipart/alternative multipart/related", MP_RELATED},
        {"text/plain", MP_OTHER},
    };
    for (const auto& [type, kind] : kinds) {
        Headers h(std::string("Content-Type: ") + type + "\n\n");
        MessagePart part = PartOf(h);
        EXPECT_EQ(MultipartKind(&part), kind) << type;
        part.headers = nullptr;  // the cached kind is answered from now on
        EXPECT_EQ(MultipartKind(&part), kind) << type;
    }
    MessagePart headerless{};
    EXPECT_EQ(MultipartKind(&headerless), MP_OTHER);

    const std::tuple<const char*, uint32_t, uint16_t> preferences[] = {
        {"Content-Type: text/plain\n\n", 0, PREF_PLAIN},     {"Content-Type: text/richtext\n\n", 0, PREF_RICHTEXT},
        {"Content-Type: text/enriched\n\n", 0, PREF_ENRICHED}, {"Content-Type: text/html\n\n", 1999, PREF_HTML},
        {"Content-Type: text/plain\n\n", 1101, PREF_HTML},  {"Content-Type: text/html\n\n", 1028, PREF_RTF},
        {"Subject: no type\n\n", 1028, PREF_RTF},           {"Subject: no type\n\n", 0, PREF_NONE},
        {"Content-Type: image/gif\n\n", 1500, PREF_NONE},
        {"Content-Type: text/html; x=text/plain\n\n", 0, PREF_PLAIN},  // the table's order decides
    };
    for (const auto& [header, formatId, preference] : preferences) {
        Headers h(header);
        MessagePart part = PartOf(h, formatId);
        EXPECT_EQ(BodyPreference(&part), preference) << header << formatId;
    }
}
