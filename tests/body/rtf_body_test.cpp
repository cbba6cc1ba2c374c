// RTF bodies through the filter and the RTF support filter: text, code pages,
// attributes, skipped groups, encapsulated HTML, paging with restored states,
// and pictures in \bin form as sub-documents.
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

namespace {

std::string ReadFile(const std::string& name) {
    std::ifstream in(std::string(MAILSIFT_DATA_DIR) + "/" + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::string RtfMail(const std::string& rtf, const std::string& fields = "") {
    return "From: a@example.org\r\nSubject: rtf\r\n" + fields + "\r\n" + rtf;
}

std::string RenderText(const std::string& rtf) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, RtfMail(rtf), FI_INTERNET_MAIL), 0);
    return host.Text();
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Lines of 76 symbols, as a mailer writes them.
std::string Base64Lines(const std::string& bytes) {
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t group = 0;
        for (size_t k = 0; k < 3; ++k)
            group = group << 8 | (i + k < bytes.size() ? static_cast<uint8_t>(bytes[i + k]) : 0u);
        for (size_t k = 0; k < 4; ++k)  // k symbols carry the first k bytes' bits
            out += k <= bytes.size() - i ? alphabet[(group >> (18 - 6 * k)) & 63] : '=';
        if ((i / 3 + 1) % 19 == 0) out += "\r\n";
    }
    return out + "\r\n";
}

TEST(RtfBody, CorpusSamplesRenderTheirText) {
    RecordingHost tnef;  // a TNEF body: compressed RTF without a code page
    ASSERT_EQ(RunDocument(tnef, ReadFile("mimekit/tnef/christmas.tnef"), FI_TNEF), 0);
    const std::string christmas = tnef.Text();
    EXPECT_TRUE(Has(christmas, "\nYou've made this a Christmas to remember\nSpringtime feeling's in the middle"));
    EXPECT_FALSE(Has(christmas, "\\")) << christmas;

    // A Polish document in code page 1250, sent as an attachment; shown inline here.
    std::string polish = ReadFile("spamassassin/nice/004");
    polish.replace(polish.find("Content-Disposition: attachment"), 31, "Content-Disposition: inline");
    RecordingHost cp1250;
    ASSERT_EQ(RunDocument(cp1250, polish, FI_INTERNET_MAIL), 0);
    const std::string homily = cp1250.Text();
    EXPECT_TRUE(Has(homily, "\nHomilia XII na List to Kolosan (4, 12-18)\n"));
    EXPECT_TRUE(Has(homily, "Pozdrawia was rodak wasz, Epafras, sługa Chrystusa Jezusa, zawsze walczący"));
    EXPECT_TRUE(Has(homily, "\t\"Łaska niech będzie z wami! Amen\"."));
    EXPECT_FALSE(Has(homily, "Times New Roman"));

    // HTML inside RTF: only the HTML's own text comes out, never the RTF
    // that stands in for it (the field code, the font table).
    const std::string html =
        RenderText(ReadFile("mimekit/tnef/multi-value-attribute/message.rtf"));
    EXPECT_TRUE(Has(html, "You received a voice mail from Curie Conf Room at "));
    EXPECT_TRUE(Has(html, "208225"));
    for (const char* rtfOnly : {"HYPERLINK", "htmltag", "Courier", "Symbol", "\\"}) EXPECT_FALSE(Has(html, rtfOnly));
}

