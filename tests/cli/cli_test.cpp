// The mailsift program as a user meets it: renderings of the shipped
// examples against their reviewed expected files, exit statuses and the
// one-line complaints, bad input that must neither crash nor hang it, and the
// sub-document commands.
#include <gtest/gtest.h>

#include <cstdlib>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tests/cli/cli_run.h"

namespace {

const std::string kExamples = std::string(MAILSIFT_SOURCE_DIR) + "/examples/";

int Lines(const std::string& text) {
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Cli, RendersEveryExampleAsItsExpectedText) {
    int compared = 0;
    for (const auto& entry : std::filesystem::directory_iterator(kExamples)) {
        if (entry.path().extension() != ".eml") continue;
        std::filesystem::path expected = entry.path();
        expected.replace_extension(".txt");
        ASSERT_TRUE(std::filesystem::exists(expected)) << expected;
        const CliResult run = RunCli({"view", entry.path().string()});
        EXPECT_EQ(run.status, 0) << entry.path() << "\n" << run.err;
        EXPECT_EQ(run.err, "") << entry.path();
        EXPECT_EQ(run.out, ReadWholeFile(expected.string())) << entry.path();
        ++compared;
    }
    EXPECT_GE(compared, 6);
}

TEST(Cli, JsonAndEventsRenderingsMatchTheirExpectedFiles) {
    CliResult json = RunCli({"view", "--format", "json", kExamples + "welcome.eml"});
    EXPECT_EQ(json.status, 0) << json.err;
    // The file is named as given; the expected file has the bare name.
    const std::string given = "{\"file\": \"" + kExamples;
    ASSERT_EQ(json.out.rfind(given, 0), 0u) << json.out;
    json.out.replace(0, given.size(), "{\"file\": \"");
    EXPECT_EQ(json.out, ReadWholeFile(kExamples + "welcome.json"));

    const CliResult events = RunCli({"view", "--format", "events", kExamples + "tiny.eml"});
    EXPECT_EQ(events.status, 0) << events.err;
    EXPECT_EQ(events.out, ReadWholeFile(kExamples + "tiny.events"));

    // Attachment links become the attachments list, each measured by reading
    // it decoded (the sample's PDF stand-in is 304 bytes); the first header block
    // is `headers`, a part's header block is text.
    const CliResult parts = RunCli({"view", "--format", "json", kExamples + "attachment.eml"});
    EXPECT_EQ(parts.status, 0) << parts.err;
    EXPECT_NE(parts.out.find("{\"label\": \"Cc\", \"value\": \"boss@example.org\"}"),
              std::string::npos);
    EXPECT_NE(parts.out.find("\"text\": \"Content-Type:              text/plain; charset=utf-8\\n"),
              std::string::npos)
        << parts.out;
    EXPECT_TRUE(parts.out.ends_with(
        ", \"attachments\": [{\"index\": 0, \"name\": \"figures-q1.pdf\", "
        "\"type\": \"application/pdf\", \"size\": 304}]}\n"))
        << parts.out;

    // Rich bodies: HTML attributes and link colour in the events, a TNEF
    // document's RTF body and attachments in the JSON.
    const std::string html = RunCli({"view", "--format", "events", kExamples + "newsletter-html.eml"}).out;
    EXPECT_NE(html.find("SoSetProperty 8 2 1 0\n"), std::string::npos);
    EXPECT_NE(html.find("SoSetTextColor 0 0xFF0000\nSoSetProperty 8 4 1 0\n"), std::string::npos);
    const std::string tnef =
        RunCli({"view", "--format", "json", std::string(MAILSIFT_DATA_DIR) + "/ytnef/missing-filenames.tnef"}).out;
    EXPECT_NE(tnef.find("\"text\": \"Hi Stephen,\\n\\nSue has"), std::string::npos) << tnef.substr(0, 300);
    EXPECT_NE(tnef.find("{\"index\": 1, \"name\": \"generpts.src\""), std::string::npos);

    // --as overrides identification and shows in the JSON.
    const CliResult as = RunCli({"view", "--format", "json", "--as", "0x4A8",
                                 kExamples + "welcome.eml"});
    EXPECT_EQ(as.status, 0) << as.err;
    EXPECT_NE(as.out.find("\"format\": 1192,"), std::string::npos) << as.out;

    // A subject with a backslash and quotes parses back to itself.
    const std::string subject = R"(C:\new "dir" \\x)";
    const std::string mail = WriteTemp("escape.eml", "From: a@b\nSubject: " + subject + "\n\nhi\n");
    const std::string jsonFile = WriteTemp("escape.json", RunCli({"view", "--format", "json", mail}).out);
    const std::string back = (OwnTempFolder() / "escape.txt").string();
    std::system(("python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))[\"headers\"][1][\"value\"])' " +
                 jsonFile + " > " + back).c_str());
    EXPECT_EQ(ReadWholeFile(back), subject + "\n");
}

TEST(Cli, RefusesWhatIsNoMailInWordsWithStatusOne) {
    const std::string garbage = WriteTemp("garbage.bin", std::string("\x00\x01\x02\xFF\xFE", 5) +
                                                             std::string(3000, '\x9C'));
    CliResult run = RunCli({"view", garbage});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "mailsift: " + garbage + ": not a mail, news or encoded file\n");

