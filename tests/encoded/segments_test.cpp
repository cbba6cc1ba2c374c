// Encoded blocks inside a text: what the scan records for each complete block
// that opens at a line start, and how the text around the blocks is written.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/mailfilter.h"
#include "tests/cli/cli_run.h"
#include "tests/encoded/sniff_fixture.h"
#include "tests/support/filter_session.h"

namespace {

const std::string kYenc = "=ybegin line=128 size=3 name=a b.bin\nabc\n=yend size=3\n";

std::string UuBlock() {
    const std::string mail = ReadWholeFile(std::string(MAILSIFT_DATA_DIR) + "/uudeview/test/plain-uuencode.good.msg");
    const size_t begin = mail.find("begin 644 test.txt");
    return mail.substr(begin, mail.find("\nend\n", begin) + 5 - begin);
}

// "owner code offset+length name" of each record the scan adds for `text` as
// the body of part 7 at document offset 100; `qp` is its transferCode.
std::string ScanAll(const std::string& text, uint32_t* qp) {
    encoded_test::ReaderOver over(text);
    GrowList* list = ListCreate(0, 0, sizeof(AttachRecord), 4, 4);
    MessagePart part{};
    part.bodyOffset = 100;
    part.transferCode = *qp;
    const uint16_t added = ScanSegments(over.reader, 0, static_cast<uint32_t>(text.size()) - 1, &part, list, &over.line, 7);
    EXPECT_EQ(added, ListCount(list));
    std::string found;
    for (uint16_t i = 0; i < ListCount(list); ++i) {
        auto* r = ListAt<AttachRecord>(list, i);
        found += std::to_string(r->ownerPart) + " " + std::to_string(r->transferCode) + " " + std::to_string(r->offset) +
                 "+" + std::to_string(r->length) + " " + (r->name ? r->name : "-") + "\n";
        StringFree(r->nameBlock);
    }
    ListDestroy(list);
    *qp = part.transferCode;
    return found;
}

// A BinHex block carrying `bytes` as they stand, three bytes to four symbols.
std::string BinHex(const std::vector<uint8_t>& bytes) {
    static const char kAlphabet[] = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
    std::string out = "(This file must be converted with BinHex 4.0)\n:";
    for (size_t at = 0; at < bytes.size(); at += 3) {
        uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k) group = group << 8 | (at + k < bytes.size() ? bytes[at + k] : 0);
        for (int s = 0; s < 4; ++s) out += kAlphabet[(group >> (18 - 6 * s)) & 63];
    }
    return out + ":\n";
}

TEST(ScanSegments, RecordsCompleteBlocksAtLineStartsOnly) {
    // An unclosed opening followed by a block, which stays text; BinHex names
    // with a run of 'a' and with an escaped 0x90; two unclosed openings at the
    // end, which stay text too.
    const std::string text = "Hello\n" + UuBlock() + "Xbegin 644 a\ntext =ybegin name=mid\nbegin 644 stays\n" + kYenc +
                             BinHex({5, 'a', 0x90, 4, 'b', 0}) + BinHex({3, 'a', 0x90, 0, 'b', 0}) +
                             "=ybegin line=1 size=1 name=cut\nx\nbegin 644 open\nM86)C\n";
    uint32_t qp = TC_QUOTED_PRINTABLE;
    EXPECT_EQ(ScanAll(text, &qp), "7 15 106+265 test.txt\n7 18 422+54 a b.bin\n7 17 476+57 aaaab\n7 17 533+57 a\x90"
                                  "b\n");
    EXPECT_EQ(qp, 0u) << "a found block makes a quoted-printable part plain";
    EXPECT_EQ(ScanAll("x\n" + UuBlock().substr(0, 200) + "\n", &qp), "");
    qp = TC_QUOTED_PRINTABLE;
    EXPECT_EQ(ScanAll("no blocks\nbegin\nXbegin 644 a\n", &qp), "");
    EXPECT_EQ(qp, TC_QUOTED_PRINTABLE) << "nothing found leaves the part as it was";
}

TEST(InlineSegments, TextAroundTheBlocksOneLinkEachAndResumesAsOneRead) {
    // The body opens with a block, the second follows the first at once, and
    // the attachment part's record, owned by the text part, lies outside it.
    const std::string mail = "From: a@b.c\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=XX\n\n--XX\n"
                             "Content-Type: text/plain\n\n" + UuBlock() + kYenc + "between\nmore\n" + UuBlock() +
                             "tail\n--XX\nContent-Disposition: attachment; filename=z.bin\n\nAAECAwQF\n--XX--\n";
    RecordingHost host, replayed;
    ASSERT_EQ(RunDocument(host, mail, FI_INTERNET_MAIL), 0);
    const std::string text = host.Text();
    EXPECT_NE(text.find("\n\ntest.txt\na b.bin\nbetween\nmore\ntest.txt\ntail\n"), std::string::npos) << text;
    EXPECT_EQ(host.Count(SO_NEWSUBDOC), 7u) << "four in the attachments row, three in the text";
    // Stopped at every paragraph break and sent back one stop each time.
    ASSERT_EQ(RunDocumentWithReplays(replayed, mail, FI_INTERNET_MAIL), 0);
    EXPECT_EQ(replayed.Rendered(), host.Rendered());
}

}  // namespace
