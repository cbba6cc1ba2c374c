// filter_loader.cpp - dlopen, VwGetRtns, and the typed table.
#include "hostkit/filter_loader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>

#ifndef MAILSIFT_FILTER_DEFAULT
#define MAILSIFT_FILTER_DEFAULT "libmailfilter.so"
#endif

namespace {

// Enough slots that VwGetRtns writes every group it has.
constexpr uint16_t kTableSlots = 33;

template <typename Fn>
Fn Slot(const VwRoutine* table, int slot) {
    return reinterpret_cast<Fn>(table[slot]);
}

}  // namespace

std::string FilterLibraryPath() {
    const char* chosen = std::getenv("MAILSIFT_FILTER");
    return chosen && *chosen ? chosen : MAILSIFT_FILTER_DEFAULT;
}

bool FilterLoad(FilterApi* api, std::string* error) {
    *api = FilterApi{};
    const std::string path = FilterLibraryPath();
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* why = dlerror();
        // dlerror names the file itself.
        *error = std::string("cannot load the mail filter: ") + (why ? why : path.c_str());
        return false;
    }
    auto getRtns = reinterpret_cast<decltype(&VwGetRtns)>(dlsym(library, "VwGetRtns"));
    if (!getRtns) {
        *error = "the mail filter " + path + " has no VwGetRtns";
        dlclose(library);
        return false;
    }
    VwRoutine table[kTableSlots] = {};
    getRtns(table, kTableSlots);
    api->library = library;
    api->streamOpen = Slot<decltype(&VwStreamOpen)>(table, VW_SLOT_STREAM_OPEN);
    api->streamSection = Slot<decltype(&VwStreamSection)>(table, VW_SLOT_STREAM_SECTION);
    api->streamRead = Slot<decltype(&VwStreamRead)>(table, VW_SLOT_STREAM_READ);
    api->getInfo = Slot<decltype(&VwGetInfo)>(table, VW_SLOT_GET_INFO);
    api->getData = Slot<decltype(&VwGetData)>(table, VW_SLOT_GET_DATA);
    api->setData = Slot<decltype(&VwSetData)>(table, VW_SLOT_SET_DATA);
    api->localUp = Slot<decltype(&VwLocalUp)>(table, VW_SLOT_LOCAL_UP);
    api->localDown = Slot<decltype(&VwLocalDown)>(table, VW_SLOT_LOCAL_DOWN);
    api->allocProc = Slot<decltype(&VwAllocProc)>(table, VW_SLOT_ALLOC_PROC);
    api->freeProc = Slot<decltype(&VwFreeProc)>(table, VW_SLOT_FREE_PROC);
    api->setUser = Slot<decltype(&VwSetUser)>(table, VW_SLOT_SET_USER);
    api->setSoRtn = Slot<decltype(&VwSetSoRtn)>(table, VW_SLOT_SET_SO_RTN);
    api->streamClose = Slot<decltype(&VwStreamClose)>(table, VW_SLOT_STREAM_CLOSE);
    api->doSpecial = Slot<decltype(&VwDoSpecial)>(table, VW_SLOT_DO_SPECIAL);
    const bool complete = api->streamOpen && api->streamSection && api->streamRead &&
                          api->localUp && api->localDown && api->allocProc && api->freeProc &&
                          api->setUser && api->setSoRtn && api->streamClose;
    if (!complete) {
        *error = "the mail filter " + path + " gave an incomplete routine table";
        FilterUnload(api);
        return false;
    }
    return true;
}

void FilterUnload(FilterApi* api) {
    if (api->library) dlclose(api->library);
    *api = FilterApi{};
}

const FilterApi* FilterShared(std::string* error) {
    // Loaded at most once; a failure is remembered as well, so every caller
    // gets the same answer.
    struct Shared {
        FilterApi api;
        std::string error;
        bool loaded = false;
    };
    static Shared shared;
    static std::once_flag once;
    std::call_once(once, [] { shared.loaded = FilterLoad(&shared.api, &shared.error); });
    if (!shared.loaded) {
        *error = shared.error;
        return nullptr;
    }
    return &shared.api;
}
