// The choice among the children of walked multiparts.
#include <gtest/gtest.h>

#include <cstdio>

#include "message_fixture.h"

using message_test::Headers;
using message_test::Walked;

namespace {

std::string Child(const std::string& header, const std::string& body = "x") {
    return "--XX\n" + header + "\n\n" + body + "\n";
}

std::string Multipart(const std::string& type, const std::string& children, const char* boundary = "XX") {
    return "Content-Type: multipart/" + type + "; boundary=\"" + boundary + "\"\n\n" + children + "--" +
           boundary + "--\n";
}

const char* kPlain = "Content-Type: text/plain";
const char* kHtml = "Content-Type: text/html";

}  // namespace

TEST(PlanMultipart, AlternativeShowsTheHighestPreference) {
    Walked plainFirst(Multipart("alternative", Child(kPlain) + Child(kHtml)));
    EXPECT_EQ(PlanMultipart(plainFirst.parts, 0), 2);
    EXPECT_EQ(plainFirst.At(1).display, DISPLAY_LOSER);
    EXPECT_EQ(plainFirst.At(2).display, DISPLAY_SHOWN);
    EXPECT_EQ(plainFirst.At(1).parentKind, MP_ALTERNATIVE);

    Walked htmlFirst(Multipart("alternative", Child(kHtml) + Child(kPlain)));
    EXPECT_EQ(PlanMultipart(htmlFirst.parts, 0), 1);
    EXPECT_EQ(htmlFirst.At(1).display, DISPLAY_SHOWN);
    EXPECT_EQ(htmlFirst.At(2).display, DISPLAY_LOSER);

    // Ties go to the earlier child; an RTF body found by classification beats html.
    Walked tie(Multipart("alternative", Child(kPlain) + Child(kPlain) + Child("Content-Type: application/rtf")));
    tie.At(3).formatId = 1028;
    EXPECT_EQ(PlanMultipart(tie.parts, 0), 3);
    EXPECT_EQ(tie.At(1).display, DISPLAY_LOSER);
    EXPECT_EQ(tie.At(2).display, DISPLAY_LOSER);
    EXPECT_EQ(tie.At(3).display, DISPLAY_SHOWN);

    // No child with a preference: all lose and the first is the result.
    Walked none(Multipart("alternative", Child("Content-Type: image/gif") + Child("Content-Type: audio/x")));
    EXPECT_EQ(PlanMultipart(none.parts, 0), 1);
    EXPECT_EQ(none.At(1).display, DISPLAY_LOSER);
    EXPECT_EQ(none.At(2).display, DISPLAY_LOSER);
}

TEST(PlanMultipart, AlternativeHoldingAMultipartTurnsIntoOther) {
    const std::string related = Multipart("related", "--YY\nContent-Type: text/html\n\nh\n--YY\n"
                                                     "Content-Type: image/png\n\np\n", "YY");
    Walked walked(Multipart("alternative", Child(kPlain) + "--XX\n" + related + "\n" + Child(kHtml)));
    ASSERT_EQ(walked.Count(), 6);
    EXPECT_EQ(PlanMultipart(walked.parts, 0), 1);
    EXPECT_EQ(walked.At(0).multipartKind, MP_OTHER);
    EXPECT_EQ(walked.At(1).display, DISPLAY_SHOWN);
    EXPECT_EQ(walked.At(1).parentKind, MP_ALTERNATIVE);
    EXPECT_EQ(walked.At(2).parentKind, MP_ALTERNATIVE);  // the nested multipart itself
    EXPECT_EQ(walked.At(3).parentKind, MP_RELATED);
    EXPECT_EQ(walked.At(3).display, DISPLAY_SHOWN);  // planned under the related part
    EXPECT_EQ(walked.At(5).parentKind, MP_OTHER);    // behind the nested one
    EXPECT_EQ(walked.At(5).display, 0);
}

TEST(PlanMultipart, RelatedStartPartAndMixedAttachments) {
    Walked related(Multipart("related; start=\"<two@x>\"",
                             Child(kHtml) + Child("Content-Type: text/plain\nContent-ID: <two@x>") +
                                 Child("Content-Type: image/png")));
    EXPECT_EQ(PlanMultipart(related.parts, 0), 2);
    EXPECT_EQ(related.At(1).display, DISPLAY_SHOWN);  // not an alternative: the earlier html keeps 1
    EXPECT_EQ(related.At(2).display, DISPLAY_SHOWN);
    EXPECT_EQ(related.At(3).display, 0);

    // The start part wins even when it is marked as an attachment.
    Walked startAttached(Multipart("alternative; start=a1", Child(kHtml) +
                                   Child("Content-Type: text/plain\nContent-ID: <a1>\n"
                                         "Content-Disposition: attachment")));
    EXPECT_EQ(PlanMultipart(startAttached.parts, 0), 2);
    EXPECT_EQ(startAttached.At(1).display, DISPLAY_LOSER);
    EXPECT_EQ(startAttached.At(2).display, DISPLAY_SHOWN);

    Walked mixed(Multipart("mixed", Child(kPlain) + Child("Content-Type: application/pdf\n"
                                                          "Content-Disposition: attachment; filename=a.pdf")));
    mixed.At(2).display = DISPLAY_EMBEDDED;  // the attachment bit is added to what stands
    EXPECT_EQ(PlanMultipart(mixed.parts, 0), 1);
    EXPECT_EQ(mixed.At(1).display, 0);
    EXPECT_EQ(mixed.At(2).display, DISPLAY_EMBEDDED | DISPLAY_ATTACHMENT);
    EXPECT_EQ(mixed.At(1).parentKind, MP_OTHER);
}

