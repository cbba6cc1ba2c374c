// The header table and the attachments row through a recording host: built
// header lists for the exact call order, and real mails through the whole
// filter for the decoded rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "charset/charset.h"
#include "message/message.h"
#include "tests/charset/hosted_proc.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

namespace {

HeaderList* MakeHeaders(const std::vector<std::pair<const char*, const char*>>& fields) {
    HeaderList* headers = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
    for (const auto& [name, value] : fields) {
        HeaderField field{};
        field.name = StringDup(static_cast<uint32_t>(std::strlen(name)), &field.nameBlock, name);
        field.value = StringDup(static_cast<uint32_t>(std::strlen(value)), &field.valueBlock, value);
        ListAdd(headers, &field);
    }
    return headers;
}

// Marks the two cell records so that the transcript shows which is which.
void MarkCells(FilterProc* proc) {
    proc->cellFormatLeft[0] = 1;
    proc->cellFormatRight[0] = 2;
    proc->rowFormat[2] = 240;
    proc->rowFormat[3] = 1;
}

// The compact calls, with each cell record cut to its first word.
std::string Rows(HostedProc& hosted) {
    return std::regex_replace(hosted.Compact(), std::regex(R"(<SoPutCellFormat \[(.)[^\]]*\]>)"), "<cell $1>");
}

TEST(ShowHeaderBlock, KnownAndPlainFieldsInHeaderOrder) {
    HostedProc hosted;
    FilterProc* proc = hosted.proc();
    MarkCells(proc);
    proc->charset = CharsetUtf8;
    MessagePart part{};
    part.headers = MakeHeaders({{"Subject:", "=?utf-8?Q?caf=C3=A9?= ok"},
                                {"X-Mailer:", "mutt"},
                                {"Resent-From:", "a"},
                                {"BCC:", "b"},
                                {"to:", "c"}});
    ShowHeaderBlock(&part, proc);
    const std::string closeKnown =
        "<SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,240,1,0,0,0]><cell 1><cell 2><SoPutBreak 19 0 => 0>";
    const std::string closePlain =
        "<SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,0,3,0,0,0]><cell 1><cell 2><SoPutBreak 19 0 => 0>";
    EXPECT_EQ(Rows(hosted),
              "<SoBeginTable>"
              "<SoPutStringId 0x1366D><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 0 [0x1366D]>"
              "[14B00000]caf{E9}[14B00000] ok<SoEndTag 0x290004 0>" + closeKnown +
              "<SoSetProperty 8 15 1 0>X-Mailer:<SoPutBreak 20 0 => 0>mutt<SoSetProperty 8 15 0 0>" +
              closePlain +
              "<SoSetProperty 8 15 1 0>Resent-From:<SoPutBreak 20 0 => 0>a<SoSetProperty 8 15 0 0>" +
              closePlain +
              "<SoPutStringId 0x1366C><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 3 [0x1366C]>b"
              "<SoEndTag 0x290004 3>" + closeKnown +
              "<SoPutStringId 0x1366A><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 4 [0x1366A]>c"
              "<SoEndTag 0x290004 4>" + closeKnown +
              "<SoEndTable>[14B00000]");
    // the words between rows are back at 240 and 1
    EXPECT_EQ(proc->rowFormat[2], 240u);
    EXPECT_EQ(proc->rowFormat[3], 1u);
    HeaderListFree(part.headers);
}

TEST(ShowHeaderBlock, SavedWebPagesEmptyValuesAndNoHeader) {
    HostedProc hosted;
    FilterProc* proc = hosted.proc();
    MarkCells(proc);
    proc->charset = CharsetIso8859(2);
    proc->formatId = FI_MHTML;
    MessagePart part{};
    part.headers = MakeHeaders({{"Subject:", "page"}});
    ShowHeaderBlock(&part, proc);
    EXPECT_EQ(Rows(hosted),
              "<SoBeginTable><SoSetProperty 8 15 1 0>Subject:<SoPutBreak 20 0 => 0>page"
              "<SoSetProperty 8 15 0 0><SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,0,3,0,0,0]>"
              "<cell 1><cell 2><SoPutBreak 19 0 => 0><SoEndTable>[80102]");
    HeaderListFree(part.headers);

    // no list, or an empty one: nothing at all, not even a charset call
    HostedProc quiet;
    MessagePart bare{};
    ShowHeaderBlock(&bare, quiet.proc());
    bare.headers = MakeHeaders({});
    ShowHeaderBlock(&bare, quiet.proc());
    EXPECT_EQ(quiet.host().Calls().size(), 0u);
    HeaderListFree(bare.headers);
}

AttachRecord Attachment(uint16_t owner, const char* name = nullptr) {
    AttachRecord record{};
    record.ownerPart = owner;
    if (name) record.name = StringDup(static_cast<uint32_t>(std::strlen(name)), &record.nameBlock, name);
    return record;
}

// A FilterProc with its parameter buffer and an attachments list, which
// owns the names of its records.
class AttachmentRow : public testing::Test {
protected:
    void SetUp() override {
        MarkCells(proc);
        ASSERT_EQ(TextBufferAlloc(&proc->paramBuf, 512), 0);
        proc->attachments = ListCreate(0, 0, sizeof(AttachRecord), 4, 4);
    }
    void TearDown() override {
        for (uint16_t i = 0; i < ListCount(proc->attachments); ++i)
            StringFree(ListAt<AttachRecord>(proc->attachments, i)->nameBlock);
        ListDestroy(proc->attachments);
        HeaderListFree(part.headers);
    }

