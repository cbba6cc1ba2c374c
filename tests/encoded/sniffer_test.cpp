// Tests of the encoded-data sniffer on crafted texts: each encoding's opening
// and closing, bare base64 told by its lines, quoted-printable escapes, texts
// that look almost encoded, the limit, and hostile sizes; and the uuencode and
// xxencode openings, which ask the platform's identification service.
#include <gtest/gtest.h>

#include "host/constants.h"
#include "tests/encoded/sniff_fixture.h"

namespace {

using encoded_test::Base64Symbols;
using encoded_test::ReaderOver;
using encoded_test::Repeat;
using encoded_test::Sniff;
using encoded_test::SniffDocument;
using encoded_test::SniffPart;

TEST(SnifferTest, BareBase64IsToldByItsLines) {
    std::string line = Base64Symbols(76) + "\r\n";
    EXPECT_EQ(SniffPart(line + line + line), TC_BASE64);
    // Padding on the last line, with and without a line end behind it.
    std::string padded = line + line + Base64Symbols(74) + "==";
    EXPECT_EQ(SniffPart(padded + "\r\n"), TC_BASE64);
    EXPECT_EQ(SniffPart(padded), TC_BASE64);
    // More than 12 symbols make base64; the last two bytes of a part are not
    // looked at, so a bare LF leaves the 13th symbol unread.
    EXPECT_EQ(SniffPart(Base64Symbols(13) + "\r\n"), TC_BASE64);
    EXPECT_EQ(SniffPart(Base64Symbols(12) + "\r\n"), 0u);
    EXPECT_EQ(SniffPart(Base64Symbols(13) + "\n"), 0u);
    // The same floor holds for a line end that is looked at.
    EXPECT_EQ(SniffPart(Base64Symbols(12) + "\r\n\r\n"), 0u);
    EXPECT_EQ(SniffPart(Base64Symbols(13) + "\r\n\r\n"), TC_BASE64);
    // Short lines add up across line ends.
    EXPECT_EQ(SniffPart("ABCDEFG\r\nHIJKLMN\r\n"), TC_BASE64);
    // Blanks at a line's end are allowed; a document is read to its end.
    EXPECT_EQ(SniffPart(Base64Symbols(40) + "  \r\n" + Base64Symbols(40) + "\r\n"), TC_BASE64);
    EXPECT_EQ(SniffDocument(line + line), TC_BASE64);
}

TEST(SnifferTest, RunsAreCountedExactlyAcrossTheReadersBuffer) {
    // The reader fills 2048 bytes at a time; these runs end before, on and
    // behind that boundary.
    for (size_t blankLines : {1000u, 1017u, 1020u, 1023u}) {
        std::string lead = Repeat("\r\n", blankLines);
        EXPECT_EQ(SniffPart(lead + Base64Symbols(13) + "\r\n"), TC_BASE64) << blankLines;
        EXPECT_EQ(SniffPart(lead + Base64Symbols(12) + "\r\n"), 0u) << blankLines;
        EXPECT_EQ(SniffPart(lead + Base64Symbols(13) + "\n"), 0u) << blankLines;
    }
}

TEST(SnifferTest, EmptyBlankAndAlmostBase64TextsAreNoEncoding) {
    EXPECT_EQ(SniffPart(""), 0u);
    EXPECT_EQ(SniffDocument(""), 0u);
    EXPECT_EQ(SniffPart(" \t\r\n\r\n  \n"), 0u);
    EXPECT_EQ(SniffDocument(" \t\r\n\r\n  \n"), 0u);
    EXPECT_EQ(SniffPart("hello"), 0u);
    EXPECT_EQ(SniffPart("hello world, this is plain text\r\n"), 0u);
    // A blank inside a line, a '=' that is no padding, a foreign symbol.
    EXPECT_EQ(SniffPart(Base64Symbols(30) + " " + Base64Symbols(30) + "\r\n"), 0u);
    EXPECT_EQ(SniffPart(Base64Symbols(30) + "=A" + Base64Symbols(30) + "\r\n"), 0u);
    EXPECT_EQ(SniffPart(Base64Symbols(60) + "\r\n-- \r\nsignature\r\n"), 0u);
    // A single long word has nothing that tells it from base64.
    EXPECT_EQ(SniffPart("Supercalifragilisticexpialidocious\r\n"), TC_BASE64);
}

TEST(SnifferTest, QuotedPrintableCountsHexEscapesOnlyWhenDeclared) {
    EXPECT_EQ(SniffPart("caf=E9 au lait\r\n", 1), TC_QUOTED_PRINTABLE);
    EXPECT_EQ(SniffPart("caf=e9 au lait\r\n", 1), TC_QUOTED_PRINTABLE);
    EXPECT_EQ(SniffPart("caf=E9 au lait\r\n", 0), 0u);
    EXPECT_EQ(SniffPart("a =4G escape\r\n", 1), 0u);
    // With the hint, blanks do not end the run: the escape is far behind them.
    EXPECT_EQ(SniffPart("one two three four five six =41 seven\r\n", 1), TC_QUOTED_PRINTABLE);
    // A soft line break is no escape.
    EXPECT_EQ(SniffPart("a long line=\r\ncontinued here\r\n", 1), 0u);
}

TEST(SnifferTest, YencBlocksAndPiecesOfBiggerFiles) {
    std::string data = "\xC2\xE3\x8A\xFF\x01 raw bytes\r\n";
    std::string block = "=ybegin line=128 size=100 name=x\r\n" + data + "=yend size=100\r\n";
    EXPECT_EQ(SniffPart(block), TC_YENC);
    EXPECT_EQ(SniffDocument(block), TC_YENC);
    std::string piece = "=ybegin part=1 line=128 size=100 name=x\r\n=ypart begin=1 end=50\r\n" + data +
                        "=yend size=50 part=1\r\n";
    EXPECT_EQ(SniffPart(piece), 0u);
    std::string whole = "=ybegin part=1 line=128 size=100 name=x\r\n=ypart begin=1 end=100\r\n" + data +
                        "=yend size=100 part=1\r\n";
    EXPECT_EQ(SniffPart(whole), TC_YENC);
    // No closing: the opening is text, and its data bytes end the run.
    EXPECT_EQ(SniffPart("=ybegin line=128 size=100 name=x\r\n" + data), 0u);
    // Text before the block spoils a part, not a document.
    EXPECT_EQ(SniffPart("Here it is:\r\n" + block), 0u);
    EXPECT_EQ(SniffDocument("Here it is:\r\n" + block), TC_YENC);
    // Two blocks are no single encoding.
    EXPECT_EQ(SniffDocument(block + "\r\n" + block), 0u);
}

TEST(SnifferTest, BinHexBetweenItsSentenceAndColons) {
    std::string sentence = "(This file must be converted with BinHex 4.0)";
    std::string stream = ":#(4PFh3ZG(Kd!$mr2cmr2cmr!!!!!!\r\nXC5\"QEh)JD@aXGA0d!!!!:\r\n";
    EXPECT_EQ(SniffPart(sentence + "\r\n" + stream), TC_BINHEX);
    // One blank line is passed over with CR LF line ends ...
    EXPECT_EQ(SniffPart(sentence + "\r\n\r\n" + stream), TC_BINHEX);
    // ... but with bare LF the second line read is the ':' line itself.
    EXPECT_EQ(SniffDocument(sentence + "\n\n:#(4PFh3ZG(Kd!$mr2c!!!!:\n"), 0u);
    // No ':' at the start of the next line, and no closing ':'.
    EXPECT_EQ(SniffDocument(sentence + "\r\nno stream here\r\n"), 0u);
    EXPECT_EQ(SniffPart(sentence + "\r\n:#(4PFh3ZG(Kd!$mr2cmr2cmr!!!!!!\r\n"), 0u);
    EXPECT_EQ(SniffDocument("Some words first.\r\n" + sentence + "\r\n" + stream), TC_BINHEX);
}

TEST(SnifferTest, Ascii85NeedsALineStartAndAClosingLine) {
    EXPECT_EQ(SniffPart("<~9jqo^BlbD-BleB1DJ+*+F(f,q\r\n~>\r\n"), TC_ASCII85);
    EXPECT_EQ(SniffPart("<~9jqo^BlbD-BleB1DJ+*+F(f,q~>\r\n"), 0u);
    EXPECT_EQ(SniffDocument("see <~9jqo^BlbD\r\n~>\r\n"), 0u);
    // Directly behind a closing line the next byte doesn't stand at a line
    // start, so a second block there is no opening.
    std::string block = "<~9jqo^BlbD\r\n~>\r\n";
    EXPECT_EQ(SniffDocument(block + block), TC_ASCII85);
    EXPECT_EQ(SniffDocument(block + "\r\n" + block), 0u);
}

TEST(SnifferTest, BtoaClosesAtTheNextLineThatBeginsWithX) {
    std::string body = "xbtoa5 78 a.bin\r\n9jqo^BlbD-BleB1DJ+*+F(f,q\r\nxbtoa End N 13 d E 0 S 4fa R 0\r\n";
    EXPECT_EQ(SniffPart(body), TC_BTOA);
    // A name that begins with 'x' closes the block on its own line, and what
    // follows is then text behind a block.
    std::string early = "xbtoa5 78 xa.bin\r\n9jqo^BlbD\r\nxbtoa End\r\n";
    EXPECT_EQ(SniffPart(early), 0u);
    EXPECT_EQ(SniffDocument(early), TC_BTOA);
    EXPECT_EQ(SniffPart("xbtoa5 78 a.bin\r\n9jqo^BlbD\r\n"), 0u);
    // A search that failed before still finds a closing right where it
    // starts: the first opening finds no line that starts with 'x'; the
    // second sits in a line, and its own name closes it.
    EXPECT_EQ(SniffDocument("xbtoa5 12 a\r\nnothing here\r\nsee xbtoa5 34 xb\r\n"), TC_BTOA);
    EXPECT_EQ(SniffDocument("xbtoa5 12 a\r\nnothing here\r\nsee xbtoa5 34 b\r\n"), 0u);
}

TEST(SnifferTest, Base64WithAHeaderOpensAnywhere) {
    std::string block = "begin-base64 644 x\r\nQUJD\r\n====\r\n";
    EXPECT_EQ(SniffPart(block), TC_BASE64);
    EXPECT_EQ(SniffDocument("look: begin-base64 644 x\r\nQUJD\r\n====\r\n"), TC_BASE64);
    EXPECT_EQ(SniffPart("look: begin-base64 644 x\r\nQUJD\r\n====\r\n"), 0u);
    EXPECT_EQ(SniffPart("begin-base64 644 x\r\nQUJD\r\n"), 0u);
    // The mode must be three digits.
    EXPECT_EQ(SniffPart("begin-base64 64 x\r\nQUJD\r\n====\r\n"), 0u);
}

TEST(SnifferTest, BinaryBytesEndTheRunAndOneZeroIsPassedOver) {
    EXPECT_EQ(SniffPart(Base64Symbols(20) + "\xE9" + Base64Symbols(20) + "\r\n"), 0u);
    EXPECT_EQ(SniffDocument(std::string("text\x01 more\r\n")), 0u);
    EXPECT_EQ(SniffPart(std::string("ABCDEFGHIJ\0KLMNOPQ\r\n", 20)), TC_BASE64);
    EXPECT_EQ(SniffPart(std::string("ABCDEFGHIJ\0\0KLMNOPQ\r\n", 21)), 0u);
    // Inside a block such bytes are never looked at.
    EXPECT_EQ(SniffDocument(std::string("<~\x01\x02\xFF\r\n~>\r\n")), TC_ASCII85);
}

TEST(SnifferTest, NothingAtOrBehindTheLimitIsRead) {
    std::string text = Base64Symbols(16) + ", then plain words";
    EXPECT_EQ(Sniff(text, 16, 0, 1), TC_BASE64);
    EXPECT_EQ(Sniff(text, 40, 0, 1), 0u);
    // A limit reached inside the leading blanks gives 0.
    EXPECT_EQ(Sniff("\r\n\r\n" + Base64Symbols(40), 3, 0, 1), 0u);
}

TEST(SnifferTest, HugeLinesAndManyOpeningsStayBounded) {
    // One base64 line far longer than a line buffer holds.
    EXPECT_EQ(SniffPart(Base64Symbols(70000) + "\r\n"), TC_BASE64);
    // An opening line longer than the line buffer still finds its closing.
    std::string longName = "=ybegin line=128 size=3 name=" + std::string(100000, 'n') + "\r\n";
    EXPECT_EQ(SniffPart(longName + "abc\r\n=yend size=3\r\n"), TC_YENC);
    // Many openings without a closing: each would search to the end.
    std::string unclosed = Repeat("<~ data\r\n", 200000);
    EXPECT_EQ(SniffDocument(unclosed), 0u);
    EXPECT_EQ(SniffPart(Repeat("=ybegin size=1\r\n", 100000), 1), 0u);
    EXPECT_EQ(SniffDocument(Repeat("(This file must be converted with BinHex 4.0)\r\n:x\r\n", 50000)), 0u);
}

TEST(SnifferTest, LiteralsDigitsAndNumbers) {
    ReaderOver over("begin 644 name");
    EXPECT_EQ(MatchLiteral(over.reader, "begin ###"), 1u);
    EXPECT_EQ(ReaderTell(over.reader), 9u);
    EXPECT_EQ(MatchLiteral(over.reader, " nam#"), 0u);
    EXPECT_EQ(ReaderTell(over.reader), 9u);
    EXPECT_EQ(MatchLiteral(over.reader, ""), 1u);
    EXPECT_EQ(MatchLiteral(over.reader, " name and more"), 0u);
    EXPECT_EQ(ReaderTell(over.reader), 9u);
    EXPECT_EQ(MatchLiteral(over.reader, " name"), 1u);

    EXPECT_EQ(ParseDigits("128 rest"), 128u);
    EXPECT_EQ(ParseDigits("x1"), 0u);
    EXPECT_EQ(ParseDigits(""), 0u);
    EXPECT_EQ(ParseDigits(nullptr), 0u);
    EXPECT_EQ(ParseDigits("4294967297"), 1u);

    EXPECT_EQ(NumberAfter("size=", "line=128 size=9 name=a"), 9u);
    EXPECT_EQ(NumberAfter("SIZE=", "line=128 size=9 name=a"), 0u);
    EXPECT_EQ(NumberAfter("end=", "begin=1 end=50"), 50u);
    EXPECT_EQ(NumberAfter("size=", "size=x"), 0u);
    EXPECT_EQ(NumberAfter("size=", "nothing"), 0u);
}

// "begin " openings ask the identification service what the block holds.
const std::string kUuBlock =
    "begin 644 a.txt\r\n"
    "M5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\r\n"
    "`\r\n"
    "end\r\n";

TEST(SnifferTest, BeginBlocksAreNamedByTheService) {
    EXPECT_EQ(SniffPart(kUuBlock), TC_UUENCODE);
    EXPECT_EQ(SniffPart("begin 644 a.txt\r\nhJ4VdQm-dQm-V65FZQrEUNaZgNG-aPr6UOKlgRLBoQa3oOKtb65FcNG-qML7d\r\n"
                        "+\r\nend\r\n"),
              TC_XXENCODE);
    // A block the service turns down, and an opening without "end".
    EXPECT_EQ(SniffDocument("begin 644 notes\r\nfoo\r\nend\r\n"), 0u);
    EXPECT_EQ(SniffPart("begin 644 a.txt\r\nM5&AI<R!I<R!A\r\n"), 0u);
    // The block must stand alone in a part but not in a document.
    EXPECT_EQ(SniffPart("Here is the file.\r\n" + kUuBlock), 0u);
    EXPECT_EQ(SniffDocument("Here is the file.\r\n" + kUuBlock), TC_UUENCODE);
    EXPECT_EQ(SniffPart(kUuBlock + "Bye.\r\n"), 0u);
    EXPECT_EQ(SniffDocument(kUuBlock + "Bye.\r\n"), TC_UUENCODE);
    // A blank in front of "begin" takes it off the line start.
    EXPECT_EQ(SniffDocument(" " + kUuBlock), 0u);
    // Two blocks are no single encoding; directly behind an "end" line the
    // next 'b' is not at a line start.
    EXPECT_EQ(SniffDocument(kUuBlock + "\r\n" + kUuBlock), 0u);
    EXPECT_EQ(SniffDocument(kUuBlock + kUuBlock), TC_UUENCODE);
    EXPECT_EQ(SniffDocument(Repeat("begin 644 x\r\n", 100000)), 0u);
    // Old Mac line ends. (Real uuencode and xxencode bodies: the classify tests.)
    EXPECT_EQ(SniffDocument(CorpusBytes("uudeview/test/uuencode-mac-cr.good.msg")), TC_UUENCODE);
}

TEST(SnifferTest, ARangeThatCantBeOpenedIsNoBlock) {
    ReaderOver over(kUuBlock);
    over.object.get()->Open = [](IoObject**, uint32_t, void*, uint32_t) -> int32_t { return -2; };
    EXPECT_EQ(SniffEncoded(over.reader, static_cast<uint32_t>(kUuBlock.size()) - 1, 0, 1, &over.line), 0u);
    EXPECT_EQ(IdentifyBlock(over.reader, 0, 10), 0);
}

}  // namespace
