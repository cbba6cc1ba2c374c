// corpus_run.cpp - see corpus_run.h.
#include "tests/corpus/corpus_run.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/constants.h"
#include "host/mailfilter.h"
#include "host/services.h"
#include "platform/platform.h"
#include "tests/corpus/lean_host.h"
#include "tests/support/memory_object.h"

namespace fs = std::filesystem;

namespace {

// A read that never stops runs to the end of a section, so a document needs
// about one step per section; a read that stops at every paragraph needs one
// per body line, and a body line costs at least two bytes of input (a
// character and its line end; an HTML break tag costs more). Each replay is
// one read more.
uint64_t StepBudget(uint64_t size, bool replay) { return (replay ? size : size / 10) + 10000; }

// Rendered output is at most a few calls per input byte (a character and its
// attributes); decompressed RTF inside TNEF can grow, so the margin is wide,
// and covers the replays too. The same bound serves for the bytes of one
// sub-document.
uint64_t CallBudget(uint64_t size) { return 64 * size + 1000000; }

// A filter instance with the host installed, freed at the end of the run.
struct FilterInstance {
    FilterProc* proc = VwAllocProc();
    void* handle = nullptr;
    explicit FilterInstance(LeanHost& host) {
        if (!proc) return;
        VwLocalUp(proc, &handle, proc);
        HostSinkInstall(host, VwSetUser, VwSetSoRtn, proc);
    }
    ~FilterInstance() {
        if (!proc) return;
        VwLocalDown(proc, &handle);
        VwFreeProc(proc);
    }
};

bool IsRefusal(int16_t code) {
    return code == VW_ERR_NOT_MINE || code == VW_ERR_NO_HEADER || code == VW_ERR_SPLIT_END ||
           code == VW_ERR_DECLINED;
}

std::vector<uint8_t> SaveState(FilterProc* proc) {
    uint16_t size = 0;
    VwGetInfo(&size, 1);
    std::vector<uint8_t> data(size);
    VwGetData(data.data(), proc);
    return data;
}

// The filter and host states saved at the last stop.
struct SavedStop {
    std::vector<uint8_t> filter;
    LeanHost::State host;
};

// At a stop: goes back to `previous`, reads the slice up to here once more
// and checks it renders the same, then puts back the state of this stop,
// which becomes `previous`. Answers what went wrong, or nothing.
std::string ReplayLastRead(IoObject* stream, FilterProc* proc, LeanHost& host, SavedStop& previous,
                           uint64_t& reads) {
    SavedStop here{SaveState(proc), host.state()};
    // All a read depends on is in the saved state: the same state at two
    // stops in a row means the reads have stopped making progress.
    if (here.filter == previous.filter) return "the state saved at two stops in a row is the same";
    bool same = true;
    if (!previous.filter.empty()) {
        host.SetState(previous.host);
        VwSetData(previous.filter.data(), proc);
        ++reads;
        host.BeginHostCall();
        same = VwStreamRead(stream, proc) == 0 && host.state().readDigest == here.host.readDigest;
        host.SetState(here.host);
        VwSetData(here.filter.data(), proc);
    }
    previous = std::move(here);
    return same ? "" : "a read replayed from the stop before rendered otherwise";
}

// Sections and reads until the document ends, the budget of reads is spent,
// or a rule is broken. Fills the counts of `run`.
void ReadDocument(IoObject* stream, FilterProc* proc, LeanHost& host, uint64_t budget, bool replay,
                  CorpusRun& run) {
    bool sectionDue = true;
    SavedStop previous;
    for (uint64_t reads = 0; reads < budget; ++reads) {
        if (sectionDue) {
            sectionDue = false;
            previous.filter.clear();  // replays stay inside one section
            host.BeginHostCall();
            if (const int16_t code = VwStreamSection(stream, proc))
                return run.problems.push_back("VwStreamSection answered " + std::to_string(code));
        }
        host.BeginHostCall();
        std::string wrong;
        if (const int16_t code = VwStreamRead(stream, proc)) {
            wrong = "VwStreamRead answered " + std::to_string(code);
        } else if (host.runaway()) {
            wrong = "output kept coming past the call budget";
        } else if (host.endBreak == BRK_DOCUMENT_END) {
            run.ended = true;
            run.digest = host.state().digest;
            return;
        } else if (host.endBreak == BRK_SECTION_END) {
            sectionDue = true;
        } else if (!host.stoppedThisCall()) {
            // Neither an end nor a stop the host asked for: a host that reads
            // on gets the same again and never finishes.
            wrong = "a read came back with no end break and no stop asked";
        } else if (replay) {
            wrong = ReplayLastRead(stream, proc, host, previous, reads);
        }
        if (!wrong.empty()) return run.problems.push_back("at read " + std::to_string(reads) + ": " + wrong);
    }
    run.problems.push_back("no end of document after " + std::to_string(budget) + " reads");
}

// Reads one sub-document object from its start to its end, within a budget
// of bytes and reads.
void ReadSubdocument(IoObject* object, uint64_t byteBudget, LeanHost& host) {
    constexpr uint32_t kChunk = 65535;
    if (object->Seek(object, 0, 0) != 0) {
        host.Problem("a sub-document object refused to seek to its start");
        return;
    }
    std::vector<char> buffer(kChunk);
    uint64_t total = 0;
    for (uint64_t reads = 0; reads <= byteBudget / 512 + 16; ++reads) {
        uint32_t got = 0;
        const int32_t code = object->Read(object, buffer.data(), kChunk, &got);
        if (got > kChunk) {
            host.Problem("a sub-document read delivered more than was asked");
            return;
        }
        total += got;
        if (total > byteBudget) {
            host.Problem("a sub-document kept delivering past " + std::to_string(byteBudget) + " bytes");
            return;
        }
        if (code != 0 || got == 0) return;
    }
    host.Problem("a sub-document kept delivering in tiny reads");
}

// Opens what every VwDoSpecial recipe of the run names, reads it, ends it.
void ReadSubdocuments(IoObject* stream, FilterProc* proc, LeanHost& host, uint64_t size) {
    for (const auto& [a, b] : host.specials()) {
        IoObject* object = nullptr;
        const int16_t code = VwDoSpecial(stream, a, &object, b, 0, 0, proc);
        if ((code == 0) != (object != nullptr)) {
            host.Problem("VwDoSpecial answered " + std::to_string(code) +
                         (object ? " with an object" : " without an object"));
        }
        if (!object) continue;
        ReadSubdocument(object, CallBudget(size), host);
        object->Close(object);
    }
}

// A read behind the end of the document sends the end break again.
void ReadPastEnd(IoObject* stream, FilterProc* proc, LeanHost& host, CorpusRun& run) {
    host.BeginHostCall();
    const int16_t code = VwStreamRead(stream, proc);
    if (code != 0 || host.endBreak != BRK_DOCUMENT_END)
        run.problems.push_back("a read behind the end did not end the document again");
}

// The whole run over an open stream of `size` bytes.
CorpusRun RunStream(IoObject* stream, uint64_t size, const CorpusRunOptions& options) {
    CorpusRun run;
    LeanHost host;
    host.StopAtEveryParagraph(options.replay);
    host.SetCallLimit(CallBudget(size));
    FilterInstance instance(host);
    FilterProc* proc = instance.proc;
    VwOpenInfo info{};
    host.BeginHostCall();
    run.openCode = proc ? VwStreamOpen(stream, options.formatId, 0, &info, proc) : int16_t{VW_ERR_NOT_MINE};
    if (run.openCode == 0) {
        ReadDocument(stream, proc, host, StepBudget(size, options.replay), options.replay, run);
        if (run.ended) ReadPastEnd(stream, proc, host, run);
        if (options.readSubdocuments) ReadSubdocuments(stream, proc, host, size);
        VwStreamClose(stream, proc);
        host.CheckAllClosed();
    } else if (!IsRefusal(run.openCode)) {
        run.problems.push_back("VwStreamOpen answered " + std::to_string(run.openCode));
    }
    // No host routine may be called with user words other than the host's.
    if (host.strayCalls != 0)
        run.problems.push_back(std::to_string(host.strayCalls) + " host calls with foreign user words");
    for (const std::string& problem : host.problems()) run.problems.push_back(problem);
    if (host.problemCount() > host.problems().size())
        run.problems.push_back("and " + std::to_string(host.problemCount() - host.problems().size()) +
                               " more host rule breaks");
    return run;
}

}  // namespace

