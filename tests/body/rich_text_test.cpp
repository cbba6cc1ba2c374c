// text/enriched and text/richtext bodies through the filter: text joined
// into paragraphs, the commands as format, and stops that resume in place.
// Format shows as "[...]" before a character whenever what is in force
// changed: L/R/F indents, a alignment, P samepage, S size, C colour,
// cs charset, attr bits (the last three in hex).
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "host/mailfilter.h"
#include "mailtext/charset_names.h"
#include "tests/support/filter_session.h"

namespace {

std::string Hex(uint32_t value) {
    std::ostringstream out;
    out << std::hex << std::uppercase << value;
    return out.str();
}

std::string Mail(const std::string& type, const std::string& body) {
    return "From: a@example.org\r\nContent-Type: " + type + "\r\n\r\n" + body;
}

// The body's output, from its first indent call on, or from call `from` on
// when a read resumes there.
std::string Shown(const RecordingHost& host, size_t from = 0) {
    std::map<std::string, int64_t> now{{"L", 0}, {"R", 0}, {"F", 0}, {"a", 0}, {"P", 0},
                                       {"S", 24}, {"C", 0}, {"cs", CS_UNICODE}, {"attr", 0}};
    std::map<std::string, int64_t> shown = now;
    std::string out;
    bool inBody = from > 0;
    for (size_t i = from; i < host.Calls().size(); ++i) {
        const HostEvent& e = host.Calls()[i];
        auto arg = [&e](size_t i) { return i < e.args.size() ? e.args[i].number : 0u; };
        if (e.id == SO_SETPROPERTY && arg(0) == PROP_INDENT) {
            inBody = true;
            now[arg(1) == 0 ? "L" : arg(1) == 1 ? "R" : "F"] = static_cast<int32_t>(arg(3));
        }
        if (!inBody) continue;
        if (e.id == SO_SETPROPERTY && arg(0) == PROP_ALIGNMENT) now["a"] = arg(1);
        if (e.id == SO_SETPROPERTY && arg(0) == PROP_SAMEPAGE) now["P"] = arg(1);
        if (e.id == SO_SETPROPERTY && arg(0) == PROP_ATTRIBUTE)
            now["attr"] = arg(2) ? now["attr"] | (1 << arg(1)) : now["attr"] & ~(1 << arg(1));
        if (e.id == SO_SETFONTSIZE) now["S"] = arg(0);
        if (e.id == SO_SETTEXTCOLOR && arg(0) == 0) now["C"] = arg(1);
        if (e.id == SO_SETCHARSET) now["cs"] = arg(0);
        if (e.id == SO_DECLARESUBTEXT) out += "[side" + Hex(arg(0)) + " " + Hex(arg(1)) + "]";
        if (e.id == SO_BEGINTAG) out += "[tag" + Hex(arg(1)) + "]";
        if (e.id == SO_ENDTAG) out += "[/tag" + Hex(arg(1)) + "]";
        if (e.id == SO_PUTBREAK && arg(0) == BRK_PARAGRAPH) out += "\n";
        if (e.id == SO_PUTSPECIALCHAR) out += arg(0) == SPC_TAB ? "\t" : "[np]";
        if (e.id != SO_PUTCHAR) continue;
        std::string changes;
        for (const auto& [name, value] : now)
            if (shown[name] != value)
                changes += (changes.empty() ? "" : " ") + name +
                           (name == "C" || name == "cs" || name == "attr" ? Hex(static_cast<uint32_t>(value))
                                                                   : std::to_string(value));
        if (!changes.empty()) out += "[" + changes + "]";
        out += static_cast<char>(arg(0));
        shown = now;
    }
    return out;
}

std::string Render(const std::string& type, const std::string& body) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, Mail(type, body), FI_INTERNET_MAIL), 0);
    return Shown(host);
}

struct Case {
    const char* body;
    std::string shown;
};

TEST(RichText, EnrichedBodies) {
    const Case cases[] = {
        {"a\nb", "a b"},  // one line end is a blank, never two
        {"a \nb", "a b"},
        {"a\n\nb", "a\nb"},
        {"a\r\n\r\n\r\nb", "a\n\nb"},
        {"\nb", "\nb"},
        {"a<<b<verbatim><<<x> y\n</verbatim>", "a<b<<x> y\n"},
        {"<nofill>a  b\r\nc\n</nofill>d", "a b\nc\nd"},
        {"x<param>hidden</param>y <color><param>red</param>z", "xy z"},
        {"<bold\n>x</bold>y", "[attr4]x[attr0]y"},
        // Alignment in mid-line waits for a blank line that follows at once.
        {"a<flushright>\n\nb", "a\n[a2]b"},
        {"a<flushright>\r\rb", "a\n[a2]b"},
        {"a<flushright>\r\n\r\nb", "a\n[a2]b"},
        {"a<flushright>\r\n\nb", "a\n\n\n[a2]b"},  // no blank line: CR LF LF
        {"a<flushright>b", "a\n[a2]b"},
        {"<center>a</center>b", "[a3]a\n[a4]b"},
        {"a<indent>b</indent>\n\nc", "a[F-720 L720]b\n[F0 L0]c"},
        {"<indent><indentright>x</indent>", "[L720 R720]x\n"},
        {"<smaller><smaller><smaller><smaller><smaller>a</smaller>b<bigger>c", "[S8]ab[S12]c"},
        {"<excerpt>q</excerpt>r", "[CFF0000]q[C0]r"},
    };
    for (const Case& c : cases) EXPECT_EQ(Render("text/enriched", c.body), c.shown) << c.body;
}

