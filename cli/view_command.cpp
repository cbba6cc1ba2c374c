// view_command.cpp - `mailsift view`: render one document as text, JSON or
// the transcript of host calls.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/commands.h"
#include "hostkit/document_render.h"
#include "hostkit/document_run.h"
#include "hostkit/events_output.h"
#include "hostkit/json_output.h"
#include "hostkit/recipe_run.h"
#include "hostkit/text_output.h"

namespace {

enum class Format { Text, Events, Json };

struct ViewOptions {
    Format format = Format::Text;
    long formatId = -1;  // --as; -1 to identify
    long width = 0;      // --width; 0 for the terminal's, or 80
    std::string file;
};

constexpr long kLeastWidth = 10;
constexpr long kMostWidth = 10000;

bool ParseWidth(const char* text, long* width) {
    char* end = nullptr;
    errno = 0;
    *width = std::strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && *width >= kLeastWidth &&
           *width <= kMostWidth;
}

// Attributes only where a person reads them; the width of the terminal
// there, 80 columns in a pipe or a file, unless --width says otherwise.
TextStyle StyleOfStdout(long width) {
    TextStyle style;
    style.terminal = isatty(STDOUT_FILENO) == 1;
    winsize size{};
    if (style.terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        style.width = size.ws_col;
    if (width > 0) style.width = static_cast<unsigned>(width);
    return style;
}

// Answers kExitOk, or kExitUsage after complaining.
int ParseViewOptions(int argc, char** argv, ViewOptions* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--format" && hasValue) {
            const std::string value = argv[++i];
            if (value == "text") options->format = Format::Text;
            else if (value == "events") options->format = Format::Events;
            else if (value == "json") options->format = Format::Json;
            else return Complain("unknown format '" + value + "' (text, events, json)"), kExitUsage;
        } else if (arg == "--as" && hasValue) {
            if (!ParseFormatId(argv[++i], &options->formatId))
                return Complain(std::string("--as needs a FormatId from 0 to 65535, not '") +
                                argv[i] + "'"), kExitUsage;
        } else if (arg == "--width" && hasValue) {
            if (!ParseWidth(argv[++i], &options->width))
                return Complain(std::string("--width needs a number of columns from 10 to 10000, not '") +
                                argv[i] + "'"), kExitUsage;
        } else if (arg.size() > 1 && arg[0] == '-') {
            return Complain("view: unknown or incomplete option '" + arg + "'"), kExitUsage;
        } else if (options->file.empty()) {
            options->file = arg;
        } else {
            return Complain("view: one FILE only"), kExitUsage;
        }
    }
    if (options->file.empty()) {
        Complain("usage: mailsift view [--format text|events|json] [--width N] [--as ID] FILE");
        return kExitUsage;
    }
    return kExitOk;
}

// Runs the document into the renderer of the chosen format.
DocumentOutcome Render(const FilterApi& api, IoObject* stream, uint16_t formatId,
                       const ViewOptions& options, OutputBuffer& out) {
    if (options.format == Format::Events) {
        EventsOutput events(out);
        return RunDocument(api, stream, formatId, events);
    }
    if (options.format == Format::Json) {
        // The head of the object waits until the filter has accepted the file.
        struct LateJson : RenderTarget {
            OutputBuffer& out;
            const ViewOptions& options;
            uint16_t formatId;
            std::unique_ptr<JsonOutput> json;
            LateJson(OutputBuffer& o, const ViewOptions& v, uint16_t f)
                : out(o), options(v), formatId(f) {}
            JsonOutput& Get() {
                if (!json) json = std::make_unique<JsonOutput>(out, options.file, formatId);
                return *json;
            }
            void Table(const RenderedTable& table) override { Get().Table(table); }
            void Text(std::string_view utf8) override { Get().Text(utf8); }
        } target(out, options, formatId);
        DocumentRender render(target, formatId);
        RecipeNamer namer(stream);
        auto measure = [&](FilterProc* proc) {
            for (AttachmentLink& link : render.attachments()) {
                RecipeStream attachment;
                std::string error;
                Recipe recipe = AttachmentRecipe(link.index);
                recipe.linkName = link.linkText;
                const bool opened = attachment.Open(api, stream, proc, recipe, &error);
                // The name `ls` and `extract` give the file.
                link.name = namer.Name(recipe, attachment);
                if (!opened) continue;
                link.type = RecipeMimeType(attachment.object());
                bool whole = false;
                link.size = RecipeCopy(attachment.object(), [](std::string_view) { return true; },
                                       &whole);
                link.sized = whole;
            }
        };
        DocumentOutcome outcome = RunDocument(api, stream, formatId, render, measure);
        if (outcome.kind == DocumentOutcome::Refused && !target.json) {
            WriteJsonRefusal(out, options.file, formatId, outcome.code, outcome.reason);
            return outcome;
        }
        render.Finish();
        target.Get().Finish(render.attachments());
        return outcome;
    }
    TextOutput text(out, StyleOfStdout(options.width));
    DocumentRender render(text, formatId);
    DocumentOutcome outcome = RunDocument(api, stream, formatId, render);
    render.Finish();
    text.Finish();
    return outcome;
}

}  // namespace

int ViewCommand(int argc, char** argv) {
    ViewOptions options;
    const int status = ParseViewOptions(argc, argv, &options);
    if (status != kExitOk) return status;
    return WithDocument(options.file, options.formatId,
                        [&](const FilterApi& api, IoObject* stream, uint16_t formatId) {
                            OutputBuffer out(stdout);
                            DocumentOutcome outcome = Render(api, stream, formatId, options, out);
                            out.Flush();
                            if (outcome.kind == DocumentOutcome::Read && out.failed())
                                outcome = {DocumentOutcome::Failed, 0, "cannot write the output"};
                            return outcome;
                        });
}
