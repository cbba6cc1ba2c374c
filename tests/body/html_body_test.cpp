// HTML bodies through the filter and the HTML support filter: pictures
// placed by cid:, stops and restores inside a long body, charsets, and
// broken markup.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "host/constants.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"

namespace {

constexpr size_t kObjectNumberWord = 33;  // the sub-document number in an object record

std::string HtmlMail(const std::string& charsetParam, const std::string& body) {
    return "Subject: html\r\nMIME-Version: 1.0\r\nContent-Type: text/html" + charsetParam + "\r\n\r\n" + body;
}

const std::string kWords =
        " Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiusmod tempor incididunt ut labore"
        " et dolore magna aliqua. Ut enim ad minim veniam, quis nostrud exercitation ullamco laboris nisi ut"
        " aliquip ex ea commodo consequat. Duis aute irure dolor in reprehenderit in voluptate velit esse.";

// A long body of many paragraphs with everything the renderer lays out.
std::string LongHtmlBody() {
    std::string body = "<html><head><meta charset=\"windows-1252\"><style>p{}</style></head><body>\r\n";
    for (int i = 0; i < 200; ++i) {
        const std::string n = std::to_string(i);
        body += "<h2>Section " + n + "</h2><p>Caf\xE9 <b>bold " + n + "</b> <i>it<u>al</u></i> &amp; <a href=\"x\">link</a>" + kWords +
                "<br>second line</p>\r\n<ul><li>one<li>two " + n + "</ul><table><tr><td>a</td><td>b" + n +
                "</td></tr></table><pre>  kept\r\n  lines " + n + "</pre>\r\n";
    }
    return body + "</body></html>\r\n";
}

// The sub-document number the filter gave the part whose body starts at `offset`.
uint32_t SubdocAt(const RecordingHost& host, uint32_t offset) {
    const std::vector<HostEvent>& calls = host.Calls();
    for (size_t i = 0; i + 1 < calls.size(); ++i) {
        const HostEvent& next = calls[i + 1];
        if (calls[i].id == SO_NEWSUBDOC && next.id == SO_SETPROPERTY && next.args[0].number == PROP_RECIPE_STEP &&
            next.args[1].number == STEP_RANGE && next.args[2].number == offset)
            return calls[i].result;
    }
    return 0;
}

std::vector<uint32_t> PlacedObjects(const RecordingHost& host) {
    std::vector<uint32_t> numbers;
    for (const HostEvent& call : host.Calls())
        if (call.id == SO_PUTOBJECT) numbers.push_back(call.args[0].words.at(kObjectNumberWord));
    return numbers;
}

// Where the body of the part with `header` begins: behind its blank line.
uint32_t BodyOffsetAfter(const std::string& mail, const std::string& header) {
    const size_t at = mail.find(header);
    if (at == std::string::npos) return 0;
    const size_t lf = mail.find("\n\n", at), crlf = mail.find("\n\r\n", at);
    return static_cast<uint32_t>(crlf < lf ? crlf + 3 : lf + 2);
}

bool SameCall(const HostEvent& a, const HostEvent& b) {
    if (a.id != b.id || a.result != b.result || a.args.size() != b.args.size()) return false;
    for (size_t i = 0; i < a.args.size(); ++i)
        if (a.args[i].number != b.args[i].number || a.args[i].words != b.args[i].words) return false;
    return true;
}

// The calls from `from` on are those of [first, last) once more.
bool Repeats(const std::vector<HostEvent>& calls, size_t first, size_t last, size_t from) {
    return calls.size() - from == last - first &&
           std::equal(calls.begin() + first, calls.begin() + last, calls.begin() + from, SameCall);
}

TEST(HtmlBody, CidPicturesBecomeTheirPartsSubdocuments) {
    const std::string mail = ReadWholeFile(MAILSIFT_DATA_DIR "/mailparser/test/fixtures/nodemailer.eml");
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, mail, FI_INTERNET_MAIL), 0);
    const uint32_t note = SubdocAt(host, BodyOffsetAfter(mail, "Content-ID: <note@example.com>"));
    const uint32_t nyan = SubdocAt(host, BodyOffsetAfter(mail, "Content-ID: <nyan@example.com>"));
    ASSERT_NE(note, 0u);
    ASSERT_NE(nyan, 0u);
    EXPECT_EQ(PlacedObjects(host), (std::vector<uint32_t>{note, nyan})) << host.Transcript();
    EXPECT_NE(host.Text().find("Hello to myself\nHere's a nyan cat"), std::string::npos) << host.Text();
}

