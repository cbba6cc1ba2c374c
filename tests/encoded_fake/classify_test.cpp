// Tests of part classification under a scripted identification service and
// scripted decoding stages: which verdict stands, when the sniffer runs, what
// the decoded data changes, and what a failing object leaves behind.
#include "tests/encoded_fake/classify_fixture.h"

namespace {

using encoded_test::Classified;
using encoded_test::ClassifyTest;

const std::string kPng("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\x01\x02", 18);

std::string Message(const std::string& header, const std::string& body) {
    return "From: a@example.com\r\nSubject: test\r\n" + header + "\r\n" + body;
}

// Four lines of base64 text; what it decodes to is the fake stage's choice.
const std::string kBase64Body =
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA\r\n"
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA\r\n"
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNkYPhfDwAChwGA\r\n"
    "YII=\r\n";

TEST_F(ClassifyTest, APictureWithoutEncodingIsNamedAndNotRead) {
    EXPECT_EQ(ClassifyOne(Message("Content-Type: image/png\r\n", kPng)), (Classified{1502, 0}));
    EXPECT_EQ(log->rangeReads, 0u);
    EXPECT_TRUE(log->decodeCodes.empty());
}

TEST_F(ClassifyTest, TheDecodedDataOfABase64BodyDecides) {
    std::string message = Message("Content-Type: image/png\r\nContent-Transfer-Encoding: base64\r\n", kBase64Body);
    log->decoded[TC_BASE64] = kPng;
    EXPECT_EQ(ClassifyOne(message), (Classified{1502, TC_BASE64}));
    EXPECT_EQ(log->decodeCodes, std::vector<uint32_t>{TC_BASE64});
    EXPECT_EQ(fake::Service().handleSeen.back(), kPng);

    // Data the service can't name keeps the text verdict and the code.
    log->decoded[TC_BASE64] = std::string("\x01\x02\xFF\xFE", 4);
    EXPECT_EQ(ClassifyOne(message), (Classified{4022, TC_BASE64}));
    // ... unless the header declares HTML.
    std::string html = Message("Content-Type: text/html\r\nContent-Transfer-Encoding: base64\r\n", kBase64Body);
    EXPECT_EQ(ClassifyOne(html), (Classified{1101, TC_BASE64}));
    // Decoded text is no format of its own either.
    log->decoded[TC_BASE64] = "just some text\r\n";
    EXPECT_EQ(ClassifyOne(message), (Classified{4022, TC_BASE64}));
    // HTML, RTF and TNEF under the encoding are taken over as they are.
    log->decoded[TC_BASE64] = "<html><body>hi</body></html>";
    EXPECT_EQ(ClassifyOne(message), (Classified{1101, TC_BASE64}));
    log->decoded[TC_BASE64] = "{\\rtf1 hi}";
    EXPECT_EQ(ClassifyOne(message), (Classified{1028, TC_BASE64}));
    log->decoded[TC_BASE64] = std::string("\x78\x9F\x3E\x22\x01\x00", 6);
    EXPECT_EQ(ClassifyOne(message), (Classified{1197, TC_BASE64}));
}

TEST_F(ClassifyTest, ADecodingStageThatFailsLeavesTextAndTheCode) {
    std::string html = Message("Content-Type: text/html\r\nContent-Transfer-Encoding: base64\r\n", kBase64Body);
    EXPECT_EQ(ClassifyOne(html), (Classified{4022, TC_BASE64}));
    EXPECT_EQ(log->decodeCodes, std::vector<uint32_t>{TC_BASE64});
}

TEST_F(ClassifyTest, PlainTextAndDeclaredHtml) {
    EXPECT_EQ(ClassifyOne(Message("", "Hello there,\r\nhow are you?\r\n")), (Classified{4022, 0}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/html\r\n", "<p>Hello there</p>\r\n")),
              (Classified{1101, 0}));
    EXPECT_TRUE(log->decodeCodes.empty());
}

TEST_F(ClassifyTest, QuotedPrintableRunsTheSnifferWhateverTheServiceSays) {
    std::string header = "Content-Transfer-Encoding: quoted-printable\r\n";
    log->decoded[TC_QUOTED_PRINTABLE] = "{\\rtf1 caf\xE9}";
    EXPECT_EQ(ClassifyOne(Message(header, "{\\rtf1 caf=E9}\r\n")), (Classified{1028, TC_QUOTED_PRINTABLE}));
    EXPECT_EQ(fake::Service().handleSeen.front(), "{\\rtf1 caf=E9}\r\n");
    // No escape: the sniffer answers 0 and the service's 1028 is gone.
    EXPECT_EQ(ClassifyOne(Message(header, "{\\rtf1 plain words}\r\n")), (Classified{4022, 0}));
    // The same body without the header keeps the service's verdict.
    EXPECT_EQ(ClassifyOne(Message("", "{\\rtf1 caf=E9}\r\n")), (Classified{1028, 0}));
}

TEST_F(ClassifyTest, Utf7ByCharsetOnlyWithoutAnEncoding) {
    std::string body = "Hi Mom -+Jjo--!\r\n";
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/plain; charset=utf-7\r\n", body)), (Classified{4022, TC_UTF7}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/plain; charset=\"UNICODE-1-1-UTF-7\"\r\n", body)),
              (Classified{4022, TC_UTF7}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/plain; charset=utf7\r\n", body)), (Classified{4022, 0}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/plain; charset=utf-7\r\n", kBase64Body)),
              (Classified{4022, TC_BASE64}));
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/html; charset=utf-7\r\n", body)), (Classified{1101, TC_UTF7}));
}

