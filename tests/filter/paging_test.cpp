// Paging as a host does it: stopping at paragraph breaks, and reading each
// slice twice from a restored FilterData, must render exactly what one
// uninterrupted run renders, over a body far larger than the reader's buffer
// and than 16-bit offsets (the corpus sweep replays every test mail the same
// way).
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>

#include "host/mailfilter.h"
#include "tests/support/filter_session.h"

namespace {

// UTF-8 with characters of every length, tabs, all three kinds of line end
// and empty paragraphs, so that characters and line ends straddle buffers.
std::string BigMail() {
    std::string mail =
        "From: Paging Test <paging@example.org>\r\n"
        "Subject: =?UTF-8?B?R3LDvMOfZQ==?= from far away\r\n"
        "MIME-Version: 1.0\r\n"
        "Content-Type: text/plain; charset=utf-8\r\n"
        "\r\n";
    const char* pieces[] = {"plain words ", "caf\xC3\xA9 ", "\xE6\x97\xA5\xE6\x9C\xAC ", "\t", "na\xC3\xAFve "};
    const char* ends[] = {"\r\n", "\n", "\r"};
    std::mt19937 random(20261122);
    while (mail.size() < 300000) {
        for (int w = 1 + static_cast<int>(random() % 12); w > 0; --w) mail += pieces[random() % 5];
        mail += ends[random() % 3];
        if (random() % 40 == 0) mail += "\r\n";
    }
    return mail;
}

TEST(Paging, StopsAndReplaysMatchAnUninterruptedRun) {
    const std::string mail = BigMail();
    RecordingHost whole, paged;
    ASSERT_EQ(RunDocument(whole, mail, FI_INTERNET_MAIL), 0);
    ASSERT_EQ(RunDocumentWithReplays(paged, mail, FI_INTERNET_MAIL), 0);
    EXPECT_GT(paged.paragraphBreaks(), 10000u);
    const auto expected = whole.Rendered();
    const auto got = paged.Rendered();
    ASSERT_GT(expected.size(), 200000u) << "the body is rendered in full";
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i], expected[i]) << "item " << i;
}

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
