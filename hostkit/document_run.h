// document_run.h - the run cycle of one document through a loaded filter:
// allocate, install the sink, open, sections and reads to the end, close.
// The CLI never asks the filter to stop, so every read ends the document or
// its section; a read that ends neither way ends the run (the filter has
// nothing more to give, and asking again would only repeat it).
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "hostkit/filter_loader.h"
#include "hostkit/host_sink.h"

struct DocumentOutcome {
    enum Kind { Read, Refused, Failed } kind = Read;
    int code = 0;         // the filter's code for Refused and Failed
    std::string reason;   // in words
};

// Runs once the document has been read, while it is still open: the place to
// open its sub-documents with VwDoSpecial.
using BeforeCloseHook = std::function<void(FilterProc* proc)>;

DocumentOutcome RunDocument(const FilterApi& api, IoObject* stream, uint16_t formatId,
                            HostSink& sink, const BeforeCloseHook& beforeClose = {});

// The reason for a refusal code of VwStreamOpen, in words.
std::string RefusalReason(int code);
