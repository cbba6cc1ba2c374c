// The walk over whole messages: structures, byte ranges, degraded input, the
// bounds, and real mail from the corpus.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <random>

#include "message_fixture.h"

using message_test::Walked;

namespace {

constexpr uint32_t kToEnd = 0xFFFFFFFE;

std::string Mixed(const std::string& children, const char* boundary = "XX") {
    return std::string("From: a@b\nContent-Type: multipart/mixed; boundary=\"") + boundary +
           "\"\n\npreamble\n" + children;
}

std::string Corpus(const char* path) { return ReadWholeFile(std::string(MAILSIFT_CORPUS_DIR) + "/" + path); }

}  // namespace

TEST(WalkMessage, SimpleAndHeaderOnlyMessages) {
    Walked simple("From: a@b\nX-Odd: kept at the top\nSubject: s\n\nHello\r\nWorld\n");
    EXPECT_EQ(simple.code, 0);
    ASSERT_EQ(simple.Count(), 1);
    EXPECT_EQ(ListCount(simple.At(0).headers), 3);
    EXPECT_EQ(simple.At(0).boundary, nullptr);
    EXPECT_EQ(simple.At(0).isMultipart, 0u);
    EXPECT_EQ(simple.At(0).partIndex, 0);
    EXPECT_EQ(simple.Body(0), "Hello\r\nWorld\n");

    // No blank line: the body starts one past the end and its length wraps to -1.
    Walked headerOnly("Subject: only a header");
    ASSERT_EQ(headerOnly.Count(), 1);
    EXPECT_EQ(headerOnly.At(0).bodyOffset, 23u);
    EXPECT_EQ(headerOnly.At(0).bodyLength, 0xFFFFFFFFu);

    // Leading blocks without fields are passed over; the first with fields is
    // the message, though away from offset 0 it keeps only Content- fields.
    Walked late("no fields here\n\nSubject: late\nContent-Type: text/plain\n\nbody");
    EXPECT_EQ(late.code, 0);
    ASSERT_EQ(late.Count(), 1);
    EXPECT_EQ(ListCount(late.At(0).headers), 1);
    EXPECT_STREQ(FindField("content-type", late.At(0).headers), "text/plain");
    EXPECT_EQ(late.Body(0), "body");

    for (const char* text : {"", "\n", "\n\nbody only\n", "\r\n\r\n"}) {
        Walked walked(text);
        EXPECT_EQ(walked.code, kNoHeader) << text;
        EXPECT_EQ(walked.Count(), 0) << text;
    }
}

TEST(WalkMessage, MultipartWithPreambleEpilogueAndTwoChildren) {
    const std::string text = Mixed(
        "--XX\nContent-Type: text/plain\nSubject: dropped in a nested block\n\none\r\n"
        "--XX\nContent-Type: text/html\n\n<b>two</b>\n"
        "--XX--\nepilogue\nContent-Type: text/plain\n\nnever visited\n");
    Walked walked(text);
    EXPECT_EQ(walked.code, 0);
    ASSERT_EQ(walked.Count(), 3);
    EXPECT_EQ(walked.At(0).isMultipart, 1u);
    EXPECT_EQ(walked.At(0).bodyLength, 0u);
    EXPECT_EQ(walked.At(0).bodyOffset, text.find("preamble"));
    EXPECT_EQ(walked.Boundary(0), "(null)");
    for (uint16_t i = 1; i < 3; ++i) {
        EXPECT_EQ(walked.At(i).partIndex, i);
        EXPECT_EQ(walked.Boundary(i), "XX");
        EXPECT_EQ(walked.At(i).isMultipart, 0u);
    }
    EXPECT_EQ(ListCount(walked.At(1).headers), 1);  // only the Content- field
    // A leaf's length runs up to the delimiter line, its line end included.
    EXPECT_EQ(walked.Body(1), "one\r\n");
    EXPECT_EQ(walked.Body(2), "<b>two</b>\n");
}

