// golden_mail_test.cpp - key facts of the rendered output of a few real
// mails, each read off the file by hand: the header rows with their labels
// and decoded values, the first body line, which sibling of an alternative
// is shown, the links of the attachments row, the sections of a digest, the
// characters of a body in a legacy charset.
//
// Rendered text is RecordingHost::Text(): a known field's label shows as its
// fixed-text number, e.g. {0x1366D} for the subject, a cell end as " | ".
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/constants.h"
#include "tests/corpus/corpus_run.h"
#include "tests/support/filter_session.h"

namespace {

struct Rendering {
    RecordingHost host;
    int16_t code = 0;
    std::string text;
};

// The mail read to its end as FormatId 1192, never stopping.
void Render(const std::string& file, Rendering* out) {
    const std::string bytes = ReadWholeFile(CorpusRoot() + "/" + file);
    ASSERT_FALSE(bytes.empty()) << file;
    out->code = RunDocument(out->host, bytes, FI_INTERNET_MAIL);
    out->text = out->host.Text();
}

size_t CountCalls(const RecordingHost& host, int id, uint32_t firstArg) {
    size_t count = 0;
    for (const HostEvent& event : host.Calls())
        if (event.id == id && !event.args.empty() && event.args[0].number == firstArg) ++count;
    return count;
}

// The rendered text of each section, split where SoBeginSection comes.
std::vector<std::string> SectionTexts(const RecordingHost& host) {
    std::vector<size_t> starts;
    for (size_t i = 0; i < host.Calls().size(); ++i)
        if (host.Calls()[i].id == SO_BEGINSECTION) starts.push_back(i);
    std::vector<std::string> sections;
    for (size_t s = 0; s < starts.size(); ++s) {
        std::string text = host.Text(starts[s]);
        if (s + 1 < starts.size()) text.resize(text.size() - host.Text(starts[s + 1]).size());
        sections.push_back(text);
    }
    return sections;
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(GoldenMail, PlainMessage) {
    // Five fields (Date, To, From, Subject, X-Mailer) and one body line.
    Rendering r;
    Render("enmime/testdata/mail/non-mime.raw", &r);
    ASSERT_EQ(r.code, 0);
    EXPECT_TRUE(Has(r.text, "{0x1366D} | test Sun, 14 Oct 2012 16:09:01 -0700 | \n")) << r.text;
    EXPECT_TRUE(Has(r.text, "{0x1367C} | James Hillyerd <james@hillyerd.com> | \n"));
    // A field without a fixed label shows its own name, colon included.
    EXPECT_TRUE(Has(r.text, "X-Mailer: | swaks v20120320.0 jetmore.org/john/code/swaks/ | \n"));
    EXPECT_EQ(CountCalls(r.host, SO_PUTBREAK, BRK_ROW_END), 5u);
    EXPECT_TRUE(Has(r.text, "\nThis is a test mailing\n"));
    EXPECT_FALSE(Has(r.text, "{0x13685}")) << "no attachments row";
    EXPECT_EQ(r.host.Count(SO_BEGINSECTION), 1u);
}

TEST(GoldenMail, AlternativeShowsOnlyTheRicherSibling) {
    // text (no Content-Type, so text/plain) then text/html: the HTML part is
    // the one shown, with its own head; the plain text and the preamble are not.
    Rendering r;
    Render("comm-central/mail/components/extensions/test/xpcshell/messages/alternative.eml", &r);
    ASSERT_EQ(r.code, 0);
    EXPECT_TRUE(Has(r.text, "{0x1366D} | Default content-types | \n")) << r.text;
    EXPECT_TRUE(Has(r.text, "Content-Type: | text/html | \n"));
    EXPECT_FALSE(Has(r.text, "I am TEXT!"));
    EXPECT_FALSE(Has(r.text, "This message is in MIME format"));

    // Two text/plain siblings rank alike: the first one wins.
    Rendering tie;
    Render("enmime/testdata/mail/mime-alternative.raw", &tie);
    ASSERT_EQ(tie.code, 0);
    EXPECT_TRUE(Has(tie.text, "\nSection one\n")) << tie.text;
    EXPECT_FALSE(Has(tie.text, "Section two"));
}

TEST(GoldenMail, MixedWithAttachmentsLinksThemInTheHeaderRow) {
    // A text part and a base64 text/html part with Content-Disposition
    // attachment, filename=test.html.
    Rendering r;
    Render("enmime/testdata/mail/attachment.raw", &r);
    ASSERT_EQ(r.code, 0);
    EXPECT_TRUE(Has(r.text, "{0x1366D} | Attachment | \n")) << r.text;
    EXPECT_TRUE(Has(r.text, "{0x13685} | test.html | \n"));
    EXPECT_EQ(CountCalls(r.host, SO_BEGINTAG, TAG_LINK), 1u);
    EXPECT_TRUE(Has(r.text, "\nA text section"));
    EXPECT_FALSE(Has(r.text, "PGh0bWw+")) << "the attachment's data is not shown";

    // Three parts with Content-Disposition attachment: image.png, the gif
    // named by an RFC 2231 parameter, notes.txt; all three linked in one row,
    // in file order.
    Rendering three;
    Render("mailparser/test/fixtures/nodemailer.eml", &three);
    ASSERT_EQ(three.code, 0);
    EXPECT_EQ(CountCalls(three.host, SO_BEGINTAG, TAG_LINK), 3u);
    const size_t row = three.text.find("{0x13685} | image.png");
    ASSERT_NE(row, std::string::npos) << three.text;
    const size_t rowEnd = three.text.find('\n', row);
    EXPECT_TRUE(Has(three.text.substr(row, rowEnd - row), "nyan%20cat"));
    EXPECT_TRUE(Has(three.text.substr(row, rowEnd - row), "notes.txt | "));
}

TEST(GoldenMail, DigestEntriesAreSectionsOfTheirOwn) {
    // multipart/digest of two entries, each a header (To, From, Subject ee)
    // and one line, "message 1" and "message 2".
    Rendering r;
    Render("cpython-email/msg_30.txt", &r);
    ASSERT_EQ(r.code, 0);
    const std::vector<std::string> sections = SectionTexts(r.host);
    ASSERT_EQ(sections.size(), 2u) << r.text;
    EXPECT_EQ(CountCalls(r.host, SO_PUTBREAK, BRK_SECTION_END), 1u);
    EXPECT_EQ(CountCalls(r.host, SO_PUTBREAK, BRK_DOCUMENT_END), 1u);
    EXPECT_TRUE(Has(sections[0], "{0x1367C} | aperson@dom.ain | \n"));
    EXPECT_TRUE(Has(sections[0], "\nmessage 1\n"));
    EXPECT_FALSE(Has(sections[0], "message 2"));
    EXPECT_TRUE(Has(sections[1], "{0x1366D} | ee | \n"));
    EXPECT_TRUE(Has(sections[1], "\nmessage 2\n"));
    EXPECT_FALSE(Has(sections[1], "message 1"));
    // Inside a digest every block keeps all its fields: the entry's own To.
    EXPECT_TRUE(Has(sections[1], "{0x1366A} | aa@bb.org | \n"));
}

TEST(GoldenMail, EncodedWordSubjectInUtf8) {
    // Subject: =?UTF-8?B?zrHOu8+GzqzOss63z4TOvw==?= is the Greek word below.
    // The body, one base64 line of 12 characters, is too short to be taken
    // for base64 (more than 12 are needed) and is shown as it stands.
    Rendering r;
    Render("comm-central/mail/components/extensions/test/xpcshell/messages/sample01.eml", &r);
    ASSERT_EQ(r.code, 0);
    EXPECT_TRUE(Has(r.text, "{0x1366D} | \xCE\xB1\xCE\xBB\xCF\x86\xCE\xAC\xCE\xB2\xCE\xB7\xCF\x84\xCE\xBF | \n"))
        << r.text;
    EXPECT_TRUE(Has(r.text, "{0x13682} | gmane.comp.mozilla.thunderbird.user | \n"));
    EXPECT_TRUE(Has(r.text, "\nzobOu8+GzrEK\n"));
}

TEST(GoldenMail, QuotedPrintableBodyInIso8859_7) {
    // "Here comes some Greek text: =CA=E1=EB=E7=F3=F0=DD=F1=E1" under
    // charset=ISO-8859-7: the body is decoded and its bytes go to the host
    // one by one under that charset.
    Rendering r;
    Render("comm-central/mail/test/browser/composition/data/body-greek.eml", &r);
    ASSERT_EQ(r.code, 0);
    // The characters of the output, and where each stands among the items.
    const std::vector<RenderedItem> items = r.host.Rendered();
    std::u32string chars;
    std::vector<size_t> itemOf;
    for (size_t k = 0; k < items.size(); ++k) {
        if (items[k].kind != RenderedItem::Char) continue;
        chars += static_cast<char32_t>(items[k].value);
        itemOf.push_back(k);
    }
    const std::u32string lead = U"Here comes some Greek text: ";
    const size_t at = chars.find(lead);
    ASSERT_NE(at, std::u32string::npos) << r.text;
    const size_t first = at + lead.size();
    const uint32_t greek[] = {0xCA, 0xE1, 0xEB, 0xE7, 0xF3, 0xF0, 0xDD, 0xF1, 0xE1};
    ASSERT_GE(chars.size(), first + std::size(greek));
    for (size_t k = 0; k < std::size(greek); ++k) {
        const RenderedItem& item = items[itemOf[first + k]];
        EXPECT_EQ(item.value, greek[k]) << "character " << k;
        EXPECT_EQ(item.charset, 0x00080107u) << "character " << k;
    }
    // The line ends there.
    ASSERT_LT(itemOf[first + std::size(greek) - 1] + 1, items.size());
    EXPECT_EQ(items[itemOf[first + std::size(greek) - 1] + 1].kind, RenderedItem::Break);
}

}  // namespace
