// The host kit's charset converter and the events lines of its recorded
// calls, checked on their own.
#include <gtest/gtest.h>

#include <initializer_list>

#include "hostkit/charset_convert.h"
#include "host/constants.h"
#include "tests/support/recording_host.h"

namespace {

std::string Convert(uint32_t charset, std::initializer_list<uint32_t> values) {
    CharsetConverter converter;
    converter.SetCharset(charset);
    for (uint32_t value : values) converter.Put(value);
    converter.Flush();
    return std::string(converter.text());
}

TEST(CharsetConverter, DecodedSetsJoinPairsAndRecogniseRawUtf8Runs) {
    EXPECT_EQ(Convert(0x14B00000, {'a', 0xE9, 0x20AC}), "a\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(Convert(0x14B00000, {0xD83D, 0xDE00}), "\xF0\x9F\x98\x80");
    // A lone half of a pair, either half, is a replacement character.
    EXPECT_EQ(Convert(0x14B00000, {0xD83D, 'x', 0xDE00}), "\xEF\xBF\xBDx\xEF\xBF\xBD");
    EXPECT_EQ(Convert(0x14B00000, {0xD83D}), "\xEF\xBF\xBD");
    // Sign-extended bytes that form UTF-8 are that text ...
    EXPECT_EQ(Convert(0x14B00000, {0xFFC3, 0xFFA9, 'x'}), "\xC3\xA9x");
    EXPECT_EQ(Convert(0x000B000B, {0xFFE2, 0xFF82, 0xFFAC}), "\xE2\x82\xAC");
    // ... and those that don't are the characters they are; 0xFFFD stays.
    EXPECT_EQ(Convert(0x14B00000, {0xFFE9, 'x'}), "\xEF\xBF\xA9x");
    EXPECT_EQ(Convert(0x14B00000, {0xFFC3, 'x', 0xFFA9}), "\xEF\xBF\x83x\xEF\xBE\xA9");
    EXPECT_EQ(Convert(0x14B00000, {0xFFFD}), "\xEF\xBF\xBD");
    // Overlong forms and encoded surrogates are not UTF-8.
    EXPECT_EQ(Convert(0x14B00000, {0xFFC0, 0xFF80}), "\xEF\xBF\x80\xEF\xBE\x80");
    EXPECT_EQ(Convert(0x14B00000, {0xFFED, 0xFFA0, 0xFF80}),
              "\xEF\xBF\xAD\xEF\xBE\xA0\xEF\xBE\x80");
}

TEST(CharsetConverter, LegacySetsTakeWholeCharactersAndLowBytes) {
    // Single-byte: plain and sign-extended bytes alike.
    EXPECT_EQ(Convert(0x00080101, {0xE9, 0xFFE9}), "\xC3\xA9\xC3\xA9");
    EXPECT_EQ(Convert(0x14E40100, {0x80}), "\xE2\x82\xAC");  // cp1252 euro
    // Double-byte: a lead and trail byte in one value, or two raw bytes.
    EXPECT_EQ(Convert(0x13A40000, {0x82A0, 'a'}), "\xE3\x81\x82" "a");
    EXPECT_EQ(Convert(0x13A40000, {0xFF82, 0xFFA0}), "\xE3\x81\x82");
    EXPECT_EQ(Convert(0x13A80000, {0xC4E3}), "\xE4\xBD\xA0");  // GBK
    EXPECT_EQ(Convert(0x13A40000, {0xB1}), "\xEF\xBD\xB1");    // half-width katakana
    // Bytes no converter accepts are replaced one at a time, and the run goes on.
    EXPECT_EQ(Convert(0x10000100, {'a', 0xE9, 'b'}), "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(Convert(0x13A40000, {0x82, 'z'}), "\xEF\xBF\xBDz");
}

TEST(CharsetConverter, CharsetChangesKeepTheOrderOfText) {
    CharsetConverter converter;
    converter.Put('a');
    converter.SetCharset(0x00080107);  // Greek
    converter.Put(0xE1);
    converter.SetCharset(0x14B00000);
    converter.Put(0xFFC3);  // a raw run cut by the end
    converter.Flush();
    EXPECT_EQ(converter.text(), "a\xCE\xB1\xEF\xBF\x83");
    converter.Consume();
    EXPECT_EQ(converter.text(), "");
    // Far more text than the first room: nothing is lost.
    for (int i = 0; i < 300000; ++i) converter.Put('x');
    converter.Flush();
    EXPECT_EQ(converter.text().size(), 300000u);
}

// Texts are quoted with JSON escapes (a lone half of a pair as \u), link
// arguments and rules as lists, large numbers in hex.
TEST(EventsLines, TextsListsAndNumbers) {
    RecordingHost host;
    HostSink& sink = host;
    uint32_t subdoc = 0, text = 0;
    sink.NewSubdoc(&subdoc);
    const uint32_t link[] = {0, subdoc, 1};
    sink.BeginTag(TAG_LINK, subdoc, link);
    sink.BeginTag(TAG_SIDE_TEXT, 1, nullptr);
    sink.SetProperty(0xC1, 8, 1024, 0xFFFFFFFF);
    const uint32_t rule[8] = {2, 0x200};
    sink.PutRule(rule, 0, 255, 9360, 2);
    const uint16_t quote[] = {'"', '\\', 0x00E9, 0xD83D, 0xDE00, 0xDC00};
    sink.RegisterText(quote, 0x14B00000, 6, &text);
    EXPECT_EQ(host.Transcript(),
              "SoNewSubdoc => 1\n"
              "SoBeginTag 0x8003000C 1 [0,1,1]\n"
              "SoBeginTag 0xA00A0000 1 null\n"
              "SoSetProperty 193 8 1024 0xFFFFFFFF\n"
              "SoPutRule [2,512,0,0,0,0,0,0] 0 255 9360 2\n"
              "SoRegisterText \"\\\"\\\\\xC3\xA9\xF0\x9F\x98\x80\\uDC00\" 0x14B00000 6 => 1\n");
}

}  // namespace