    HostedProc hosted;
    FilterProc* proc = hosted.proc();
    MessagePart part{};
};

TEST_F(AttachmentRow, LinksOnlyThePartsOwnAttachments) {
    AttachRecord forHtml = Attachment(1, "inline.png");
    forHtml.forFilter1101 = 1;
    AttachRecord forRtf = Attachment(1);
    forRtf.forFilter1028 = 1;
    AttachRecord named = Attachment(1, "a.pdf");
    AttachRecord other = Attachment(2, "b.zip");
    AttachRecord unnamed = Attachment(1);
    for (AttachRecord* r : {&forHtml, &forRtf, &named, &other, &unnamed}) ListAdd(proc->attachments, r);
    part.partIndex = 1;
    part.headers = MakeHeaders({{"Content-Type:", "application/octet-stream; name=\"c d.bin\""}});

    ShowAttachmentRow(&part, proc);
    EXPECT_EQ(Rows(hosted),
              "<SoBeginTable><SoPutStringId 0x13685><SoPutBreak 20 0 => 0>"
              "<SoNewSubdoc => 1><SoSetProperty 193 256 0 2><SoSetProperty 194 0 0 0>"
              "<SoRegisterText \"a.pdf\" 0x14B00000 5 => 1><SoBeginTag 0x8003000C 1 [0,1,1]>a.pdf"
              "<SoEndTag 0x8003000C 1> <SoPutSpecialChar 1>"
              "<SoNewSubdoc => 2><SoSetProperty 193 256 0 4><SoSetProperty 194 0 0 0>"
              "<SoRegisterText \"c d.bin\" 0x14B00000 7 => 2><SoBeginTag 0x8003000C 2 [0,2,2]>c d.bin"
              "<SoEndTag 0x8003000C 2>"
              "<SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,240,1,0,0,0]><cell 1><cell 2>"
              "<SoPutBreak 19 0 => 0><SoEndTable>");
    // the name found in the header stays with the record
    EXPECT_STREQ(ListAt<AttachRecord>(proc->attachments, 4)->name, "c d.bin");

    // a part whose attachments all go to a support filter gets no table
    hosted.host().Truncate(0);
    part.partIndex = 3;
    AttachRecord rtfOnly = Attachment(3);
    rtfOnly.forFilter1028 = 1;
    ListAdd(proc->attachments, &rtfOnly);
    ShowAttachmentRow(&part, proc);
    EXPECT_EQ(hosted.host().Calls().size(), 0u);
}

TEST_F(AttachmentRow, UnnamedLinkUsesTheFixedText) {
    AttachRecord unnamed = Attachment(0);
    ListAdd(proc->attachments, &unnamed);
    ShowAttachmentRow(&part, proc);
    EXPECT_EQ(Rows(hosted),
              "<SoBeginTable><SoPutStringId 0x13685><SoPutBreak 20 0 => 0>"
              "<SoNewSubdoc => 1><SoSetProperty 193 256 0 0><SoSetProperty 194 0 0 0>"
              "<SoBeginTag 0x8003000C 1 [0,1,0xFFFFFFFF]><SoPutStringId 0x13685><SoEndTag 0x8003000C 1>"
              "<SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,240,1,0,0,0]><cell 1><cell 2>"
              "<SoPutBreak 19 0 => 0><SoEndTable>");
}

std::string Corpus(const std::string& path) {
    return ReadWholeFile(std::string(MAILSIFT_DATA_DIR) + "/" + path);
}

TEST(HeaderDisplayCorpus, EncodedWordsInEveryKnownField) {
    std::string mail = Corpus("mime4j/mimetools-testmsgs/intl.msg");
    ASSERT_FALSE(mail.empty());
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, mail, FI_INTERNET_MAIL), 0);
    // a known field's label is a fixed text, so a row reads " | value | ";
    // words on folded lines meet without a blank, in three charsets
    const std::string text = host.Text();
    for (const char* row : {" | Keith Moore <moore@cs.utk.edu> | \n",
                            " | Keld J\xC3\xB8rn Simonsen <keld@dkuug.dk> | \n",
                            " | Andr\xC3\xA9  Pirard <PIRARD@vm1.ulg.ac.be> | \n",
                            " | Patrik F\xC3\xA4ltstr\xC3\xB6m <paf@nada.kth.se> | \n",
                            " | If you can read this you understand the example... so, cool! | \n",
                            "Content-type: | text/plain | \n"})
        EXPECT_NE(text.find(row), std::string::npos) << row << "\nin:\n" << text;
    // each of the seven words is announced in its own set and followed by the
    // return to plain; behind the table the part's own set is announced
    const auto& calls = host.Calls();
    auto begin = std::find_if(calls.begin(), calls.end(),
                              [](const HostEvent& e) { return e.id == SO_BEGINTABLE; });
    auto end = std::find_if(begin, calls.end(), [](const HostEvent& e) { return e.id == SO_ENDTABLE; });
    ASSERT_NE(end, calls.end());
    EXPECT_EQ(std::count_if(begin, end, [](const HostEvent& e) { return e.id == SO_SETCHARSET; }), 14);
    ASSERT_NE(end + 1, calls.end());
    EXPECT_EQ((end + 1)->id, SO_SETCHARSET);
    EXPECT_EQ((end + 1)->args[0].number, CharsetPlain);
}

