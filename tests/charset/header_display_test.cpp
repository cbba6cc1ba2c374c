// The header table, the attachments row and RFC 2047 words in field values,
// as a host sees them: small mails through the filter's C interface.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "charset/charset.h"
#include "tests/support/filter_session.h"

namespace {

using Calls = std::vector<HostEvent>;

// Calls as one line: printable ASCII characters as themselves, other
// characters as {HEX}, charset changes as [HEX], a cell record as <cell>,
// any other call as <its events line>.
std::string Compact(Calls::const_iterator begin, Calls::const_iterator end) {
    std::string out;
    char buf[32];
    for (auto event = begin; event != end; ++event) {
        const uint32_t first = event->args.empty() ? 0 : event->args[0].number;
        const bool printable = first >= 0x20 && first < 0x7F && first != '{' && first != '[' && first != '<';
        if (event->id == SO_PUTCHAR && printable) {
            out += static_cast<char>(first);
        } else if (event->id == SO_PUTCHAR || event->id == SO_SETCHARSET) {
            std::snprintf(buf, sizeof buf, event->id == SO_PUTCHAR ? "{%X}" : "[%X]", first);
            out += buf;
        } else {
            out += "<" + FormatHostEvent(*event) + ">";
        }
    }
    return std::regex_replace(out, std::regex(R"(<SoPutCellFormat \[[^\]]*\]>)"), "<cell>");
}

// The calls of a whole run from the first table on.
std::string FromTable(const std::string& mail, uint16_t formatId = FI_INTERNET_MAIL) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, mail, formatId), 0) << mail;
    const Calls& calls = host.Calls();
    auto table = std::find_if(calls.begin(), calls.end(), [](const HostEvent& e) { return e.id == SO_BEGINTABLE; });
    return Compact(table, calls.end());
}

const std::string kKnownEnd = "<SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,240,1,0,1,2]><cell><cell><SoPutBreak 19 0 => 0>";
const std::string kPlainEnd = "<SoPutBreak 20 0 => 0><SoPutRowFormat [0,0,0,3,0,1,2]><cell><cell><SoPutBreak 19 0 => 0>";
const std::string kDocEnd = "<SoPutBreak 1 0 => 0><SoPutBreak 2 0 => 0>";

std::string Plain(const std::string& name, const std::string& value) {
    return "<SoSetProperty 8 15 1 0>" + name + "<SoPutBreak 20 0 => 0>" + value + "<SoSetProperty 8 15 0 0>" +
           kPlainEnd;
}

std::string Link(int n, const std::string& step, const std::string& shown) {
    const std::string k = std::to_string(n);
    return "<SoNewSubdoc => " + k + "><SoSetProperty 193 256 0 " + step + "><SoSetProperty 194 0 0 0>" +
           (shown[0] == '<' ? "" : "<SoRegisterText \"" + shown + "\" 0x14B00000 " + std::to_string(shown.size()) +
                                       " => " + k + ">") +
           "<SoBeginTag 0x8003000C " + k + " [0," + k + "," + (shown[0] == '<' ? "0xFFFFFFFF" : k) + "]>" + shown +
           "<SoEndTag 0x8003000C " + k + ">";
}

