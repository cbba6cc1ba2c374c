// `mailsift identify`, `ls` and `extract` as a user meets them: listings,
// decoded names, files that are never overwritten, hostile names, and the
// exit statuses.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/cli/cli_run.h"

namespace {

namespace fs = std::filesystem;

const std::string kExamples = std::string(MAILSIFT_SOURCE_DIR) + "/examples/";
const std::string kCorpus = std::string(MAILSIFT_DATA_DIR) + "/";

fs::path FreshDirectory(const std::string& name) {
    const fs::path dir = OwnTempFolder() / name;
    fs::remove_all(dir);
    fs::create_directories(dir.parent_path());
    return dir;
}

std::string WriteTemp(const std::string& name, const std::string& bytes) {
    const std::string path = (OwnTempFolder() / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

TEST(IdentifyCommand, NamesWhatTheServiceSays) {
    CliResult run = RunCli({"identify", kExamples + "attachment.eml"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "1192 Internet Mail Message\n");
    run = RunCli({"identify", WriteTemp("noise.bin", std::string("\x00\x9C\x01\xFF", 4) +
                                                         std::string(500, '\x9C'))});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "1999 unknown\n");
    EXPECT_EQ(RunCli({"identify"}).status, 2);
    EXPECT_EQ(RunCli({"identify", "/nonexistent"}).status, 3);
}

TEST(LsCommand, ListsEverySubDocumentWithNameTypeAndDecodedSize) {
    CliResult run = RunCli({"ls", kExamples + "attachment.eml"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "1\tfigures-q1.pdf\tapplication/pdf\t304\n");

    // Related pictures (byte-range recipes) are named by the header in front
    // of them; a name split into RFC 2231 pieces and one in encoded words
    // are decoded from the document's own fields.
    run = RunCli({"ls", kCorpus + "mailparser/test/fixtures/nodemailer.eml"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out,
              "1\timage.png\timage/png\t126\n"
              "2\tnyan cat \xE2\x9C\x94.gif\timage/gif\t29361\n"
              "3\timage.png\timage/png\t126\n"
              "4\tnyan cat \xE2\x9C\x94.gif\timage/gif\t29361\n"
              "5\tnotes.txt\ttext/plain\t30\n");
    EXPECT_EQ(RunCli({"ls"}).status, 2);
    EXPECT_EQ(RunCli({"ls", "--as", "x", kExamples + "attachment.eml"}).status, 2);
    EXPECT_EQ(RunCli({"ls", kExamples + "welcome.eml"}).out, "");
}

TEST(ExtractCommand, WritesDecodedDataAndNeverOverwrites) {
    const fs::path dir = FreshDirectory("extract-twice");
    CliResult run = RunCli({"extract", "-o", dir.string(), kExamples + "attachment.eml"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "1\t" + (dir / "figures-q1.pdf").string() + "\t304\n");
    const std::string pdf = ReadWholeFile((dir / "figures-q1.pdf").string());
    EXPECT_EQ(pdf.size(), 304u);
    EXPECT_TRUE(pdf.starts_with("%PDF-1.4")) << pdf.substr(0, 16);

    // The second run takes a new name; the first file stays as it was.
    run = RunCli({"extract", "-o", dir.string(), "-n", "1", kExamples + "attachment.eml"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "1\t" + (dir / "figures-q1-1.pdf").string() + "\t304\n");
    EXPECT_EQ(ReadWholeFile((dir / "figures-q1-1.pdf").string()), pdf);
    EXPECT_EQ(ReadWholeFile((dir / "figures-q1.pdf").string()), pdf);

    // A number the document doesn't have is a usage error, in words.
    run = RunCli({"extract", "-o", dir.string(), "-n", "7", kExamples + "attachment.eml"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("has no sub-document 7"), std::string::npos) << run.err;
    EXPECT_EQ(RunCli({"extract", "-n", "0", kExamples + "attachment.eml"}).status, 2);
    EXPECT_EQ(RunCli({"extract", "-o"}).status, 2);
    // A file where the directory should be: an I/O error.
    run = RunCli({"extract", "-o", kExamples + "welcome.eml", kExamples + "attachment.eml"});
    EXPECT_EQ(run.status, 3);
    // A refused document writes nothing.
    const fs::path none = FreshDirectory("extract-refused");
    run = RunCli({"extract", "-o", none.string(), WriteTemp("refused.bin", std::string(300, '\x9C'))});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(fs::is_empty(none));
}

TEST(ExtractCommand, HostileAndMissingNamesBecomeSafeFiles) {
    // Without transfer encoding the line end in front of the delimiter counts.
    const std::string mail =
        "From: a@example.org\nTo: b@example.org\nSubject: names\nMIME-Version: 1.0\n"
        "Content-Type: multipart/mixed; boundary=\"b\"\n\n--b\nContent-Type: text/plain\n\nhi\n"
        "--b\nContent-Type: application/octet-stream; name=\"../../x/evil.sh\"\n"
        "Content-Disposition: attachment; filename=\"../../x/evil.sh\"\n\necho hi\n"
        "--b\nContent-Type: application/pdf\nContent-Disposition: attachment\n\n%PDF-1.4\n"
        "--b\nContent-Type: text/plain\nContent-Disposition: attachment;\n"
        " filename=\"=?utf-8?B?R3LDvMOfZS50eHQ=?=\"\n\nGruesse\n--b--\n";
    // Two levels down in a folder of our own: "../../x" from there lands in
    // it, where nothing else can have made an x.
    ASSERT_FALSE(OwnTempFolder().empty());
    const fs::path dir = FreshDirectory("hostile/extract");
    const CliResult run = RunCli({"extract", "-o", dir.string(), WriteTemp("names.eml", mail)});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReadWholeFile((dir / "_.._x_evil.sh").string()), "echo hi\n");
    EXPECT_EQ(ReadWholeFile((dir / "part-2.pdf").string()), "%PDF-1.4\n");
    EXPECT_EQ(ReadWholeFile((dir / "Gr\xC3\xBC\xC3\x9F" "e.txt").string()), "Gruesse\n");
    int files = 0;
    for (const auto& entry : fs::directory_iterator(dir)) files += entry.is_regular_file();
    EXPECT_EQ(files, 3);
    EXPECT_FALSE(fs::exists(dir.parent_path() / "x"));
    EXPECT_FALSE(fs::exists(OwnTempFolder() / "x"));
}

TEST(ViewJson, AttachmentsCarryTheirDecodedType) {
    const CliResult run = RunCli({"view", "--format", "json",
                                  kCorpus + "mailparser/test/fixtures/nodemailer.eml"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("\"type\": \"image/gif\", \"size\": 29361"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\"name\": \"notes.txt\", \"type\": \"text/plain\", \"size\": 30}"),
              std::string::npos);
}

}  // namespace
