// Data split over numbered files: real samples cut into pieces in a folder of
// their own, opened from the first piece through the C interface and through
// mailsift, joined and decoded back to the original bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/mailfilter.h"
#include "platform/platform.h"
#include "tests/cli/cli_run.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"
#include "tests/support/recording_host.h"
#include "subdoc/subdoc.h"

namespace {

namespace fs = std::filesystem;

const std::string kGif = CorpusBytes("convert-binhex/testout/eyeball.gif");

// Uuencoded lines of `bytes` behind a begin line, with the closing lines.
std::vector<std::string> UuLines(const std::string& bytes) {
    auto digit = [](unsigned v) { return static_cast<char>(v == 0 ? '`' : v + 32); };
    std::vector<std::string> lines = {"begin 644 eyeball.gif\n"};
    for (size_t at = 0; at < bytes.size(); at += 45) {
        std::string chunk = bytes.substr(at, 45), line(1, digit(static_cast<unsigned>(chunk.size())));
        chunk.resize((chunk.size() + 2) / 3 * 3, '\0');
        for (size_t i = 0; i < chunk.size(); i += 3) {
            unsigned v = uint8_t(chunk[i]) << 16 | uint8_t(chunk[i + 1]) << 8 | uint8_t(chunk[i + 2]);
            for (int shift : {18, 12, 6, 0}) line += digit((v >> shift) & 63);
        }
        lines.push_back(line + "\n");
    }
    lines.insert(lines.end(), {"`\n", "end\n"});
    return lines;
}

// The lines of a sample, each with its line end.
std::vector<std::string> LinesOf(const std::string& relative) {
    std::vector<std::string> lines;
    std::istringstream text(CorpusBytes(relative));
    for (std::string line; std::getline(text, line);) lines.push_back(line + "\n");
    return lines;
}

std::string Joined(const std::vector<std::string>& lines, size_t from = 0, size_t to = SIZE_MAX) {
    std::string all;
    for (size_t i = from; i < std::min(to, lines.size()); ++i) all += lines[i];
    return all;
}

// Writes lines [cuts[i], cuts[i+1]) to names[i] in a new folder; the path of
// the first.
std::string WriteSet(const std::string& folder, const std::vector<std::string>& lines,
                     const std::vector<std::string>& names, const std::vector<size_t>& cuts) {
    fs::path dir = OwnTempFolder() / folder;
    fs::create_directories(dir);
    for (size_t i = 0; i < names.size(); ++i)
        std::ofstream(dir / names[i], std::ios::binary)
            << Joined(lines, cuts[i], i + 1 < cuts.size() ? cuts[i + 1] : SIZE_MAX);
    return (dir / names[0]).string();
}

// mailsift extract of `path`: the bytes of the one file it writes.
std::string Extracted(const std::string& path, CliResult* result) {
    fs::path out = fs::path(path).parent_path() / "out";
    *result = RunCli({"extract", path, "-o", out.string()});
    for (const auto& entry : fs::directory_iterator(out)) return ReadWholeFile(entry.path().string());
    return "<nothing written>";
}

// A document opened from its first piece and read, with the joined stream
// that VwDoSpecial request 1 hands out for it.
struct SplitDocument {
    ObjectPtr stream;
    RecordingHost host;
    FilterSession session{host};
    ObjectPtr joined;
    SplitDocument(const std::string& path, uint16_t formatId) : stream(FileObjectOpen(path.c_str())) {
        if (!stream || session.Open(stream.get(), formatId) != 0) return;
        session.ReadToEnd();
        IoObject* made = nullptr;
        if (VwDoSpecial(stream.get(), 1, &made, 0, 0, 0, session.proc()) == 0) joined.reset(made);
    }
};

const std::vector<std::string> kGifLines = UuLines(kGif);

TEST(SplitSet, NumberedUuencodedPiecesDecodeToTheOriginal) {
    CliResult result;
    const std::string a01 = WriteSet("three", kGifLines, {"a01.uue", "a02.uue", "a03.uue"}, {0, 15, 30});
    EXPECT_EQ(Extracted(a01, &result), kGif);
    EXPECT_EQ(result.status, 0) << result.err;
    // The run of the first name is one digit wide and grows at 10.
    EXPECT_EQ(Extracted(WriteSet("wide", kGifLines, {"p9.uue", "p10.uue"}, {0, 20}), &result), kGif);
    // A real sample cut between its data lines.
    std::vector<std::string> sample = LinesOf("uudeview/test/plain-uuencode.good.msg");
    sample.erase(sample.begin(), sample.begin() + 5);
    EXPECT_EQ(Extracted(WriteSet("sample", sample, {"t1.uue", "t2.uue"}, {0, 3}), &result),
              CorpusBytes("uudeview/doc/test.txt"));
}

TEST(SplitSet, XxencodeBinHexAndYencSetsJoinToo) {
    CliResult result;
    std::vector<std::string> xx = LinesOf("uudeview/test/mime-xxencode.good.msg");
    xx = {xx.begin() + 12, xx.begin() + 19};
    EXPECT_EQ(Extracted(WriteSet("xx", xx, {"x01.xxe", "x02.xxe"}, {0, 3}), &result),
              CorpusBytes("uudeview/doc/test.txt"));
    std::vector<std::string> hqx = LinesOf("convert-binhex/testin/eyeball.gif.hqx");
    EXPECT_EQ(Extracted(WriteSet("hqx", hqx, {"e1.hqx", "e2.hqx", "e3.hqx"}, {0, 20, 40}), &result), kGif);
    // A real single-part post cut into a post of two parts. Data bytes: all
    // but line ends, an escape and the byte behind it counting once.
    std::vector<std::string> data = LinesOf("aswaving-yenc/testdata/yenc.org/testfile.txt.yenc");
    std::string first = Joined(data, 1, 3), second = Joined(data, 3, data.size() - 1);
    auto length = [](const std::string& d) {
        return d.size() - 2 * std::count(d.begin(), d.end(), '\n') - std::count(d.begin(), d.end(), '=');
    };
    const size_t a = length(first), size = a + length(second);
    auto part = [&](int n, size_t begin, size_t end, const std::string& lines) {
        return "=ybegin part=" + std::to_string(n) + " line=128 size=" + std::to_string(size) +
               " name=t.txt\n=ypart begin=" + std::to_string(begin) + " end=" + std::to_string(end) + "\n" +
               lines + "=yend size=" +
               std::to_string(end - begin + 1) + " part=" + std::to_string(n) + "\n";
    };
    EXPECT_EQ(Extracted(WriteSet("yenc", {part(1, 1, a, first), part(2, a + 1, size, second)},
                                 {"y01.yenc", "y02.yenc"}, {0, 1}), &result),
              CorpusBytes("aswaving-yenc/testdata/yenc.org/testfile.txt"));
}

// Files that name their successor in a last "include " line, and news
// articles saved one per file, whose later pieces start behind their header.
TEST(SplitSet, IncludeChainsAndNewsSeries) {
    std::vector<std::string> chain = kGifLines;
    chain.insert(chain.begin() + 30, "include next.uue\n");
    CliResult result;
    EXPECT_EQ(Extracted(WriteSet("chain", chain, {"first.uue", "next.uue"}, {0, 31}), &result), kGif);
    auto head = [](int n) {
        return "From: a@example.com\nNewsgroups: alt.binaries.test\nSubject: eyeball.gif (" +
               std::to_string(n) + "/2)\n\n";
    };
    std::vector<std::string> news = kGifLines;
    news.insert(news.begin() + 30, head(2));
    news.insert(news.begin(), head(1));
    const std::string post1 = WriteSet("news", news, {"post1.msg", "post2.msg"}, {0, 31});
    EXPECT_EQ(Extracted(post1, &result), kGif);
    EXPECT_EQ(result.status, 0) << result.err;
    SplitDocument document(post1, FI_INTERNET_NEWS);
    ASSERT_TRUE(document.joined && document.joined->Seek(document.joined.get(), 0, 0) == 0);
    EXPECT_EQ(ReadRest(document.joined.get()), head(1) + Joined(kGifLines));
}

TEST(SplitSet, IncompleteSetsAndLonePiecesAreRefused) {
    std::vector<std::string> cut(kGifLines.begin(), kGifLines.end() - 1);  // no "end"
    CliResult result = RunCli({"view", WriteSet("noend", cut, {"b01.uue", "b02.uue"}, {0, 20})});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("missing its end"), std::string::npos) << result.err;
    fs::path first = WriteSet("later", kGifLines, {"c01.uue", "c02.uue"}, {0, 20});
    result = RunCli({"view", (first.parent_path() / "c02.uue").string()});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("later piece"), std::string::npos) << result.err;
}