TEST(HeaderTable, RowsInHeaderOrder) {
    const std::string mixed = "Content-Type: multipart/mixed; boundary=XX\n\n--XX\n";
    const std::pair<std::string, std::string> cases[] = {
        // known fields by their fixed text, at the start of the name only;
        // a plain row leaves the row words back at 240 and 1 behind it
        {"Subject: =?utf-8?Q?caf=C3=A9?= ok\nX-Mailer: mutt\nResent-From: a\nBCC: b\nto: c\n\n",
         "<SoBeginTable><SoPutStringId 0x1366D><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 0 [0x1366D]>"
         "[14B00000]caf{E9}[14B00000] ok<SoEndTag 0x290004 0>" + kKnownEnd + Plain("X-Mailer:", "mutt") +
             Plain("Resent-From:", "a") +
             "<SoPutStringId 0x1366C><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 3 [0x1366C]>b"
             "<SoEndTag 0x290004 3>" + kKnownEnd +
             "<SoPutStringId 0x1366A><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 4 [0x1366A]>c"
             "<SoEndTag 0x290004 4>" + kKnownEnd + "<SoEndTable>[14B00000]" + kDocEnd},
        // behind the table the part's own set is announced again
        {"Cc: x\nContent-Type: text/plain; charset=iso-8859-2\n\n",
         "<SoBeginTable><SoPutStringId 0x1366B><SoPutBreak 20 0 => 0><SoBeginTag 0x290004 0 [0x1366B]>x"
         "<SoEndTag 0x290004 0>" + kKnownEnd + Plain("Content-Type:", "text/plain; charset=iso-8859-2") +
             "<SoEndTable>[80102]" + kDocEnd},
        // the attachments row links every attachment of the shown part; one
        // without a name of its own takes the shown part's name parameter
        {mixed + "Content-Type: text/plain; name=\"c d.bin\"\n\nhi\n--XX\nContent-Type: application/pdf\n"
                 "Content-Disposition: attachment; filename=a.pdf\n\nPDF\n"
                 "--XX\nContent-Type: application/octet-stream\n\nraw\n--XX--\n",
         "<SoBeginTable>" + Plain("Content-Type:", "multipart/mixed; boundary=XX") + "<SoEndTable>[14B00000]" +
             "<SoBeginTable>" + Plain("Content-Type:", "text/plain; name=\"c d.bin\"") + "<SoEndTable>[14B00000]" +
             "<SoBeginTable><SoPutStringId 0x13685><SoPutBreak 20 0 => 0>" + Link(1, "0", "a.pdf") +
             " <SoPutSpecialChar 1>" + Link(2, "1", "c d.bin") + kKnownEnd +
             "<SoEndTable><SoPutBreak 1 0 => 0>hi" + kDocEnd},
        // with no name anywhere the link shows the fixed text
        {mixed + "Content-Type: text/plain\n\nhi\n--XX\nContent-Type: application/octet-stream\n\nraw\n--XX--\n",
         "<SoBeginTable>" + Plain("Content-Type:", "multipart/mixed; boundary=XX") + "<SoEndTable>[14B00000]" +
             "<SoBeginTable>" + Plain("Content-Type:", "text/plain") + "<SoEndTable>[14B00000]" +
             "<SoBeginTable><SoPutStringId 0x13685><SoPutBreak 20 0 => 0>" + Link(1, "0", "<SoPutStringId 0x13685>") +
             kKnownEnd + "<SoEndTable><SoPutBreak 1 0 => 0>hi" + kDocEnd},
    };
    for (const auto& [mail, expected] : cases) EXPECT_EQ(FromTable(mail), expected) << mail;
    // text without a header gets no table at all
    // a saved web page shows every field under its own name
    EXPECT_EQ(FromTable("Subject: page\n\n", FI_MHTML),
              "<SoBeginTable>" + Plain("Subject:", "page") + "<SoEndTable>[14B00000]" + kDocEnd);
}

// The calls inside the value cell of a mail's only field, "Subject: value".
std::string Word(const std::string& value, size_t* chars = nullptr) {
    RecordingHost host;
    EXPECT_EQ(RunDocument(host, "Subject: " + value + "\n\n", FI_INTERNET_MAIL), 0);
    const Calls& calls = host.Calls();
    auto tag = std::find_if(calls.begin(), calls.end(), [](const HostEvent& e) { return e.id == SO_BEGINTAG; });
    auto end = std::find_if(tag, calls.end(), [](const HostEvent& e) { return e.id == SO_ENDTAG; });
    if (tag == calls.end()) return "(no row)";
    if (chars) *chars = std::count_if(tag, end, [](const HostEvent& e) { return e.id == SO_PUTCHAR; });
    return Compact(tag + 1, end);
}