TEST(PlanMultipart, DigestShowsAllAndTnefStopsThePlan) {
    Walked digest(Multipart("digest", Child("Subject: a") + Child("Content-Disposition: attachment\nSubject: b")));
    EXPECT_EQ(PlanMultipart(digest.parts, 0), 1);
    EXPECT_EQ(digest.At(1).display, DISPLAY_SHOWN);
    EXPECT_EQ(digest.At(2).display, DISPLAY_SHOWN);

    Walked tnef(Multipart("digest", Child(kPlain) + Child("Content-Type: application/ms-tnef") + Child(kHtml)));
    tnef.At(2).formatId = 1197;
    EXPECT_EQ(PlanMultipart(tnef.parts, 0), 2);
    EXPECT_EQ(tnef.At(1).display, DISPLAY_SHOWN);
    EXPECT_EQ(tnef.At(2).display, 0);
    EXPECT_EQ(tnef.At(3).display, 0);
    EXPECT_EQ(tnef.At(3).parentKind, 0);

    Walked empty(Multipart("mixed", ""));
    ASSERT_EQ(empty.Count(), 1);
    EXPECT_EQ(PlanMultipart(empty.parts, 0), 0);
}

TEST(PlanMultipart, ChildrenFoundByBoundaryContainment) {
    // The inner boundary contains the outer one, so the grandchildren are
    // planned again under the outer level, and the last write wins.
    const std::string inner = Multipart("related", "--XXinner\nContent-Type: text/html\n\nh\n"
                                                   "--XXinner\nContent-Type: image/png\n\np\n", "XXinner");
    Walked walked(Multipart("alternative", "--XX\n" + inner + "\n" + Child(kPlain)));
    ASSERT_EQ(walked.Count(), 5);
    EXPECT_EQ(PlanMultipart(walked.parts, 0), 2);
    EXPECT_EQ(walked.At(2).parentKind, MP_OTHER);
    EXPECT_EQ(walked.At(2).display, DISPLAY_SHOWN);  // set under the related part, left by the outer
    EXPECT_EQ(walked.At(4).display, 0);

    // A boundary parameter longer than 127 bytes is still contained in the children's.
    const std::string longBoundary(200, 'L');
    Walked longOne(Multipart("alternative",
                             "--" + longBoundary + "\n" + kPlain + "\n\nx\n--" + longBoundary + "\n" + kHtml +
                                 "\n\ny\n",
                             longBoundary.c_str()));
    ASSERT_EQ(longOne.Count(), 3);
    EXPECT_EQ(PlanMultipart(longOne.parts, 0), 2);
    EXPECT_EQ(longOne.At(1).display, DISPLAY_LOSER);
}

TEST(PlanMultipart, DeepNestingPlansEveryLevelWithinTheBound) {
    std::string text;
    char line[128];
    for (int level = 1; level <= 70; ++level) {
        std::snprintf(line, sizeof line, "Content-Type: multipart/alternative; boundary=\"B%03dZ\"\n\n--B%03dZ\n",
                      level, level);
        text += line;
    }
    text += "Content-Type: text/plain\n\ndeep\n";
    Walked walked(text);
    ASSERT_EQ(walked.Count(), kMaxNesting + 1);
    // The deepest record is a leaf (the walker's bound) and is where display starts.
    EXPECT_EQ(PlanMultipart(walked.parts, 0), kMaxNesting);
    // A leaf with no preference number loses in its alternative.
    EXPECT_EQ(walked.At(kMaxNesting).display, DISPLAY_LOSER);
    EXPECT_EQ(walked.At(kMaxNesting).parentKind, MP_ALTERNATIVE);
}

TEST(PlanMultipart, SelfContainingBoundariesStayBounded) {
    // Every record a multipart whose boundary contains every other: each
    // level sees all later records as its children. Unbounded, the plan
    // would take 2^n steps; the bounds make it end.
    Headers header("Content-Type: multipart/alternative; boundary=b\n\n");
    PartList* parts = ListCreate(0, 0, sizeof(MessagePart), 4, 4);
    char boundary[] = "b";
    for (uint16_t i = 0; i < 200; ++i) {
        MessagePart record{};
        record.headers = header.list;
        record.boundary = i == 0 ? nullptr : boundary;
        record.isMultipart = i + 1 < 200;
        record.partIndex = i;
        ListAdd(parts, &record);
    }
    // Past the nesting bound a nested multipart is not planned and is its own start.
    EXPECT_EQ(PlanMultipart(parts, 0), kMaxNesting + 1);
    EXPECT_EQ(ListAt<MessagePart>(parts, 1)->parentKind, MP_ALTERNATIVE);
    EXPECT_EQ(PlanMultipart(parts, 200), 200);  // an index past the list plans nothing
    ListDestroy(parts);
}
