// corpus_run.h - runs one real file through the statically linked filter
// the way a host does (identify, open, sections and reads to the end, close)
// with the lean host, and lists the files of the corpus in tests/data.
//
// The run is bounded: a document that neither ends nor stops within its
// read budget (replays included), that keeps emitting past its call budget,
// or whose saved state stays the same from one stop to the next, is a
// failure here, not a hang of the test program.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct CorpusRun {
    int16_t openCode = 0;
    bool ended = false;   // a break of kind 2 was reached
    uint64_t digest = 0;  // of the rendered output up to the end (lean_host.h)
    std::vector<std::string> problems;  // empty when the run kept every rule
};

struct CorpusRunOptions {
    uint16_t formatId = 0;
    // Stop at every paragraph, and at each stop go back to the state saved
    // at the stop before, read that slice once more and check it renders as
    // it did, then go on from the state saved here.
    bool replay = false;
    // After the read, open every sub-document a recipe sends the host to
    // VwDoSpecial for, and read it to its end.
    bool readSubdocuments = false;
};

// The FormatId the platform's identification service gives the file, or
// 1999 when it answers nothing or the file can't be opened.
uint16_t IdentifyCorpusFile(const std::string& path);

CorpusRun RunCorpusFile(const std::string& path, const CorpusRunOptions& options);
// The same over bytes in memory, which have no sibling files.
CorpusRun RunCorpusBytes(std::string_view bytes, const CorpusRunOptions& options);

// The corpus in tests/data: its top-level source folders, and every regular file
// below a folder (expected-output files and notes included), sorted.
std::string CorpusRoot();
std::vector<std::string> CorpusFolders();
std::vector<std::string> CorpusFilesUnder(const std::string& folder);
