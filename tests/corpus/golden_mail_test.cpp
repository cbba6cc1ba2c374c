// golden_mail_test.cpp - key facts of the rendered output of real mails,
// each read off the file by hand, where no smaller test looks: the label of
// a news field and an encoded-word subject in UTF-8, and the characters of a
// body in a legacy charset with that charset in force. (Header rows, the
// choice among alternatives, attachment links and digest sections are
// checked by the message, filter, charset, CLI and extraction tests.)
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

TEST(GoldenMail, EncodedWordSubjectInUtf8) {
    // Subject: =?UTF-8?B?zrHOu8+GzqzOss63z4TOvw==?= is the Greek word below.
    // The body, one base64 line of 12 characters, is too short to be taken
    // for base64 (more than 12 are needed) and is shown as it stands.
    Rendering r;
    Render("comm-central/mail/components/extensions/test/xpcshell/messages/sample01.eml", &r);
    ASSERT_EQ(r.code, 0);
    EXPECT_NE(r.text.find("{0x1366D} | \xCE\xB1\xCE\xBB\xCF\x86\xCE\xAC\xCE\xB2\xCE\xB7\xCF\x84\xCE\xBF | \n"),
              std::string::npos)
        << r.text;
    EXPECT_NE(r.text.find("{0x13682} | gmane.comp.mozilla.thunderbird.user | \n"), std::string::npos);
    EXPECT_NE(r.text.find("\nzobOu8+GzrEK\n"), std::string::npos);
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