TEST(WalkMessage, NestedMultipartsInFileOrder) {
    const std::string text = Mixed(
        "--XX\nContent-Type: multipart/alternative; boundary=\"YY\"\n\n"
        "--YY\nContent-Type: text/plain\n\nplain\n"
        "--YY\nContent-Type: text/html\n\nhtml\n"
        "--YY--\n\n"
        "--XX\nContent-Type: application/pdf\nContent-Disposition: attachment\n\nPDF\n"
        "--XX--\n");
    Walked walked(text);
    ASSERT_EQ(walked.Count(), 5);
    const char* boundaries[] = {"(null)", "XX", "YY", "YY", "XX"};
    const uint32_t multipart[] = {1, 1, 0, 0, 0};
    for (uint16_t i = 0; i < 5; ++i) {
        EXPECT_EQ(walked.Boundary(i), boundaries[i]) << i;
        EXPECT_EQ(walked.At(i).isMultipart, multipart[i]) << i;
    }
    EXPECT_EQ(walked.Body(2), "plain\n");
    EXPECT_EQ(walked.Body(3), "html\n");
    EXPECT_EQ(walked.Body(4), "PDF\n");
}

TEST(WalkMessage, MissingDelimiters) {
    // No first delimiter: the multipart is a leaf to the end of the stream.
    Walked noFirst(Mixed("Content-Type: text/plain\n\ntext\n"));
    ASSERT_EQ(noFirst.Count(), 1);
    EXPECT_EQ(noFirst.At(0).isMultipart, 0u);
    EXPECT_EQ(noFirst.At(0).bodyLength, kToEnd);

    // No closing delimiter: the last part runs to the end with its true length.
    Walked noClosing(Mixed("--XX\nContent-Type: text/plain\n\none\n--XX\nContent-Type: text/plain\n\nlast\n"));
    ASSERT_EQ(noClosing.Count(), 3);
    EXPECT_EQ(noClosing.Body(2), "last\n");

    // A nested level without its closing delimiter swallows what follows.
    Walked nestedOpen(Mixed(
        "--XX\nContent-Type: multipart/mixed; boundary=YY\n\n"
        "--YY\nContent-Type: text/plain\n\ninner\n"
        "--XX\nContent-Type: text/plain\n\nouter\n--XX--\n"));
    ASSERT_EQ(nestedOpen.Count(), 3);
    EXPECT_EQ(nestedOpen.Body(2), "inner\n--XX\nContent-Type: text/plain\n\nouter\n--XX--\n");
}

TEST(WalkMessage, WhatCountsAsADelimiter) {
    // Trailing blanks make a closing delimiter an ordinary one: the walk goes on.
    Walked blanks(Mixed("--XX\nContent-Type: text/plain\n\none\n--XX--  \nContent-Type: text/plain\n\nafter\n"));
    ASSERT_EQ(blanks.Count(), 3);
    EXPECT_EQ(blanks.Body(2), "after\n");

    // Any "--" line that contains the boundary ends a part; a longer boundary too.
    Walked containing(Mixed(
        "--XX\nContent-Type: text/plain\n\none\n-- quoted XX here\nContent-Type: text/html\n\nx\n"
        "--XXY\nContent-Type: text/plain\n\ny\n--XX--\n"));
    ASSERT_EQ(containing.Count(), 4);
    EXPECT_EQ(containing.Body(1), "one\n");
    EXPECT_EQ(containing.Body(2), "x\n");
    EXPECT_EQ(containing.Body(3), "y\n");

    // A part whose block has no Content- field gets no record; the text
    // behind its blank line is tried as the next block.
    Walked bare(Mixed("--XX\nSubject: no content fields\n\nContent-Type: text/plain\n\nbody\n--XX--\n"));
    ASSERT_EQ(bare.Count(), 2);
    EXPECT_EQ(bare.Body(1), "body\n");
}

