// The attachments and compressed RTF bodies of every TNEF file of the test
// data against the `tnef` tool's. Both ways: each file the tool writes must be
// one that `mailsift extract` writes, and each of ours one the tool writes,
// byte for byte and under the same name. A PR_ATTACH_DATA_OBJ value starts
// with a 16-byte interface id that the walker passes over and the tool keeps,
// so there our file is the tool's without its first 16 bytes. The tool runs
// with checksums ignored, as the walker never looks at them, and numbers a
// repeated name rather than overwriting the first file. What the walker's
// rules do otherwise is listed with the reason. The corpus's `.list` files
// are checked against `ls` the same way.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "input/input.h"
#include "platform/decode/decode.h"
#include "tests/cli/cli_run.h"
#include "tnef/tnef.h"

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;  // file name → bytes

constexpr const char* kOutOfStep =
    "a property block's count and data disagree (a multi-valued fixed-width property carries a count "
    "of its own): the walk reads on from inside the block and loses what follows, body or attachment; the "
    "tool goes by the attribute's length";
constexpr const char* kNoName = "an attachment with neither a title nor a display name is not recorded";
constexpr const char* kCutShort =
    "the input ends inside the last attribute's checksum: the tool stops and writes nothing, the walker "
    "keeps the attachment it had placed";
constexpr const char* kDisplayName =
    "the walker names an attachment by its PR_DISPLAY_NAME, the tool by its long file name or title";
constexpr const char* kWideName =
    "the display name is 16-bit text, which the walker does not convert: the name ends at its first "
    "zero byte";

// How many files a TNEF file has on one side only, or under another name.
struct Listed {
    const char* file;  // below the data folder
    int count;
    const char* reason;
};
const Listed kToolOnly[] = {
    {"mimekit/tnef/multi-value-attribute.tnef", 1, kOutOfStep},
    {"verdammelt-tnef/files/datafiles/multi-value-attribute.tnef", 1, kOutOfStep},
    {"ytnef/multi-value-attribute.tnef", 1, kOutOfStep},
    {"mimekit/tnef/panic.tnef", 2, kOutOfStep},
    {"tnefparse/examples/minimal_attachment.tnef", 1, kNoName},
};
const Listed kRtfMissing[] = {
    {"mimekit/tnef/multi-value-attribute.tnef", 1, kOutOfStep},
    {"verdammelt-tnef/files/datafiles/multi-value-attribute.tnef", 1, kOutOfStep},
    {"ytnef/multi-value-attribute.tnef", 1, kOutOfStep},
};
const Listed kOursOnly[] = {{"tnefparse/examples/bad_checksum.tnef", 1, kCutShort}};
const Listed kNamedOtherwise[] = {
    {"mimekit/tnef/MAPI_ATTACH_DATA_OBJ.tnef", 3, kDisplayName},
    {"verdammelt-tnef/files/datafiles/MAPI_ATTACH_DATA_OBJ.tnef", 3, kDisplayName},
    {"mimekit/tnef/christmas.tnef", 2, kDisplayName},
    {"mimekit/tnef/winmail.tnef", 2, kDisplayName},
    {"tnefparse/examples/IPM-DistList.tnef", 1, kDisplayName},
    {"mimekit/tnef/unicode-mapi-attr-name.tnef", 4, kWideName},
    {"verdammelt-tnef/files/datafiles/unicode-mapi-attr-name.tnef", 4, kWideName},
    {"mimekit/tnef/unicode-mapi-attr.tnef", 1, kWideName},
    {"verdammelt-tnef/files/datafiles/unicode-mapi-attr.tnef", 1, kWideName},
};

// The `.list` files (by base name, in every folder) whose attachment names
// are not those of our `ls`, and why.
const std::map<std::string, const char*> kListsDiffer = {
    {"multi-value-attribute", kOutOfStep},
    {"panic", kOutOfStep},
    {"MAPI_ATTACH_DATA_OBJ", kDisplayName},
    {"winmail", kDisplayName},
    {"christmas", "four untitled attachments where the file holds two, embedded messages named by display name"},
    {"unicode-mapi-attr", kWideName},
    {"unicode-mapi-attr-name", kWideName},
    {"missing-filenames", "names no attachment, only the body; the tool itself writes the four we write"},
};

std::map<std::string, int> Counts(const auto& table) {
    std::map<std::string, int> counts;
    for (const Listed& entry : table) counts[entry.file] = entry.count;
    return counts;
}

Files FilesIn(const fs::path& dir) {
    Files files;
    if (fs::exists(dir))
        for (const auto& entry : fs::directory_iterator(dir))
            files[entry.path().filename().string()] = ReadWholeFile(entry.path().string());
    return files;
}

// Calls `visit` with each TNEF file's path below the data folder and an
// empty folder of its own.
int ForEachTnef(const std::function<void(const std::string&, const fs::path&, const fs::path&)>& visit) {
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_DATA_DIR)) {
        if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
        if (!RunCli({"identify", entry.path().string()}).out.starts_with("1197 ")) continue;
        const fs::path work = OwnTempFolder() / ("tnef-" + std::to_string(files++));
        fs::create_directories(work);
        visit(fs::relative(entry.path(), MAILSIFT_DATA_DIR).string(), entry.path(), work);
        fs::remove_all(work);
    }
    return files;
}

// The tool aborts on some damaged files after writing what it found.
void RunTool(const std::string& options, const fs::path& input, const fs::path& dir) {
    fs::create_directories(dir);
    std::system(("tnef -K " + options + " -C '" + dir.string() + "' -f '" + input.string() + "' > /dev/null 2>&1")
                    .c_str());
}

