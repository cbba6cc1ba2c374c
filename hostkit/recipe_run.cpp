// recipe_run.cpp - see recipe_run.h.
#include "hostkit/recipe_run.h"

#include <cctype>
#include <string_view>

#include "host/constants.h"

DocumentOutcome RunRecipes(const FilterApi& api, IoObject* document, uint16_t formatId,
                           const RecipeVisitor& visit) {
    RecipeCollector collector;
    // Sub-documents open only while the document is: between its sections
    // and its close.
    auto openAll = [&](FilterProc* proc) {
        for (const Recipe& recipe : collector.recipes()) {
            if (recipe.repeats != 0) continue;
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

std::string RecipeNamer::Name(const Recipe& recipe, const RecipeStream& stream) {
    bool decodedText = false;
    for (char16_t unit : recipe.linkName) decodedText = decodedText || unit > 0xFF;
    std::optional<std::string> name;
    // Text a support filter decoded names a part inside decoded data, whose
    // header is not the document's.
    if (!decodedText && stream.partOffset() != RecipeStream::kNoPartOffset)
        name = decoder_.PartName(document_, stream.partOffset());
    if (!name && !recipe.linkName.empty()) name = decoder_.LinkName(recipe.linkName);
    return name ? SanitizeFileName(*name) : std::string();
}

std::string RecipeNamer::FileName(const Recipe& recipe, const RecipeStream& stream,
                                  const std::string& mimeType) {
    std::string name = Name(recipe, stream);
    if (!name.empty()) return name;
    // A link that showed text of its own (an embedded message's subject)
    // names its file after it, with the type's extension: it is a title, not
    // a file name.
    if (!recipe.linkText.empty()) name = SanitizeFileName(decoder_.LinkName(recipe.linkText));
    if (name.empty()) name = "part-" + std::to_string(recipe.number);
    return name + std::string(ExtensionForMimeType(mimeType));
}
