// The walk over whole messages: structures, byte ranges, degraded input and
// the bounds.
#include <gtest/gtest.h>

#include <random>

#include "message_fixture.h"

using message_test::Walked;

namespace {

constexpr uint32_t kToEnd = 0xFFFFFFFE;

std::string Mixed(const std::string& children, const char* boundary = "XX") {
    return std::string("From: a@b\nContent-Type: multipart/mixed; boundary=\"") + boundary +
           "\"\n\npreamble\n" + children;
}

}  // namespace

TEST(WalkMessage, StructuresAndRanges) {
    const std::string entries =
        "--DD\n\nFrom: x@y\nSubject: first\n\nbody one\n"
        "--DD\nContent-Type: message/rfc822\n\nFrom: z@y\nSubject: second\n\nbody two\n"
        "--DD--\n";
    const std::pair<std::string, const char*> cases[] = {
        {"From: a@b\nX-Odd: kept at the top\nSubject: s\n\nHello\r\nWorld\n", "-:3[Hello\r\nWorld\n]"},
        // Leading blocks without fields are passed over; the first with fields
        // is the message, though away from offset 0 it keeps only Content- fields.
        {"no fields here\n\nSubject: late\nContent-Type: text/plain\n\nbody", "-:1[body]"},
        // Nested blocks keep only Content- fields; a leaf runs up to the
        // delimiter line, its line end included; the epilogue is never visited.
        {Mixed("--XX\nContent-Type: text/plain\nSubject: dropped in a nested block\n\none\r\n"
               "--XX\nContent-Type: text/html\n\n<b>two</b>\n"
               "--XX--\nepilogue\nContent-Type: text/plain\n\nnever visited\n"),
         "-*:2[] XX:1[one\r\n] XX:1[<b>two</b>\n]"},
        {Mixed("--XX\nContent-Type: multipart/alternative; boundary=\"YY\"\n\n"
               "--YY\nContent-Type: text/plain\n\nplain\n--YY\nContent-Type: text/html\n\nhtml\n--YY--\n\n"
               "--XX\nContent-Type: application/pdf\nContent-Disposition: attachment\n\nPDF\n--XX--\n"),
         "-*:2[] XX*:1[] YY:1[plain\n] YY:1[html\n] XX:2[PDF\n]"},
        // No first delimiter: the multipart is a leaf to the end of the stream.
        {Mixed("Content-Type: text/plain\n\ntext\n"), "-:2[~preamble\nContent-Type: text/plain\n\ntext\n]"},
        // No closing delimiter: the last part runs to the end with its true length.
        // A folded boundary parameter unfolds without a blank, so no delimiter contains it.
        {"Content-Type: multipart/mixed; boundary=\"X\n Y\"\n\n--X Y\n\nz\n", "-:1[~--X Y\n\nz\n]"},
        {Mixed("--XX\nContent-Type: text/plain\n\none\n--XX\nContent-Type: text/plain\n\nlast\n"),
         "-*:2[] XX:1[one\n] XX:1[last\n]"},
        // A nested level without its closing delimiter swallows what follows.
        {Mixed("--XX\nContent-Type: multipart/mixed; boundary=YY\n\n--YY\nContent-Type: text/plain\n\ninner\n"
               "--XX\nContent-Type: text/plain\n\nouter\n--XX--\n"),
         "-*:2[] XX*:1[] YY:1[inner\n--XX\nContent-Type: text/plain\n\nouter\n--XX--\n]"},
        // Trailing blanks make a closing delimiter an ordinary one.
        {Mixed("--XX\nContent-Type: text/plain\n\none\n--XX--  \nContent-Type: text/plain\n\nafter\n"),
         "-*:2[] XX:1[one\n] XX:1[after\n]"},
        // Any "--" line that contains the boundary ends a part; a longer boundary too.
        {Mixed("--XX\nContent-Type: text/plain\n\none\n-- quoted XX here\nContent-Type: text/html\n\nx\n"
               "--XXY\nContent-Type: text/plain\n\ny\n--XX--\n"),
         "-*:2[] XX:1[one\n] XX:1[x\n] XX:1[y\n]"},
        // A block without a Content- field gets no record; the text behind its
        // blank line is tried as the next block.
        {Mixed("--XX\nSubject: no content fields\n\nContent-Type: text/plain\n\nbody\n--XX--\n"),
         "-*:2[] XX:1[body\n]"},
        // A digest entry keeps all its fields, and the single line end behind
        // the delimiter is no blank line; an explicit message/rfc822 entry is
        // one leaf. Under multipart/mixed the first entry has no Content- field.
        {"Content-Type: multipart/digest; boundary=DD\n\n" + entries,
         "-*:1[] DD:2[body one\n] DD:1[From: z@y\nSubject: second\n\nbody two\n]"},
        {"Content-Type: multipart/mixed; boundary=DD\n\n" + entries,
         "-*:1[] DD:1[From: z@y\nSubject: second\n\nbody two\n]"},
        // After an inner multipart ends, a closing delimiter of the level
        // around it ends that level too: what follows is not visited, and a
        // part behind the closing lines of two levels belongs to the third.
        {Mixed("--XX\nContent-Type: multipart/alternative; boundary=\"YY\"\n\n--YY\nContent-Type: text/plain\n\np\n"
               "--YY--\n--XX--\nContent-Type: text/plain\n\nbehind the closing\n"),
         "-*:2[] XX*:1[] YY:1[p\n]"},
        {Mixed("--XX\nContent-Type: multipart/alternative; boundary=YY\n\n--YY\nContent-Type: text/plain\n\np\n"
               "--YY\nContent-Type: multipart/related; boundary=ZZ\n\n--ZZ\nContent-Type: text/html\n\nh\n"
               "--ZZ--\n\n--YY--\n\n--XX\nContent-Type: image/png\n\nPNG\n--XX--\n"),
         "-*:2[] XX*:1[] YY:1[p\n] YY*:1[] ZZ:1[h\n] XX:1[PNG\n]"},
    };
    for (const auto& [text, outline] : cases) {
        Walked walked(text);
        EXPECT_EQ(walked.code, 0) << text;
        EXPECT_EQ(walked.Outline(), outline) << text;
    }
    Walked late("no fields here\n\nSubject: late\nContent-Type: text/plain\n\nbody");
    EXPECT_STREQ(FindField("content-type", late.At(0).headers), "text/plain");
    Walked digest("Content-Type: multipart/digest; boundary=DD\n\n" + entries);
    EXPECT_STREQ(FindField("subject", digest.At(1).headers), "first");
    const std::string preamble = Mixed("--XX\nContent-Type: text/plain\n\none\n--XX--\n");
    EXPECT_EQ(Walked(preamble).At(0).bodyOffset, preamble.find("preamble"));

    // No blank line: the body starts one past the end and its length wraps to -1.
    Walked headerOnly("Subject: only a header");
    ASSERT_EQ(headerOnly.Count(), 1);
    EXPECT_EQ(headerOnly.At(0).bodyOffset, 23u);
    EXPECT_EQ(headerOnly.At(0).bodyLength, 0xFFFFFFFFu);

    for (const char* text : {"", "\n", "\n\nbody only\n", "\r\n\r\n"}) {
        Walked walked(text);
        EXPECT_EQ(walked.code, kNoHeader) << text;
        EXPECT_EQ(walked.Count(), 0) << text;
    }
}

