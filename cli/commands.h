// commands.h - the CLI's commands and what they share: exit statuses, the
// one-line complaint on stderr, opening an input file as an IoObject.
// A new command is a function of this shape added to the table in main.cpp.
#pragma once

#include <functional>
#include <string>

#include "host/io_object.h"
#include "hostkit/document_run.h"

enum ExitStatus {
    kExitOk = 0,
    kExitRefused = 1,  // the document was refused: why, in words, on stderr
    kExitUsage = 2,
    kExitIo = 3
};

using CommandFn = int (*)(int argc, char** argv);  // argv[0] is the command's name

int ViewCommand(int argc, char** argv);
int LsCommand(int argc, char** argv);
int ExtractCommand(int argc, char** argv);
int IdentifyCommand(int argc, char** argv);

// "mailsift: <what>" on stderr.
void Complain(const std::string& what);

// Opens `path` for reading as a platform file object. Answers kExitOk and the
// object, or the exit status after complaining (a missing or unreadable file,
// a directory: kExitIo; a file too large for 32-bit positions: kExitRefused).
int OpenInput(const std::string& path, IoObject** object);

// Runs `body` on the document in `file`: opens it, reaches the filter,
// identifies the file with the platform's identification service (unless
// `formatId` >= 0 chooses), and maps the outcome to an exit status after
// complaining in one line.
using DocumentBody =
    std::function<DocumentOutcome(const FilterApi& api, IoObject* document, uint16_t formatId)>;
int WithDocument(const std::string& file, long formatId, const DocumentBody& body);

// "--as" values: a FormatId from 0 to 65535, decimal or 0x hex.
bool ParseFormatId(const char* text, long* value);
