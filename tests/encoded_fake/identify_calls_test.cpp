// The calls the filter makes to the identification service, under a service
// of this program's own (it defines IdentifyHandle and IdentifySpecial, so
// the filter reaches these instead of the platform's): the mode and hint it
// passes, the block it shows, and which answers make uuencode and xxencode.
// The platform's service ignores the mode and the hint and never answers
// "a later piece" for a block that starts with its "begin" line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/constants.h"
#include "host/services.h"
#include "tests/encoded/classify_walk.h"
#include "tests/encoded/sniff_fixture.h"

namespace {

struct Calls {
    std::vector<uint32_t> modes;
    std::vector<uint16_t> hints;
    std::vector<std::string> shown;
    uint16_t special = 4050;  // what IdentifySpecial answers
} g_calls;

const std::string kBlock =
    "begin 644 a.txt\r\nM5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\r\n`\r\nend\r\n";

TEST(FakeIdentify, TheServiceNamesTheBlockItIsShown) {
    const struct { uint16_t answer; uint32_t code; } cases[] = {
        {4050, TC_UUENCODE}, {4051, TC_UUENCODE}, {4052, TC_XXENCODE}, {0, 0}, {4054, 0}, {1999, 0}};
    for (const auto& c : cases) {
        g_calls = Calls{};
        g_calls.special = c.answer;
        EXPECT_EQ(encoded_test::SniffPart(kBlock), c.code) << c.answer;
        // Asked with the hint 4050 about the block from its 'b' through its
        // "end" line.
        EXPECT_EQ(g_calls.hints, std::vector<uint16_t>{4050});
        EXPECT_EQ(g_calls.shown, std::vector<std::string>{kBlock});
    }
}

// The raw part and the decoded data are both identified in mode 1.
TEST(FakeIdentify, PartsAreIdentifiedInModeOne) {
    g_calls = Calls{};
    for (const std::string& body : {std::string("Content-Transfer-Encoding: base64\r\n\r\nSGVsbG8gdGhlcmUh\r\n"), "\r\n" + kBlock}) {
        MemoryObject stream("From: a@example.com\r\n" + body);
        TextBuffer line{};
        TextBufferAlloc(&line, 1024);
        EXPECT_EQ(encoded_test::ClassifyWalked(stream.get(), &line, FI_INTERNET_MAIL).size(), 1u);
        StringFree(line.block);
    }
    EXPECT_EQ(g_calls.modes, (std::vector<uint32_t>{1, 1, 1, 1}));
}

}  // namespace

extern "C" void IdentifyHandle(IoObject*, uint32_t mode, uint16_t* formatId) {
    g_calls.modes.push_back(mode);
    *formatId = 4022;
}

extern "C" uint16_t IdentifySpecial(IoObject* object, uint16_t hint) {
    g_calls.hints.push_back(hint);
    object->Seek(object, 0, 0);
    g_calls.shown.push_back(ReadRest(object));
    return g_calls.special;
}
