// Tests of part classification under a scripted identification service and
// scripted decoding stages: which verdict stands, when the sniffer runs, what
// the decoded data changes, and what a failing object leaves behind.
#include <gtest/gtest.h>

#include <memory>

#include "host/constants.h"
#include "tests/encoded/classify_walk.h"
#include "tests/encoded_fake/fake_services.h"

namespace {

using encoded_test::Classified;

const std::string kPng("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\x01\x02", 18);
const std::string kBinary("\x01\x02\x03\xFF binary", 11);
const std::string kTnef("\x78\x9F\x3E\x22\x01\x00", 6);
const std::string kUu =
    "begin 644 a.png\r\nM5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\r\n`\r\nend\r\n";

// Four lines of base64 text; what it decodes to is the fake stage's choice.
const std::string kBase64Body =
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA\r\n"
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA\r\n"
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA\r\n"
    "YII=\r\n";

std::string Message(const std::string& header, const std::string& body) {
    return "From: a@example.com\r\nSubject: test\r\n" + header + "\r\n" + body;
}

// Every object the classifier opened is closed, and the service is always
// asked in mode 1.
class ClassifyTest : public ::testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Check(); }

    void Reset() {
        fake::ResetService();
        log = std::make_shared<fake::StreamLog>();
    }
    void Check() {
        EXPECT_EQ(log->alive, 0);
        for (uint32_t mode : fake::Service().handleModes) EXPECT_EQ(mode, 1u);
    }

    std::vector<Classified> Classify(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                                     void (*edit)(MessagePart*) = nullptr) {
        IoObject* stream = fake::FakeStreamOpen(message, log);
        TextBuffer line{};
        TextBufferAlloc(&line, 1024);
        std::vector<Classified> out = encoded_test::ClassifyWalked(stream, &line, documentFormat, edit);
        StringFree(line.block);
        stream->Close(stream);
        return out;
    }

    // The one part of a message without multipart.
    Classified ClassifyOne(const std::string& message, uint32_t documentFormat = FI_INTERNET_MAIL,
                           void (*edit)(MessagePart*) = nullptr) {
        std::vector<Classified> all = Classify(message, documentFormat, edit);
        EXPECT_EQ(all.size(), 1u);
        return all.empty() ? Classified{0, 0} : all[0];
    }

    std::shared_ptr<fake::StreamLog> log;
};

// Each row: a part, the verdict, the decoding stages asked for, and what the
// first of them delivers (nothing: it fails).
TEST_F(ClassifyTest, VerdictsOfSingleParts) {
    const std::string b64 = "Content-Transfer-Encoding: base64\r\n";
    const std::string qp = "Content-Transfer-Encoding: quoted-printable\r\n";
    const std::string png = "Content-Type: image/png\r\n" + b64, html = "Content-Type: text/html\r\n";
    const std::string utf7 = "Content-Type: text/plain; charset=utf-7\r\n", mom = "Hi Mom -+Jjo--!\r\n";
    const std::string xx = "begin 644 a.txt\r\nhJ4VdQm-dQm-V65FZQrEUNaZgNG-aPr6UOKlgRLBoQa3oOKtb65FcNG-qML7d\r\n"
                           "+\r\nend\r\n";
    const std::string binhex = "(This file must be converted with BinHex 4.0)\r\n"
                               ":#(4PFh3ZG(Kd!$mr2cmr2cmr!!!!!!:\r\n";
    const uint32_t B = TC_BASE64, Q = TC_QUOTED_PRINTABLE;
    const struct Row {
        std::string header, body;
        Classified expected;
        std::vector<uint32_t> decodes = {};
        std::string decoded = "";
        uint32_t format = FI_INTERNET_MAIL;
    } rows[] = {
        {"", "Hello there,\r\nhow are you?\r\n", {4022, 0}},
        {html, "<p>Hello there</p>\r\n", {1101, 0}},
        // The decoded data decides; data the service can't name keeps the
        // text verdict and the code, unless the header declares HTML.
        {png, kBase64Body, {1502, B}, {B}, kPng},
        {png, kBase64Body, {4022, B}, {B}, "\x01\x02\xFF\xFE"},
        {html + b64, kBase64Body, {1101, B}, {B}, "\x01\x02\xFF\xFE"},
        {png, kBase64Body, {4022, B}, {B}, "just some text\r\n"},
        // HTML, RTF and TNEF under the encoding are taken over as they are.
        {png, kBase64Body, {1101, B}, {B}, "<html><body>hi</body></html>"},
        {png, kBase64Body, {1028, B}, {B}, "{\\rtf1 hi}"},
        {png, kBase64Body, {1197, B}, {B}, kTnef},
        // A decoding stage that fails leaves text and the code, even for HTML.
        {html + b64, kBase64Body, {4022, B}, {B}},
        // Quoted-printable runs the sniffer whatever the service says: with
        // no escape the service's 1028 is gone.
        {qp, "{\\rtf1 caf=E9}\r\n", {1028, Q}, {Q}, "{\\rtf1 caf\xE9}"},
        {qp, "{\\rtf1 plain words}\r\n", {4022, 0}},
        {"", "{\\rtf1 caf=E9}\r\n", {1028, 0}},
        // UTF-7 by charset only, and only without an encoding.
        {utf7, mom, {4022, TC_UTF7}},
        {"Content-Type: text/plain; charset=\"UNICODE-1-1-UTF-7\"\r\n", mom, {4022, TC_UTF7}},
        {"Content-Type: text/plain; charset=utf7\r\n", mom, {4022, 0}},
        {utf7, kBase64Body, {4022, B}, {B}},
        {"Content-Type: text/html; charset=utf-7\r\n", mom, {1101, TC_UTF7}},
        // Parts of a plain-text mail are not identified; quoted-printable is
        // sniffed all the same.
        {"", "Hello there\r\n", {1170, 0}, {}, "", FI_TEXT_MAIL},
        {qp, "caf=E9\r\n", {4022, Q}, {Q}, "caf\xE9", FI_TEXT_MAIL},
        // No answer on the raw bytes stands, even for HTML.
        {html, kBinary, {1999, 0}},
        // Openings of line encodings on the raw bytes.
        {"", kUu, {1502, TC_UUENCODE}, {TC_UUENCODE}, kPng},
        {"", xx, {4022, TC_XXENCODE}, {TC_XXENCODE}},
        {"", binhex, {4022, TC_BINHEX}, {TC_BINHEX}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.header + row.body.substr(0, 40));
        Reset();
        if (!row.decoded.empty()) log->decoded[row.decodes.at(0)] = row.decoded;
        EXPECT_EQ(ClassifyOne(Message(row.header, row.body), row.format), row.expected);
        EXPECT_EQ(log->decodeCodes, row.decodes);
        Check();
    }
}