TEST_F(ClassifyTest, PartsOfAPlainTextMailAreNotIdentified) {
    EXPECT_EQ(ClassifyOne(Message("", "Hello there\r\n"), FI_TEXT_MAIL), (Classified{1170, 0}));
    EXPECT_TRUE(fake::Service().handleSeen.empty());
    // Quoted-printable is sniffed all the same, and the decoded data looked at.
    log->decoded[TC_QUOTED_PRINTABLE] = "caf\xE9";
    std::string qp = Message("Content-Transfer-Encoding: quoted-printable\r\n", "caf=E9\r\n");
    EXPECT_EQ(ClassifyOne(qp, FI_TEXT_MAIL), (Classified{4022, TC_QUOTED_PRINTABLE}));
    EXPECT_EQ(fake::Service().handleSeen.size(), 1u);
}

TEST_F(ClassifyTest, NoAnswerOnTheRawBytesStandsEvenForHtml) {
    std::string binary("\x01\x02\x03\xFF binary", 11);
    EXPECT_EQ(ClassifyOne(Message("Content-Type: text/html\r\n", binary)), (Classified{1999, 0}));
    EXPECT_EQ(log->rangeReads, 0u);
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

TEST_F(ClassifyTest, OpeningsOfLineEncodingsOnTheRawBytes) {
    std::string uu = "begin 644 a.png\r\nM5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\r\n`\r\nend\r\n";
    log->decoded[TC_UUENCODE] = kPng;
    EXPECT_EQ(ClassifyOne(Message("", uu)), (Classified{1502, TC_UUENCODE}));
    ASSERT_EQ(fake::Service().specialHints, std::vector<uint16_t>{4050});
    // The block handed to the service runs from the "begin" line through the
    // "end" line.
    const std::string& block = fake::Service().specialSeen[0];
    EXPECT_EQ(block.substr(0, uu.size()), uu);

    std::string xx = "begin 644 a.txt\r\nhJ4VdQm-dQm-V65FZQrEUNaZgNG-aPr6UOKlgRLBoQa3oOKtb65FcNG-qML7d\r\n+\r\nend\r\n";
    EXPECT_EQ(ClassifyOne(Message("", xx)), (Classified{4022, TC_XXENCODE}));

    std::string binhex = "(This file must be converted with BinHex 4.0)\r\n:#(4PFh3ZG(Kd!$mr2cmr2cmr!!!!!!:\r\n";
    EXPECT_EQ(ClassifyOne(Message("", binhex)), (Classified{4022, TC_BINHEX}));
    EXPECT_EQ(log->decodeCodes, (std::vector<uint32_t>{TC_UUENCODE, TC_XXENCODE, TC_BINHEX}));
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
