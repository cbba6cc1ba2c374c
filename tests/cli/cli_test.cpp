// The mailsift program as a user meets it: renderings of the shipped
// examples against their reviewed expected files, exit statuses and the
// one-line complaints, and bad input that must neither crash nor hang it.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/cli/cli_run.h"

namespace {

const std::string kExamples = std::string(MAILSIFT_SOURCE_DIR) + "/examples/";

std::string WriteTemp(const std::string& name, const std::string& bytes) {
    const std::string path = (OwnTempFolder() / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

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

    // --as overrides identification and shows in the JSON.
    const CliResult as = RunCli({"view", "--format", "json", "--as", "0x4A8",
                                 kExamples + "welcome.eml"});
    EXPECT_EQ(as.status, 0) << as.err;
    EXPECT_NE(as.out.find("\"format\": 1192,"), std::string::npos) << as.out;
}

// The JSON output is JSON: a subject with a backslash and a double quote
// parses back to itself.
TEST(Cli, JsonEscapesBackslashAndQuote) {
    const std::string subject = "C:\\dir \"quoted\" \\\" end";
    const std::string mail = WriteTemp("escape.eml", "From: a@example.org\nSubject: " + subject + "\n\nbody\n");
    const CliResult run = RunCli({"view", "--format", "json", mail});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string json = WriteTemp("escape.json", run.out);
    const std::string script =
        "import json,sys\nd=json.load(open(sys.argv[1]))\n"
        "sys.stdout.write([h['value'] for h in d['headers'] if h['label']=='Subject'][0])";
    const std::string command = "python3 -c \"" + script + "\" '" + json + "'";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string parsed;
    char buf[256];
    for (size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;) parsed.append(buf, n);
    EXPECT_EQ(pclose(pipe), 0) << run.out;
    EXPECT_EQ(parsed, subject) << run.out;
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
             {"view", "--as", mail}, {"view", "--bogus", mail}, {"view", mail, kExamples + "tiny.eml"}})
        EXPECT_EQ(RunCli(args).status, 2) << testing::PrintToString(args);
    EXPECT_EQ(RunCli({"--help"}).status, 0);

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

// Files their authors broke on purpose: each ends with a rendering or a
// refusal, never a crash, a hang or a second line of complaint.
TEST(Cli, SurvivesTheDeliberatelyBrokenCorpusFiles) {
    int tried = 0;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(MAILSIFT_DATA_DIR)) {
        if (!entry.is_regular_file()) continue;
        std::string name = entry.path().filename().string();
        std::transform(name.begin(), name.end(), name.begin(), ::tolower);
        const bool broken = name.find("malformed") != std::string::npos ||
                            name.find("bad") != std::string::npos ||
                            name.find("broken") != std::string::npos ||
                            name.find("invalid") != std::string::npos ||
                            name.find("corrupt") != std::string::npos;
        if (!broken) continue;
        const CliResult run = RunCli({"view", "--format", "json", entry.path().string()});
        EXPECT_EQ(run.signal, 0) << entry.path();
        EXPECT_TRUE(run.status == 0 || run.status == 1) << entry.path() << run.err;
        EXPECT_LE(Lines(run.err), 1) << entry.path();
        EXPECT_TRUE(run.out.ends_with("\n")) << entry.path();
        ++tried;
    }
    EXPECT_GT(tried, 50);
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
}

}  // namespace
