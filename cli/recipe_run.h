// recipe_run.h - what `ls`, `extract` and the JSON listing share: running a
// document to collect its recipes, opening each while the document is still
// open, and the file name an attachment is written under. Also the skeleton
// every command that reads one document follows (open, load, identify, run,
// map the outcome to an exit status).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/attachment_names.h"
#include "cli/document_run.h"
#include "cli/recipes.h"

// Called once per recipe, in declaration order, with its stream opened (or
// not: `opened` false and the reason in `error`).
using RecipeVisitor = std::function<void(const Recipe& recipe, RecipeStream& stream, bool opened,
                                         const std::string& error)>;

// Renders the document with no output, then visits every recipe it declared.
DocumentOutcome RunRecipes(const FilterApi& api, IoObject* document, uint16_t formatId,
                           const RecipeVisitor& visit);

// The recipe of attachment `index` of the attachments row.
Recipe AttachmentRecipe(uint32_t index);

// Names the files of one document's recipes. A link's name is matched
// against the document's own header fields (read once, on the first named
// link) so that folds, RFC 2231 pieces and charsets are decoded as the header
// means them; a recipe that starts with a byte range takes the name of the
// header block in front of it; the rest are "part-N" with an extension from
// their MIME type. Names come out sanitised.
class RecipeNamer {
public:
    explicit RecipeNamer(IoObject* document) : document_(document) {}
    std::string FileName(const Recipe& recipe, const std::string& mimeType);

private:
    std::string LinkName(const Recipe& recipe);

    IoObject* document_;
    bool indexed_ = false;
    std::vector<NameParameter> parameters_;
};

// Runs `body` on the document in `file`: opens it, loads the filter,
// identifies it (unless `formatId` >= 0 chooses), and maps the outcome to an
// exit status after complaining in one line.
using DocumentBody =
    std::function<DocumentOutcome(const FilterApi& api, IoObject* document, uint16_t formatId)>;
int WithDocument(const std::string& file, long formatId, const DocumentBody& body);

// "--as" values: a FormatId from 0 to 65535, decimal or 0x hex.
bool ParseFormatId(const char* text, long* value);
