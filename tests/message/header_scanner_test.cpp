// Line reading, header block ends and field parsing on raw bytes.
#include <gtest/gtest.h>

#include "message_fixture.h"

using message_test::Headers;
using message_test::Scan;
using namespace std::string_literals;

TEST(HeaderScanner, LinesEndsAndTheLineLimit) {
    Scan scan("a\nb\r\nc\rd\n\re\ntw\0o\n"s + std::string(100000, 'x') + "\nnext");
    for (const char* expected : {"a", "b", "c", "d", "", "e"}) EXPECT_EQ(scan.Line(), expected);
    // Appended at the index; a zero byte is stored, and a string ends there.
    EXPECT_EQ(scan.Line(1), "etw");
    EXPECT_EQ(scan.line.text[4], 'o');
    // A long line keeps its start and the rest is dropped.
    EXPECT_EQ(scan.Line().size(), kMaxLineSize - 1u);
    EXPECT_EQ(scan.Line(), "next");
    EXPECT_EQ(ReaderTell(scan.reader), scan.text.size() + 1);  // the reader met the end

    Scan token(std::string(1023, 'a') + ":b" + std::string(1500, 'c') + ":");
    uint16_t index = 0;
    ReadUntil(token.reader, &token.line, &index, ":", 1);
    // A token of size - 1 bytes loses its stop byte, which is still taken.
    EXPECT_EQ(index, 1023);
    EXPECT_EQ(token.line.text[1022], 'a');
    index = 0;
    EXPECT_EQ(ReadUntil(token.reader, &token.line, &index, "c", 0), std::string("b"));
    EXPECT_EQ(ReaderGet(token.reader), 'c');
    index = 0;
    ReadUntil(token.reader, &token.line, &index, ":", 1);
    EXPECT_EQ(index, 1500);
    EXPECT_EQ(token.line.size, 2048);
}

TEST(HeaderScanner, SkipToLineMatchesAtLineStarts) {
    Scan first("--abc\nrest");
    EXPECT_EQ(SkipToLine(first.reader, &first.line, "--"), 1u);  // offset 0 is answered as 1
    EXPECT_STREQ(first.line.text, "abc");

    Scan later("x --no\n-- -\r\n--yes it is\r\ntail\nBegin\n");
    EXPECT_EQ(SkipToLine(later.reader, &later.line, "--"), 7u);
    EXPECT_STREQ(later.line.text, " -");
    EXPECT_EQ(SkipToLine(later.reader, &later.line, "--y"), 13u);
    EXPECT_STREQ(later.line.text, "es it is");
    EXPECT_EQ(ReaderGet(later.reader), 't');
    EXPECT_EQ(SkipToLine(later.reader, &later.line, "begin"), 0u);  // with case
    EXPECT_STREQ(later.line.text, "");
    EXPECT_EQ(SkipToLine(later.reader, &later.line, ""), 0u);
}

TEST(HeaderScanner, FieldStartsAndBodyStarts) {
    const std::pair<const char*, uint32_t> starts[] = {
        {"Subject: x", 1}, {"\r\n", 1}, {"http://a/", 1}, {": x", 0}, {"Subject : x", 0}, {"Sub\xe9ject: x", 0},
        {"text", 0},       {"", 0},     {" Folded: x", 0},
    };
    for (const auto& [text, expected] : starts) {
        Scan scan(text);
        EXPECT_EQ(IsFieldStart(scan.reader), expected) << text;
        EXPECT_EQ(ReaderTell(scan.reader), 0u) << text;
    }

    // LF LF, CR CR, CR LF LF and CR LF CR LF end a block; LF CR LF does not.
    const std::tuple<const char*, uint32_t, int32_t> bodies[] = {
        {"A: b\n\nbody", 6, 0},           {"A: b\r\rbody", 6, 0},    {"A: b\r\n\nbody", 7, 0},
        {"A: b\r\n\r\nbody", 8, 0},       {"A: b\n\r\nC: d\n\nx", 13, 0},
        {"A: b\r\n\rC: d\n\nx", 13, 0},
        {"Subject: x", 11, 0},            {"", 1, kNoHeader},        {"\n", 2, kNoHeader},
        {"\n\nA: b\n\n", 2, kNoHeader},   {"\r\n\r\nbody", 4, kNoHeader},
    };
    for (const auto& [text, offset, code] : bodies) {
        Scan scan(text);
        uint32_t found = 0;
        EXPECT_EQ(FindBodyStart(scan.reader, &scan.line, &found), code) << text;
        EXPECT_EQ(found, offset) << text;
    }
}

TEST(HeaderScanner, FoldingAndBrokenLines) {
    Headers h("From someone Mon Jan 1 00:00:00 2024\r\n"
                          "From: a@b\r\n"
                          "Subject: two\r\n  words\r\n\tand more\r\n"
                          "a stray line of text\r\n"
                          "Empty:\r\n"
                          "X-Blank: before\r\n   \r\n"
                          "Spaced : not a field\r\n"
                          "X-Zero: ab\0cd\r\n more\r\n"
                          "To: c@d\r\n\r\n"
                          "Body: not header\r\n"s);
    const std::pair<const char*, const char*> expected[] = {
        {"From:", "a@b"},
        // Folds join without a blank; a line that is no field joins the value above.
        {"Subject:", "twowordsand morea stray line of text"},
        // "Empty:" has no value and is dropped; a line of blanks ends a value.
        {"X-Blank:", "before"},
        // The value is measured as a string, so the continuation lands at the zero.
        {"X-Zero:", "abmore"},
        {"To:", "c@d"},
    };
    ASSERT_EQ(h.Count(), std::size(expected));
    for (uint16_t i = 0; i < h.Count(); ++i) {
        EXPECT_EQ(h.Name(i), expected[i].first);
        EXPECT_EQ(h.Value(i), expected[i].second);
    }

    Headers single("Subject: no line end");
    ASSERT_EQ(single.Count(), 1);
    EXPECT_EQ(single.Value(0), "no line end");
}

TEST(HeaderScanner, WhichFieldsABlockKeeps) {
    const std::string block = "Content-Type: text/plain\nSubject: inner\nLong-Field: a\n b\ncontent-id: <x>\n\n";
    EXPECT_EQ(Headers(block, 0).Count(), 4);
    Headers nested(block, 10);
    ASSERT_EQ(nested.Count(), 2);
    EXPECT_EQ(nested.Name(1), "content-id:");
    Headers digest(block, 10, 1);
    ASSERT_EQ(digest.Count(), 4);
    EXPECT_EQ(digest.Value(2), "ab");

    // A long value is read whole; the line buffer is back at 1024 afterwards.
    const std::string value(5000, 'v');
    Scan scan("Subject: " + value + "\nTo: x\n\n");
    HeaderList* list = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
    uint32_t end = 0;
    FindBodyStart(scan.reader, &scan.line, &end);
    ParseHeader(scan.reader, 0, end, list, 0, &scan.line);
    ASSERT_EQ(ListCount(list), 2);
    EXPECT_EQ(FieldValue(0, list), value);
    EXPECT_EQ(scan.line.size, 1024);
    HeaderListFree(list);
}
