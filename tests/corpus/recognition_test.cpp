// recognition_test.cpp - the mailbox, news and headerless samples of the
// corpus, each with the answer the filter must give when it is opened and
// the reason, worked out by reading the file: how many "From " lines stand
// at line starts, what the body of a news article begins with, whether any
// line of a headerless text starts a field. The identification service's
// answer is checked too where the file leaves no doubt about it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "host/constants.h"
#include "tests/corpus/corpus_run.h"

namespace {

struct Recognition {
    const char* file;     // below the corpus root
    uint16_t identified;  // what IdentifyHandle must answer; 0: not checked
    uint16_t openAs;      // the FormatId handed to VwStreamOpen
    int16_t code;         // what VwStreamOpen must answer
    const char* why;
};

constexpr const char* kOneFromLine =
    "one From line at a line start: a mailbox of one message, opened as 1187 with the From "
    "line in front of the header";

constexpr const char* kBase64Line = "Newsgroups field; the body is one line of base64 text, no encoded segment";
constexpr const char* kWholeYenc =
    "a \"-- \" line, then a whole yEnc file (=ybegin without part=): complete, not a segment";

const Recognition kMailboxes[] = {
    // Mailboxes of more than one message: two From lines, three with "From "
    // inside other lines too, five.
    {"comm-central/mailnews/test/data/mbox_modern", 1817, 1817, -7,
     "2 From lines at line starts (lines 1, 14): a mailbox of more than one message"},
    {"gmime/data/mbox/input/substring.mbox", 1817, 1817, -7,
     "3 From lines at line starts (lines 1, 25, 48): a mailbox of more than one message"},
    {"mime4j/mbox/test-1/mbox.rlug", 1817, 1817, -7,
     "5 From lines at line starts (lines 1, 95, 165, 216, 281): a mailbox of more than one message"},
    // Mailboxes of one message.
    // A From line with a time of day, a multipart body.
    {"comm-central/mailnews/mime/jsmime/test/unit/data/multipart-complex2", 1817, 1817, 0, kOneFromLine},
    // A bare "From " line: a separator only because a field follows it.
    {"comm-central/mailnews/test/data/multipartmalt-detach", 1817, 1817, 0, kOneFromLine},
    // "From " and a sender, no date: a separator because a field follows it.
    {"mikel-mail/emails/plain_emails/raw_email_simple.eml", 1817, 1817, 0, kOneFromLine},

    // The first line starts with "From " but every field name has blanks
    // before its colon.
    {"mikel-mail/emails/rfc2822/example13.eml", 0, 1817, -3,
     "one From line, so one message; but \"From  :\", \"To    :\", \"Subject     :\" have blanks "
     "before the colon and are no fields: no header block holds a field"},
    {"mikel-mail/emails/rfc2822/example13.eml", 0, 1192, -3,
     "as a mail: the same header without a single field"},
    {"mime4j/mbox/test-1/mbox.rlug", 0, 1192, 0,
     "the mailbox handed over as a mail: From lines are not counted, the first message's header "
     "opens"},
};

const Recognition kNews[] = {
    // Byte-for-byte copies of these files in other folders of the corpus are left out.
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample01.eml", 1193, 1193, 0, kBase64Line},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample04.eml", 1193, 1193, 0, kBase64Line},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample05.eml", 1193, 1193, 0, kBase64Line},
    {"comm-central/mail/components/extensions/test/xpcshell/messages/sample06.eml", 1193, 1193, 0,
     "Newsgroups field; the body is the plain line \"No content type\""},
    {"mime-tools/testin/second.hdr", 1193, 1193, 0,
     "news header and its blank line, nothing behind: the body range is empty, no segment"},
    {"mime-tools/testin/third.hdr", 1817, 1817, 0,
     "a From line, then a news header: a mailbox of one message, read as 1187, not as news"},
    {"mime-tools/testin/third.hdr", 0, 1193, 0,
     "the same as news: the body behind the blank line is empty, no segment"},
    {"mimekit/messages/epilogue.txt", 1193, 1193, 0,
     "multipart news article: the body starts with the preamble's line end and a delimiter line, "
     "plain text"},
    {"newsreap/00000020.ntx", 1193, 1193, 0,
     "the body opens with \"=ybegin part=1\": the first piece of a posting, not a later segment"},
    {"newsreap/00000021.ntx", 1193, 1193, -7,
     "the body opens with \"=ybegin part=2\": a later segment of a posting in several articles"},
    {"usenet-yenc/yenc/multipart/00000021_part_mismatch.ntx", 1193, 1193, -7,
     "the body opens with \"=ybegin part=3\": a later segment"},
    {"newsreap/00000021.ntx", 0, 1192, 0,
     "the same later segment as a mail: only news articles are checked for segments"},
    {"mimekit/yenc/simple.msg", 1193, 1193, 0, kWholeYenc},
    {"newsreap/00000005.ntx", 1193, 1193, 0, kWholeYenc},
    {"newsreap/5nl7kahf6idkev93a8qu5k9m4095nt5p2i@4ax-2.com.msg", 1193, 1193, 0,
     "quoted text, then a whole yEnc file (=ybegin without part=) at line 33: not a segment"},
    {"newsreap/5nl7kahf6idkev93a8qu5k9m4095nt5p2i@4ax-3.com.msg", 1193, 1193, 0,
     "a plain text reply: no encoded data at all"},
    {"newsreap/emptyfile.msg", 1193, 1193, 0, "the body is one empty line: text, not a segment"},
    {"newsreap/headers.test01.msg", 1193, 1193, 0,
     "plain text body (a field-like line further down is body text)"},
    {"newsreap/headers.test02.msg", 1193, 1193, 0, "plain text body behind an empty line"},
    {"newsreap/headers.test03.msg", 1193, 1193, 0,
     "no blank line at all: the header runs to the end, the body range lies behind it and is "
     "empty"},
};

