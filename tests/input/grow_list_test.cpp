// The grow list, owned strings, blocks and the case-blind search, by what a
// caller sees: indices, counts, the elements kept, and the bytes copied.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "input/input.h"

namespace {

TEST(GrowList, GrowsKeepsElementsAndCountsFromItsBase) {
    GrowList* list = ListCreate(0, 100, sizeof(uint32_t), 4, 3);
    ASSERT_NE(list, nullptr);
    for (uint32_t i = 0; i < 11; ++i) EXPECT_EQ(ListAdd(list, &i), static_cast<int32_t>(100 + i));
    EXPECT_EQ(ListAdd(list, nullptr), 111) << "a reserved slot still counts";
    EXPECT_EQ(ListCount(list), 12);
    for (uint32_t i = 0; i < 11; ++i) EXPECT_EQ(*ListAt<uint32_t>(list, i), i);
    // Shrinking below the count keeps what fits; adding grows again behind it.
    ASSERT_EQ(ListResize(list, 11), 1);
    EXPECT_EQ(ListCount(list), 11);
    uint32_t seven = 7;
    EXPECT_EQ(ListAdd(list, &seven), 111);
    EXPECT_EQ(*ListAt<uint32_t>(list, 10), 10u);
    EXPECT_EQ(*ListAt<uint32_t>(list, 11), 7u);
    EXPECT_EQ(ListClear(list), 0);
    EXPECT_EQ(ListCount(list), 0);
    EXPECT_EQ(ListAdd(list, &seven), 100);
    EXPECT_EQ(ListClear(nullptr), 0);
    EXPECT_EQ(ListCount(nullptr), 0);
    ListDestroy(list);
    ListDestroy(nullptr);
}

// Counts are 16-bit numbers above this layer: the list stops at 65,535.
TEST(GrowList, StopsAt65535Elements) {
    GrowList* list = ListCreate(0, 0, 1, 0xFFF0, 1);
    ASSERT_NE(list, nullptr);
    uint8_t byte = 1;
    for (uint32_t i = 0; i < 0xFFFE; ++i) ASSERT_EQ(ListAdd(list, &byte), static_cast<int32_t>(i));
    EXPECT_EQ(ListAdd(list, &byte), 0xFFFE);
    EXPECT_EQ(ListCount(list), 0xFFFF);
    EXPECT_EQ(ListAdd(list, &byte), -1);
    EXPECT_EQ(ListCount(list), 0xFFFF);
    ListDestroy(list);
}

TEST(Blocks, StringDupBlockAllocAndTextBuffers) {
    char* block = reinterpret_cast<char*>(0x1);
    EXPECT_EQ(StringDup(0, &block, "x"), nullptr);
    EXPECT_EQ(block, reinterpret_cast<char*>(0x1)) << "length 0 leaves the block word";
    block = nullptr;
    char* copy = StringDup(3, &block, "abcdef");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy, block);
    EXPECT_STREQ(copy, "abc");
    StringFree(block);
    // Only the low 16 bits of the length are copied, into a block of full size.
    std::string longText(70000, 'z');
    copy = StringDup(70000, &block, longText.c_str());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::strlen(copy), 70000u - 65536u);
    StringFree(block);

    void* b = nullptr;
    void* d = nullptr;
    ASSERT_EQ(BlockAlloc(&b, &d, 10), 0);
    EXPECT_EQ(b, d);
    EXPECT_EQ(std::string(static_cast<char*>(b), 10), std::string(10, '\0')) << "a new block is cleared";
    StringFree(b);

    TextBuffer buffer{};
    ASSERT_EQ(TextBufferAlloc(&buffer, 1024), 0);
    std::memset(buffer.text, 'a', 1026);
    ASSERT_EQ(TextBufferAlloc(&buffer, 4096), 0);
    EXPECT_EQ(buffer.size, 4096);
    EXPECT_EQ(buffer.text[1025], 'a') << "growing keeps the text";
    StringFree(buffer.block);
}

TEST(FindNoCase, FoldsOnlyAsciiLetters) {
    const char* hay = "Content-Type: Text/HTML; charset=\xC9t\xE9";
    const struct {
        const char* haystack;
        const char* needle;
        ptrdiff_t at;  // -1: not found
    } cases[] = {
        {hay, "text/html", 14}, {hay, "CONTENT", 0}, {hay, "\xE9t\xE9", -1},  // bytes above 0x7F never fold
        {hay, "\xC9t\xE9", 33}, {"abc", "abcd", -1}, {"same", "SAME", 0},
        {"same", "", 4},  // an empty needle is found at the end
        {"aaab", "aab", 1},
    };
    for (const auto& c : cases) {
        const char* found = FindNoCase(c.haystack, c.needle);
        EXPECT_EQ(found ? found - c.haystack : -1, c.at) << c.haystack << " / " << c.needle;
    }
    // The count of start positions is a signed 16-bit number: a haystack that
    // makes it negative finds nothing.
    std::string huge(40000, 'q');
    huge += "needle";
    EXPECT_EQ(FindNoCase(huge.c_str(), "needle"), nullptr);
}

}  // namespace