TEST(HtmlBody, PicturesByContentLocationAndAltTextForTheOthers) {
    const std::string png = "Content-Type: image/png\r\nContent-Transfer-Encoding: base64\r\nContent-Location: ";
    const std::string pixel = "\r\n\r\niVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA60e6kgAAAABJRU5ErkJggg==\r\n";
    const std::string mail =
        "Subject: related\r\nMIME-Version: 1.0\r\nContent-Type: multipart/related; boundary=b\r\n\r\n"
        "--b\r\nContent-Type: text/html\r\n\r\n<p>A<img src=\"images/pic.png\" alt=\"pic\">"
        "B<img src=\"http://example.org/file.png\" alt=\"file\">C<img src=\"cid:gone\" alt=\"gone\"><img src=\"other/file.png\"></p>\r\n"
        "--b\r\n" + png + "http://example.org/images/pic.png" + pixel + "--b\r\n" + png + "file.png" + pixel +
        "--b\r\n" + png + "other/file.png" + pixel + "--b--\r\n";
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, mail, FI_INTERNET_MAIL), 0);
    const uint32_t pic = SubdocAt(host, BodyOffsetAfter(mail, "Content-Location: http://example.org/images/pic.png"));
    ASSERT_NE(pic, 0u) << host.Transcript();
    const uint32_t other = SubdocAt(host, BodyOffsetAfter(mail, "Content-Location: other/file.png"));
    // file.png is the last segment of two locations: only a whole one picks one.
    EXPECT_EQ(PlacedObjects(host), (std::vector<uint32_t>{pic, other})) << host.Transcript();
    EXPECT_NE(host.Text().find("A\nB[file]C[gone]\n"), std::string::npos) << host.Text();
}

TEST(HtmlBody, StopsAndRestoresGiveTheUninterruptedOutput) {
    const std::string mail = HtmlMail("; charset=utf-8", LongHtmlBody());
    ASSERT_GT(mail.size(), 100000u);
    RecordingHost whole;
    ASSERT_EQ(RunDocument(whole, mail, FI_INTERNET_MAIL), 0);
    ASSERT_GT(whole.paragraphBreaks(), 1000u);
    EXPECT_NE(whole.Text().find("Caf\xC3\xA9 bold 199 ital & link" + kWords + "\nsecond line\n\xE2\x80\xA2 one\n"), std::string::npos);

    RecordingHost replayed;
    ASSERT_EQ(RunDocumentWithReplays(replayed, mail, FI_INTERNET_MAIL), 0);
    EXPECT_TRUE(replayed.Rendered() == whole.Rendered());

    // Every stop's state saved; older ones put back in random order each
    // read on once, which must repeat what followed that stop the first time.
    RecordingHost host;
    MemoryObject stream(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(stream.get(), FI_INTERNET_MAIL), 0);
    host.StopAtEveryParagraph();
    std::vector<std::vector<uint8_t>> states;
    std::vector<size_t> marks;
    for (size_t i = 0; i < 100000 && session.Step() == FilterSession::Stop::Paragraph; ++i) {
        states.push_back(session.Save());
        marks.push_back(host.Calls().size());
    }
    ASSERT_GT(states.size(), 1000u);
    EXPECT_TRUE(host.Rendered() == whole.Rendered());
    std::mt19937 random(20261124);
    for (int round = 0; round < 150; ++round) {
        const size_t k = std::uniform_int_distribution<size_t>(0, states.size() - 2)(random);
        const size_t before = host.Calls().size();
        session.Restore(states[k]);
        ASSERT_EQ(session.Step(), FilterSession::Stop::Paragraph);
        ASSERT_TRUE(Repeats(host.Calls(), marks[k], marks[k + 1], before))
            << "after restoring stop " << k << ":\n" << host.Transcript(before);
        host.Truncate(before);
    }
}