    run = RunCli({"view", "--format", "json", garbage});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "{\"file\": \"" + garbage +
                           "\", \"format\": 1999, \"status\": \"refused\", \"code\": -2, "
                           "\"reason\": \"not a mail, news or encoded file\"}\n");
    EXPECT_EQ(Lines(run.err), 1);

    const std::string mailbox = WriteTemp(
        "two.mbox", "From a@example.org Mon Mar  2 09:00:00 2026\nFrom: a@example.org\n"
                    "Subject: one\n\nfirst\n\nFrom b@example.org Mon Mar  2 10:00:00 2026\n"
                    "From: b@example.org\nSubject: two\n\nsecond\n");
    run = RunCli({"view", mailbox});
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_NE(run.err.find("a mailbox of more than one message"), std::string::npos) << run.err;
    EXPECT_EQ(Lines(run.err), 1);
}

TEST(Cli, UsageAndInputErrorsHaveTheirOwnStatus) {
    const std::string mail = kExamples + "welcome.eml";
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {}, {"frobnicate"}, {"view"}, {"view", "--format", "pdf", mail}, {"view", "--as", "70000", mail},
             {"view", "--as", mail}, {"view", "--bogus", mail}, {"view", mail, kExamples + "tiny.eml"},
             {"view", "--width", "9", mail}, {"view", "--width", "4x", mail}})
        EXPECT_EQ(RunCli(args).status, 2) << testing::PrintToString(args);
    EXPECT_EQ(RunCli({"--help"}).status, 0);
    // A width moves only aligned or indented text; this mail has none.
    EXPECT_EQ(RunCli({"view", "--width", "30", mail}).out, ReadWholeFile(kExamples + "welcome.txt"));

    CliResult run = RunCli({"view", "/nonexistent/mail.eml"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "mailsift: /nonexistent/mail.eml: No such file or directory\n");
    run = RunCli({"view", kExamples});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(Lines(run.err), 1);

    const std::string locked = WriteTemp("locked.eml", "From: a@b\nTo: c@d\n\nx\n");
    chmod(locked.c_str(), 0);
    if (geteuid() != 0) {  // root reads it anyway
        run = RunCli({"view", locked});
        EXPECT_EQ(run.status, 3);
        EXPECT_EQ(Lines(run.err), 1);
    }

    run = RunCli({"view", kExamples + "welcome.eml"}, {"MAILSIFT_FILTER=/nonexistent/lib.so"});
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("cannot load the mail filter"), std::string::npos) << run.err;
}

TEST(Cli, OddInputsEndCleanly) {
    const std::string inputs[] = {
        "",                                                   // empty
        "From: a@example.org\n",                              // a header and nothing else
        "From: a@example.org\nSubject: x\n\n" + std::string(200000, 'y'),  // one long line
        "Subject: =?utf-8?B?" + std::string(5000, '4') + "?=\nFrom: x\n\nbody\r",
        "From: a\nTo: b\nContent-Type: multipart/mixed; boundary=q\n\n--q\n--q\n--q--\n",
        std::string("From: a\nTo: b\n\n\0\0\0\xEF\xBB\xBF\r\r\n", 25),
    };
    int i = 0;
    for (const std::string& input : inputs) {
        const std::string path = WriteTemp("odd" + std::to_string(i++) + ".eml", input);
        for (const char* format : {"text", "json", "events"}) {
            const CliResult run = RunCli({"view", "--format", format, path});
            EXPECT_EQ(run.signal, 0) << path << " " << format;
            EXPECT_TRUE(run.status == 0 || run.status == 1) << path << " " << format << run.err;
            EXPECT_LE(Lines(run.err), 1) << path;
        }
    }
    // A rich body that renders nothing says so where it would stand; one
    // that renders does not.
    const std::string rich = "From: a\nContent-Type: text/html\n\n";
    const std::string note = "[no support filter rendered this text/html body]";
    EXPECT_NE(RunCli({"view", WriteTemp("html0.eml", rich)}).out.find(note), std::string::npos);
    EXPECT_EQ(RunCli({"view", WriteTemp("html1.eml", rich + "<p>x</p>")}).out.find(note), std::string::npos);
    const std::string emptyTnef("\x78\x9F\x3E\x22\x01\x00", 6);
    EXPECT_NE(RunCli({"view", WriteTemp("empty.tnef", emptyTnef)}).out.find("rendered this application/ms-tnef body"),
              std::string::npos);
}

// ---- `identify`, `ls` and `extract`: listings, decoded names, files that are
// never overwritten, hostile names, and the exit statuses.

namespace fs = std::filesystem;
const std::string kCorpus = std::string(MAILSIFT_DATA_DIR) + "/";

fs::path FreshDirectory(const std::string& name) {
    const fs::path dir = OwnTempFolder() / name;
    fs::remove_all(dir);
    fs::create_directories(dir.parent_path());
    return dir;
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
    // An embedded message without a file name goes by its subject.
    run = RunCli({"ls", kCorpus + "mimekit/messages/simple-embedded-message.eml"});
    EXPECT_EQ(run.out, "1\tembedded message.eml\tmessage/rfc822\t209\n");
    EXPECT_EQ(RunCli({"ls"}).status, 2);
    EXPECT_EQ(RunCli({"ls", "--as", "x", kExamples + "attachment.eml"}).status, 2);
    EXPECT_EQ(RunCli({"ls", kExamples + "welcome.eml"}).out, "");

    // A block cut off by the end of its mail has no closing: it stays text.
    const std::string plain = ReadWholeFile(kCorpus + "uudeview/test/plain-uuencode.good.msg");
    const std::string cut = plain.substr(0, plain.find("\nE9") + 1);
    run = RunCli({"ls", WriteTemp("cut.msg", plain + "\ntext\n" + cut.substr(cut.find("begin ")))});
    EXPECT_EQ(run.out, "1\ttest.txt\ttext/plain\t172\n");
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

}  // namespace
