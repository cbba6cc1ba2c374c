// `view`, `ls` and `extract` give every attachment the same name: the name
// column of `ls`, the attachment names of `view --format json` and the files
// `extract` writes, over every file of the test data, and none of them fails
// on any of those files.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/cli/cli_run.h"

namespace {

namespace fs = std::filesystem;

// Column `column` of every tab-separated line.
std::vector<std::string> Column(const std::string& out, int column) {
    std::vector<std::string> values;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string field;
        for (int i = 0; i <= column && std::getline(fields, field, '\t'); ++i) {}
        values.push_back(field);
    }
    return values;
}

// The values of `"key": "..."` in order; a name with a quote in it would end
// early and then fail to match.
std::vector<std::string> JsonStrings(const std::string& json, const std::string& key) {
    std::vector<std::string> values;
    const std::string mark = "\"" + key + "\": \"";
    for (size_t at = json.find(mark); at != std::string::npos; at = json.find(mark, at)) {
        at += mark.size();
        values.push_back(json.substr(at, json.find('"', at) - at));
    }
    return values;
}

std::vector<std::string> NamesOf(const std::string& path) {
    const CliResult ls = RunCli({"ls", path});
    // Whatever the file, broken on purpose or not: a listing or a refusal,
    // never a crash, a hang or a second line of complaint.
    EXPECT_EQ(ls.signal, 0) << path;
    EXPECT_TRUE(ls.status == 0 || ls.status == 1) << path << ": " << ls.err;
    EXPECT_LE(std::count(ls.err.begin(), ls.err.end(), '\n'), 1) << path;
    // A file the filter refuses, or one without attachments, names nothing.
    if (ls.status != 0 || ls.out.empty()) return {};
    const std::vector<std::string> names = Column(ls.out, 1);

    const CliResult view = RunCli({"view", "--format", "json", path});
    EXPECT_EQ(view.status, 0) << path << ": " << view.err;
    EXPECT_TRUE(view.out.ends_with("}\n")) << path;
    const std::string attachments = view.out.substr(view.out.find("\"attachments\""));
    for (const std::string& name : JsonStrings(attachments, "name"))
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end())
            << path << ": view names \"" << name << "\", ls does not";

    const fs::path dir = OwnTempFolder() / "names-agree";
    fs::remove_all(dir);
    const CliResult extract = RunCli({"extract", "-o", dir.string(), path});
    EXPECT_EQ(extract.status, 0) << path << ": " << extract.err;
    const std::vector<std::string> written = Column(extract.out, 1);
    EXPECT_EQ(written.size(), names.size()) << path;
    for (size_t i = 0; i < written.size() && i < names.size(); ++i) {
        const std::string file = fs::path(written[i]).filename().string();
        // A name taken already gets "-N" in front of its extension.
        const fs::path name(names[i]);
        const bool suffixed = file.starts_with(name.stem().string() + "-") &&
                              file.ends_with(name.extension().string());
        EXPECT_TRUE(file == names[i] || suffixed) << path << ": extract wrote " << file
                                                  << ", ls names " << names[i];
    }
    return names;
}

TEST(Names, ViewLsAndExtractAgree) {
    size_t named = 0;
    for (const auto& entry : fs::recursive_directory_iterator(MAILSIFT_DATA_DIR))
        if (entry.is_regular_file() && entry.path().extension() != ".md")
            named += NamesOf(entry.path().string()).size();
    EXPECT_GT(named, 400u);

    // A set the filter knows and iconv names otherwise: the subject and the
    // file name read alike; RFC 2231 pieces join in their charset.
    const std::string mail = std::string(MAILSIFT_SOURCE_DIR) + "/tests/data/names/mac-cyrillic.eml";
    EXPECT_EQ(NamesOf(mail), (std::vector<std::string>{"отчёт.txt", "café menu.bin"}));
    const CliResult view = RunCli({"view", "--format", "json", mail});
    EXPECT_NE(view.out.find("{\"label\": \"Subject\", \"value\": \"Привет\"}"), std::string::npos)
        << view.out;
}

}  // namespace