TEST(RichText, RichtextBodies) {
    const std::string latin1 = Hex(ResolveCharset("ISO-8859-1")), latin2 = Hex(ResolveCharset("iso-8859-2"));
    const Case cases[] = {
        {"a\r\nb\n\nc", "a b c"},
        {"a<nl><nl>b", "a\n\nb"},
        {"<paragraph>a</paragraph>b", "a\nb"},
        {"a<lt>b<<c>d", "a<bd"},
        {"a<np>b", "a[np]b"},
        {"x<center>y</center>\nz", "x\n[a3]y\n[a4]z"},
        {"a<flushright>\n\nb", "a\n[a2]b"},
        {"a<indent>b</indent>c", "a[F-720 L720]b\n[F0 L0]c"},
        {"<samepage>a</samepage>b", "[P3]a\n[P0]b"},
        {"H<subscript>2</subscript>O<superscript>n", "H[attr400]2[attr0]O[attr800]n"},
        {"<ISO-8859-1>a<iso-8859-2>b</iso-8859-2>c</ISO-8859-1>d",
         "[cs" + latin1 + "]a[cs" + latin2 + "]b[cs14B00000]cd"},
        {"a<comment>c</comment><heading>h</heading><footing>f</footing>",
         "a[side5 1][tag1]c[/tagFFFFFFFF][side8 2][tag2]h[/tagFFFFFFFF][side10 3][tag3]f[/tagFFFFFFFF]"},
        {"<smaller><smaller><smaller><smaller><smaller>a</smaller>b", "[S8]ab"},
        {"<excerpt>q</excerpt>r", "[CFF0000]q[C0]r"},
    };
    for (const Case& c : cases) EXPECT_EQ(Render("text/richtext", c.body), c.shown) << c.body;

    const std::string part = "--b\r\nContent-Type: text/richtext\r\n\r\n<comment>";
    const std::string twoBodies = Render("multipart/mixed; boundary=b",
                                         part + "c</comment>\r\n" + part + "d</comment>\r\n--b--\r\n");
    EXPECT_NE(twoBodies.find("d[/tagFFFFFFFF]"), std::string::npos) << twoBodies;
    EXPECT_EQ(twoBodies.find("[side5 2]"), std::string::npos) << twoBodies;  // numbered anew
}

// Stops at every paragraph, with replays, render as one run does; and a host
// that pages back to the third paragraph gets that paragraph's format again.
TEST(RichText, StopsResumeWithTheStateInForce) {
    const std::string latin1 = Hex(ResolveCharset("ISO-8859-1"));
    const struct {
        const char* type;
        std::string body, shown, pagedBack;
    } cases[] = {
        {"text/enriched",
         "<bold><indent>one\n\ntwo <italic>2\n\nthree</italic></bold>\n\n<nofill>x\ny\n</nofill>z",
         "[L720 attr4]one\ntwo [attrC]2\nthree\n[attr0]x\ny\nz", "[L720 attrC]three\n[attr0]x\ny\nz"},
        {"text/richtext",
         "<ISO-8859-1><bold><indent>one<nl>two <comment>c</comment><nl> three<nl><comment>d</comment>",
         "[L720 attr4 cs" + latin1 + "]one\ntwo [side5 1][tag1]c[/tagFFFFFFFF]\nthree\n[side5 2][tag2]d[/tagFFFFFFFF]",
         "[L720 attr4 cs" + latin1 + "]three\n[side5 2][tag2]d[/tagFFFFFFFF]"},
    };
    for (const auto& c : cases) {
        RecordingHost whole, replayed;
        ASSERT_EQ(RunDocument(whole, Mail(c.type, c.body), FI_INTERNET_MAIL), 0);
        ASSERT_EQ(RunDocumentWithReplays(replayed, Mail(c.type, c.body), FI_INTERNET_MAIL), 0);
        EXPECT_EQ(Shown(whole), c.shown);
        EXPECT_EQ(Shown(replayed), c.shown);
        EXPECT_EQ(replayed.Rendered(), whole.Rendered());

        MemoryObject stream(Mail(c.type, c.body));
        RecordingHost paging;
        FilterSession session(paging);
        ASSERT_EQ(session.Open(stream.get(), FI_INTERNET_MAIL), 0);
        paging.StopAtParagraph(3);  // the head's break, then two of the body
        ASSERT_EQ(session.Step(), FilterSession::Stop::Paragraph);
        const std::vector<uint8_t> third = session.Save();
        ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
        const size_t mark = paging.Calls().size();
        session.Restore(third);
        session.ReadOnly();
        EXPECT_EQ(Shown(paging, mark), c.pagedBack) << c.type;
    }
}

std::string SampleText(const std::string& name) {
    std::ifstream in(std::string(MAILSIFT_DATA_DIR) + "/" + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, bytes.str(), FI_INTERNET_MAIL), 0) << name;
    return host.Text();
}

TEST(RichText, SamplesShowNoMarkup) {
    const std::string pegasus = SampleText("lore-lkml/enriched-pegasus-2001-06-10.eml");
    EXPECT_NE(pegasus.find("\nAndrew,\nAlthough I don't run Redhat, your response tells me"), std::string::npos);
    EXPECT_EQ(pegasus.find("<param>"), std::string::npos);
    EXPECT_EQ(pegasus.find("0100,0100"), std::string::npos);
    const std::string nested = SampleText("mime4j/mimetools-testmsgs/multi-nested.msg");
    EXPECT_NE(nested.find("This is part 4 of the outer message as defined in RFC1341\n\nIsn't it cool?"),
              std::string::npos);
    EXPECT_EQ(nested.find("<bold>"), std::string::npos);
}

}  // namespace
