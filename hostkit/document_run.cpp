// document_run.cpp - see document_run.h.
#include "hostkit/document_run.h"

namespace {

// No document has more sections than parts, and part indexes are 16-bit;
// this only guards against a filter that never ends.
constexpr uint32_t kMaxSections = 70000;

DocumentOutcome ReadSections(const FilterApi& api, IoObject* stream, HostSink& sink,
                             FilterProc* proc) {
    DocumentOutcome outcome;
    for (uint32_t section = 0; section < kMaxSections; ++section) {
        const int16_t sectionCode = api.streamSection(stream, proc);
        if (sectionCode != 0) {
            outcome = {DocumentOutcome::Refused, sectionCode, RefusalReason(sectionCode)};
            break;
        }
        sink.endBreak = 0;
        const int16_t readCode = api.streamRead(stream, proc);
        if (readCode != 0) {
            outcome = {DocumentOutcome::Failed, readCode, "a part of the document could not be opened"};
            break;
        }
        if (sink.endBreak != 3) break;
    }
    return outcome;
}

}  // namespace

std::string RefusalReason(int code) {
    switch (code) {
    case VW_ERR_NOT_MINE: return "not a mail, news or encoded file";
    case VW_ERR_NO_HEADER: return "no header: not a mail message";
    case VW_ERR_SPLIT_END: return "a split file whose last piece is missing its end";
    case VW_ERR_DECLINED:
        return "a mailbox of more than one message, or a later piece of a split file: "
               "open the first piece";
    default: return "the filter refused the file (code " + std::to_string(code) + ")";
    }
}

DocumentOutcome RunDocument(const FilterApi& api, IoObject* stream, uint16_t formatId,
                            HostSink& sink, const BeforeCloseHook& beforeClose) {
    FilterProc* proc = api.allocProc();
    if (!proc) return {DocumentOutcome::Failed, 0, "out of memory"};
    void* handle = nullptr;
    api.localUp(proc, &handle, proc);
    HostSinkInstall(sink, api.setUser, api.setSoRtn, proc);

    DocumentOutcome outcome;
    VwOpenInfo info{};
    const int16_t openCode = api.streamOpen(stream, formatId, 0, &info, proc);
    if (openCode != 0) {
        // The filter has released everything itself: no VwStreamClose.
        outcome = {DocumentOutcome::Refused, openCode, RefusalReason(openCode)};
    } else {
        outcome = ReadSections(api, stream, sink, proc);
        if (beforeClose) beforeClose(proc);
        api.streamClose(stream, proc);
    }
    api.localDown(proc, &handle);
    api.freeProc(proc);
    return outcome;
}
