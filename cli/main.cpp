// main.cpp - the mailsift command line: picks the command and runs it.
#include <cstdio>
#include <cstring>

#include "cli/commands.h"

namespace {

struct Command {
    const char* name;
    CommandFn run;
    const char* usage;
};

const Command kCommands[] = {
    {"view", ViewCommand,
     "view [--format text|events|json] [--width N] [--as ID] FILE   render a document"},
    {"ls", LsCommand,
     "ls [--as ID] FILE                                             list its sub-documents"},
    {"extract", ExtractCommand,
     "extract [-o DIR] [-n INDEX]... [--as ID] FILE                 write them out"},
    {"identify", IdentifyCommand,
     "identify FILE                                                 what the service says"},
};

void PrintUsage(FILE* to) {
    std::fprintf(to, "usage: mailsift COMMAND ...\n");
    for (const Command& command : kCommands) std::fprintf(to, "  mailsift %s\n", command.usage);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintUsage(stderr);
        return kExitUsage;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        PrintUsage(stdout);
        return kExitOk;
    }
    for (const Command& command : kCommands)
        if (std::strcmp(argv[1], command.name) == 0) return command.run(argc - 1, argv + 1);
    Complain(std::string("unknown command '") + argv[1] + "'");
    PrintUsage(stderr);
    return kExitUsage;
}