// What the service is shown: the decoded data, the raw quoted-printable, no
// bytes of a part of a plain-text mail, and the block of an opening from its
// "begin" line through its "end" line, with the hint 4050.
TEST_F(ClassifyTest, WhatTheServiceIsShown) {
    log->decoded[TC_BASE64] = kPng;
    ClassifyOne(Message("Content-Type: image/png\r\nContent-Transfer-Encoding: base64\r\n", kBase64Body));
    EXPECT_EQ(fake::Service().handleSeen.back(), kPng);

    Reset();
    log->decoded[TC_QUOTED_PRINTABLE] = "{\\rtf1 caf\xE9}";
    ClassifyOne(Message("Content-Transfer-Encoding: quoted-printable\r\n", "{\\rtf1 caf=E9}\r\n"));
    EXPECT_EQ(fake::Service().handleSeen.front(), "{\\rtf1 caf=E9}\r\n");

    Reset();
    ClassifyOne(Message("", "Hello there\r\n"), FI_TEXT_MAIL);
    EXPECT_TRUE(fake::Service().handleSeen.empty());
    log->decoded[TC_QUOTED_PRINTABLE] = "caf\xE9";
    ClassifyOne(Message("Content-Transfer-Encoding: quoted-printable\r\n", "caf=E9\r\n"), FI_TEXT_MAIL);
    EXPECT_EQ(fake::Service().handleSeen.size(), 1u);

    Reset();
    ClassifyOne(Message("", kUu));
    ASSERT_EQ(fake::Service().specialHints, std::vector<uint16_t>{4050});
    EXPECT_EQ(fake::Service().specialSeen[0].substr(0, kUu.size()), kUu);
}

// A picture without encoding is named without reading its body; so is binary
// under a text/html header.
TEST_F(ClassifyTest, RawVerdictsReadNoRange) {
    EXPECT_EQ(ClassifyOne(Message("Content-Type: image/png\r\n", kPng)), (Classified{1502, 0}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/html\r\n", kBinary)), (Classified{1999, 0}));
    EXPECT_EQ(log->rangeReads, 0u);
    EXPECT_TRUE(log->decodeCodes.empty());
}

TEST_F(ClassifyTest, APartOfLengthZeroRunsThroughEveryStep) {
    auto empty = [](MessagePart* part) { part->bodyLength = 0; };
    EXPECT_EQ(ClassifyOne(Message("", "ignored\r\n"), FI_INTERNET_MAIL, empty), (Classified{4022, 0}));
    EXPECT_EQ(fake::Service().handleSeen, std::vector<std::string>{""});
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/html\r\n", "ignored\r\n"), FI_INTERNET_MAIL, empty),
              (Classified{1101, 0}));
}

TEST_F(ClassifyTest, ARangeThatCantBeOpenedLeavesThePartAsItWas) {
    log->failRange = true;
    auto preset = [](MessagePart* part) {
        part->formatId = 77;
        part->transferCode = 5;
    };
    EXPECT_EQ(ClassifyOne(Message("", "Hello\r\n"), FI_INTERNET_MAIL, preset), (Classified{77, 5}));
    EXPECT_TRUE(fake::Service().handleSeen.empty());
}

TEST_F(ClassifyTest, EveryLeafOfAMultipartIsClassified) {
    std::string message =
        "From: a@example.com\r\nContent-Type: multipart/mixed; boundary=\"XX\"\r\n\r\n"
        "--XX\r\nContent-Type: text/plain\r\n\r\nHello there\r\n"
        "--XX\r\nContent-Type: image/png\r\nContent-Transfer-Encoding: base64\r\n\r\n" + kBase64Body +
        "--XX\r\nContent-Type: text/html\r\n\r\n<p>hi</p>\r\n"
        "--XX--\r\n";
    log->decoded[TC_BASE64] = kPng;
    EXPECT_EQ(Classify(message), (std::vector<Classified>{{0, 0}, {4022, 0}, {1502, TC_BASE64}, {1101, 0}}));
}

}  // namespace
