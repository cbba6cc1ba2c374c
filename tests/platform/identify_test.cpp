// Tests of the identification service through its C entry points, on
// crafted files and on real mail from the corpus: one case per row of the
// answers table, and the cases where two rows could be confused.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/platform_extras.h"
#include "host/services.h"
#include "platform/platform.h"
#include "tests/platform/temp_files.h"

namespace {

constexpr uint16_t kUnknown = 1999;

// What IdentifyHandle writes over a preset of 1999 for a file of these bytes.
uint16_t IdentifyFile(const std::string& path, uint32_t mode = 1) {
    IoObject* object = FileObjectOpen(path.c_str());
    if (object == nullptr) return 0;
    uint16_t format = kUnknown;
    IdentifyHandle(object, mode, &format);
    object->Close(object);
    return format;
}

uint16_t Identify(const std::string& bytes) {
    TempDir dir;
    return IdentifyFile(dir.Write("sample", bytes));
}

uint16_t SpecialFile(const std::string& path) {
    IoObject* object = FileObjectOpen(path.c_str());
    if (object == nullptr) return 0;
    uint16_t format = IdentifySpecial(object, 4050);
    object->Close(object);
    return format;
}

uint16_t Special(const std::string& bytes) {
    TempDir dir;
    return SpecialFile(dir.Write("sample", bytes));
}

std::string Corpus(const std::string& relative) { return CorpusPath(relative); }

// Encodes `data` the way uuencode (or xxencode) lays out lines: a length
// character, then four characters per three bytes.
std::string EncodeLines(const std::string& data, bool xx) {
    static const char kXx[] = "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    auto letter = [xx](unsigned value) {
        return xx ? kXx[value & 63] : static_cast<char>(value == 0 ? '`' : 0x20 + (value & 63));
    };
    std::string out;
    for (size_t at = 0; at < data.size(); at += 45) {
        size_t n = data.size() - at < 45 ? data.size() - at : 45;
        out += letter(static_cast<unsigned>(n));
        for (size_t i = 0; i < n; i += 3) {
            unsigned char b[3] = {0, 0, 0};
            for (size_t k = 0; k < 3 && i + k < n; ++k) b[k] = static_cast<unsigned char>(data[at + i + k]);
            out += letter(b[0] >> 2);
            out += letter(((b[0] & 3) << 4) | (b[1] >> 4));
            out += letter(((b[1] & 15) << 2) | (b[2] >> 6));
            out += letter(b[2] & 63);
        }
        out += '\n';
    }
    return out;
}

std::string SomeBinary(size_t n) {
    std::string bytes(n, '\0');
    uint32_t state = 12345;
    for (char& c : bytes) {
        state = state * 1103515245u + 12345u;
        c = static_cast<char>(state >> 16);
    }
    return bytes;
}

