// recipe_run.cpp - see recipe_run.h.
#include "cli/recipe_run.h"

#include <cerrno>
#include <cstdlib>

#include "cli/attachment_names.h"
#include "cli/commands.h"
#include "cli/identify.h"
#include "host/constants.h"

DocumentOutcome RunRecipes(const FilterApi& api, IoObject* document, uint16_t formatId,
                           const RecipeVisitor& visit) {
    RecipeCollector collector;
    // Sub-documents open only while the document is: between its sections
    // and its close.
    auto openAll = [&](FilterProc* proc) {
        for (const Recipe& recipe : collector.recipes()) {
            RecipeStream stream;
            std::string error;
            const bool opened = stream.Open(api, document, proc, recipe, &error);
            visit(recipe, stream, opened, error);
        }
    };
    return RunDocument(api, document, formatId, collector, openAll);
}

Recipe AttachmentRecipe(uint32_t index) {
    Recipe recipe;
    recipe.steps.push_back({STEP_SPECIAL, 0, index});
    recipe.complete = true;
    return recipe;
}

std::string RecipeNamer::LinkName(const Recipe& recipe) {
    std::string raw;
    for (char16_t unit : recipe.linkName) raw += unit <= 0xFF ? static_cast<char>(unit) : '?';
    const std::string key = NameKey(raw);
    if (!indexed_) {
        parameters_ = DocumentNameParameters(document_);
        indexed_ = true;
    }
    // The filter may have cut a long value at its buffer: a long enough
    // beginning identifies the field too.
    constexpr size_t kIdentifyingPrefix = 32;
    const NameParameter* prefixMatch = nullptr;
    for (const NameParameter& parameter : parameters_) {
        if (parameter.key == key) return parameter.name;
        if (!prefixMatch && key.size() >= kIdentifyingPrefix && parameter.key.starts_with(key))
            prefixMatch = &parameter;
    }
    if (prefixMatch) return prefixMatch->name;
    return DecodeLinkName(recipe.linkName, recipe.nameCharset);
}

std::string RecipeNamer::FileName(const Recipe& recipe, const std::string& mimeType) {
    std::string name;
    if (!recipe.linkName.empty()) {
        name = SanitizeFileName(LinkName(recipe));
    } else if (!recipe.steps.empty() && recipe.steps[0].what == STEP_RANGE) {
        name = SanitizeFileName(NameBeforeBody(document_, recipe.steps[0].a).value_or(""));
    }
    if (name.empty())
        name = "part-" + std::to_string(recipe.number) + std::string(ExtensionForMimeType(mimeType));
    return name;
}

bool ParseFormatId(const char* text, long* value) {
    char* end = nullptr;
    errno = 0;
    *value = std::strtol(text, &end, 0);
    return errno == 0 && end != text && *end == '\0' && *value >= 0 && *value <= 0xFFFF;
}

int WithDocument(const std::string& file, long formatId, const DocumentBody& body) {
    IoObject* document = nullptr;
    const int status = OpenInput(file, &document);
    if (status != kExitOk) return status;
    FilterApi api;
    std::string error;
    if (!FilterLoad(&api, &error)) {
        document->Close(document);
        Complain(error);
        return kExitIo;
    }
    const uint16_t chosen =
        formatId >= 0 ? static_cast<uint16_t>(formatId) : IdentifyDocument(document);
    const DocumentOutcome outcome = body(api, document, chosen);
    document->Close(document);
    FilterUnload(&api);
    if (outcome.kind == DocumentOutcome::Read) return kExitOk;
    Complain(file + ": " + outcome.reason);
    return outcome.kind == DocumentOutcome::Refused ? kExitRefused : kExitIo;
}
