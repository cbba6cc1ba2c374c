// ls_command.cpp - `mailsift ls [--as ID] FILE`: one line per sub-document
// the filter declares (attachments, embedded pictures and related parts,
// inline segments, split bodies), in declaration order, data declared twice
// once:
//
//     INDEX <tab> NAME <tab> MIME-TYPE <tab> SIZE
//
// INDEX is the sub-document number (what `extract -n` takes), NAME the file
// name `extract` would write (before any suffix that keeps it unique),
// MIME-TYPE libmagic's view of the decoded data, SIZE its decoded bytes. A
// sub-document that cannot be opened shows "-" for type and size, and makes
// the exit status 3 once all are listed.
#include <cstdio>
#include <string>

#include "cli/commands.h"
#include "hostkit/output_buffer.h"
#include "hostkit/recipe_run.h"

namespace {

struct LsOptions {
    long formatId = -1;
    std::string file;
};

int ParseLsOptions(int argc, char** argv, LsOptions* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--as" && i + 1 < argc) {
            if (!ParseFormatId(argv[++i], &options->formatId))
                return Complain("--as needs a FormatId from 0 to 65535"), kExitUsage;
        } else if ((arg.size() > 1 && arg[0] == '-') || !options->file.empty()) {
            options->file.clear();
            break;
        } else {
            options->file = arg;
        }
    }
    if (options->file.empty()) {
        Complain("usage: mailsift ls [--as ID] FILE");
        return kExitUsage;
    }
    return kExitOk;
}

}  // namespace

int LsCommand(int argc, char** argv) {
    LsOptions options;
    int status = ParseLsOptions(argc, argv, &options);
    if (status != kExitOk) return status;
    bool allOpened = true;
    status = WithDocument(
        options.file, options.formatId,
        [&](const FilterApi& api, IoObject* document, uint16_t formatId) {
            OutputBuffer out(stdout);
            RecipeNamer namer(document);
            auto list = [&](const Recipe& recipe, RecipeStream& stream, bool opened,
                            const std::string& error) {
                std::string type = "-", size = "-";
                bool whole = opened;
                if (opened) {
                    type = RecipeMimeType(stream.object());
                    const uint64_t bytes = RecipeCopy(
                        stream.object(), [](std::string_view) { return true; }, &whole);
                    if (whole) size = std::to_string(bytes);
                }
                if (!whole) {
                    allOpened = false;
                    Complain(options.file + ": sub-document " + std::to_string(recipe.number) +
                             ": " + (opened ? "could not be read" : error));
                }
                out.Write(std::to_string(recipe.number) + "\t" + namer.FileName(recipe, stream, type) +
                          "\t" + type + "\t" + size + "\n");
            };
            DocumentOutcome outcome = RunRecipes(api, document, formatId, list);
            out.Flush();
            if (outcome.kind == DocumentOutcome::Read && out.failed())
                outcome = {DocumentOutcome::Failed, 0, "cannot write the output"};
            return outcome;
        });
    if (status == kExitOk && !allOpened) return kExitIo;
    return status;
}