std::string FirstLines(const std::string& text, size_t from, size_t count) {
    size_t start = 0;
    for (size_t i = 0; i < from; ++i) start = text.find('\n', start) + 1;
    size_t end = start;
    for (size_t i = 0; i < count && end != std::string::npos; ++i) {
        end = text.find('\n', end);
        if (end != std::string::npos) ++end;
    }
    return text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

TEST(Identify, EmptyAndPlainText) {
    EXPECT_EQ(Identify(""), 4022);
    EXPECT_EQ(Identify("Hello,\r\nthis is a note.\r\n"), 4022);
    EXPECT_EQ(Identify("Gr\xFC\xDF" "e aus K\xF6ln, \xE9t\xE9\n\f\tpage two\n"), 4022);
    EXPECT_EQ(Identify("\x1B$B$3$s$K$A$O\x1B(B\n"), 4022);  // ISO-2022-JP
    // Text that only looks like the start of something else.
    EXPECT_EQ(Identify("From what I hear, the meeting moved.\nSee you there.\n"), 4022);
    EXPECT_EQ(Identify("Subject: only one field\n\nand a body\n"), 4022);
    EXPECT_EQ(Identify("I wrote <html> in the subject by mistake.\n"), 4022);
    EXPECT_EQ(Identify("begin 644 is what I typed\nand then nothing happened\n"), 4022);
}

TEST(Identify, BinaryJunkGetsNoAnswer) {
    EXPECT_EQ(Identify(SomeBinary(3000)), kUnknown);
    EXPECT_EQ(Identify(std::string("text\0with a NUL", 15)), kUnknown);
    EXPECT_EQ(Identify(std::string(100, '\x01')), kUnknown);
    EXPECT_EQ(Identify(std::string(200, '\0')), kUnknown);
    EXPECT_EQ(Identify(std::string(64, '\x01') + std::string(64, '\x02') + std::string(64, '\x80')), kUnknown);
}

TEST(Identify, TnefAndPictures) {
    EXPECT_EQ(Identify(std::string("\x78\x9F\x3E\x22\x01\x02\x00\x00", 8) + SomeBinary(64)), 1197);
    EXPECT_EQ(IdentifyFile(Corpus("convert-tnef/tnef.doc")), 1197);
    EXPECT_EQ(IdentifyFile(Corpus("ytnef/winmail.dat")), 1197);

    EXPECT_EQ(Identify("GIF89a" + SomeBinary(40)), 1500);
    EXPECT_EQ(Identify(std::string("\xFF\xD8\xFF\xE0\x00\x10JFIF\x00", 11) + SomeBinary(40)), 1501);
    EXPECT_EQ(Identify(std::string("\x89PNG\r\n\x1A\n\x00\x00\x00\x0DIHDR", 16) + SomeBinary(40)), 1502);
    EXPECT_EQ(Identify(std::string("BM\x46\x00\x00\x00\x00\x00\x00\x00\x36\x00\x00\x00\x28\x00\x00\x00", 18) +
                       SomeBinary(40)), 1503);
    EXPECT_EQ(Identify(std::string("II*\x00\x08\x00\x00\x00", 8) + SomeBinary(40)), 1504);
    EXPECT_EQ(Identify(std::string("RIFF\x24\x00\x00\x00WEBPVP8 ", 16) + SomeBinary(40)), 1505);
    EXPECT_EQ(Identify(std::string("\x00\x00\x01\x00\x01\x00\x10\x10\x00\x00\x01\x00\x20\x00", 14) +
                       SomeBinary(40)), 1506);
    EXPECT_EQ(IdentifyFile(Corpus("convert-binhex/testin/eyeball.gif")), 1500);
    EXPECT_EQ(IdentifyFile(Corpus("newsreap/joystick.jpg")), 1501);

    // "BM" at the start of a word is no bitmap.
    EXPECT_EQ(Identify("BMW and Audi\n"), 4022);
}

TEST(Identify, OtherBinaryFormatsThroughLibmagic) {
    static const char kZip[] =
        "PK\x03\x04\x14\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x00\x00\x05\x00\x00\x00" "a.txt"
        "PK\x01\x02\x14\x00\x14\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x00\x00\x00\x00\x05\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00" "a.txt"
        "PK\x05\x06\x00\x00\x00\x00\x01\x00\x01\x00\x33\x00\x00\x00\x23\x00\x00\x00\x00\x00";
    uint16_t zipFormat = Identify(std::string(kZip, sizeof(kZip) - 1));
    uint16_t gzipFormat = Identify(std::string("\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03", 10) + SomeBinary(50));
    uint16_t pdfFormat = Identify("%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n");
    for (uint16_t format : {zipFormat, gzipFormat, pdfFormat}) {
        EXPECT_GE(format, 1300);
        EXPECT_LE(format, 1399);
    }
    // One number per kind.
    EXPECT_NE(zipFormat, gzipFormat);
    EXPECT_NE(zipFormat, pdfFormat);
    EXPECT_NE(gzipFormat, pdfFormat);
}

TEST(Identify, RtfAndHtml) {
    EXPECT_EQ(Identify("{\\rtf1\\ansi\\deff0 {\\fonttbl{\\f0 Times;}}\\f0 Hello\\par}"), 1028);
    EXPECT_EQ(Identify("\r\n{\\rtf1 x}"), 1028);
    EXPECT_EQ(Identify("<!DOCTYPE html>\n<html><body>Hi</body></html>\n"), 1101);
    EXPECT_EQ(Identify("  <HTML>\n<HEAD><TITLE>x</TITLE></HEAD></HTML>"), 1101);
    EXPECT_EQ(Identify("\xEF\xBB\xBF<!-- saved -->\n<body>text</body>"), 1101);
    EXPECT_EQ(Identify("<?xml version=\"1.0\"?>\n<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0//EN\">\n<x/>"), 1101);
    EXPECT_EQ(Identify("<title>Minutes</title>\n<meta charset=utf-8>\n<BODY>text"), 1101);
    EXPECT_EQ(Identify("<p>a fragment without a document</p>\n"), 4022);
    // XML whose elements happen to be called header and body.
    EXPECT_EQ(Identify("<message>\n<header>\n<field>From: me</field>\n</header>\n<body>\nhi\n</body>\n"), 4022);
    EXPECT_EQ(IdentifyFile(Corpus("mime4j/mimetools-testmsgs/multi-simple.xml")), 4022);
}

TEST(Identify, MailboxNewsAndMail) {
    EXPECT_EQ(Identify("From joe@example.com Mon Jan  1 00:00:00 2001\nFrom: joe@example.com\n"
                       "Subject: hi\n\nbody\n"), 1817);
    EXPECT_EQ(Identify("From joe@example.com\nReturn-Path: <joe@example.com>\n\nbody\n"), 1817);
    EXPECT_EQ(Identify("From: a@example.com\nTo: b@example.com\nSubject: c\n\nbody\n"), 1192);
    EXPECT_EQ(Identify("Received: from x\n\tby y; Mon, 1 Jan 2001\nX-Spam: no\n\nbody\n"), 1192);
    EXPECT_EQ(Identify("Path: news.example!not-for-mail\nFrom: a@example.com\n"
                       "Newsgroups: comp.lang.c\nSubject: q\n\nbody\n"), 1193);
    EXPECT_EQ(Identify("X-One: 1\nX-Two: 2\n\nno mail field\n"), 4022);

    EXPECT_EQ(IdentifyFile(Corpus("usenet-yenc/yenc/singlepart/00000005.ntx")), 1193);
    EXPECT_EQ(IdentifyFile(Corpus("mikel-mail/emails/attachment_emails/attachment_content_location.eml")),
              1192);
}

TEST(Identify, MimeOnlyHeaderAndSavedWebPages) {
    EXPECT_EQ(Identify("Content-Type: text/plain; charset=us-ascii\nContent-Transfer-Encoding: 7bit\n\nhi\n"),
              1187);
    EXPECT_EQ(Identify("MIME-Version: 1.0\nContent-Type: image/png\n\n"), 1187);
    EXPECT_EQ(IdentifyFile(Corpus("mimekit/messages/multipart-related-mhtml.txt")), 1198);
    EXPECT_EQ(IdentifyFile(Corpus("mhtml-parser/demos/mdn.mhtml")), 1198);
    EXPECT_EQ(IdentifyFile(Corpus("mhtml-parser/demos/wikipedia.mhtml")), 1198);

    // HTML mail with its pictures is multipart/related too, but it travelled.
    std::string htmlMail =
        "Received: from a by b\nMessage-ID: <1@example.com>\nFrom: a@example.com\n"
        "MIME-Version: 1.0\nContent-Type: multipart/related; boundary=\"b\"\n\n--b\n"
        "Content-Type: text/html\nContent-Location: http://example.com/\n\n<html></html>\n--b--\n";
    EXPECT_EQ(Identify(htmlMail), 1192);
    std::string folded =
        "From: <Saved by Blink>\nSnapshot-Content-Location: https://example.com/\nSubject: x\n"
        "MIME-Version: 1.0\nContent-Type: multipart/related;\n\ttype=\"text/html\";\n\tboundary=\"b\"\n\n";
    EXPECT_EQ(Identify(folded), 1198);
}

TEST(Identify, UuencodeOpeningAndContinuation) {
    std::string data = SomeBinary(400);
    std::string lines = EncodeLines(data, false);
    std::string opening = "begin 644 data.bin\n" + lines + "`\nend\n";
    EXPECT_EQ(Identify(opening), 4050);
    EXPECT_EQ(Special(opening), 4050);
    EXPECT_EQ(Identify("Here it is:\n\n" + opening), 4050);
    EXPECT_EQ(Special("begin 644 one\nbegin 644 two\n" + lines), 4050);
    // Data alone: a later piece, also when the window cuts a line.
    EXPECT_EQ(Identify(lines), 4051);
    EXPECT_EQ(Special(lines), 4051);
    EXPECT_EQ(Identify(EncodeLines(SomeBinary(9000), false)), 4051);
    EXPECT_EQ(Special(FirstLines(lines, 8, 3) + "`\nend\n"), 4051);

    EXPECT_EQ(IdentifyFile(Corpus("mime-tools/testin/zeegee.gif.uu")), 4050);
    std::string real = ReadFileBytes(Corpus("mime-tools/testin/zeegee.gif.uu"));
    EXPECT_EQ(Special(FirstLines(real, 5, 20)), 4051);
}

TEST(Identify, XxencodeOpeningAndContinuation) {
    std::string lines = EncodeLines(SomeBinary(400), true);
    std::string opening = "begin 644 data.bin\n" + lines + "+\nend\n";
    EXPECT_EQ(Identify(opening), 4052);
    EXPECT_EQ(Special(opening), 4052);
    EXPECT_EQ(Identify(lines), 4053);
    EXPECT_EQ(Special(lines), 4053);

    std::string mail = ReadFileBytes(Corpus("uudeview/test/mime-xxencode.good.msg"));
    size_t begin = mail.find("\nbegin ");
    ASSERT_NE(begin, std::string::npos);
    EXPECT_EQ(Special(mail.substr(begin + 1)), 4052);
}

// Base64 lines use the xxencode letters, but not its line layout.
TEST(Identify, Base64BodiesStayText) {
    std::string body;
    const std::string line = "iVBORw0KGgoAAAANSUhEUgAAAZAAAABOCAYAAAAO/EAnAAAABGdBTUEAALGPC/xhBQAAAAlwSFlz";
    for (int i = 0; i < 40; ++i) body += line + "\r\n";
    EXPECT_EQ(Identify(body), 4022);
    EXPECT_EQ(Special(body), kUnknown);
    std::string sixtyFour;
    for (int i = 0; i < 40; ++i) sixtyFour += line.substr(0, 64) + "\n";
    EXPECT_EQ(Identify(sixtyFour), 4022);
}

TEST(Identify, YencParts) {
    std::string data = "=ybegin line=128 size=3 name=a.bin\n\x8B\x8C\x8D\n=yend size=3\n";
    EXPECT_EQ(Identify(data), 4054);
    EXPECT_EQ(Special("=ybegin part=1 total=2 line=128 size=6 name=a.bin\n=ypart begin=1 end=3\nabc\n"), 4054);
    EXPECT_EQ(Special("=ybegin part=2 total=2 line=128 size=6 name=a.bin\n=ypart begin=4 end=6\nabc\n"), 4055);
    EXPECT_EQ(Special("=ybegin part=12 line=128 size=6 name=a.bin\n"), 4055);

    EXPECT_EQ(SpecialFile(Corpus("usenet-yenc/yenc/singlepart/00000005.ntx")), 4054);
    EXPECT_EQ(SpecialFile(Corpus("usenet-yenc/yenc/multipart/00000020.ntx")), 4054);
    EXPECT_EQ(SpecialFile(Corpus("usenet-yenc/yenc/multipart/00000021.ntx")), 4055);
    EXPECT_EQ(IdentifyFile(Corpus("aswaving-yenc/testdata/yenc.org/testfile.txt.yenc")), 4054);
}

TEST(Identify, BinHexHeaderAndBareLines) {
    std::string hqx = ReadFileBytes(Corpus("convert-binhex/testin/eyeball.gif.hqx"));
    EXPECT_EQ(IdentifyFile(Corpus("convert-binhex/testin/eyeball.gif.hqx")), 4056);
    EXPECT_EQ(SpecialFile(Corpus("mpack/macrsrc.hqx")), 4056);
    size_t banner = hqx.find("(This file");
    ASSERT_NE(banner, std::string::npos);
    std::string after = hqx.substr(hqx.find('\n', banner) + 1);
    // Lines from the middle: no banner, no opening colon.
    std::string bare = FirstLines(after, 3, 10);
    EXPECT_EQ(Identify(bare), 4057);
    EXPECT_EQ(Special(bare), 4057);
}

TEST(Identify, SpecialAnswersOnlyForEncodings) {
    EXPECT_EQ(Special(""), kUnknown);
    EXPECT_EQ(Special("From: a@example.com\nTo: b@example.com\n\nbody\n"), kUnknown);
    EXPECT_EQ(Special("GIF89a" + SomeBinary(40)), kUnknown);
}

// The service reads from the start wherever the object stands, ignores the
// mode, and writes nothing when it can't read.
TEST(Identify, ReadsFromTheStartWhateverTheObjectsPosition) {
    TempDir dir;
    IoObject* object = FileObjectOpen(dir.Write("x.eml", "From: a@example.com\nSubject: s\n\nbody\n").c_str());
    ASSERT_NE(object, nullptr);
    ASSERT_EQ(object->Seek(object, 0, 20), 0);
    for (uint32_t mode : {0u, 1u}) {
        uint16_t format = kUnknown;
        IdentifyHandle(object, mode, &format);
        EXPECT_EQ(format, 1192) << "mode " << mode;
    }
    object->Close(object);

    IoObject unreadable{};
    unreadable.Seek = [](IoObject*, uint16_t, int32_t) -> int32_t { return -1; };
    uint16_t format = kUnknown;
    IdentifyHandle(&unreadable, 1, &format);
    EXPECT_EQ(format, kUnknown);
    EXPECT_EQ(IdentifySpecial(&unreadable, 4050), kUnknown);
    EXPECT_STREQ(IdentifyMimeType(&unreadable), "application/octet-stream");
}

TEST(Identify, MimeTypeForListings) {
    TempDir dir;
    IoObject* gif = FileObjectOpen(Corpus("convert-binhex/testin/eyeball.gif").c_str());
    ASSERT_NE(gif, nullptr);
    EXPECT_STREQ(IdentifyMimeType(gif), "image/gif");
    gif->Close(gif);
    IoObject* pdf = FileObjectOpen(dir.Write("a.pdf", "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n1 0 obj\n").c_str());
    ASSERT_NE(pdf, nullptr);
    EXPECT_STREQ(IdentifyMimeType(pdf), "application/pdf");
    pdf->Close(pdf);
}

// Every file of a few corpus folders of one kind gets that kind.
TEST(Identify, CorpusFilesOfOneKind) {
    EXPECT_EQ(IdentifyFile(Corpus("mhtml-parser/demos/hn.mhtml")), 1198);
    for (const auto& entry : std::filesystem::directory_iterator(Corpus("usenet-yenc/yenc/multipart"))) {
        if (entry.path().filename().string().rfind("000000", 0) != 0) continue;
        EXPECT_EQ(IdentifyFile(entry.path().string()), 1193) << entry.path();
    }
    for (const auto& entry : std::filesystem::directory_iterator(Corpus("tnefparse/examples"))) {
        EXPECT_EQ(IdentifyFile(entry.path().string()), 1197) << entry.path();
    }
    int mailboxes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Corpus("spamassassin"))) {
        if (!entry.is_regular_file()) continue;
        std::string head = ReadFileBytes(entry.path().string()).substr(0, 200);
        if (head.rfind("From ", 0) != 0) continue;
        ++mailboxes;
        EXPECT_EQ(IdentifyFile(entry.path().string()), 1817) << entry.path();
    }
    EXPECT_GT(mailboxes, 5);
}

}  // namespace

namespace {

// The filter asks what lies under an encoding by identifying a decoding
// stage: the service must read such objects from their start like files.
TEST(Identify, LooksThroughDecodingStages) {
    std::string gif = ReadFileBytes(Corpus("convert-binhex/testin/eyeball.gif"));
    std::string uu = "begin 644 eyeball.gif\n" + EncodeLines(gif, false) + "`\nend\n";
    TempDir dir;
    IoObject* file = FileObjectOpen(dir.Write("eyeball.uu", uu).c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(IdentifySpecial(file, 4050), 4050);
    IoDecodeRequest request{file, 0, 15, {0, 0, 0, 0}};
    IoObject* decoded = reinterpret_cast<IoObject*>(-1);
    ASSERT_EQ(file->Open(&decoded, IO_OPEN_DECODE, &request, 1), 0);
    uint16_t format = kUnknown;
    IdentifyHandle(decoded, 1, &format);
    EXPECT_EQ(format, 1500);
    EXPECT_STREQ(IdentifyMimeType(decoded), "image/gif");
    decoded->Close(decoded);
    file->Close(file);
}

}  // namespace
