// Classification of message parts with the platform's own identification
// service and decoding stages, on crafted mails and real ones: which verdict
// stands, what the decoded data changes, what a failing object leaves
// behind, and that every object the classifier opens is closed again.
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/constants.h"
#include "platform/platform.h"
#include "tests/encoded/classify_walk.h"
#include "tests/support/memory_object.h"

namespace {

using encoded_test::Classified;

// What the classifier opened through its stream, and the one kind of Open
// that is made to fail.
struct OpenLog {
    int32_t alive = 0;              // derived objects not closed yet
    std::vector<uint32_t> decodes;  // the code of every decoding stage asked for
    uint32_t failKind = 0;
    std::map<IoObject*, int32_t (*)(IoObject*)> closes;  // the platform's Close of each
} g_log;

int32_t TrackedClose(IoObject* object) {
    auto close = g_log.closes.at(object);
    g_log.closes.erase(object);
    --g_log.alive;
    return close(object);
}

// The platform's Open, handed on to every object it makes. Objects made here
// lose the Close that marks them as files or ranges, so they have no
// directory for siblings, which classification never asks for.
int32_t TrackedOpen(IoObject** out, uint32_t kind, void* request, uint32_t flags) {
    if (kind == IO_OPEN_DECODE)
        g_log.decodes.push_back(static_cast<uint32_t>(static_cast<IoDecodeRequest*>(request)->transferCode));
    if (kind == g_log.failKind) return -2;
    int32_t result = PlatformOpen(out, kind, request, flags);
    if (result == 0) {
        ++g_log.alive;
        g_log.closes[*out] = (*out)->Close;
        (*out)->Close = TrackedClose;
        (*out)->Open = TrackedOpen;
    }
    return result;
}

std::vector<Classified> Classify(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                                 void (*edit)(MessagePart*) = nullptr) {
    MemoryObject stream(message);
    stream.get()->Open = TrackedOpen;
    TextBuffer line{};
    TextBufferAlloc(&line, 1024);
    std::vector<Classified> out = encoded_test::ClassifyWalked(stream.get(), &line, documentFormat, edit);
    StringFree(line.block);
    EXPECT_EQ(g_log.alive, 0);
    return out;
}

Classified ClassifyOne(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                       void (*edit)(MessagePart*) = nullptr) {
    std::vector<Classified> all = Classify(message, documentFormat, edit);
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? Classified{0, 0} : all[0];
}

std::string Message(const std::string& header, const std::string& body) {
    return "From: a@example.com\r\nSubject: test\r\n" + header + "\r\n" + body;
}

std::string BodyOf(const std::string& mail) { return mail.substr(mail.find("\n\n") + 2); }

// Each row: a part, the verdict, the decoding stages asked for, and the kind
// of Open that fails.
TEST(Classify, VerdictsOfSingleParts) {
    const std::string b64 = "Content-Transfer-Encoding: base64\r\n";
    const std::string qp = "Content-Transfer-Encoding: quoted-printable\r\n";
    const std::string png = "Content-Type: image/png\r\n" + b64, html = "Content-Type: text/html\r\n";
    const std::string utf7 = "Content-Type: text/plain; charset=utf-7\r\n", mom = "Hi Mom -+Jjo--!\r\n";
    const std::string pngData = "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA60e6kgAAAABJRU5ErkJggg==\r\n";
    const std::string binary = "AQL//gAQgGJpbmFyeQ==\r\n", text = "anVzdCBzb21lIHRleHQsIG5vdGhpbmcgbW9yZQ0K\r\n";
    const uint32_t B = TC_BASE64, Q = TC_QUOTED_PRINTABLE;
    const struct Row {
        std::string header, body;
        Classified expected;
        std::vector<uint32_t> decodes = {};
        uint32_t format = FI_INTERNET_MAIL;
        uint32_t failKind = 0;
    } rows[] = {
        {"", "Hello there,\r\nhow are you?\r\n", {4022, 0}},
        {html, "<p>Hello there</p>\r\n", {1101, 0}},
        // The decoded data decides; data the service can't name keeps the
        // text verdict and the code, unless the header declares HTML.
        {png, pngData, {1502, B}, {B}},
        {png, binary, {4022, B}, {B}},
        {html + b64, binary, {1101, B}, {B}},
        {png, text, {4022, B}, {B}},
        // HTML, RTF and TNEF under the encoding are taken over as they are.
        {png, "PGh0bWw+PGJvZHk+aGk8L2JvZHk+PC9odG1sPg==\r\n", {1101, B}, {B}},
        {png, "e1xydGYxIGhpfQ==\r\n", {1028, B}, {B}},
        {png, "eJ8+IgEAAAABAg==\r\n", {1197, B}, {B}},
        // A decoding stage that fails leaves text and the code, even for HTML.
        {html + b64, pngData, {4022, B}, {B}, FI_INTERNET_MAIL, IO_OPEN_DECODE},
        // Quoted-printable runs the sniffer whatever the service says: with
        // no escape the service's 1028 is gone.
        {qp, "{\\rtf1 caf=E9}\r\n", {1028, Q}, {Q}},
        {qp, "{\\rtf1 plain words}\r\n", {4022, 0}},
        {"", "{\\rtf1 caf=E9}\r\n", {1028, 0}},
        // UTF-7 by charset only, and only without an encoding.
        {utf7, mom, {4022, TC_UTF7}},
        {"Content-Type: text/plain; charset=\"UNICODE-1-1-UTF-7\"\r\n", mom, {4022, TC_UTF7}},
        {"Content-Type: text/plain; charset=utf7\r\n", mom, {4022, 0}},
        {utf7, text, {4022, B}, {B}},
        {"Content-Type: text/html; charset=utf-7\r\n", mom, {1101, TC_UTF7}},
        // Parts of a plain-text mail are not identified; quoted-printable is
        // sniffed all the same.
        {"", "Hello there\r\n", {1170, 0}, {}, FI_TEXT_MAIL},
        {qp, "caf=E9\r\n", {4022, Q}, {Q}, FI_TEXT_MAIL},
        // No answer on the raw bytes stands, even for HTML; so does a picture.
        {html, "\x01\x02\x03\xFF binary", {1999, 0}},
        {"Content-Type: image/png\r\n", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\x01\x02", 18), {1502, 0}},
        // Openings of line encodings on the raw bytes.
        {"", CorpusBytes("mime-tools/testin/zeegee.gif.uu"), {1500, TC_UUENCODE}, {TC_UUENCODE}},
        {"", BodyOf(CorpusBytes("uudeview/test/plain-yenc.good.msg")), {4022, TC_YENC}, {TC_YENC}},
        {"", CorpusBytes("convert-binhex/testin/eyeball.gif.hqx"), {1500, TC_BINHEX}, {TC_BINHEX}},
        // A range that can't be opened leaves the part as it was.
        {"", "Hello\r\n", {0, 0}, {}, FI_INTERNET_MAIL, IO_OPEN_RANGE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.header + row.body.substr(0, 40));
        g_log = OpenLog{};
        g_log.failKind = row.failKind;
        EXPECT_EQ(ClassifyOne(Message(row.header, row.body), row.format), row.expected);
        EXPECT_EQ(g_log.decodes, row.decodes);
    }
    g_log = OpenLog{};
}

TEST(Classify, APartOfLengthZeroRunsThroughEveryStep) {
    auto empty = [](MessagePart* part) { part->bodyLength = 0; };
    EXPECT_EQ(ClassifyOne(Message("", "ignored\r\n"), FI_INTERNET_MAIL, empty), (Classified{4022, 0}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/html\r\n", "ignored\r\n"), FI_INTERNET_MAIL, empty),
              (Classified{1101, 0}));
}

TEST(Classify, TextHtmlAndPicturesOfAMultipartMail) {
    // mixed > alternative > (plain, watch-html, related > (html, png, gif)), notes
    std::vector<Classified> expected = {
        {0, 0},    {0, 0},
        {4022, 0}, {4022, 0},
        {0, 0},    {1101, TC_QUOTED_PRINTABLE},
        {1502, TC_BASE64}, {1500, TC_BASE64},
        {4022, 0},
    };
    EXPECT_EQ(Classify(CorpusBytes("mailparser/test/fixtures/nodemailer.eml")), expected);
}

// The part's range, and with it the sniffer's limit, ends with its body:
// one byte more and these thirteen symbols would count as base64.
TEST(Classify, APartEndsWhereItsBodyEnds) {
    std::string message = "From: a@example.com\r\nContent-Type: multipart/mixed; boundary=\"XX\"\r\n\r\n"
                          "--XX\r\nContent-Type: text/plain\r\n\r\nABCDEFGHIJKLM\n--XX--\r\n";
    EXPECT_EQ(Classify(message), (std::vector<Classified>{{0, 0}, {4022, 0}}));
}

TEST(Classify, BodiesThatAreOneEncodedBlock) {
    const struct {
        const char* file;
        std::vector<Classified> expected;
    } mails[] = {
        {"mime-base64.good.msg", {{0, 0}, {4022, TC_BASE64}}},
        {"mime-xxencode.good.msg", {{0, 0}, {4022, TC_XXENCODE}}},
        {"plain-uuencode.good.msg", {{4022, TC_UUENCODE}}},
        {"plain-yenc.good.msg", {{4022, TC_YENC}}},
        // Text in front of the block: the body stays text, for the inline scan.
        {"uuencode-suid-permissions.good.msg", {{4022, 0}}},
    };
    for (const auto& mail : mails) EXPECT_EQ(Classify(CorpusBytes(std::string("uudeview/test/") + mail.file)), mail.expected);
}

}  // namespace
