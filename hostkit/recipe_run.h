// recipe_run.h - what `ls`, `extract` and the JSON listing share: running a
// document to collect its recipes, opening each while the document is still
// open, and the file name an attachment is written under.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "hostkit/document_run.h"
#include "hostkit/part_names.h"
#include "hostkit/recipes.h"

// Called once per recipe, in declaration order, with its stream opened (or
// not: `opened` false and the reason in `error`).
using RecipeVisitor = std::function<void(const Recipe& recipe, RecipeStream& stream, bool opened,
                                         const std::string& error)>;

// Renders the document with no output, then visits every recipe it declared.
DocumentOutcome RunRecipes(const FilterApi& api, IoObject* document, uint16_t formatId,
                           const RecipeVisitor& visit);

// The recipe of attachment `index` of the attachments row.
Recipe AttachmentRecipe(uint32_t index);

// Names the files of one document's recipes from the header of the part
// each one opened (never by reading the rest of the document); a link's own
// text when no header names it (text a support filter decoded, parts inside
// decoded data); else "part-N" with an extension from the MIME type. Names
// come out sanitised.
class RecipeNamer {
public:
    explicit RecipeNamer(IoObject* document) : document_(document) {}
    // The decoded, sanitised name; empty when the part has none.
    std::string Name(const Recipe& recipe, const RecipeStream& stream);
    // Name(), else "part-N" and an extension.
    std::string FileName(const Recipe& recipe, const RecipeStream& stream,
                         const std::string& mimeType);

private:
    IoObject* document_;
    NameDecoder decoder_;
};
