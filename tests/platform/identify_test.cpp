// Tests of the identification service and CopyWideText through their C entry
// points, on crafted bytes and on real mail from the corpus: each kind of
// answer, and the cases where two kinds could be confused.
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/platform_extras.h"
#include "host/services.h"
#include "platform/platform.h"
#include "tests/support/memory_object.h"

namespace {

constexpr uint16_t kUnknown = 1999;

// What IdentifyHandle writes over a preset of 1999.
uint16_t IdentifyObject(IoObject* object, uint32_t mode = 1) {
    uint16_t format = kUnknown;
    IdentifyHandle(object, mode, &format);
    return format;
}

uint16_t Identify(const std::string& bytes) { return IdentifyObject(MemoryObject(bytes).get()); }
uint16_t Special(const std::string& bytes) { return IdentifySpecial(MemoryObject(bytes).get(), 4050); }

std::string SomeBinary(size_t n) {
    std::string bytes(n, '\0');
    uint32_t state = 12345;
    for (char& c : bytes) {
        state = state * 1103515245u + 12345u;
        c = static_cast<char>(state >> 16);
    }
    return bytes;
}

// `count` lines of `text` from line `from` on.
std::string Lines(const std::string& text, size_t from, size_t count) {
    size_t start = 0;
    for (size_t i = 0; i < from; ++i) start = text.find('\n', start) + 1;
    size_t end = start;
    for (size_t i = 0; i < count && end != std::string::npos; ++i) {
        end = text.find('\n', end);
        if (end != std::string::npos) ++end;
    }
    return text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

struct Case {
    std::string bytes;
    uint16_t format;
};

void ExpectFormats(const std::vector<Case>& cases) {
    for (const Case& c : cases) EXPECT_EQ(Identify(c.bytes), c.format) << c.bytes.substr(0, 60);
}

TEST(Identify, TextAndWhatOnlyLooksLikeSomethingElse) {
    ExpectFormats({
        {"", 4022},
        {"Hello,\r\nthis is a note.\r\n", 4022},
        {"Gr\xFC\xDF" "e aus K\xF6ln, \xE9t\xE9\n\f\tpage two\n", 4022},
        {"\x1B$B$3$s$K$A$O\x1B(B\n", 4022},  // ISO-2022-JP
        {"From what I hear, the meeting moved.\nSee you there.\n", 4022},
        {"Subject: only one field\n\nand a body\n", 4022},
        {"I wrote <html> in the subject by mistake.\n", 4022},
        {"begin 644 is what I typed\nand then nothing happened\n", 4022},
        {"BMW and Audi\n", 4022},
        {"X-One: 1\nX-Two: 2\n\nno mail field\n", 4022},
        {"<p>a fragment without a document</p>\n", 4022},
        // XML whose elements happen to be called header and body.
        {"<message>\n<header>\n<field>From: me</field>\n</header>\n<body>\nhi\n</body>\n", 4022},
        {SomeBinary(3000), kUnknown},
        {std::string("text\0with a NUL", 15), kUnknown},
        {std::string(100, '\x01'), kUnknown},
        {std::string(200, '\0'), kUnknown},
        {std::string(64, '\x01') + std::string(64, '\x02') + std::string(64, '\x80'), kUnknown},
    });
    EXPECT_EQ(Identify(CorpusBytes("mime4j/mimetools-testmsgs/multi-simple.xml")), 4022);
}

TEST(Identify, TnefPicturesAndOtherBinaryFormats) {
    ExpectFormats({
        {std::string("\x78\x9F\x3E\x22\x01\x02\x00\x00", 8) + SomeBinary(64), 1197},
        {"GIF89a" + SomeBinary(40), 1500},
        {std::string("\xFF\xD8\xFF\xE0\x00\x10JFIF\x00", 11) + SomeBinary(40), 1501},
        {std::string("\x89PNG\r\n\x1A\n\x00\x00\x00\x0DIHDR", 16) + SomeBinary(40), 1502},
        {std::string("BM\x46\x00\x00\x00\x00\x00\x00\x00\x36\x00\x00\x00\x28\x00\x00\x00", 18) +
             SomeBinary(40), 1503},
        {std::string("II*\x00\x08\x00\x00\x00", 8) + SomeBinary(40), 1504},
        {std::string("RIFF\x24\x00\x00\x00WEBPVP8 ", 16) + SomeBinary(40), 1505},
        {std::string("\x00\x00\x01\x00\x01\x00\x10\x10\x00\x00\x01\x00\x20\x00", 14) + SomeBinary(40), 1506},
    });
    for (const char* tnef : {"convert-tnef/tnef.doc", "ytnef/winmail.dat", "tnefparse/examples/IPM-DistList.tnef",
                             "tnefparse/examples/bad_checksum.tnef", "tnefparse/examples/minimal_attachment.tnef"})
        EXPECT_EQ(Identify(CorpusBytes(tnef)), 1197) << tnef;
    EXPECT_EQ(Identify(CorpusBytes("convert-binhex/testin/eyeball.gif")), 1500);
    EXPECT_EQ(Identify(CorpusBytes("newsreap/joystick.jpg")), 1501);

    static const char kZip[] =
        "PK\x03\x04\x14\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x00\x00\x05\x00\x00\x00" "a.txt"
        "PK\x01\x02\x14\x00\x14\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x00\x00\x00\x00\x05\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00" "a.txt"
        "PK\x05\x06\x00\x00\x00\x00\x01\x00\x01\x00\x33\x00\x00\x00\x23\x00\x00\x00\x00\x00";
    uint16_t zip = Identify(std::string(kZip, sizeof(kZip) - 1));
    uint16_t gzip = Identify(std::string("\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03", 10) + SomeBinary(50));
    uint16_t pdf = Identify("%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n");
    for (uint16_t format : {zip, gzip, pdf}) {
        EXPECT_GE(format, 1300);
        EXPECT_LE(format, 1399);
    }
    // One number per kind.
    EXPECT_NE(zip, gzip);
    EXPECT_NE(zip, pdf);
    EXPECT_NE(gzip, pdf);
}

TEST(Identify, RtfHtmlMailNewsAndMimeHeaders) {
    ExpectFormats({
        {"{\\rtf1\\ansi\\deff0 {\\fonttbl{\\f0 Times;}}\\f0 Hello\\par}", 1028},
        {"\r\n{\\rtf1 x}", 1028},
        {"<!DOCTYPE html>\n<html><body>Hi</body></html>\n", 1101},
        {"  <HTML>\n<HEAD><TITLE>x</TITLE></HEAD></HTML>", 1101},
        {"\xEF\xBB\xBF<!-- saved -->\n<body>text</body>", 1101},
        {"<?xml version=\"1.0\"?>\n<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0//EN\">\n<x/>", 1101},
        {"<title>Minutes</title>\n<meta charset=utf-8>\n<BODY>text", 1101},
        {"From joe@example.com Mon Jan  1 00:00:00 2001\nFrom: joe@example.com\nSubject: hi\n\nbody\n", 1817},
        {"From joe@example.com\nReturn-Path: <joe@example.com>\n\nbody\n", 1817},
        {"From: a@example.com\nTo: b@example.com\nSubject: c\n\nbody\n", 1192},
        {"Received: from x\n\tby y; Mon, 1 Jan 2001\nX-Spam: no\n\nbody\n", 1192},
        {"Path: news.example!not-for-mail\nFrom: a@example.com\nNewsgroups: comp.lang.c\nSubject: q\n\nbody\n", 1193},
        {"Content-Type: text/plain; charset=us-ascii\nContent-Transfer-Encoding: 7bit\n\nhi\n", 1187},
        {"MIME-Version: 1.0\nContent-Type: image/png\n\n", 1187},
        // HTML mail with its pictures is multipart/related too, but it travelled.
        {"Received: from a by b\nMessage-ID: <1@example.com>\nFrom: a@example.com\n"
         "MIME-Version: 1.0\nContent-Type: multipart/related; boundary=\"b\"\n\n--b\n"
         "Content-Type: text/html\nContent-Location: http://example.com/\n\n<html></html>\n--b--\n", 1192},
        {"From: <Saved by Blink>\nSnapshot-Content-Location: https://example.com/\nSubject: x\n"
         "MIME-Version: 1.0\nContent-Type: multipart/related;\n\ttype=\"text/html\";\n\tboundary=\"b\"\n\n", 1198},
    });
    EXPECT_EQ(Identify(CorpusBytes("mikel-mail/emails/attachment_emails/attachment_content_location.eml")), 1192);
    for (const char* page : {"mimekit/messages/multipart-related-mhtml.txt", "mhtml-parser/demos/mdn.mhtml",
                             "mhtml-parser/demos/wikipedia.mhtml", "mhtml-parser/demos/hn.mhtml"})
        EXPECT_EQ(Identify(CorpusBytes(page)), 1198) << page;
}

TEST(Identify, UuencodeAndXxencodeOpeningAndContinuation) {
    const std::string uu = CorpusBytes("mime-tools/testin/zeegee.gif.uu");
    const std::string mail = CorpusBytes("uudeview/test/mime-xxencode.good.msg");
    const size_t begin = mail.find("\nbegin ");
    ASSERT_NE(begin, std::string::npos);
    const std::string xx = mail.substr(begin + 1);
    for (const auto& [text, opens] : {std::pair<std::string, uint16_t>{uu, 4050}, {xx, 4052}}) {
        SCOPED_TRACE(opens);
        EXPECT_EQ(Identify(text), opens);
        EXPECT_EQ(Special(text), opens);
        // Data alone: a later piece.
        const std::string data = Lines(text, 1, 4);
        EXPECT_EQ(Identify(data), opens + 1);
        EXPECT_EQ(Special(data), opens + 1);
    }
    EXPECT_EQ(Identify("Here it is:\n\n" + uu), 4050);
    EXPECT_EQ(Special("begin 644 one\n" + uu), 4050);
    // Also when the window cuts a line, or the piece ends the data.
    const std::string lines = Lines(uu, 1, 100);
    EXPECT_EQ(Identify(lines + lines), 4051);
    EXPECT_EQ(Special(Lines(uu, 8, 3) + "`\nend\n"), 4051);
    EXPECT_EQ(Special(Lines(uu, 5, 20)), 4051);
}

// Base64 lines use the xxencode letters, but not its line layout.
TEST(Identify, Base64BodiesStayText) {
    const std::string line = "iVBORw0KGgoAAAANSUhEUgAAAZAAAABOCAYAAAAO/EAnAAAABGdBTUEAALGPC/xhBQAAAAlwSFlz";
    std::string body, sixtyFour;
    for (int i = 0; i < 40; ++i) {
        body += line + "\r\n";
        sixtyFour += line.substr(0, 64) + "\n";
    }
    EXPECT_EQ(Identify(body), 4022);
    EXPECT_EQ(Special(body), kUnknown);
    EXPECT_EQ(Identify(sixtyFour), 4022);
}

TEST(Identify, YencPartsAndBinHex) {
    EXPECT_EQ(Identify("=ybegin line=128 size=3 name=a.bin\n\x8B\x8C\x8D\n=yend size=3\n"), 4054);
    EXPECT_EQ(Special("=ybegin part=1 total=2 line=128 size=6 name=a.bin\n=ypart begin=1 end=3\nabc\n"), 4054);
    EXPECT_EQ(Special("=ybegin part=2 total=2 line=128 size=6 name=a.bin\n=ypart begin=4 end=6\nabc\n"), 4055);
    EXPECT_EQ(Special("=ybegin part=12 line=128 size=6 name=a.bin\n"), 4055);
    EXPECT_EQ(Special(CorpusBytes("usenet-yenc/yenc/singlepart/00000005.ntx")), 4054);
    EXPECT_EQ(Special(CorpusBytes("usenet-yenc/yenc/multipart/00000020.ntx")), 4054);
    EXPECT_EQ(Special(CorpusBytes("usenet-yenc/yenc/multipart/00000021.ntx")), 4055);
    EXPECT_EQ(Identify(CorpusBytes("aswaving-yenc/testdata/yenc.org/testfile.txt.yenc")), 4054);

    std::string hqx = CorpusBytes("convert-binhex/testin/eyeball.gif.hqx");
    EXPECT_EQ(Identify(hqx), 4056);
    EXPECT_EQ(Special(CorpusBytes("mpack/macrsrc.hqx")), 4056);
    size_t banner = hqx.find("(This file");
    ASSERT_NE(banner, std::string::npos);
    // Lines from the middle: no banner, no opening colon.
    std::string bare = Lines(hqx.substr(hqx.find('\n', banner) + 1), 3, 10);
    EXPECT_EQ(Identify(bare), 4057);
    EXPECT_EQ(Special(bare), 4057);

    EXPECT_EQ(Special(""), kUnknown);
    EXPECT_EQ(Special("From: a@example.com\nTo: b@example.com\n\nbody\n"), kUnknown);
    EXPECT_EQ(Special("GIF89a" + SomeBinary(40)), kUnknown);
}

// The service reads from the start wherever the object stands, ignores the
// mode, and writes nothing when it can't read.
TEST(Identify, ReadsFromTheStartWhateverTheObjectsPosition) {
    MemoryObject mail("From: a@example.com\nSubject: s\n\nbody\n");
    ASSERT_EQ(mail.get()->Seek(mail.get(), 0, 20), 0);
    EXPECT_EQ(IdentifyObject(mail.get(), 0), 1192);
    EXPECT_EQ(IdentifyObject(mail.get(), 1), 1192);
    // An object that gives a few bytes a read is asked until the window is
    // full; one that can't go back to its start has no answer.
    MemoryObjectOptions trickle, stuck;
    trickle.shortReads = 3;
    stuck.failSeek = true;
    EXPECT_EQ(IdentifyObject(MemoryObject("From: a@example.com\nSubject: s\n\nbody\n", trickle).get()), 1192);
    EXPECT_EQ(IdentifyObject(MemoryObject("From: a@example.com\nSubject: s\n\nbody\n", stuck).get()), kUnknown);

    IoObject unreadable{};
    unreadable.Seek = [](IoObject*, uint16_t, int32_t) -> int32_t { return -1; };
    EXPECT_EQ(IdentifyObject(&unreadable), kUnknown);
    EXPECT_EQ(IdentifySpecial(&unreadable, 4050), kUnknown);
    EXPECT_STREQ(IdentifyMimeType(&unreadable), "application/octet-stream");
    EXPECT_STREQ(IdentifyMimeType(MemoryObject("%PDF-1.4\n%\xE2\xE3\xCF\xD3\n1 0 obj\n").get()),
                 "application/pdf");
}

TEST(CopyWideText, WidensEachByteUnsigned) {
    uint16_t wide[8];
    for (uint16_t& unit : wide) unit = 0xAAAA;
    CopyWideText(wide, "a\xE9\xFF" "Z");
    EXPECT_EQ(std::vector<uint16_t>(wide, wide + 6), (std::vector<uint16_t>{0x61, 0xE9, 0xFF, 0x5A, 0, 0xAAAA}));
    CopyWideText(wide, "");
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(wide[1], 0x00E9);  // nothing past the NUL is touched
}

}  // namespace
