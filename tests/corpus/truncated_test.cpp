// truncated_test.cpp - every corpus file cut short, at a third, at two thirds
// and one byte before its end, goes through the filter as a mail, as encoded
// data and as TNEF: a message that stops inside a header, a boundary line,
// an encoded block or a TNEF attribute must still end and keep the host
// rules, like any bad input.
//
// One test per source folder. Files above kLargestFile are left out: their
// cuts fall deep inside one body, which the small files cover as well.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/constants.h"
#include "tests/corpus/corpus_run.h"
#include "tests/support/memory_object.h"

namespace {

constexpr uintmax_t kLargestFile = 256 * 1024;
constexpr size_t kFailuresShown = 40;
constexpr uint16_t kFormats[] = {FI_INTERNET_MAIL, FI_UUE, FI_TNEF};

class TruncatedCorpusFile : public testing::TestWithParam<std::string> {};

TEST_P(TruncatedCorpusFile, EndsAndKeepsTheHostRules) {
    std::vector<std::string> failures;
    size_t runs = 0;
    for (const std::string& path : CorpusFilesUnder(GetParam())) {
        if (std::filesystem::file_size(path) > kLargestFile) continue;
        const std::string bytes = ReadWholeFile(path);
        if (bytes.size() < 3) continue;
        for (size_t cut : {bytes.size() / 3, bytes.size() * 2 / 3, bytes.size() - 1}) {
            for (uint16_t formatId : kFormats) {
                const CorpusRun run = RunCorpusBytes(std::string_view(bytes).substr(0, cut),
                                                     {formatId, false, true});
                ++runs;
                if (run.problems.empty()) continue;
                std::string line = std::filesystem::relative(path, CorpusRoot()).string() +
                                   " cut at " + std::to_string(cut) + " as " +
                                   std::to_string(formatId) + ":";
                for (const std::string& problem : run.problems) line += " " + problem + ";";
                failures.push_back(line);
            }
        }
    }
    std::string shown;
    for (size_t i = 0; i < failures.size() && i < kFailuresShown; ++i) shown += failures[i] + "\n";
    EXPECT_TRUE(failures.empty()) << failures.size() << " of " << runs << " runs broke a rule:\n"
                                  << shown;
}

INSTANTIATE_TEST_SUITE_P(Corpus, TruncatedCorpusFile, testing::ValuesIn(CorpusFolders()),
                         [](const auto& info) { return CorpusTestName(info.param); });

}  // namespace
