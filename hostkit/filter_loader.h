// filter_loader.h - loads the filter library at run time and reaches every
// routine through the table VwGetRtns fills: the only name looked up is
// VwGetRtns itself, as a host of this filter family does.
#pragma once

#include <string>

#include "host/mailfilter.h"

struct FilterApi {
    void* library = nullptr;
    decltype(&VwStreamOpen) streamOpen = nullptr;
    decltype(&VwStreamSection) streamSection = nullptr;
    decltype(&VwStreamRead) streamRead = nullptr;
    decltype(&VwGetInfo) getInfo = nullptr;
    decltype(&VwGetData) getData = nullptr;
    decltype(&VwSetData) setData = nullptr;
    decltype(&VwLocalUp) localUp = nullptr;
    decltype(&VwLocalDown) localDown = nullptr;
    decltype(&VwAllocProc) allocProc = nullptr;
    decltype(&VwFreeProc) freeProc = nullptr;
    decltype(&VwSetUser) setUser = nullptr;
    decltype(&VwSetSoRtn) setSoRtn = nullptr;
    decltype(&VwStreamClose) streamClose = nullptr;
    decltype(&VwDoSpecial) doSpecial = nullptr;  // slot 18: opens sub-documents
};

// The library named by the environment variable MAILSIFT_FILTER, else the
// one this program was built with.
std::string FilterLibraryPath();

// Fills `api`; on failure answers false with the reason in `error`.
bool FilterLoad(FilterApi* api, std::string* error);
void FilterUnload(FilterApi* api);

// The filter loaded once per process, on the first call from any thread, and
// kept until the process ends; the table is read-only from then on, so every
// thread may use it. Null, with the reason in `error`, when it can't be loaded.
const FilterApi* FilterShared(std::string* error);