TEST(HeaderDisplayCorpus, Utf8WordsAndARawAttachmentName) {
    RecordingHost japanese;
    ASSERT_EQ(RunDocument(japanese, Corpus("mikel-mail/emails/multi_charset/japanese_iso_2022.eml"),
                          FI_INTERNET_MAIL),
              0);
    for (const char* row : {" | \xE3\x81\xBE\xE3\x81\xBF\xE3\x82\x80\xE3\x82\x81\xE3\x82\x82 | \n",
                            " | \xE3\x81\xBF\xE3\x81\x91\xE3\x82\x8B <raasdnil@gmail.com> | \n"})
        EXPECT_NE(japanese.Text().find(row), std::string::npos) << row << "\nin:\n" << japanese.Text();

    // the link of an attachment shows its name as the header holds it (RFC 2231
    // continuations included); decoding it is the host's business
    RecordingHost attached;
    ASSERT_EQ(RunDocument(attached,
                          Corpus("mikel-mail/emails/multi_charset/japanese_attachment_long_name.eml"),
                          FI_INTERNET_MAIL),
              0);
    EXPECT_NE(attached.Text().find(" | utf-8''%E3%81%8B%E3%81%8D%E3%81%8F"), std::string::npos);
    EXPECT_EQ(attached.Count(SO_NEWSUBDOC), 1u);
    EXPECT_NE(attached.Transcript().find("SoBeginTag 0x8003000C 1 [0,1,1]\n"), std::string::npos);
}

}  // namespace