TEST(RtfBody, HandWrittenSamples) {
    const struct {
        std::string rtf, shown, hidden;
    } cases[] = {
        {R"({\rtf1\ansi\ansicpg932\uc2 \'93\'fa\'96\'7b \'83e\'83X\'83g \u35486\'8c\'ea.})", "日本 テスト 語.", "?"},
        {R"({\rtf1\ansi\ansicpg1252\deff0{\fonttbl{\f0 Times;}{\f1\fcharset204 Arial;}}\f1 \'cf\'f0\'e8\'e2\'e5\'f2 \f0 caf\'e9})",
         "Привет café", "Times"},
        {R"({\rtf1 A\u8364?B\u-3?C \uc0\u233 D})", "A€B\xEF\xBF\xBD" "C éD", "?"},
        {R"({\rtf1 a\~b\-c\_d\emdash e\lquote f\rquote\tab g\cell h\row i\\j\{k\}l\line m\par})",
         "a\u00A0bc\u2011d—e‘f’\tg | h\ni\\j{k}l\nm\n", "emdash"},
        {R"({\rtf1{\fonttbl{\f0 H1;}}{\colortbl;\red1;}{\stylesheet{\s0 H2;}}{\info{\title H3}}{\*\unknown H4})"
         R"({\header H5}{\*\shppict{\pict\wmetafile8 0102}}{\field{\*\fldinst HYPERLINK x}{\fldrslt Shown}} Visible})",
         "Shown Visible", "H"},
        // \bin data is never RTF: braces and words inside it do nothing.
        {"{\\rtf1 A{\\*\\blob\\bin6 }\\par{}B{\\bin3}}}}C\\bin2\\\\D}", "ABCD\n", "\nB"},
        {R"({\rtf1\ansi\fromhtml1 {\*\htmltag64 <p>}\htmlrtf {\b RtfOnly}\htmlrtf0 Html{\*\htmltag72 </p>}})", "Html",
         "RtfOnly"},
        {"{\\rtf1 Tail{\\b X\\'e", "TailX", "\\"},  // truncated
        {"{\\rtf1 " + std::string(1000, '{') + "Deep" + std::string(1000, '}') + "\\u99999999999 ?Z\\bin99999999 A}",
         "\xEF\xBF\xBFZ\n", "Deep"},
    };
    for (const auto& c : cases) {
        const std::string text = RenderText(c.rtf);
        const std::string body = text.substr(std::min(text.find("\n\n"), text.size()));
        EXPECT_TRUE(Has(body, c.shown)) << c.rtf << "\n" << text;
        EXPECT_FALSE(Has(body, c.hidden)) << c.rtf << "\n" << text;
    }
    RecordingHost pair;  // U+1F600 from a surrogate pair reaches the host as one
    ASSERT_EQ(RunDocument(pair, RtfMail(R"({\rtf1 \u-10179?\u-8704?!})"), FI_INTERNET_MAIL), 0);
    std::u32string chars;
    for (const RenderedItem& item : pair.Rendered())
        if (item.kind == RenderedItem::Char) chars += static_cast<char32_t>(item.value);
    EXPECT_NE(chars.find(U"\xD83D\xDE00!"), std::u32string::npos);
}

// Bold, italic and underline are scoped to groups; \plain ends them all.
TEST(RtfBody, AttributesFollowGroups) {
    RecordingHost host;
    ASSERT_EQ(RunDocument(host, RtfMail(R"({\rtf1 0{\b 1{\i 2}\ul 3\ulnone 1}0{\i 4\plain 0}})"), FI_INTERNET_MAIL), 0);
    std::string seen;
    for (const RenderedItem& item : host.Rendered())
        if (item.kind == RenderedItem::Char && item.value >= '0' && item.value <= '4')
            seen += std::string(1, static_cast<char>(item.value)) + std::to_string(item.attributes >> 2) + " ";
    EXPECT_EQ(seen, "00 11 23 35 11 00 42 00 ");
}

// ~130 KB of paragraphs with attributes, \'hh and \uN across the session's chunks.
std::string LargeRtf() {
    std::string rtf = "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0 Times;}}\\uc1 ";
    for (int i = 0; rtf.size() < 130000; ++i)
        rtf += "{\\b Paragraph " + std::to_string(i) + "} caf\\'e9 \\u8364? " + std::string(150, 'x') +
               (i % 7 == 0 ? "{\\i\\ul slanted" : "") + "\\par " + (i % 7 == 6 ? "}" : "");
    return rtf + "}";
}

