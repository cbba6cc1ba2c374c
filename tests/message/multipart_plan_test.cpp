// The choice among the children of walked multiparts.
#include <gtest/gtest.h>

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

// The plan from the top record: its result, then each later record's display
// bits (Shown, Loser, Attachment, Embedded; '-' for none) and parent kind.
std::string Planned(const Walked& walked) {
    std::string out = std::to_string(PlanMultipart(walked.parts, 0)) + ":";
    const char* kinds[] = {"-", "alt", "rel", "oth", "dig"};
    for (uint16_t i = 1; i < walked.Count(); ++i) {
        const MessagePart& part = walked.At(i);
        std::string bits;
        for (const auto& [bit, letter] : {std::pair{DISPLAY_SHOWN, 'S'}, {DISPLAY_LOSER, 'L'},
                                          {DISPLAY_ATTACHMENT, 'A'}, {DISPLAY_EMBEDDED, 'E'}})
            if (part.display & bit) bits += letter;
        out += " " + (bits.empty() ? "-" : bits) + "/" + (part.parentKind < 5 ? kinds[part.parentKind] : "?");
    }
    return out;
}

}  // namespace

TEST(PlanMultipart, ChoiceAmongTheChildren) {
    const std::string related = Multipart("related", "--YY\nContent-Type: text/html\n\nh\n--YY\n"
                                                     "Content-Type: image/png\n\np\n", "YY");
    // The inner boundary contains the outer one, so the grandchildren are
    // planned again under the outer level, and the last write wins.
    const std::string containing = Multipart("related", "--XXinner\nContent-Type: text/html\n\nh\n"
                                                        "--XXinner\nContent-Type: image/png\n\np\n", "XXinner");
    const std::string longBoundary(200, 'L');
    struct Case {
        std::string text;
        const char* planned;
        uint16_t preset = 0;  // a record given a format id or display bits before the plan
        uint32_t formatId = 0;
        uint16_t display = 0;
    };
    const Case cases[] = {
        {Multipart("alternative", Child(kPlain) + Child(kHtml)), "2: L/alt S/alt"},
        {Multipart("alternative", Child(kHtml) + Child(kPlain)), "1: S/alt L/alt"},
        // Ties go to the earlier child; an RTF body found by classification beats html.
        {Multipart("alternative", Child(kPlain) + Child(kPlain) + Child("Content-Type: application/rtf")),
         "3: L/alt L/alt S/alt", 3, 1028},
        // No child with a preference: all lose and the first is the result.
        {Multipart("alternative", Child("Content-Type: image/gif") + Child("Content-Type: audio/x")),
         "1: L/alt L/alt"},
        // An alternative holding a multipart turns into other behind it; the
        // nested one is planned on its own.
        {Multipart("alternative", Child(kPlain) + "--XX\n" + related + "\n" + Child(kHtml)),
         "1: S/alt -/alt S/rel -/rel -/oth"},
        // Not an alternative: the earlier html keeps its mark beside the start part.
        {Multipart("related; start=\"<two@x>\"", Child(kHtml) + Child("Content-Type: text/plain\nContent-ID: <two@x>") +
                                                     Child("Content-Type: image/png")),
         "2: S/rel S/rel -/rel"},
        // The start part wins even when it is marked as an attachment.
        {Multipart("alternative; start=a1",
                   Child(kHtml) + Child("Content-Type: text/plain\nContent-ID: <a1>\nContent-Disposition: attachment")),
         "2: L/alt S/alt"},
        // The attachment bit is added to what stands.
        {Multipart("mixed", Child(kPlain) + Child("Content-Type: application/pdf\n"
                                                  "Content-Disposition: attachment; filename=a.pdf")),
         "1: -/oth AE/oth", 2, 0, DISPLAY_EMBEDDED},
        {Multipart("digest", Child("Subject: a") + Child("Content-Disposition: attachment\nSubject: b")),
         "1: S/dig S/dig"},
        // A TNEF part stops the plan.
        {Multipart("digest", Child(kPlain) + Child("Content-Type: application/ms-tnef") + Child(kHtml)),
         "2: S/dig -/dig -/-", 2, 1197},
        {Multipart("mixed", ""), "0:"},
        {Multipart("alternative", "--XX\n" + containing + "\n" + Child(kPlain)), "2: -/alt S/oth -/oth -/oth"},
        // A boundary parameter longer than 127 bytes is still contained in the children's.
        {Multipart("alternative",
                   "--" + longBoundary + "\n" + kPlain + "\n\nx\n--" + longBoundary + "\n" + kHtml + "\n\ny\n",
                   longBoundary.c_str()),
         "2: L/alt S/alt"},
    };
    for (const Case& c : cases) {
        Walked walked(c.text);
        if (c.preset) {
            ASSERT_LT(c.preset, walked.Count()) << c.text;
            walked.At(c.preset).formatId = c.formatId;
            walked.At(c.preset).display = c.display;
        }
        EXPECT_EQ(Planned(walked), c.planned) << c.text;
    }
    Walked holding(cases[4].text);
    PlanMultipart(holding.parts, 0);
    EXPECT_EQ(holding.At(0).multipartKind, MP_OTHER);
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
