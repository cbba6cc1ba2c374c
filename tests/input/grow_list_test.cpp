// The grow list, owned strings, blocks and the case-blind search.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "input/input.h"

namespace {

TEST(GrowList, GrowsByItsStepAndKeepsElements) {
    GrowList* list = ListCreate(0, 0, sizeof(uint32_t), 4, 4);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->headerSize, sizeof(GrowList));
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(ListAdd(list, &i), static_cast<int32_t>(i));
    EXPECT_EQ(list->capacity, 4u);
    uint32_t five = 5;
    EXPECT_EQ(ListAdd(list, &five), 4);
    EXPECT_EQ(list->capacity, 8u);
    EXPECT_EQ(ListCount(list), 5);
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(*ListAt<uint32_t>(list, i), i);
    EXPECT_EQ(*ListAt<uint32_t>(list, 4), 5u);
    EXPECT_EQ(list->nextFree, list->first + 5 * sizeof(uint32_t));
    EXPECT_EQ(ListAdd(list, nullptr), 5) << "a reserved slot still counts";
    EXPECT_EQ(ListClear(list), 0);
    EXPECT_EQ(ListCount(list), 0);
    EXPECT_EQ(ListClear(nullptr), 0);
    ListDestroy(list);
    ListDestroy(nullptr);
}

TEST(GrowList, BaseIndexAndShrinking) {
    GrowList* list = ListCreate(0, 100, 8, 4, 4);
    uint64_t v = 1;
    EXPECT_EQ(ListAdd(list, &v), 100);
    EXPECT_EQ(ListAdd(list, &v), 101);
    EXPECT_EQ(ListResize(list, 1), 1);
    EXPECT_EQ(list->freeSlots, 0u) << "a shrink below the count leaves no free slot";
    EXPECT_EQ(list->capacity, 1u);
    ListDestroy(list);
}

TEST(Blocks, StringDupAndBlockAlloc) {
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
    block = nullptr;
    copy = StringDup(70000, &block, longText.c_str());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::strlen(copy), 70000u - 65536u);
    StringFree(block);

    void* b = nullptr;
    void* d = nullptr;
    ASSERT_EQ(BlockAlloc(&b, &d, 10), 0);
    EXPECT_EQ(b, d);
    auto* bytes = static_cast<uint8_t*>(b);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(bytes[i], 0);
    EXPECT_EQ(bytes[10], 0xA1);
    EXPECT_EQ(bytes[11], 0xA1);
    ASSERT_EQ(BlockAlloc(&b, &d, 100), 0);
    StringFree(b);

    TextBuffer buffer{};
    ASSERT_EQ(TextBufferAlloc(&buffer, 1024), 0);
    EXPECT_EQ(buffer.size, 1024);
    ASSERT_EQ(TextBufferAlloc(&buffer, 4096), 0);
    buffer.text[4097] = 'x';  // size + 2 bytes are the buffer's
    StringFree(buffer.block);
}

TEST(FindNoCase, FoldsOnlyAsciiLetters) {
    const char* hay = "Content-Type: Text/HTML; charset=\xC9t\xE9";
    EXPECT_EQ(FindNoCase(hay, "text/html"), hay + 14);
    EXPECT_EQ(FindNoCase(hay, "CONTENT"), hay);
    EXPECT_EQ(FindNoCase(hay, "\xE9t\xE9"), nullptr) << "bytes above 0x7F never fold";
    EXPECT_EQ(FindNoCase(hay, "\xC9t\xE9"), hay + 33);
    EXPECT_EQ(FindNoCase("abc", "abcd"), nullptr);
    const char* same = "same";
    EXPECT_EQ(FindNoCase(same, "SAME"), same);
    EXPECT_EQ(FindNoCase(same, ""), same + 4) << "an empty needle is found at the end";
    const char* retry = "aaab";
    EXPECT_EQ(FindNoCase(retry, "aab"), retry + 1);
    // The count of start positions is a signed 16-bit number: a haystack that
    // makes it negative finds nothing.
    std::string huge(40000, 'q');
    huge += "needle";
    EXPECT_EQ(FindNoCase(huge.c_str(), "needle"), nullptr);
}

}  // namespace