TEST(RtfBody, StopsAndRestoresGiveTheUninterruptedOutput) {
    const std::string mail = RtfMail(LargeRtf());
    RecordingHost whole, replayed;
    ASSERT_EQ(RunDocument(whole, mail, FI_INTERNET_MAIL), 0);
    ASSERT_GT(whole.paragraphBreaks(), 600u);
    ASSERT_EQ(RunDocumentWithReplays(replayed, mail, FI_INTERNET_MAIL), 0);
    EXPECT_EQ(replayed.Rendered(), whole.Rendered());

    // Stop everywhere, remembering each state and where its output begins in
    // the uninterrupted run; then go back to random older states.
    const std::vector<RenderedItem> expected = whole.Rendered();
    RecordingHost host;
    MemoryObject stream(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(stream.get(), FI_INTERNET_MAIL), 0);
    host.StopAtEveryParagraph();
    std::vector<std::pair<std::vector<uint8_t>, size_t>> saved;
    while (session.Step() == FilterSession::Stop::Paragraph) saved.push_back({session.Save(), host.Rendered().size()});
    ASSERT_GT(saved.size(), 600u);
    std::mt19937 random(7);
    for (int round = 0; round < 30; ++round) {
        const auto& [state, at] = saved[random() % (saved.size() - 1)];
        const size_t mark = host.Calls().size();
        session.Restore(state);
        ASSERT_EQ(session.ReadOnly(), 0);
        const std::vector<RenderedItem> slice = host.Rendered(mark);
        ASSERT_FALSE(slice.empty());
        ASSERT_LE(at + slice.size(), expected.size());
        for (size_t i = 0; i < slice.size(); ++i)
            ASSERT_EQ(slice[i].value, expected[at + i].value) << "round " << round << " item " << i;
        EXPECT_EQ(slice.back().kind, RenderedItem::Break);
    }
}

// A PNG in \bin form inside a base64 RTF part: its object opens through the
// recorded chain (the body's range, its decoding, the data's range) and
// gives exactly the picture's bytes. A picture in hex is no object.
TEST(RtfBody, BinaryPictureBecomesASubDocument) {
    const std::string png = std::string("\x89PNG\r\n\x1a\n", 8) + "{\\par}\\'00" + std::string(300, '\x7f');
    const std::string prefix = "{\\rtf1 Before{\\*\\blob\\bin3 }{}}{\\*\\shppict{\\pict\\pngblip\\picw10\\bin" + std::to_string(png.size()) + " ";
    const std::string rtf = prefix + png + "}}{\\pict\\jpegblip ffd8ffe0}After\\par}";
    const std::string base64 = Base64Lines(rtf);
    const std::string mail = RtfMail(base64, "Content-Type: application/rtf\r\nContent-Transfer-Encoding: base64\r\n");
    RecordingHost host;
    MemoryObject document(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(document.get(), FI_INTERNET_MAIL), 0);
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    EXPECT_TRUE(Has(host.Text(), "BeforeAfter\n"));
    ASSERT_EQ(host.Count(SO_NEWSUBDOC), 1u) << host.Transcript();
    const HostEvent* step = nullptr;
    const HostEvent* object = nullptr;
    for (const HostEvent& event : host.Calls()) {
        if (event.id == SO_SETPROPERTY && event.args[0].number == PROP_RECIPE_STEP) step = &event;
        if (event.id == SO_PUTOBJECT) object = &event;
    }
    ASSERT_TRUE(step && object);
    ASSERT_GE(object->args[0].words.size(), 4u);
    EXPECT_EQ(object->args[0].words[3], 1502u);  // the record's FormatId
    ASSERT_EQ(step->args[1].number, STEP_SPECIAL);
    ASSERT_EQ(step->args[2].number, 2u);

    const GrowList* chain = *ListAt<GrowList*>(session.proc()->chains, step->args[3].number - 1);
    ASSERT_EQ(ListCount(chain), 3u);
    const size_t body = mail.find(base64);
    EXPECT_EQ(ListAt<RangeStep>(chain, 0)->kind, STEP_RANGE);
    EXPECT_EQ(ListAt<RangeStep>(chain, 0)->first, body);
    EXPECT_EQ(ListAt<RangeStep>(chain, 1)->kind, STEP_DECODE);
    EXPECT_EQ(ListAt<RangeStep>(chain, 1)->first, TC_BASE64);
    EXPECT_EQ(ListAt<RangeStep>(chain, 2)->first, prefix.size());
    EXPECT_EQ(ListAt<RangeStep>(chain, 2)->second, png.size());

    IoObject* opened = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), 2, &opened, step->args[3].number, 0, 0, session.proc()), 0);
    ASSERT_NE(opened, nullptr);
    std::string got;
    char buffer[64];
    uint32_t count = 0;
    for (int i = 0; i < 100 && opened->Read(opened, buffer, sizeof buffer, &count) == 0 && count > 0; ++i)
        got.append(buffer, count);
    EXPECT_EQ(got, png);
    opened->Close(opened);
}

}  // namespace
