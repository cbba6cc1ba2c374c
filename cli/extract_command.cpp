// extract_command.cpp - `mailsift extract [-o DIR] [-n INDEX]... [--as ID]
// FILE`: writes the decoded data of every sub-document the filter declares,
// or only of those chosen with -n (the numbers `ls` shows), into DIR (the
// current directory by default, made if missing). One line per file written
// on standard output:
//
//     INDEX <tab> PATH <tab> SIZE
//
// Data is copied through a fixed buffer, never held whole. An existing file
// is never overwritten: the name gets "-1", "-2" ... in front of its
// extension. A sub-document that cannot be opened or read is reported, its
// partial file removed, and the rest still written; the exit status is then 3.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "cli/commands.h"
#include "hostkit/output_buffer.h"
#include "hostkit/recipe_run.h"

namespace {

// Suffixes tried before giving up on a name.
constexpr int kMaxSuffix = 9999;

struct ExtractOptions {
    long formatId = -1;
    std::string file;
    std::string directory = ".";
    std::set<uint32_t> chosen;  // empty: all
};

bool ParseIndex(const char* text, uint32_t* index) {
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || text[0] == '-' || value == 0 ||
        value > 0xFFFFFFFFul)
        return false;
    *index = static_cast<uint32_t>(value);
    return true;
}

int ParseExtractOptions(int argc, char** argv, ExtractOptions* options) {
    const char* usage = "usage: mailsift extract [-o DIR] [-n INDEX]... [--as ID] FILE";
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "-o" && hasValue) {
            options->directory = argv[++i];
        } else if (arg == "-n" && hasValue) {
            uint32_t index = 0;
            if (!ParseIndex(argv[++i], &index))
                return Complain(std::string("-n needs a sub-document number from 1, not '") +
                                argv[i] + "'"), kExitUsage;
            options->chosen.insert(index);
        } else if (arg == "--as" && hasValue) {
            if (!ParseFormatId(argv[++i], &options->formatId))
                return Complain("--as needs a FormatId from 0 to 65535"), kExitUsage;
        } else if ((arg.size() > 1 && arg[0] == '-') || !options->file.empty()) {
            return Complain(usage), kExitUsage;
        } else {
            options->file = arg;
        }
    }
    if (options->file.empty() || options->directory.empty()) return Complain(usage), kExitUsage;
    return kExitOk;
}

int MakeDirectory(const std::string& directory) {
    struct stat info {};
    if (stat(directory.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) return kExitOk;
        Complain(directory + ": not a directory");
        return kExitIo;
    }
    if (mkdir(directory.c_str(), 0777) != 0) {
        Complain(directory + ": " + std::strerror(errno));
        return kExitIo;
    }
    return kExitOk;
}

// `name` with "-N" in front of its extension ("a.pdf" -> "a-2.pdf").
std::string Suffixed(const std::string& name, int n) {
    if (n == 0) return name;
    size_t dot = name.rfind('.');
    if (dot == 0 || dot == std::string::npos) dot = name.size();
    return name.substr(0, dot) + "-" + std::to_string(n) + name.substr(dot);
}

// Creates a new file for `name` in `directory`; never opens an existing
// one. Answers the descriptor (or -1, errno set) and the path taken.
int CreateUnique(const std::string& directory, const std::string& name, std::string* path) {
    for (int n = 0; n <= kMaxSuffix; ++n) {
        *path = directory + "/" + Suffixed(name, n);
        const int fd = open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    errno = EEXIST;
    return -1;
}

bool WriteAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t put = write(fd, data.data(), data.size());
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        data.remove_prefix(static_cast<size_t>(put));
    }
    return true;
}

// Writes one opened sub-document; false after complaining.
bool WriteRecipe(const ExtractOptions& options, const Recipe& recipe, RecipeNamer& namer,
                 const RecipeStream& stream, OutputBuffer& out) {
    IoObject* object = stream.object();
    const std::string type = RecipeMimeType(object);
    const std::string name = namer.FileName(recipe, stream, type);
    std::string path;
    const int fd = CreateUnique(options.directory, name, &path);
    if (fd < 0) {
        Complain(path + ": " + std::strerror(errno));
        return false;
    }
    bool written = true, whole = true;
    const uint64_t size = RecipeCopy(
        object, [&](std::string_view piece) { return written = WriteAll(fd, piece); }, &whole);
    const std::string what = options.file + ": sub-document " + std::to_string(recipe.number);
    if (close(fd) != 0) written = false;
    if (!written || !whole) {
        unlink(path.c_str());
        Complain(written ? what + ": could not be read" : path + ": " + std::strerror(errno));
        return false;
    }
    out.Write(std::to_string(recipe.number) + "\t" + path + "\t" + std::to_string(size) + "\n");
    return true;
}

}  // namespace

int ExtractCommand(int argc, char** argv) {
    ExtractOptions options;
    int status = ParseExtractOptions(argc, argv, &options);
    if (status != kExitOk) return status;
    status = MakeDirectory(options.directory);
    if (status != kExitOk) return status;
    bool allWritten = true;
    std::set<uint32_t> found;
    status = WithDocument(
        options.file, options.formatId,
        [&](const FilterApi& api, IoObject* document, uint16_t formatId) {
            OutputBuffer out(stdout);
            RecipeNamer namer(document);
            auto write = [&](const Recipe& recipe, RecipeStream& stream, bool opened,
                             const std::string& error) {
                if (!options.chosen.empty() && !options.chosen.count(recipe.number)) return;
                found.insert(recipe.number);
                if (!opened) {
                    Complain(options.file + ": sub-document " + std::to_string(recipe.number) +
                             ": " + error);
                    allWritten = false;
                    return;
                }
                if (!WriteRecipe(options, recipe, namer, stream, out))
                    allWritten = false;
                out.Flush();
            };
            DocumentOutcome outcome = RunRecipes(api, document, formatId, write);
            if (outcome.kind == DocumentOutcome::Read && out.failed())
                outcome = {DocumentOutcome::Failed, 0, "cannot write the output"};
            return outcome;
        });
    if (status != kExitOk) return status;
    for (uint32_t index : options.chosen) {
        if (found.count(index)) continue;
        Complain(options.file + " has no sub-document " + std::to_string(index));
        status = kExitUsage;
    }
    if (status == kExitOk && !allWritten) status = kExitIo;
    return status;
}
