// The CLI's attachment names on their own: encoded words, RFC 2231 values,
// sanitising. The CLI's sources form no library, so this file compiles the
// unit itself.
#include "cli/attachment_names.cpp"

#include <gtest/gtest.h>

namespace {

TEST(AttachmentNames, DecodeEncodedWordsAcrossCharsetsAndJoinAdjacentWords) {
    EXPECT_EQ(DecodeEncodedWords("=?UTF-8?Q?nyan_cat_=E2=9C=94.gif?="), "nyan cat \xE2\x9C\x94.gif");
    EXPECT_EQ(DecodeEncodedWords("=?iso-8859-1?B?R3L832U=?=.txt"), "Gr\xC3\xBC\xC3\x9F" "e.txt");
    // Blanks between two words vanish; a character split over two words joins.
    EXPECT_EQ(DecodeEncodedWords("=?utf-8?Q?a=C3?= =?utf-8?Q?=A9b?="), "a\xC3\xA9" "b");
    // Blanks next to plain text stay; an RFC 2231 language suffix is ignored.
    EXPECT_EQ(DecodeEncodedWords("x =?US-ASCII*EN?Q?pr?= y"), "x pr y");
    // Not a word: left as it is. Raw Latin-1 bytes become UTF-8.
    EXPECT_EQ(DecodeEncodedWords("=?utf-8?X?abc?="), "=?utf-8?X?abc?=");
    EXPECT_EQ(DecodeEncodedWords("caf\xE9.txt"), "caf\xC3\xA9.txt");
    EXPECT_EQ(DecodeEncodedWords("caf\xC3\xA9.txt"), "caf\xC3\xA9.txt");
}

TEST(AttachmentNames, ExtendedValuesNeedAKnownCharsetOrTwoEmptyFields) {
    EXPECT_EQ(DecodeExtendedValue("utf-8''nyan%20cat%20%E2%9C%94.gif"), "nyan cat \xE2\x9C\x94.gif");
    EXPECT_EQ(DecodeExtendedValue("iso-8859-1'de'Gr%FC%DFe"), "Gr\xC3\xBC\xC3\x9F" "e");
    EXPECT_EQ(DecodeExtendedValue("''a%2Fb"), "a/b");
    EXPECT_EQ(DecodeExtendedValue("d'a'b.txt"), std::nullopt);   // an unknown charset "d"
    EXPECT_EQ(DecodeExtendedValue("it's 'x'.txt"), std::nullopt);
    EXPECT_EQ(DecodeExtendedValue("plain.txt"), std::nullopt);
    // A broken escape stays as it is.
    EXPECT_EQ(DecodeExtendedValue("utf-8''100%.txt"), "100%.txt");
}

TEST(AttachmentNames, LinkNamesAsTheFilterRegistersThem) {
    const std::u16string raw = u"\"utf-8''%E2%9C%94.txt\"";
    EXPECT_EQ(DecodeLinkName(raw, 0x14B00000), "\xE2\x9C\x94.txt");
    std::u16string latin1 = u"caf";
    latin1 += char16_t(0xE9);
    EXPECT_EQ(DecodeLinkName(latin1, 0x14B00000), "caf\xC3\xA9");
    // 16-bit units from a support filter are text already; pairs join.
    EXPECT_EQ(DecodeLinkName(u"\u00E9\U0001F600", 0x14B00000), "\xC3\xA9\xF0\x9F\x98\x80");
}

TEST(AttachmentNames, SanitisingLeavesNoPathNoHiddenFileNoControls) {
    EXPECT_EQ(SanitizeFileName("../../etc/passwd"), "_.._etc_passwd");
    EXPECT_EQ(SanitizeFileName("C:\\TEMP\\a.png"), "C:_TEMP_a.png");
    EXPECT_EQ(SanitizeFileName(".."), "");
    EXPECT_EQ(SanitizeFileName(" . "), "");
    EXPECT_EQ(SanitizeFileName(".bashrc"), "bashrc");
    EXPECT_EQ(SanitizeFileName("a\tb\x01\x7F" "c\xC2\x85.txt "), "abc.txt");
    EXPECT_EQ(SanitizeFileName("nyan cat \xE2\x9C\x94.gif"), "nyan cat \xE2\x9C\x94.gif");
    // Too long: the stem is cut at a character boundary, the extension kept.
    std::string longName;
    for (int i = 0; i < 200; ++i) longName += "\xC3\xA9";
    const std::string cut = SanitizeFileName(longName + ".pdf");
    EXPECT_LE(cut.size(), 240u);
    EXPECT_TRUE(cut.ends_with("\xC3\xA9.pdf")) << cut;
    EXPECT_EQ(ExtensionForMimeType("image/png"), ".png");
    EXPECT_EQ(ExtensionForMimeType("text/x-perl"), ".txt");
    EXPECT_EQ(ExtensionForMimeType("application/x-nothing-known"), ".bin");
}

}  // namespace