// The joined stream as a host reads it: any read size gives the same bytes,
// a piece without a line end gets one CR that no position counts, and a seek
// to the very end moves nothing.
TEST(SplitSet, JoinedStreamThroughTheObject) {
    std::vector<std::string> lines = kGifLines;
    lines[9].pop_back();  // the first piece ends without its line end
    SplitDocument document(WriteSet("object", lines, {"d1.uue", "d2.uue"}, {0, 10}), FI_UUE);
    ASSERT_TRUE(document.joined);
    IoObject* made = document.joined.get();
    EXPECT_EQ(NameOf(made), "splitbody.tmp");
    const std::string joined = Joined(lines), withCr = Joined(lines, 0, 10) + "\r" + Joined(lines, 10);
    for (uint32_t chunk : {1u, 7u, 2048u, 65535u}) {
        ASSERT_EQ(made->Seek(made, 0, 0), 0);
        EXPECT_EQ(ReadRest(made, chunk), withCr) << chunk;
        EXPECT_EQ(TellOf(made), joined.size());
    }
    ASSERT_EQ(made->Seek(made, 0, 100), 0);
    EXPECT_EQ(made->Seek(made, 0, static_cast<int32_t>(joined.size())), 0);
    EXPECT_EQ(TellOf(made), 100u);
    EXPECT_EQ(ReadRest(made), withCr.substr(100));
}

// Which run counts the file, and the names it leads to.
TEST(SplitSet, CountingRunsAndNumberedNames) {
    const fs::path dir = OwnTempFolder() / "names";
    fs::create_directories(dir);
    for (const char* name : {"data2007-12.uue", "data2008-12.uue", "2008.uue", "b.uue", "partb"})
        std::ofstream(dir / name) << "x\n";
    ObjectPtr stream(FileObjectOpen((dir / "data2007-12.uue").c_str()));
    ASSERT_TRUE(stream);
    char pattern[kSiblingNameSize], name[kSiblingNameSize];
    // 12 is tried first (data2007-13.uue is missing), then 2007.
    EXPECT_EQ(NumberPatternFind(pattern, "data2007-12.uue", stream.get()), 2007);
    NumberedName(name, pattern, 2008);
    EXPECT_STREQ(name, "data2008-12.uue");
    NumberedName(name, pattern, 9);
    EXPECT_STREQ(name, "data0009-12.uue");
    EXPECT_EQ(NumberPatternFind(pattern, "2007.uue", stream.get()), 0);  // a run at the start
    EXPECT_EQ(NumberPatternFind(pattern, "parta", stream.get()), 0);  // letters don't count
    EXPECT_EQ(SiblingExists("../names/b.uue", stream.get()), 0u);
    EXPECT_EQ(SiblingExists("b.uue", stream.get()), 1u);
}

}  // namespace
