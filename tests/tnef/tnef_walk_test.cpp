// The TNEF walker's rules on streams written by hand, seen as a user sees
// them: what `mailsift ls` lists and `extract` writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/cli/cli_run.h"
#include "tests/tnef/tnef_builder.h"

namespace {

using namespace tnef_test;

std::string Ls(const std::string& name, const std::string& tnef) {
    const CliResult run = RunCli({"ls", WriteTemp(name, tnef)});
    EXPECT_EQ(run.status, 0) << name << ": " << run.err;
    return run.out;
}

std::string DisplayName(const std::string& name) {
    return Attribute(kAttachment, kAttAttachment,
                     PropertyBlock(1, SizedProperty(30, kPrDisplayName, name + std::string(1, '\0'))));
}

TEST(TnefWalk, NamesAndDataFollowTheLastWordInTheFile) {
    // A display name comes after the title and wins.
    std::string tnef = Header() + Attribute(kAttachment, kAttTitle, "title.txt") +
                       Attribute(kAttachment, kAttData, "DATA-ONE") + DisplayName("shown.txt");
    EXPECT_EQ(Ls("named.tnef", tnef), "1\tshown.txt\ttext/plain\t8\n");

    // PR_ATTACH_DATA_BIN overrides attAttachData, past its 16-byte header.
    const std::string bin = std::string(16, '\x01') + "NEW DATA";
    tnef = Header() + Attribute(kAttachment, kAttTitle, "a.txt") + Attribute(kAttachment, kAttData, "OLD") +
           Attribute(kAttachment, kAttAttachment, PropertyBlock(1, SizedProperty(258, kPrDataBin, bin)));
    const std::filesystem::path out = OwnTempFolder() / "tnef-bin";
    std::filesystem::remove_all(out);
    const CliResult run = RunCli({"extract", "-o", out.string(), WriteTemp("bin.tnef", tnef)});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReadWholeFile((out / "a.txt").string()), "NEW DATA");

    // Without a name nothing is added, and the data's place waits for the
    // next attachment; records of other levels, and attAttachment at the
    // message level, are passed over.
    tnef = Header() + Attribute(0, kAttTitle, "zero") + Attribute(3, kAttTitle, "three") +
           Attribute(kMessage, kAttAttachment, "junk") + Attribute(kAttachment, kAttData, "XYZ") +
           Attribute(kAttachment, kAttAttachment, PropertyBlock(0, "")) +
           Attribute(kAttachment, kAttTitle, "late.txt") + Attribute(kAttachment, kAttAttachment, PropertyBlock(0, ""));
    EXPECT_EQ(Ls("unnamed.tnef", tnef), "1\tlate.txt\ttext/plain\t3\n");
}

// An 8-bit title names the file as the `tnef` tool names it, read as the
// Windows code page the tool leaves it in.
TEST(TnefWalk, EightBitTitlesAgreeWithTheTnefTool) {
    const std::string size = PropertyBlock(1, Le(3, 2) + Le(0x0E20, 2) + Le(4, 4));  // PR_ATTACH_SIZE
    const std::string tnef = Header() + Attribute(kAttachment, kAttRendData, std::string(14, '\0')) +
                             Attribute(kAttachment, kAttTitle, std::string("Gr\xFC\xDF" "e.txt\0", 10)) +
                             Attribute(kAttachment, kAttData, "DATA") + Attribute(kAttachment, kAttAttachment, size);
    const std::string path = WriteTemp("eight-bit.tnef", tnef);
    const std::filesystem::path tool = OwnTempFolder() / "tnef-eight-bit";
    std::filesystem::remove_all(tool);
    std::filesystem::create_directories(tool);
    std::system(("tnef -C '" + tool.string() + "' -f '" + path + "' > /dev/null 2>&1").c_str());
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(tool)) names.push_back(entry.path().filename());
    EXPECT_EQ(names, std::vector<std::string>{"Gr\xFC\xDF" "e.txt"});
    EXPECT_EQ(Ls("eight-bit.tnef", tnef), "1\tGr\xC3\xBC\xC3\x9F" "e.txt\ttext/plain\t4\n");
}

TEST(TnefWalk, LongTitlesAndCutStreamsKeepWhatWasFound) {
    const std::string first = Attribute(kAttachment, kAttTitle, std::string(300, 'x') + ".txt") +
                              Attribute(kAttachment, kAttData, "one") +
                              Attribute(kAttachment, kAttAttachment, PropertyBlock(0, ""));
    const std::string second = Attribute(kAttachment, kAttTitle, "two.txt") +
                               Attribute(kAttachment, kAttData, "second") + DisplayName("two.txt");
    // A 300-byte title keeps 256 bytes, and the walk stays in step.
    const std::string listed = Ls("long.tnef", Header() + first + second);
    EXPECT_NE(listed.find("\t" + std::string(200, 'x')), std::string::npos) << listed;
    EXPECT_NE(listed.find("2\ttwo.txt\ttext/plain\t6\n"), std::string::npos) << listed;

    // Cut anywhere, the stream lists the attachments completed before the
    // cut, never more, and never fails.
    const std::string whole = Header() + second + second;
    for (size_t cut = 0; cut <= whole.size(); ++cut) {
        const CliResult run = RunCli({"ls", WriteTemp("cut.tnef", whole.substr(0, cut))});
        EXPECT_TRUE(run.signal == 0 && run.status <= 1) << cut << run.err;
        const std::string& got = run.out;
        EXPECT_LE(std::count(got.begin(), got.end(), '\n'), 2) << cut;
        if (cut >= Header().size() + second.size()) {
            EXPECT_TRUE(got.starts_with("1\ttwo.txt")) << cut << got;
        }
    }
    EXPECT_EQ(Ls("six.tnef", Header()), "");
}

}  // namespace
