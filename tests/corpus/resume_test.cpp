// resume_test.cpp - every real mail of the corpus read in slices, one
// paragraph per read, going back to the previous stop's saved state and
// reading that slice once more before going on: the output must be what
// one uninterrupted read gives, characters, breaks, charsets and attributes.
//
// One test per source folder. Mails above kLargestMail are left to the
// straight runs of every_file_test.cpp, since this test keeps whole
// transcripts.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/constants.h"
#include "tests/corpus/corpus_run.h"
#include "tests/support/filter_session.h"

namespace {

constexpr uintmax_t kLargestMail = 256 * 1024;

bool IsMailKind(uint16_t formatId) {
    switch (formatId) {
    case FI_MIME_FILE:
    case FI_INTERNET_MAIL:
    case FI_INTERNET_NEWS:
    case FI_MHTML:
    case FI_MBOX: return true;
    default: return false;
    }
}

class ResumeCorpusMail : public testing::TestWithParam<std::string> {};

TEST_P(ResumeCorpusMail, SlicesWithReplaysRenderAsOneRead) {
    size_t compared = 0;
    for (const std::string& path : CorpusFilesUnder(GetParam())) {
        if (std::filesystem::file_size(path) > kLargestMail) continue;
        const uint16_t formatId = IdentifyCorpusFile(path);
        if (!IsMailKind(formatId)) continue;
        const std::string bytes = ReadWholeFile(path);
        RecordingHost whole, replayed;
        if (RunDocument(whole, bytes, formatId) != 0) continue;  // a refused mailbox
        ASSERT_EQ(RunDocumentWithReplays(replayed, bytes, formatId), 0) << path;
        EXPECT_EQ(replayed.Text(), whole.Text()) << path;
        EXPECT_TRUE(replayed.Rendered() == whole.Rendered()) << path << ": same text, other state";
        ++compared;
    }
    // Some folders hold encoded data or TNEF only; the count shows in the
    // XML report.
    RecordProperty("mails", static_cast<int>(compared));
}

INSTANTIATE_TEST_SUITE_P(Corpus, ResumeCorpusMail, testing::ValuesIn(CorpusFolders()),
                         [](const auto& info) { return CorpusTestName(info.param); });

}  // namespace
