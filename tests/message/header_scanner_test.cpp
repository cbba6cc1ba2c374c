// Line reading, header block ends and field parsing on raw bytes.
#include <gtest/gtest.h>

#include "message_fixture.h"

using message_test::Headers;
using message_test::Scan;

namespace {

uint32_t BodyStart(const std::string& text, int32_t* code) {
    Scan scan(text);
    uint32_t offset = 0;
    *code = FindBodyStart(scan.reader, &scan.line, &offset);
    return offset;
}

}  // namespace

TEST(ReadLine, EachLineEndEndsOneLine) {
    Scan scan("a\nb\r\nc\rd\n\re");
    EXPECT_EQ(scan.Line(), "a");
    EXPECT_EQ(scan.Line(), "b");
    EXPECT_EQ(scan.Line(), "c");
    EXPECT_EQ(scan.Line(), "d");
    EXPECT_EQ(scan.Line(), "");  // LF CR is two line ends
    EXPECT_EQ(scan.Line(), "e");
    EXPECT_EQ(ReaderTell(scan.reader), 12u);  // one past the end: the reader met the end
    EXPECT_EQ(scan.Line(), "");
}

TEST(ReadLine, AppendsAtTheStartIndexAndKeepsZeroBytes) {
    Scan scan(std::string("one\ntw\0o\n", 9));
    scan.Line();
    EXPECT_EQ(scan.Line(3), "onetw");  // measured as a string, the zero ends the text
    EXPECT_EQ(scan.line.text[5], '\0');
    EXPECT_EQ(scan.line.text[6], 'o');
}

TEST(ReadLine, LongLineIsCutAndTheRestDropped) {
    std::string longLine(100000, 'x');
    Scan scan(longLine + "\nnext\n");
    std::string first = scan.Line();
    EXPECT_EQ(first.size(), kMaxLineSize - 1u);
    EXPECT_EQ(scan.line.size, kMaxLineSize);
    EXPECT_EQ(scan.Line(), "next");
}

TEST(ReadUntil, StopCharacterKeptOrLeftUnread) {
    Scan scan("name: value");
    uint16_t index = 0;
    EXPECT_STREQ(ReadUntil(scan.reader, &scan.line, &index, ":", 1), "name:");
    EXPECT_EQ(index, 5);
    index = 0;
    EXPECT_STREQ(ReadUntil(scan.reader, &scan.line, &index, "u", 0), " val");
    EXPECT_EQ(ReaderGet(scan.reader), 'u');

    // A token of exactly size - 1 bytes loses its stop byte, which is still taken.
    Scan exact(std::string(1023, 'a') + ":b");
    index = 0;
    ReadUntil(exact.reader, &exact.line, &index, ":", 1);
    EXPECT_EQ(index, 1023);
    EXPECT_EQ(exact.line.text[1022], 'a');
    EXPECT_EQ(ReaderGet(exact.reader), 'b');

    // A longer token grows the buffer by 1024.
    Scan longer(std::string(1500, 'a') + ":");
    index = 0;
    ReadUntil(longer.reader, &longer.line, &index, ":", 1);
    EXPECT_EQ(index, 1501);
    EXPECT_EQ(longer.line.size, 2048);
}

TEST(SkipToLine, FindsPrefixAtLineStartsOnly) {
    Scan first("--abc\nrest");
    EXPECT_EQ(SkipToLine(first.reader, &first.line, "--"), 1u);  // position 0 is reported as 1
    EXPECT_STREQ(first.line.text, "abc");

    Scan later("x --no\n-- -\r\n--yes it is\r\ntail");
    EXPECT_EQ(SkipToLine(later.reader, &later.line, "--"), 7u);
    EXPECT_STREQ(later.line.text, " -");
    EXPECT_EQ(SkipToLine(later.reader, &later.line, "--y"), 13u);
    EXPECT_STREQ(later.line.text, "es it is");
    EXPECT_EQ(ReaderGet(later.reader), 't');  // the line end was consumed

    Scan none("abc\n-x\n");
    EXPECT_EQ(SkipToLine(none.reader, &none.line, "--"), 0u);
    EXPECT_STREQ(none.line.text, "");
    EXPECT_EQ(SkipToLine(none.reader, &none.line, ""), 0u);

    Scan cased("Begin\nbegin 644 a\n");
    EXPECT_EQ(SkipToLine(cased.reader, &cased.line, "begin "), 6u);
    EXPECT_STREQ(cased.line.text, "644 a");
}

TEST(IsFieldStart, NameAndColonOrEmptyLine) {
    struct Case {
        const char* text;
        uint32_t expected;
    } cases[] = {
        {"Subject: x", 1}, {"\r\n", 1},       {"\nx", 1},           {"X-Y:", 1},  {"http://a.b/", 1},
        {": x", 0},        {"Subject : x", 0}, {"Sub\xe9ject: x", 0}, {"text", 0}, {"", 0},
        {" Folded: x", 0},
    };
    for (const Case& c : cases) {
        Scan scan(c.text);
        EXPECT_EQ(IsFieldStart(scan.reader), c.expected) << c.text;
        EXPECT_EQ(ReaderTell(scan.reader), 0u) << c.text;
    }
}

