// The attachments of every TNEF file of the test data against the `tnef`
// tool's: each file the tool writes must be one that `mailsift extract`
// writes, byte for byte. A PR_ATTACH_DATA_OBJ value starts with a 16-byte
// interface id that the walker passes over and the tool keeps, so there our
// file is the tool's without its first 16 bytes. What the walker's rules
// leave out is listed with the reason.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "tests/cli/cli_run.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kOutOfStep =
    "a property block's count and data disagree (a multi-valued fixed-width property carries a count "
    "of its own): the walk reads on from inside the block and finds no attachment; the tool goes by the "
    "attribute's length";
constexpr const char* kNoName = "an attachment with neither a title nor a display name is not recorded";

// How many of the tool's files a TNEF file lacks among ours, and why (the
// tool's own file names vary with how it is run, so they are counted).
struct Missing {
    const char* file;  // below the data folder
    int count;
    const char* reason;
};
const Missing kMissing[] = {
    {"mimekit/tnef/multi-value-attribute.tnef", 1, kOutOfStep},
    {"verdammelt-tnef/files/datafiles/multi-value-attribute.tnef", 1, kOutOfStep},
    {"ytnef/multi-value-attribute.tnef", 1, kOutOfStep},
    {"mimekit/tnef/panic.tnef", 2, kOutOfStep},
    {"tnefparse/examples/minimal_attachment.tnef", 1, kNoName},
};

std::set<std::string> FilesIn(const fs::path& dir) {
    std::set<std::string> bytes;
    if (fs::exists(dir))
        for (const auto& entry : fs::directory_iterator(dir)) bytes.insert(ReadWholeFile(entry.path().string()));
    return bytes;
}

TEST(TnefTool, EveryAttachmentTheToolWritesIsOurs) {
    std::map<std::string, int> missing, listed;
    for (const Missing& m : kMissing) listed[m.file] = m.count;
    int files = 0, compared = 0;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_DATA_DIR)) {
        if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
        if (!RunCli({"identify", entry.path().string()}).out.starts_with("1197 ")) continue;
        const std::string relative = fs::relative(entry.path(), MAILSIFT_DATA_DIR).string();
        const fs::path work = OwnTempFolder() / ("tnef-" + std::to_string(files++));
        fs::create_directories(work / "tool");
        // The tool aborts on some damaged files after writing what it found.
        std::system(("tnef --overwrite -C '" + (work / "tool").string() + "' -f '" + entry.path().string() +
                     "' > /dev/null 2>&1").c_str());
        const CliResult run = RunCli({"extract", "-o", (work / "ours").string(), entry.path().string()});
        EXPECT_EQ(run.status, 0) << relative << ": " << run.err;
        const std::set<std::string> ours = FilesIn(work / "ours");
        for (const auto& written : fs::directory_iterator(work / "tool")) {
            ++compared;
            const std::string bytes = ReadWholeFile(written.path().string());
            if (ours.count(bytes) || (bytes.size() >= 16 && ours.count(bytes.substr(16)))) continue;
            ++missing[relative];
        }
        fs::remove_all(work);
    }
    EXPECT_GT(files, 25);
    EXPECT_GT(compared, 30);
    EXPECT_EQ(missing, listed) << "files of the tool that we don't write, by TNEF file";
}

}  // namespace