TEST(EncodedWords, WordsAndWhatIsNotAWord) {
    const std::string name31 = "=?" + std::string(31, 'x') + "?Q?a?=";
    const std::string name32 = "=?" + std::string(32, 'x') + "?Q?a?=";
    const std::pair<const char*, const char*> cases[] = {
        {"=?iso-8859-1?Q?caf=E9_x?=", "[80101]caf{E9} x[14B00000]"},
        {"=?utf-8?B?4oKs?=", "[14B00000]{20AC}[14B00000]"},
        {"=?shift_jis?B?gqBB?=", "[13A40000]{82A0}A[14B00000]"},
        {"=?x-foo?Q?=E9?=", "[14B00000]{E9}[14B00000]"},  // unknown charset: bytes one by one, unsigned
        // UTF-8 inside a word: long sequences are one replacement, a stray
        // byte is 0, a sequence cut by the end of the text takes zeros
        {"=?UTF-8?Q?=F0=9F=98=80=80=C3?=", "[14B00000]{FFFD}{0}{C0}[14B00000]"},
        // ISO 2022: the return to ASCII's terminating zero is not shown, a
        // designation cut by the end of the text changes nothing
        {"=?iso-2022-jp?B?GyRCJCIbKEI=?=", "[10000100][13A40000]{82A0}[10000100][14B00000]"},
        {"=?iso-2022-kr?Q?ab=1B$?=", "[10000100]ab[14B00000]"},
        {"=?iso-2022-kr?Q?=1B$)C=30=21?=", "[10000100][13B50000]{3021}[14B00000]"},
        // UTF-7: a '-' closing a run is absorbed; a surrogate pair passes as two units
        {"=?utf-7?Q?a+-b+AOk?=", "[14B00000]a+b{E9}[14B00000]"},
        {"=?utf-7?Q?+AOkA6Q-x?=", "[14B00000]{E9}{E9}x[14B00000]"},
        {"=?utf-7?Q?+2D3eAA-?=", "[14B00000]{D83D}{DE00}[14B00000]"},
        {"=?iso-8859-1?X?abc?=", "=?iso-8859-1?X?abc?="},
        {"a=?", "a=?"},
        {"=?utf-8?Q", "=?utf-8?Q"},
        {"=?utf-8?Qx?=", "=?utf-8?Qx?="},
        {"caf\xE9", "caf{FFE9}"},  // raw 8-bit bytes outside words are sign-extended
        {name31.c_str(), "[14B00000]a[14B00000]"},  // a charset name of 31 bytes is accepted
        {name32.c_str(), name32.c_str()},
        // white space between words is ordinary text
        {"=?iso-8859-1?Q?a?= =?iso-8859-1?Q?b?=", "[80101]a[14B00000] [80101]b[14B00000]"},
        {"Re: =?utf-8?Q?x?=!", "Re: [14B00000]x[14B00000]!"},
        {"x =?utf-8?Q?caf=C3=A9", "x [14B00000]caf{E9}[14B00000]"},  // no "?=": to the end
        // Q text ending in a lone '=' gives a zero byte, which ends the text
        {"=?iso-8859-1?Q?ab=?=c", "[80101]ab[14B00000]c"},
        {"=?iso-8859-1?Q?a=00b?=", "[80101]a[14B00000]"},
        {"=?utf-8?Q?" "?=", "[14B00000][14B00000]"},  // an empty text still switches
        {"=?utf-8?B?QQ?=", "[14B00000]A[14B00000]"},
    };
    for (const auto& [value, expected] : cases) EXPECT_EQ(Word(value), expected) << value;
}

TEST(EncodedWords, LongAndHostileValues) {
    size_t chars = 0;
    // a value near the line limit made of words, and one long malformed word
    std::string many;
    while (many.size() < 64000) many += "=?utf-8?B?4oKs?= =?iso-2022-jp?B?GyRC?=";
    Word(many, &chars);
    EXPECT_EQ(chars, many.size() / 39 * 2);
    // 64000 symbols of value 63 decode to 48000 bytes of 0xFF: each reads as 0
    Word("=?utf-8?B?" + std::string(64000, '\xFF'), &chars);
    EXPECT_EQ(chars, 48000u);
    // a UTF-7 run is cut to the line buffer: 511 units in its 1024 bytes
    Word("=?utf-7?Q?+" + std::string(5000, 'B') + "?=", &chars);
    EXPECT_EQ(chars, 511u);
}

// Values stitched from pieces of words: behind a word the host is left in
// 0x14B00000, without one it is not touched.
TEST(EncodedWords, RandomStitchedValuesEndInPlainText) {
    const char* pieces[] = {"=?", "?=", "?Q?", "?B?", "?q?", "utf-8", "iso-2022-jp", "utf-7",
                            "shift_jis", "big5", "=E9", "=", "+AOk", "+", "-", "\x1B$B", "\x1B(",
                            "GyRC", "4oKs", "_", " ", "\xC3", "\xFF", "QQ==", "abc",
                            "=?utf-8?Q?", "=?iso-2022-jp?B?", "=?utf-7?Q?", "=?big5?B?",
                            "=?utf-8?B?", "=?iso-2022-kr?Q?"};
    std::mt19937 random(2047);
    int withWords = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string value = "v";
        size_t count = random() % 12;
        for (size_t i = 0; i < count; ++i) value += pieces[random() % std::size(pieces)];
        // a '[' of the compact form is always a charset call
        const std::string shown = Word(value);
        const size_t last = shown.rfind('[');
        if (last != std::string::npos) {
            EXPECT_EQ(shown.substr(last, 10), "[14B00000]") << value;
            ++withWords;
        }
        if (value.find("=?") == std::string::npos) {
            EXPECT_EQ(last, std::string::npos) << value;
        }
    }
    EXPECT_GT(withWords, 1000);
}

}  // namespace
