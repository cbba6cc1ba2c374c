// The limits of the input layer that no mail in the other tests reaches: the
// 16-bit counts and lengths every caller above inherits.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "input/input.h"

namespace {

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

TEST(Blocks, StringDupCopiesTheLow16BitsOfTheLength) {
    char* block = reinterpret_cast<char*>(0x1);
    EXPECT_EQ(StringDup(0, &block, "x"), nullptr);
    EXPECT_EQ(block, reinterpret_cast<char*>(0x1)) << "length 0 leaves the block word";
    // Only the low 16 bits of the length are copied, into a block of full size.
    std::string longText(70000, 'z');
    char* copy = StringDup(70000, &block, longText.c_str());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy, block);
    EXPECT_EQ(std::strlen(copy), 70000u - 65536u);
    StringFree(block);
}

TEST(FindNoCase, EmptyNeedlesAndHugeHaystacks) {
    const char* same = "same";
    EXPECT_EQ(FindNoCase(same, ""), same + 4) << "an empty needle is found at the end";
    // The count of start positions is a signed 16-bit number: a haystack that
    // makes it negative finds nothing.
    std::string huge(40000, 'q');
    huge += "needle";
    EXPECT_EQ(FindNoCase(huge.c_str(), "needle"), nullptr);
}

}  // namespace