// True when `ours` holds `bytes` (or them without the interface id) under one of `names`.
bool Holds(const Files& ours, const std::string& bytes, const std::set<std::string>& names = {}) {
    for (const auto& [name, data] : ours)
        if ((data == bytes || (bytes.size() >= 16 && data == bytes.substr(16))) &&
            (names.empty() || names.count(name)))
            return true;
    return false;
}

TEST(TnefTool, AttachmentsAgreeBothWaysInBytesAndNames) {
    std::map<std::string, int> toolOnly, oursOnly, namedOtherwise;
    int compared = 0;
    const int files = ForEachTnef([&](const std::string& relative, const fs::path& path, const fs::path& work) {
        RunTool("--number-backups", path, work / "tool");
        const CliResult run = RunCli({"extract", "-o", (work / "ours").string(), path.string()});
        EXPECT_EQ(run.status, 0) << relative << ": " << run.err;
        const Files tool = FilesIn(work / "tool"), ours = FilesIn(work / "ours");
        for (const auto& [name, bytes] : tool) {
            ++compared;
            if (!Holds(ours, bytes)) ++toolOnly[relative];
            else if (!Holds(ours, bytes, {name})) ++namedOtherwise[relative];
        }
        for (const auto& [name, bytes] : ours) {
            bool found = false;
            for (const auto& [toolName, toolBytes] : tool) found = found || Holds({{name, bytes}}, toolBytes);
            if (!found) ++oursOnly[relative];
        }
    });
    EXPECT_GT(files, 25);
    EXPECT_GT(compared, 35);
    EXPECT_EQ(toolOnly, Counts(kToolOnly)) << "files of the tool that we don't write, by TNEF file";
    EXPECT_EQ(oursOnly, Counts(kOursOnly)) << "files we write that the tool doesn't, by TNEF file";
    EXPECT_EQ(namedOtherwise, Counts(kNamedOtherwise)) << "same bytes under another name, by TNEF file";
}

// A `.list` beside a TNEF file names the attachments that the reader whose
// test data it is extracts, and last the body it saves ("body.rtf",
// "NAME-body.html"): a body, which `ls` rightly leaves out.
TEST(TnefTool, ListFilesNameOurAttachments) {
    std::set<std::string> differ, expected;
    for (const auto& [stem, reason] : kListsDiffer) expected.insert(stem);
    int lists = 0;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_DATA_DIR)) {
        if (entry.path().extension() != ".list") continue;
        ++lists;
        std::vector<std::string> listed, ours;
        std::istringstream lines(ReadWholeFile(entry.path().string()));
        for (std::string line; std::getline(lines, line);)
            if (!line.empty() && !line.ends_with("body.rtf") && !line.ends_with("body.html")) listed.push_back(line);
        std::istringstream rows(RunCli({"ls", fs::path(entry.path()).replace_extension(".tnef").string()}).out);
        for (std::string index, name, rest; std::getline(rows, index, '\t') && std::getline(rows, name, '\t');) {
            ours.push_back(name);
            std::getline(rows, rest);
        }
        std::sort(listed.begin(), listed.end());
        std::sort(ours.begin(), ours.end());
        if (listed != ours) differ.insert(entry.path().stem().string());
    }
    EXPECT_EQ(lists, 22);
    EXPECT_EQ(differ, expected);
}

// The compressed RTF bodies the walker records in a TNEF file, through the
// platform's decoding stage for their transfer code.
std::vector<std::string> OurRtfBodies(const std::string& bytes) {
    MemoryObject file(bytes);
    ByteReader* reader = ReaderOpen(file.get());
    GrowList* records = ListCreate(0, 0, sizeof(AttachRecord), 4, 4);
    MessagePart part{};
    if (reader) TnefWalk(reader, 0, static_cast<uint32_t>(bytes.size()), &part, records, 0);
    ReaderClose(reader);
    std::vector<std::string> bodies;
    for (uint16_t i = 0; i < ListCount(records); ++i) {
        const AttachRecord* record = ListAt<AttachRecord>(records, i);
        IoObject* decoded = nullptr;
        if (record->forFilter1028 && record->offset <= bytes.size()) {
            MemoryObject value(bytes.substr(record->offset, record->length));
            if (DecodeObjectOpen(value.get(), record->transferCode, &decoded) != 0) continue;
            std::string out, buffer(65536, '\0');
            uint32_t got = 0;
            while (out.size() < (64u << 20) && decoded->Read(decoded, buffer.data(), 65536, &got) == 0 && got != 0)
                out.append(buffer.data(), std::min<uint32_t>(got, 65536));
            decoded->Close(decoded);
            bodies.push_back(out);
        }
    }
    for (uint16_t i = 0; i < ListCount(records); ++i) StringFree(ListAt<AttachRecord>(records, i)->nameBlock);
    ListDestroy(records);
    return bodies;
}

// The tool saves the RTF body as "NAME.rtf"; a file without one gets none.
TEST(TnefTool, CompressedRtfBodiesDecodeAsTheToolSavesThem) {
    std::map<std::string, int> differ;
    int bodies = 0;
    ForEachTnef([&](const std::string& relative, const fs::path& path, const fs::path& work) {
        RunTool("--save-body=saved-body --body-pref=R", path, work);
        const std::vector<std::string> ours = OurRtfBodies(ReadWholeFile(path.string()));
        const Files tool = FilesIn(work);
        std::vector<std::string> toolBodies;
        if (tool.count("saved-body.rtf")) toolBodies.push_back(tool.at("saved-body.rtf"));
        bodies += static_cast<int>(toolBodies.size());
        if (ours != toolBodies) ++differ[relative];
    });
    EXPECT_GT(bodies, 15);
    EXPECT_EQ(differ, Counts(kRtfMissing)) << "TNEF files whose RTF bodies differ from the tool's";
}

}  // namespace
