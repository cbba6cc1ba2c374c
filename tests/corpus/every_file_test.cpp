// every_file_test.cpp - every file of the corpus, expected-output
// files and notes too, goes through the filter: as the identification
// service names it (1192 when it names nothing), and also as a mail, news,
// encoded data and TNEF, to stress the parsers with input that is not what
// they expect; each of these straight through and stopping at every
// paragraph. Each run must end, keep the host rules (lean_host.h) and
// answer a known code.
//
// One test per source folder, so that ctest can run them side by side.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cli/host_sink.h"
#include "host/constants.h"
#include "tests/corpus/corpus_run.h"

namespace {

constexpr size_t kFailuresShown = 40;

std::string Describe(const std::string& path, const CorpusRunOptions& options, const CorpusRun& run) {
    std::string line = std::filesystem::relative(path, CorpusRoot()).string() + " as " +
                       std::to_string(options.formatId) +
                       (options.stopEveryParagraph ? " stopping at every paragraph" : "") + ":";
    for (const std::string& problem : run.problems) line += " " + problem + ";";
    return line;
}

// FormatIds every file is also read as, whatever it is: a mail, a news
// article (the segment check and the set search), encoded data of three
// kinds (the name searches, the BinHex reader) and TNEF (the walker).
constexpr uint16_t kForcedFormats[] = {FI_INTERNET_MAIL, FI_INTERNET_NEWS, FI_UUE,
                                       FI_YENC,          FI_BINHEX,        FI_TNEF};

// The runs each file gets: each FormatId read straight through, and then its
// attachments and other sub-documents opened and read; and again with a stop
// at every paragraph, which restarts the writers at each line.
std::vector<CorpusRunOptions> RunsFor(const std::string& path) {
    uint16_t identified = IdentifyCorpusFile(path);
    if (identified == FI_UNKNOWN) identified = FI_INTERNET_MAIL;
    std::vector<uint16_t> formats = {identified};
    for (uint16_t formatId : kForcedFormats)
        if (formatId != identified) formats.push_back(formatId);
    std::vector<CorpusRunOptions> runs;
    for (uint16_t formatId : formats) {
        runs.push_back({formatId, false, true});
        runs.push_back({formatId, true, false});
    }
    return runs;
}

class EveryCorpusFile : public testing::TestWithParam<std::string> {};

TEST_P(EveryCorpusFile, EndsAndKeepsTheHostRules) {
    const std::vector<std::string> files = CorpusFilesUnder(GetParam());
    ASSERT_FALSE(files.empty()) << "no files under " << GetParam();
    std::vector<std::string> failures;
    size_t runs = 0, opened = 0, subdocuments = 0;
    for (const std::string& path : files) {
        for (const CorpusRunOptions& options : RunsFor(path)) {
            const CorpusRun run = RunCorpusFile(path, options);
            ++runs;
            if (run.openCode == 0) ++opened;
            subdocuments += run.subdocuments;
            if (!run.problems.empty()) failures.push_back(Describe(path, options, run));
        }
    }
    std::string shown;
    for (size_t i = 0; i < failures.size() && i < kFailuresShown; ++i) shown += failures[i] + "\n";
    EXPECT_TRUE(failures.empty()) << failures.size() << " of " << runs << " runs broke a rule:\n"
                                  << shown;
    // Every folder holds real mail or encoded data that some run must read.
    EXPECT_GT(opened, 0u);
    // No host routine was ever called with user words other than the host's.
    EXPECT_EQ(hostsink::StrayCalls().load(), 0u);
    RecordProperty("subdocuments", static_cast<int>(subdocuments));
}

INSTANTIATE_TEST_SUITE_P(Corpus, EveryCorpusFile, testing::ValuesIn(CorpusFolders()),
                         [](const auto& info) { return CorpusTestName(info.param); });

TEST(CorpusLayout, HoldsTheFoldersTheTestsCover) {
    // A corpus that went missing would make the folder tests vanish silently.
    EXPECT_GE(CorpusFolders().size(), 20u);
    size_t files = 0;
    for (const std::string& folder : CorpusFolders()) files += CorpusFilesUnder(folder).size();
    EXPECT_GE(files, 1400u);
}

}  // namespace
