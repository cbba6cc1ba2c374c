// Paging as a host does it. Stops and replays from a restored FilterData are
// checked over every corpus file by tests/corpus/every_file_test.cpp; here,
// host routines that fail.
#include <gtest/gtest.h>

#include <stdexcept>

#include "host/mailfilter.h"
#include "tests/support/filter_session.h"

namespace {

// A host routine that throws answers a failure at the C border: the filter
// reads on to the end and the sink counts what failed.
TEST(Paging, ThrowingRoutinesFailWithoutUnwindingIntoTheFilter) {
    struct ThrowingHost : RecordingHost {
        int32_t PutChar(uint32_t) override { throw std::runtime_error("host failure"); }
    } host;
    ASSERT_EQ(RunDocument(host, ReadWholeFile(MAILSIFT_SOURCE_DIR "/examples/welcome.eml"), FI_INTERNET_MAIL), 0);
    EXPECT_GT(host.failedCalls, 100u);
    EXPECT_EQ(host.strayCalls, 0u);
}

}  // namespace
