// Encoded blocks checked against uudeview: every sample of the data folder
// with a uuencode, xxencode, yEnc or BinHex opening at a line start is listed
// with `ls` and written with `extract`. Each file uudeview decodes from the
// sample must be among the files written, byte for byte, and so must the
// decoded file the corpus ships beside a sample. The samples where that does
// not hold are listed with the reason; the list is exact. A later copy of a
// sample's bytes (newsreap and usenet-yenc repeat mimekit's posts) is skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/cli/cli_run.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kMultiFile = "a piece of a multi-file post: joining the pieces belongs to a later issue";
constexpr const char* kWholeBody = "the body is one block as a whole: it is decoded as the body and shown, not a segment of a text";
constexpr const char* kNotAMail = "an XML rendering of a mail, which holds the encoded lines but is no mail";
constexpr const char* kHeaderless = "the text holding the blocks is a multipart child without header lines, which is not shown";

const std::map<std::string, const char*> kExceptions = {
    {"mimekit/yenc/00000020.ntx", kMultiFile},
    {"mimekit/yenc/00000021.ntx", kMultiFile},
    {"usenet-yenc/yenc/multipart/00000021_checksum_mismatch.ntx", kMultiFile},
    {"usenet-yenc/yenc/multipart/00000021_missing_checksum.ntx", kMultiFile},
    {"usenet-yenc/yenc/multipart/00000021_part_mismatch.ntx", kMultiFile},
    {"usenet-yenc/yenc/multipart/00000021_size_mismatch.ntx", kMultiFile},
    {"usenet-yenc/yenc/singlepart/test_1.2.ntx", kWholeBody},
    {"uudeview/test/binhex.good.msg", kWholeBody},
    {"uudeview/test/plain-uuencode.good.msg", kWholeBody},
    {"uudeview/test/plain-yenc.good.msg", kWholeBody},
    {"mpack/macrsrc.hqx", "the whole file is one BinHex block, read as the document; its data fork is empty, uudeview writes the resource fork"},
    {"mime4j/mimetools-testmsgs/sig-uu.xml", kNotAMail},
    {"mime4j/mimetools-testmsgs/uu-junk.xml", kNotAMail},
    {"mime4j/mimetools-testmsgs/uu-zeegee.xml", kNotAMail},
    {"mime-tools/testmsgs/uu-junk.msg", kHeaderless},
    {"mime4j/mimetools-testmsgs/uu-junk.msg", kHeaderless},
    {"mime4j/mimetools-testmsgs/uu-junk.out", kHeaderless},
    {"stalwart-mail-parser/eml/legacy/026.eml", "farmerandstork.txt is a plain text attachment, no encoded block, whose line ends uudeview rewrites"},
};

// Decoded files the corpus ships beside its samples.
const std::map<std::string, std::string> kShipped = {
    {"aswaving-yenc/testdata/yenc.org/testfile.txt.yenc", "aswaving-yenc/testdata/yenc.org/testfile.txt"},
    {"aswaving-yenc/testdata/yenc.org/testfile_no_checksums.txt.yenc", "aswaving-yenc/testdata/yenc.org/testfile.txt"},
    {"convert-binhex/testin/eyeball.gif.hqx", "convert-binhex/testout/eyeball.gif"},
    {"mimekit/yenc/00000020.ntx", "mimekit/yenc/joystick.jpg"},
    {"newsreap/00000005.ntx", "newsreap/testfile.txt"},
    {"usenet-yenc/yenc/multipart/test_1.2.ntx", "usenet-yenc/yenc/multipart/test_1.2.dat"},
    {"usenet-yenc/yenc/singlepart/00000005.ntx", "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/00000005_checksum_mismatch.ntx", "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/00000005_missing_checksum.ntx", "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/00000005_size_mismatch.ntx", "usenet-yenc/yenc/singlepart/testfile.txt"},
    {"usenet-yenc/yenc/singlepart/test_1.2.ntx", "usenet-yenc/yenc/singlepart/test_1.2.dat"},
};

bool OpensBlock(std::string_view line) {
    return line.starts_with("=ybegin ") || line.starts_with("(This file must be converted with BinHex 4.0)") ||
           (line.starts_with("begin ") && line.size() > 6 && std::isdigit(static_cast<unsigned char>(line[6])));
}

bool HasBlock(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        if (OpensBlock(text.substr(at))) return true;
        const size_t end = text.find('\n', at);
        if (end == std::string_view::npos) break;
        at = end + 1;
    }
    return false;
}

std::vector<fs::path> Samples() {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_DATA_DIR))
        if (entry.is_regular_file() && entry.path().extension() != ".md") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> FilesIn(const fs::path& dir) {
    std::vector<std::string> files;
    if (fs::exists(dir))
        for (const auto& entry : fs::directory_iterator(dir)) files.push_back(ReadWholeFile(entry.path().string()));
    return files;
}

bool Holds(const std::vector<std::string>& ours, const std::string& bytes) {
    return std::find(ours.begin(), ours.end(), bytes) != ours.end();
}

TEST(InlineBlocks, ListedAndWrittenAsUudeviewDecodesThem) {
    ASSERT_EQ(std::system("uudeview -V > /dev/null 2>&1"), 0) << "uudeview (Debian package uudeview) is needed";
    std::set<std::string> seen, failing, listed;
    int samples = 0, blocks = 0;
    for (const fs::path& path : Samples()) {
        const std::string text = ReadWholeFile(path.string());
        if (!HasBlock(text) || !seen.insert(text).second) continue;
        const std::string relative = fs::relative(path, MAILSIFT_DATA_DIR).string();
        const fs::path work = OwnTempFolder() / "inline-blocks";
        fs::remove_all(work);
        fs::create_directories(work / "uu");
        std::system(("uudeview -i -o -q -p '" + (work / "uu").string() + "/' '" + path.string() + "' > /dev/null 2>&1").c_str());
        RunCli({"extract", "-o", (work / "ours").string(), path.string()});
        const std::string ls = RunCli({"ls", path.string()}).out;
        const std::vector<std::string> ours = FilesIn(work / "ours");
        std::vector<std::string> expected = FilesIn(work / "uu");
        if (kShipped.count(relative)) expected.push_back(ReadWholeFile((fs::path(MAILSIFT_DATA_DIR) / kShipped.at(relative)).string()));
        const bool agrees = std::count(ls.begin(), ls.end(), '\n') > 0 && !ours.empty() &&
                            std::all_of(expected.begin(), expected.end(), [&](const std::string& bytes) { return Holds(ours, bytes); });
        ++samples;
        if (agrees) blocks += static_cast<int>(expected.size());
        else failing.insert(relative);
        fs::remove_all(work);
    }
    EXPECT_GE(samples, 45);
    EXPECT_GE(blocks, 30);
    for (const auto& [sample, reason] : kExceptions) listed.insert(sample);
    for (const std::string& sample : failing) EXPECT_TRUE(listed.count(sample)) << sample << " differs from uudeview";
    for (const std::string& sample : listed) EXPECT_TRUE(failing.count(sample)) << sample << " now agrees: take it off the list";
    std::printf("%d samples, %d decoded files compared\n", samples, blocks);
}

}  // namespace
