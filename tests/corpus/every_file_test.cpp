// every_file_test.cpp - every file of the corpus, expected-output files and
// notes too, goes through the filter as the identification service names it
// (1192 when it names nothing): straight through with its sub-documents
// opened and read, then stopping at every paragraph with each slice replayed
// from the state saved at the stop before, which must render what the
// straight read did. Copies cut at a third, two thirds and one byte before
// the end go through as a mail, as encoded data and as TNEF: a message that
// stops inside a header, a boundary, an encoded block or a TNEF attribute.
// Every run must end within its budgets (corpus_run.h), keep the host rules
// (lean_host.h) and answer a known code.
//
// One test per source folder, so that ctest can run them side by side.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "host/constants.h"
#include "tests/corpus/corpus_run.h"
#include "tests/support/memory_object.h"

namespace {

// Files above this are read whole only: their cuts fall deep inside one
// body, which the small files cover as well.
constexpr size_t kLargestCut = 256 * 1024;

class EveryCorpusFile : public testing::TestWithParam<std::string> {};

TEST_P(EveryCorpusFile, EndsKeepsTheHostRulesAndResumes) {
    const std::vector<std::string> files = CorpusFilesUnder(GetParam());
    ASSERT_FALSE(files.empty()) << "no files under " << GetParam();
    std::vector<std::string> failures;
    size_t runs = 0, opened = 0;
    const auto check = [&](const std::string& what, const CorpusRun& run) {
        ++runs;
        opened += run.openCode == 0;
        if (run.problems.empty()) return;
        std::string line = what + ":";
        for (const std::string& problem : run.problems) line += " " + problem + ";";
        failures.push_back(line);
    };
    for (const std::string& path : files) {
        const std::string name = std::filesystem::relative(path, CorpusRoot()).string();
        uint16_t formatId = IdentifyCorpusFile(path);
        if (formatId == FI_UNKNOWN) formatId = FI_INTERNET_MAIL;
        const std::string as = name + " as " + std::to_string(formatId);
        const CorpusRun straight = RunCorpusFile(path, {formatId, false, true});
        check(as, straight);
        const CorpusRun replayed = RunCorpusFile(path, {formatId, true, false});
        check(as + " with replays", replayed);
        if (straight.ended && replayed.ended && straight.digest != replayed.digest)
            failures.push_back(as + ": stopping at every paragraph rendered otherwise");

        const std::string bytes = ReadWholeFile(path);
        if (bytes.size() < 3 || bytes.size() > kLargestCut) continue;
        for (size_t cut : {bytes.size() / 3, bytes.size() * 2 / 3, bytes.size() - 1})
            for (uint16_t cutAs : {FI_INTERNET_MAIL, FI_UUE, FI_TNEF})
                check(name + " cut at " + std::to_string(cut) + " as " + std::to_string(cutAs),
                      RunCorpusBytes(std::string_view(bytes).substr(0, cut), {cutAs, false, true}));
    }
    std::string shown;
    for (size_t i = 0; i < failures.size() && i < 40; ++i) shown += failures[i] + "\n";
    EXPECT_TRUE(failures.empty()) << failures.size() << " failures in " << runs << " runs:\n" << shown;
    // Every folder holds real mail or encoded data that some run must read.
    EXPECT_GT(opened, 0u);
}

INSTANTIATE_TEST_SUITE_P(Corpus, EveryCorpusFile, testing::ValuesIn(CorpusFolders()),
                         [](const auto& info) {  // letters and digits, the rest '_'
                             std::string name = info.param;
                             for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });

TEST(CorpusLayout, HoldsTheFoldersTheTestsCover) {
    // A corpus that went missing would make the folder tests vanish silently.
    EXPECT_GE(CorpusFolders().size(), 20u);
}

}  // namespace