TEST(FindBodyStart, AcceptedBlankLinesAndTheirOffsets) {
    int32_t code = -1;
    EXPECT_EQ(BodyStart("A: b\n\nbody", &code), 6u);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(BodyStart("A: b\r\rbody", &code), 6u);
    EXPECT_EQ(BodyStart("A: b\r\n\nbody", &code), 7u);
    EXPECT_EQ(BodyStart("A: b\r\n\r\nbody", &code), 8u);
    // LF CR LF is not a blank line: the block runs on to the next one.
    EXPECT_EQ(BodyStart("A: b\n\r\nC: d\n\nbody", &code), 13u);
    EXPECT_EQ(code, 0);
    // No blank line: the offset is one past the end.
    EXPECT_EQ(BodyStart("Subject: x", &code), 11u);
    EXPECT_EQ(code, 0);

    BodyStart("", &code);
    EXPECT_EQ(code, kNoHeader);
    BodyStart("\n", &code);
    EXPECT_EQ(code, kNoHeader);
    EXPECT_EQ(BodyStart("\n\nA: b\n\n", &code), 2u);
    EXPECT_EQ(code, kNoHeader);
    BodyStart("\r\n\r\nbody", &code);
    EXPECT_EQ(code, kNoHeader);
}

TEST(ParseHeader, FoldingAndBrokenLines) {
    Headers h(
        "From: a@b\r\n"
        "Subject: two\r\n"
        "  words\r\n"
        "\tand more\r\n"
        "a stray line of text\r\n"
        "Empty:\r\n"
        "X-Blank: before\r\n"
        "   \r\n"
        "Spaced : not a field\r\n"
        "To: c@d\r\n"
        "\r\n"
        "Body: not header\r\n");
    ASSERT_EQ(h.Count(), 4);
    EXPECT_EQ(h.Name(0), "From:");
    EXPECT_EQ(h.Value(0), "a@b");
    // Folds join with no blank; a text line that is no field joins the value above.
    EXPECT_EQ(h.Name(1), "Subject:");
    EXPECT_EQ(h.Value(1), "twowordsand morea stray line of text");
    // "Empty:" has no value and is dropped.
    EXPECT_EQ(h.Name(2), "X-Blank:");
    // A line of blanks ends the value; "Spaced :" behind it is no field name.
    EXPECT_EQ(h.Value(2), "before");
    EXPECT_EQ(h.Name(3), "To:");
    EXPECT_EQ(h.Value(3), "c@d");
}

TEST(ParseHeader, NestedBlocksKeepContentFieldsUnlessKeepAll) {
    const std::string block =
        "Content-Type: text/plain\n"
        "Subject: inner\n"
        "Continued-Field: a\n"
        " b\n"
        "content-id: <x>\n"
        "\n";
    Headers top(block, 0);
    EXPECT_EQ(top.Count(), 4);

    Headers nested(block, 10);
    ASSERT_EQ(nested.Count(), 2);
    EXPECT_EQ(nested.Name(0), "Content-Type:");
    EXPECT_EQ(nested.Name(1), "content-id:");
    EXPECT_EQ(nested.Value(1), "<x>");

    Headers digest(block, 10, 1);
    ASSERT_EQ(digest.Count(), 4);
    EXPECT_EQ(digest.Value(2), "ab");
}

TEST(ParseHeader, LongValueReadWholeAndBufferShrinksAfter) {
    std::string value(5000, 'v');
    Scan scan("Subject: " + value + "\nTo: x\n\n");
    HeaderList* list = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
    uint32_t end = 0;
    FindBodyStart(scan.reader, &scan.line, &end);
    ParseHeader(scan.reader, 0, end, list, 0, &scan.line);
    ASSERT_EQ(ListCount(list), 2);
    EXPECT_EQ(std::string(FieldValue(0, list)), value);
    EXPECT_EQ(scan.line.size, 1024);
    HeaderListFree(list);
}

TEST(ParseHeader, ZeroByteCutsValueWhereContinuationIsAppended) {
    Headers h(std::string("Subject: ab\0cd\n more\n\n", 22));
    ASSERT_EQ(h.Count(), 1);
    EXPECT_EQ(h.Value(0), "abmore");
}

TEST(ParseHeader, HeaderWithoutLineEndAndMailboxLine) {
    Headers single("Subject: only");
    ASSERT_EQ(single.Count(), 1);
    EXPECT_EQ(single.Value(0), "only");

    Headers mbox("From someone Mon Jan 1 00:00:00 2024\nFrom: a@b\n\n");
    ASSERT_EQ(mbox.Count(), 1);
    EXPECT_EQ(mbox.Name(0), "From:");
}
