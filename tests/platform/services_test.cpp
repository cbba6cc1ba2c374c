// Tests of CopyWideText, which the filter uses to widen fixed names.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "host/services.h"

namespace {

TEST(CopyWideText, WidensEachByteUnsigned) {
    uint16_t wide[8];
    for (uint16_t& unit : wide) unit = 0xAAAA;
    CopyWideText(wide, "a\xE9\xFF" "Z");
    std::vector<uint16_t> got(wide, wide + 6);
    EXPECT_EQ(got, (std::vector<uint16_t>{0x61, 0x00E9, 0x00FF, 0x5A, 0x0000, 0xAAAA}));

    CopyWideText(wide, "");
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(wide[1], 0x00E9);  // nothing past the NUL is touched
}

}  // namespace
