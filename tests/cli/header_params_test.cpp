// File name parameters read from raw header fields: folds, RFC 2231 pieces,
// the key a substring query would give, and the header block in front of a
// body. Compiles the CLI unit itself (its decoding half comes from
// attachment_names_test.cpp's copy).
#include "cli/header_params.cpp"

#include <gtest/gtest.h>

#include "tests/support/memory_object.h"

namespace {

TEST(HeaderParams, FieldsGiveTheirKeyAndTheProperlyDecodedName) {
    auto split = FieldNameParameter(
        "Content-Disposition: attachment;\r\n\tfilename*0*=utf-8''%E2%9C%94;\r\n\tfilename*1*=%20x;\r\n"
        "\tfilename*2=\".txt\"\r\n");
    ASSERT_TRUE(split);
    EXPECT_TRUE(split->disposition);
    EXPECT_EQ(split->key, "utf-8''%E2%9C%94");  // only the first piece, as the filter reads it
    EXPECT_EQ(split->name, "\xE2\x9C\x94 x.txt");

    // A fold inside a quoted name keeps its blank; the key has none.
    auto folded = FieldNameParameter("Content-Type: image/png; name=\"Screenshot at\n 18.24.png\"\n");
    ASSERT_TRUE(folded);
    EXPECT_FALSE(folded->disposition);
    EXPECT_EQ(folded->name, "Screenshot at 18.24.png");
    EXPECT_EQ(folded->key, NameKey("Screenshot at18.24.png"));

    auto words = FieldNameParameter("content-type: image/gif; name=\"nyan =?UTF-8?Q?=E2=9C=94?=\"");
    ASSERT_TRUE(words);
    EXPECT_EQ(words->name, "nyan \xE2\x9C\x94");
    // A gap in the pieces ends the value.
    auto gap = FieldNameParameter("Content-Disposition: a; filename*0=ab; filename*2=cd");
    ASSERT_TRUE(gap);
    EXPECT_EQ(gap->name, "ab");

    EXPECT_FALSE(FieldNameParameter("Subject: name=x.txt"));
    EXPECT_FALSE(FieldNameParameter("Content-Type: text/plain; charset=utf-8"));
}

TEST(HeaderParams, DocumentScanAndHeaderBlockInFrontOfABody) {
    const std::string mail =
        "From: a@example.org\nContent-Type: multipart/mixed; boundary=b\n\n--b\n"
        "Content-Type: image/png; name=\"first.png\"\nContent-Transfer-Encoding: base64\n\n"
        "iVBORw0KGgo=\n--b\nContent-Disposition: attachment;\n filename*0*=utf-8''%C3%A9;\n"
        " filename*1*=.txt\nContent-Type: text/plain; name=\"other.txt\"\n\nbody\n--b--\n";
    IoObject* document = MemoryObjectOpen(mail);
    const auto parameters = DocumentNameParameters(document);
    ASSERT_EQ(parameters.size(), 3u);
    EXPECT_EQ(parameters[0].name, "first.png");
    EXPECT_EQ(parameters[1].name, "\xC3\xA9.txt");
    EXPECT_EQ(parameters[2].name, "other.txt");

    const uint32_t firstBody = static_cast<uint32_t>(mail.find("iVBOR"));
    const uint32_t secondBody = static_cast<uint32_t>(mail.find("body\n"));
    EXPECT_EQ(NameBeforeBody(document, firstBody), "first.png");
    // Content-Disposition's filename wins over Content-Type's name.
    EXPECT_EQ(NameBeforeBody(document, secondBody), "\xC3\xA9.txt");
    // Not behind a header block: no name.
    EXPECT_EQ(NameBeforeBody(document, firstBody + 3), std::nullopt);
    EXPECT_EQ(NameBeforeBody(document, 1), std::nullopt);
    document->Close(document);
}

}  // namespace