TEST(WalkMessage, NestingIsBoundedAt64LevelsAndPlannedWithin) {
    std::string text;
    for (int level = 1; level <= 70; ++level) {
        const std::string boundary = "B" + std::string(level < 10 ? "00" : "0") + std::to_string(level) + "Z";
        text += "Content-Type: multipart/alternative; boundary=\"" + boundary + "\"\n\n--" + boundary + "\n";
    }
    text += "Content-Type: text/plain\n\ndeep\n";
    Walked walked(text);
    EXPECT_EQ(walked.code, 0);
    ASSERT_EQ(walked.Count(), kMaxNesting + 1);
    for (uint16_t i = 0; i < kMaxNesting; ++i) EXPECT_EQ(walked.At(i).isMultipart, 1u) << i;
    // The multipart one level too deep is a leaf that runs to the end, and
    // is where display starts; with no preference number it loses.
    const MessagePart& deepest = walked.At(kMaxNesting);
    EXPECT_EQ(deepest.isMultipart, 0u);
    EXPECT_EQ(walked.Boundary(kMaxNesting), "B064Z");
    EXPECT_EQ(deepest.bodyOffset + deepest.bodyLength, text.size());
    EXPECT_EQ(PlanMultipart(walked.parts, 0), kMaxNesting);
    EXPECT_EQ(deepest.display, DISPLAY_LOSER);
    EXPECT_EQ(deepest.parentKind, MP_ALTERNATIVE);
}