TEST(HtmlBody, TheBodysMetaCharsetWinsOverThePartsAndThePartsCountsWithout) {
    const std::string latin = "<p>Caf\xE9 \x80</p>";
    const std::string withMeta = "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=windows-1251\">"
                                 "</head><body><p>\xCF\xF0\xE8\xE2\xE5\xF2</p></body></html>";
    const struct {
        std::string mail;
        std::string text;
    } cases[] = {
        {HtmlMail("; charset=windows-1252", latin), "Caf\xC3\xA9 \xE2\x82\xAC"},
        {HtmlMail("; charset=utf-8", withMeta), "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82"},
        {HtmlMail("", "<p>caf\xC3\xA9</p>"), "caf\xC3\xA9"},
        {HtmlMail("", latin), "Caf\xC3\xA9 \xE2\x82\xAC"},
        {HtmlMail("; charset=iso-8859-7", "<p>\xE1\xE2</p>"), "\xCE\xB1\xCE\xB2"},
    };
    for (const auto& c : cases) {
        RecordingHost host;
        ASSERT_EQ(RunDocument(host, c.mail, FI_INTERNET_MAIL), 0);
        EXPECT_NE(host.Text().find(c.text), std::string::npos) << host.Text();
    }
}

// Attributes are switched off as often as on, whatever the markup.
void ExpectBalanced(const RecordingHost& host) {
    int on[8] = {}, colour = 0;
    for (const HostEvent& call : host.Calls()) {
        if (call.id == SO_SETPROPERTY && call.args[0].number == PROP_ATTRIBUTE && call.args[1].number < 8)
            on[call.args[1].number] += call.args[2].number ? 1 : -1;
        if (call.id == SO_SETTEXTCOLOR) colour = static_cast<int>(call.args[1].number);
    }
    for (int n : on) EXPECT_EQ(n, 0) << host.Transcript();
    EXPECT_EQ(colour, 0);
}

// The rendered item of the first character of `ascii` in the output.
RenderedItem ItemAt(const RecordingHost& host, const std::string& ascii) {
    std::string chars;
    std::vector<RenderedItem> items;
    for (const RenderedItem& item : host.Rendered()) {
        if (item.kind != RenderedItem::Char) continue;
        chars.push_back(item.value < 0x80 ? static_cast<char>(item.value) : '?');
        items.push_back(item);
    }
    const size_t at = chars.find(ascii);
    return at == std::string::npos ? RenderedItem{RenderedItem::Break} : items[at];
}

TEST(HtmlBody, BrokenMarkupAndGarbageEndCleanly) {
    std::mt19937 random(7);
    std::string garbage(300000, '\0');
    for (char& c : garbage) c = static_cast<char>(random());
    const std::string bodies[] = {
        "<p><b>bold <i>both</b> italic?</i> <u><a href=\"x\">link",
        "<table><tr><td><ul><li><b>" + std::string(3000, '<') + "<![if x]>text<?pi>",
        std::string(20000, '<') + "<div>" + std::string(5000, '<') + "b>",
        "<html><body>" + garbage,
        garbage,
    };
    for (const std::string& body : bodies) {
        RecordingHost host;
        ASSERT_EQ(RunDocument(host, HtmlMail("", body), FI_INTERNET_MAIL), 0);
        ExpectBalanced(host);
    }
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, HtmlMail("", bodies[0]), FI_INTERNET_MAIL), 0);
    EXPECT_NE(host.Text().find("bold both italic? link"), std::string::npos) << host.Text();
    constexpr uint32_t bold = 1u << ATTR_BOLD, italic = 1u << ATTR_ITALIC, underline = 1u << ATTR_UNDERLINE;
    EXPECT_EQ(ItemAt(host, "both").attributes, bold | italic);
    EXPECT_EQ(ItemAt(host, "italic?").attributes, 0u);  // </b> closed the <i> inside it
    EXPECT_EQ(ItemAt(host, "link").attributes, underline);
    EXPECT_EQ(ItemAt(host, "link").colour, 0xFF0000u);
}

TEST(HtmlBody, LayoutOfBlocksListsTablesAndPre) {
    const std::string body =
        "<head><title>gone</title><script>gone()</script></head><!-- gone --><h1>Head  line</h1>"
        "<div><div><p>one</p></div></div><p>a<br><br>b</p><ol start=3><li><p>three</p><li>four</ol>"
        "<table><tr><td> x </td><td>y</td></tr><tr><td>z</td></tr></table><pre>\n  kept  \n</pre>"
        "<p>Outlook<![if !supportLists]>1.<![endif]> list</p></body></html><p>after the end";
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, HtmlMail("; charset=utf-8", body), FI_INTERNET_MAIL), 0);
    EXPECT_NE(host.Text().find("Head line\none\na\n\nb\n3. three\n4. four\nx\ty\nz\n  kept  \nOutlook1. list\nafter the end\n"),
              std::string::npos)
        << host.Text();
    EXPECT_EQ(host.Text().find("gone"), std::string::npos);
}

}  // namespace