TEST(WalkMessage, DigestEntriesKeepAllTheirFields) {
    const std::string entries =
        "--DD\n\nFrom: x@y\nSubject: first\n\nbody one\n"
        "--DD\nContent-Type: message/rfc822\n\nFrom: z@y\nSubject: second\n\nbody two\n"
        "--DD--\n";
    Walked digest("Content-Type: multipart/digest; boundary=DD\n\n" + entries);
    ASSERT_EQ(digest.Count(), 3);
    // The single line end behind the delimiter is no blank line: the entry's
    // own header is the block.
    EXPECT_STREQ(FindField("subject", digest.At(1).headers), "first");
    EXPECT_EQ(digest.Body(1), "body one\n");
    // An explicit message/rfc822 entry is one leaf; the message stays in its body.
    EXPECT_EQ(ListCount(digest.At(2).headers), 1);
    EXPECT_EQ(digest.Body(2), "From: z@y\nSubject: second\n\nbody two\n");

    // The same entries under multipart/mixed keep no fields but the Content- one.
    Walked mixed("Content-Type: multipart/mixed; boundary=DD\n\n" + entries);
    ASSERT_EQ(mixed.Count(), 2);
    EXPECT_EQ(mixed.Body(1), "From: z@y\nSubject: second\n\nbody two\n");
}

TEST(WalkMessage, NestedClosingFollowedByOuterClosingReadsOn) {
    // After the inner multipart ends the walker goes on behind the outer
    // delimiter that follows, closing or not; at the top nothing behind is read.
    Walked walked(Mixed(
        "--XX\nContent-Type: multipart/alternative; boundary=\"YY\"\n\n"
        "--YY\nContent-Type: text/plain\n\np\n--YY--\n"
        "--XX--\nContent-Type: text/plain\n\nbehind the closing\n"));
    ASSERT_EQ(walked.Count(), 4);
    EXPECT_EQ(walked.Boundary(3), "XX");
    EXPECT_EQ(walked.Body(3), "behind the closing\n");
}