TEST(WalkMessage, LongLinesAreCutButPositionsStayTrue) {
    const std::string longBody(200000, 'b');
    const std::string longValue(100000, 'v');
    const std::string text = Mixed("--XX\nContent-Type: text/plain; name=" + longValue + "\n\n" + longBody +
                                   "\n--XX\nContent-Type: text/html\n\nshort\n--XX--\n");
    Walked walked(text);
    ASSERT_EQ(walked.Count(), 3);
    EXPECT_EQ(walked.At(1).bodyLength, longBody.size() + 1);
    EXPECT_EQ(strlen(FindField("content-type", walked.At(1).headers)), kMaxLineSize - 1u);
    EXPECT_EQ(walked.Body(2), "short\n");
    EXPECT_EQ(walked.scan.line.size, 1024);
}

TEST(WalkMessage, LargeMessageStreamsThroughOnce) {
    std::string text = Mixed("--XX\nContent-Type: text/plain\n\n");
    const std::string row(76, 'q');
    while (text.size() < (8u << 20)) text += row + "\n";
    const size_t bodyEnd = text.size();
    text += "--XX\nContent-Type: text/plain\n\nend\n--XX--\n";
    Walked walked(text);
    ASSERT_EQ(walked.Count(), 3);
    EXPECT_EQ(walked.At(1).bodyOffset + walked.At(1).bodyLength, bodyEnd);
    // Reading is a stream: each buffer is filled about once, not re-read.
    EXPECT_LT(walked.scan.object.stats().reads, text.size() / kReaderBufferSize * 3 / 2 + 16);
}

// Every record numbered in order and with fields, every range inside the
// input, and the plan ends on a record of the list.
void ExpectWithinBounds(const Walked& walked, const std::string& text, const std::string& label) {
    for (uint16_t i = 0; i < walked.Count(); ++i) {
        const MessagePart& part = walked.At(i);
        EXPECT_EQ(part.partIndex, i) << label;
        EXPECT_GT(ListCount(part.headers), 0) << label;
        if (part.isMultipart) {
            EXPECT_EQ(part.bodyLength, 0u) << label;
        } else if (part.bodyLength < kToEnd) {
            EXPECT_LE(uint64_t{part.bodyOffset} + part.bodyLength, text.size()) << label << " " << i;
        }
    }
    if (walked.Count() > 0 && walked.At(0).isMultipart) {
        EXPECT_LT(PlanMultipart(walked.parts, 0), walked.Count()) << label;
    }
}

TEST(WalkMessageCorpus, MangledMailStaysWithinBounds) {
    // Delimiters, line ends and blank lines dropped into real mail at random
    // places: the walk and the plan end, and every range stays in the input.
    const std::string source = CorpusBytes("mailparser/test/fixtures/nested.eml");
    const std::string pieces[] = {"\n--", "\r", "\n\n", "----=_NextPart_00", "--\n", "Content-Type: multipart/x; boundary=",
                                  std::string(1, '\0')};
    std::mt19937 random(20240601);
    for (int round = 0; round < 300; ++round) {
        std::string text = source;
        for (int edit = 0; edit < 8; ++edit) {
            size_t at = random() % (text.size() + 1);
            if (random() % 3 == 0) {
                text.erase(at, random() % 40);
            } else {
                text.insert(at, pieces[random() % std::size(pieces)]);
            }
        }
        ExpectWithinBounds(Walked(text), text, "round " + std::to_string(round));
    }
}
