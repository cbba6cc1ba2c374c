// Tests of the small services: widening of byte texts and the filter-access
// service while no support filter exists.
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

TEST(DelegateService, SaysNoSupportFilterIsAvailable) {
    VwRoutine entries[5] = {};
    uint16_t info = 7;
    uint16_t status = 0;
    for (uint16_t filterId : {1181, 1028}) {
        status = 0;
        DelegateOpen(nullptr, filterId, entries, &info, &status);
        EXPECT_NE(status, 0) << filterId;
    }
    int context = 0;
    EXPECT_EQ(DelegateSwitch(&context, nullptr), nullptr);
    DelegateClose(0);
}

}  // namespace