const Recognition kHeaderless[] = {
    {"comm-central/mailnews/test/data/basic4", 0, 1192, -3,
     "a line end, then one line of prose: no line starts with a word and a colon"},
    {"cpython-cjkencodings/shift_jis.txt", 0, 1192, -3,
     "Shift_JIS text with no colon byte anywhere: no field"},
    {"gmime/data/filters/lorem-ipsum.txt", 0, 1192, -3, "prose with no colon: no field"},
    {"enmime/testdata/mail/erroneous.raw", 0, 1192, -3,
     "\"// Not an RFC-822 Document\": the first word ends at a blank, not a colon"},
    {"kmime/codec_b/null-decode.b", 0, 1192, -3, "an empty file has no header"},
    {"mime-tools/testin/mime-sm.b64", 0, 1192, -3, "bare base64 lines hold no colon: no field"},
    {"mime4j/mimetools-testmsgs/README.txt", 0, 1192, 0,
     "the second line starts \"http:\", a word that ends in a colon: that is a field, so the "
     "text has a header"},
    {"enmime/testdata/low-quality/bad-header-start.raw", 0, 1192, 0,
     "the first line starts with a blank and is passed over; \"Subject:\" on the next is a field"},
    {"mime4j/testmsgs/obsolete.msg", 0, 1192, 0,
     "\"Subject :\" and \"Date    :\" are no fields (a blank before the colon), but the name with "
     "an 8-bit byte in \"Inval\\xE9d-Header:\" ends in a colon: one field"},
};

std::string PathOf(const Recognition& row) { return CorpusRoot() + "/" + row.file; }

void CheckRows(const Recognition* rows, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const Recognition& row = rows[i];
        SCOPED_TRACE(std::string(row.file) + " as " + std::to_string(row.openAs) + ": " + row.why);
        ASSERT_TRUE(std::filesystem::is_regular_file(PathOf(row)));
        if (row.identified != 0) {
            EXPECT_EQ(IdentifyCorpusFile(PathOf(row)), row.identified);
        }
        const CorpusRun run = RunCorpusFile(PathOf(row), {row.openAs});
        EXPECT_EQ(run.openCode, row.code);
        if (run.openCode == 0) {
            EXPECT_TRUE(run.ended);
        }
        for (const std::string& problem : run.problems) ADD_FAILURE() << problem;
    }
}

TEST(Recognition, Mailboxes) { CheckRows(kMailboxes, std::size(kMailboxes)); }

TEST(Recognition, NewsArticles) { CheckRows(kNews, std::size(kNews)); }

TEST(Recognition, HeaderlessTexts) { CheckRows(kHeaderless, std::size(kHeaderless)); }

}  // namespace