uint16_t IdentifyCorpusFile(const std::string& path) {
    ObjectPtr stream(FileObjectOpen(path.c_str()));
    uint16_t formatId = FI_UNKNOWN;
    if (stream) IdentifyHandle(stream.get(), 0, &formatId);
    return formatId;
}

CorpusRun RunCorpusFile(const std::string& path, const CorpusRunOptions& options) {
    std::error_code error;
    const uint64_t size = fs::file_size(path, error);
    ObjectPtr stream(FileObjectOpen(path.c_str()));
    if (!error && stream) return RunStream(stream.get(), size, options);
    CorpusRun run;
    run.problems.push_back("cannot open the file");
    return run;
}

CorpusRun RunCorpusBytes(std::string_view bytes, const CorpusRunOptions& options) {
    MemoryObject stream(bytes);
    return RunStream(stream.get(), bytes.size(), options);
}

std::string CorpusRoot() { return MAILSIFT_DATA_DIR; }

std::vector<std::string> CorpusFolders() {
    std::vector<std::string> folders;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(CorpusRoot(), error))
        if (entry.is_directory()) folders.push_back(entry.path().filename().string());
    std::sort(folders.begin(), folders.end());
    return folders;
}

std::vector<std::string> CorpusFilesUnder(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code error;
    const fs::path base = fs::path(CorpusRoot()) / folder;
    for (fs::recursive_directory_iterator it(base, error), end; !error && it != end; it.increment(error))
        if (it->is_regular_file()) files.push_back(it->path().string());
    std::sort(files.begin(), files.end());
    return files;
}