TEST(WalkMessage, NestingIsBoundedAt64Levels) {
    std::string text;
    char line[128];
    for (int level = 1; level <= 70; ++level) {
        std::snprintf(line, sizeof line, "Content-Type: multipart/mixed; boundary=\"B%03dZ\"\n\n--B%03dZ\n", level,
                      level);
        text += line;
    }
    text += "Content-Type: text/plain\n\ndeep\n";
    Walked walked(text);
    EXPECT_EQ(walked.code, 0);
    ASSERT_EQ(walked.Count(), kMaxNesting + 1);
    for (uint16_t i = 0; i < kMaxNesting; ++i) EXPECT_EQ(walked.At(i).isMultipart, 1u) << i;
    // The multipart one level too deep is a leaf that runs to the end.
    const MessagePart& deepest = walked.At(kMaxNesting);
    EXPECT_EQ(deepest.isMultipart, 0u);
    EXPECT_EQ(walked.Boundary(kMaxNesting), "B064Z");
    EXPECT_EQ(deepest.bodyOffset + deepest.bodyLength, text.size());
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

TEST(WalkMessageCorpus, NestedAlternativesReadAsChildrenOfTheLowerLevel) {
    const std::string text = Corpus("mailparser/test/fixtures/nested.eml");
    ASSERT_FALSE(text.empty());
    Walked walked(text);
    ASSERT_EQ(walked.Count(), 8);
    const std::string b0 = "----=_NextPart_000_0D48_01CE140D.19527DD0";
    const std::string b1 = "----=_NextPart_001_0D49_01CE140D.19527DD0";
    const std::string b2 = "----=_NextPart_002_0D4A_01CE140D.19527DD0";
    const std::string b3 = "===============1276485360==";
    const std::string boundaries[] = {"(null)", b0, b1, b2, b2, b1, b3, b3};
    const uint32_t multipart[] = {1, 1, 1, 0, 0, 1, 0, 0};
    for (uint16_t i = 0; i < 8; ++i) {
        EXPECT_EQ(walked.Boundary(i), boundaries[i]) << i;
        EXPECT_EQ(walked.At(i).isMultipart, multipart[i]) << i;
    }
    // The footer alternative follows the related part's closing delimiter, so
    // it is read as one more child of the related part.
    size_t plainStart = text.find("\nDear Sir,");
    EXPECT_EQ(walked.At(3).bodyOffset, plainStart);
    EXPECT_EQ(walked.At(3).bodyOffset + walked.At(3).bodyLength, text.find("--" + b2, plainStart));
    EXPECT_EQ(walked.Body(7), "<p>The footer</p>\n\n");

    // Reads that deliver a few bytes at a time give the same records.
    MemoryObjectOptions options;
    options.shortReads = 7;
    Walked trickle(text, options);
    ASSERT_EQ(trickle.Count(), 8);
    for (uint16_t i = 0; i < 8; ++i) {
        EXPECT_EQ(trickle.At(i).bodyOffset, walked.At(i).bodyOffset) << i;
        EXPECT_EQ(trickle.At(i).bodyLength, walked.At(i).bodyLength) << i;
    }
}

TEST(WalkMessageCorpus, FoldedBoundaryThatNoDelimiterContains) {
    // The boundary parameter is folded across two lines; unfolding joins them
    // without a blank, so no delimiter line contains it.
    Walked walked(Corpus("mime4j/mimetools-testmsgs/multi-digest.msg"));
    ASSERT_EQ(walked.Count(), 1);
    EXPECT_EQ(walked.At(0).isMultipart, 0u);
    EXPECT_EQ(walked.At(0).bodyLength, kToEnd);
}

TEST(WalkMessageCorpus, EveryFileWalksWithinItsBounds) {
    namespace fs = std::filesystem;
    size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_CORPUS_DIR)) {
        if (!entry.is_regular_file()) continue;
        const std::string text = ReadWholeFile(entry.path().string());
        Walked walked(text);
        ++files;
        ASSERT_TRUE(walked.code == 0 || walked.code == kNoHeader) << entry.path();
        for (uint16_t i = 0; i < walked.Count(); ++i) {
            const MessagePart& part = walked.At(i);
            EXPECT_EQ(part.partIndex, i) << entry.path();
            EXPECT_GT(ListCount(part.headers), 0) << entry.path();
            if (part.isMultipart) {
                EXPECT_EQ(part.bodyLength, 0u) << entry.path();
            } else if (part.bodyLength != kToEnd && part.bodyLength != 0xFFFFFFFFu) {
                EXPECT_LE(uint64_t{part.bodyOffset} + part.bodyLength, text.size()) << entry.path() << " " << i;
            }
        }
        if (walked.Count() > 0 && walked.At(0).isMultipart) {
            EXPECT_LT(PlanMultipart(walked.parts, 0), walked.Count()) << entry.path();
        }
    }
    EXPECT_GT(files, 1000u);
}

TEST(WalkMessageCorpus, MangledMailStaysWithinBounds) {
    // Delimiters, line ends and blank lines dropped into real mail at random
    // places: the walk and the plan end, and every range stays in the input.
    const std::string source = Corpus("mailparser/test/fixtures/nested.eml");
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
        Walked walked(text);
        for (uint16_t i = 0; i < walked.Count(); ++i) {
            const MessagePart& part = walked.At(i);
            if (part.isMultipart || part.bodyLength >= kToEnd) continue;
            EXPECT_LE(uint64_t{part.bodyOffset} + part.bodyLength, text.size()) << round;
        }
        if (walked.Count() > 0 && walked.At(0).isMultipart) {
            EXPECT_LT(PlanMultipart(walked.parts, 0), walked.Count());
        }
    }
}
