// document_command.cpp - the skeleton every command that reads one document
// follows: open, reach the filter, identify, run, map the outcome to an exit
// status.
#include <cerrno>
#include <cstdlib>

#include "cli/commands.h"
#include "host/constants.h"
#include "host/services.h"
#include "hostkit/filter_loader.h"

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
    std::string error;
    const FilterApi* api = FilterShared(&error);
    if (!api) {
        document->Close(document);
        Complain(error);
        return kExitIo;
    }
    uint16_t chosen = FI_UNKNOWN;
    if (formatId >= 0) {
        chosen = static_cast<uint16_t>(formatId);
    } else {
        // The service writes only when it has an answer; 1999 stands otherwise.
        document->Seek(document, 0, 0);
        IdentifyHandle(document, 0, &chosen);
        document->Seek(document, 0, 0);
    }
    const DocumentOutcome outcome = body(*api, document, chosen);
    document->Close(document);
    if (outcome.kind == DocumentOutcome::Read) return kExitOk;
    Complain(file + ": " + outcome.reason);
    return outcome.kind == DocumentOutcome::Refused ? kExitRefused : kExitIo;
}
