// host_sink.h - a host's side of the routine table: one C-callable trampoline
// per host routine the filter calls, each forwarding to a virtual method of a
// HostSink. The sink travels in user1; user2 holds a fixed mark so that a call
// with foreign user words is caught instead of followed.
//
// Every host and the tests' recording host use it. It installs exactly the
// 24 routines of host_routines.h and leaves every other slot to the filter's
// own stand-in. Nothing crosses the C border: a sink method that throws is
// caught in its trampoline, counted on the sink, and answered with
// kHostRoutineFailed. There is no process-wide state: each sink counts its
// own stray and failed calls, so one filter instance per thread works.
#pragma once

#include <cstdint>

#include "host/host_routines.h"

struct FilterProc;

// Default answers: 0 everywhere, no stop at breaks, sub-document and text
// number 0 (the caller's preset is kept).
class HostSink {
public:
    virtual ~HostSink();

    // Kept by the PutBreak trampoline for the run cycle: the last break of
    // kind 2 (end of document) or 3 (end of section) since the host cleared it.
    uint32_t endBreak = 0;
    // Calls that came with user words other than the ones installed while
    // this sink was the thread's installed one (a correct filter makes none),
    // and calls whose method threw.
    uint64_t strayCalls = 0;
    uint64_t failedCalls = 0;

    virtual int32_t PutChar(uint32_t) { return 0; }
    virtual int32_t PutSpecialChar(uint32_t) { return 0; }
    virtual int32_t SetFontSize(int32_t) { return 0; }
    virtual int32_t PutBreak(uint32_t, uint32_t) { return 0; }
    virtual int32_t BeginSection(uint32_t, uint32_t, uint32_t) { return 0; }
    virtual int32_t BailOut(uint32_t) { return 0; }
    virtual int32_t SetParaSpacing(uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
    virtual int32_t BeginTable() { return 0; }
    virtual int32_t EndTable() { return 0; }
    virtual int32_t PutObject(const uint32_t*) { return 0; }
    virtual int32_t PutRule(const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
    virtual int32_t BeginTag(uint32_t, uint32_t, const uint32_t*) { return 0; }
    virtual int32_t EndTag(uint32_t, uint32_t) { return 0; }
    virtual int32_t RegisterText(const uint16_t*, uint32_t, uint32_t, uint32_t*) { return 0; }
    virtual int32_t DeclareSubText(uint32_t, uint32_t) { return 0; }
    virtual int32_t PutRowFormat(const uint32_t*) { return 0; }
    virtual int32_t SetTextColor(uint32_t, uint32_t) { return 0; }
    virtual int32_t SetSecondColor(uint32_t, uint32_t) { return 0; }
    virtual int32_t SetCharset(uint32_t) { return 0; }
    virtual int32_t NewSubdoc(uint32_t*) { return 0; }
    virtual int32_t PutStringId(uint32_t) { return 0; }
    virtual int32_t PutCellFormat(const uint32_t*) { return 0; }
    virtual int32_t SetProperty(uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
    virtual int32_t SetSectionName(uint32_t, uint32_t) { return 0; }

    // A sink that takes characters on its hot path may hand its own SoPutChar
    // routine (of type SoPutCharFn, reaching the sink with hostsink::Forward)
    // to skip the virtual call; null means the trampoline.
    virtual VwRoutine PutCharRoutine() const { return nullptr; }
};

namespace hostsink {

// The value of user2 while a HostSink is installed.
constexpr uintptr_t kUserMark = 0x4D53484Fu;

// What a routine answers when its sink method threw: the filter sees a
// failing host, never an exception.
constexpr int32_t kHostRoutineFailed = -1;

// The sink most recently installed on this thread: stray calls are counted
// there, since a call with foreign user words names no sink of its own.
inline HostSink*& InstalledSink() {
    thread_local HostSink* sink = nullptr;
    return sink;
}

inline HostSink* SinkOf(uintptr_t user1, uintptr_t user2) {
    if (user2 != kUserMark || user1 == 0) {
        if (HostSink* installed = InstalledSink()) ++installed->strayCalls;
        return nullptr;
    }
    return reinterpret_cast<HostSink*>(user1);
}

// Runs `call` on the sink of the user words; 0 without a sink, the failure
// answer when the call throws.
template <typename Call>
int32_t Forward(uintptr_t user1, uintptr_t user2, Call&& call) noexcept {
    HostSink* sink = SinkOf(user1, user2);
    if (!sink) return 0;
    try {
        return call(*sink);
    } catch (...) {
        ++sink->failedCalls;
        return kHostRoutineFailed;
    }
}

// Each trampoline: find the sink, forward, answer 0 when there is none.
#define HOSTSINK_TRAMPOLINE(Name, Params, Args)                                  \
    inline int32_t Name Params noexcept {                                        \
        return Forward(user1, user2, [&](HostSink& sink) { return sink.Name Args; }); \
    }

HOSTSINK_TRAMPOLINE(PutChar, (uint32_t ch, uintptr_t user1, uintptr_t user2), (ch))
HOSTSINK_TRAMPOLINE(PutSpecialChar, (uint32_t kind, uintptr_t user1, uintptr_t user2), (kind))
HOSTSINK_TRAMPOLINE(SetFontSize, (int32_t size, uintptr_t user1, uintptr_t user2), (size))
inline int32_t PutBreak(uint32_t kind, uint32_t zero, uintptr_t user1, uintptr_t user2) noexcept {
    return Forward(user1, user2, [&](HostSink& sink) {
        if (kind == 2 || kind == 3) sink.endBreak = kind;
        return sink.PutBreak(kind, zero);
    });
}
HOSTSINK_TRAMPOLINE(BeginSection,
                    (uint32_t a, uint32_t b, uint32_t c, uintptr_t user1, uintptr_t user2),
                    (a, b, c))
HOSTSINK_TRAMPOLINE(BailOut, (uint32_t code, uintptr_t user1, uintptr_t user2), (code))
HOSTSINK_TRAMPOLINE(SetParaSpacing,
                    (uint32_t kind, uint32_t amount, uint32_t before, uint32_t after,
                     uintptr_t user1, uintptr_t user2),
                    (kind, amount, before, after))
HOSTSINK_TRAMPOLINE(BeginTable, (uintptr_t user1, uintptr_t user2), ())
HOSTSINK_TRAMPOLINE(EndTable, (uintptr_t user1, uintptr_t user2), ())
HOSTSINK_TRAMPOLINE(PutObject, (const uint32_t* record, uintptr_t user1, uintptr_t user2),
                    (record))
HOSTSINK_TRAMPOLINE(PutRule,
                    (const uint32_t* record, uint32_t a, uint32_t b, uint32_t c, uint32_t d,
                     uintptr_t user1, uintptr_t user2),
                    (record, a, b, c, d))
HOSTSINK_TRAMPOLINE(BeginTag,
                    (uint32_t kind, uint32_t id, const uint32_t* record, uintptr_t user1,
                     uintptr_t user2),
                    (kind, id, record))
HOSTSINK_TRAMPOLINE(EndTag, (uint32_t kind, uint32_t id, uintptr_t user1, uintptr_t user2),
                    (kind, id))
HOSTSINK_TRAMPOLINE(RegisterText,
                    (const uint16_t* text, uint32_t charset, uint32_t length, uint32_t* number,
                     uintptr_t user1, uintptr_t user2),
                    (text, charset, length, number))
HOSTSINK_TRAMPOLINE(DeclareSubText,
                    (uint32_t kind, uint32_t number, uintptr_t user1, uintptr_t user2),
                    (kind, number))
HOSTSINK_TRAMPOLINE(PutRowFormat, (const uint32_t* row, uintptr_t user1, uintptr_t user2), (row))
HOSTSINK_TRAMPOLINE(SetTextColor,
                    (uint32_t which, uint32_t colour, uintptr_t user1, uintptr_t user2),
                    (which, colour))
HOSTSINK_TRAMPOLINE(SetSecondColor,
                    (uint32_t which, uint32_t colour, uintptr_t user1, uintptr_t user2),
                    (which, colour))
HOSTSINK_TRAMPOLINE(SetCharset, (uint32_t charset, uintptr_t user1, uintptr_t user2), (charset))
HOSTSINK_TRAMPOLINE(NewSubdoc, (uint32_t* number, uintptr_t user1, uintptr_t user2), (number))
HOSTSINK_TRAMPOLINE(PutStringId, (uint32_t number, uintptr_t user1, uintptr_t user2), (number))
HOSTSINK_TRAMPOLINE(PutCellFormat, (const uint32_t* cell, uintptr_t user1, uintptr_t user2),
                    (cell))
HOSTSINK_TRAMPOLINE(SetProperty,
                    (uint32_t form, uint32_t a, uint32_t b, uint32_t c, uintptr_t user1,
                     uintptr_t user2),
                    (form, a, b, c))
HOSTSINK_TRAMPOLINE(SetSectionName,
                    (uint32_t number, uint32_t one, uintptr_t user1, uintptr_t user2),
                    (number, one))

#undef HOSTSINK_TRAMPOLINE

// The routine behind each id, typed as the header declares it, then stored as
// a VwRoutine the way VwSetSoRtn expects.
struct Entry {
    int id;
    VwRoutine routine;
};

template <typename Fn>
VwRoutine AsRoutine(Fn fn) {
    return reinterpret_cast<VwRoutine>(fn);
}

inline const Entry* Entries(int* count) {
    static const Entry entries[] = {
        {SO_PUTCHAR, AsRoutine<SoPutCharFn>(&PutChar)},
        {SO_PUTSPECIALCHAR, AsRoutine<SoPutSpecialCharFn>(&PutSpecialChar)},
        {SO_SETFONTSIZE, AsRoutine<SoSetFontSizeFn>(&SetFontSize)},
        {SO_PUTBREAK, AsRoutine<SoPutBreakFn>(&PutBreak)},
        {SO_BEGINSECTION, AsRoutine<SoBeginSectionFn>(&BeginSection)},
        {SO_BAILOUT, AsRoutine<SoBailOutFn>(&BailOut)},
        {SO_SETPARASPACING, AsRoutine<SoSetParaSpacingFn>(&SetParaSpacing)},
        {SO_BEGINTABLE, AsRoutine<SoBeginTableFn>(&BeginTable)},
        {SO_ENDTABLE, AsRoutine<SoEndTableFn>(&EndTable)},
        {SO_PUTOBJECT, AsRoutine<SoPutObjectFn>(&PutObject)},
        {SO_PUTRULE, AsRoutine<SoPutRuleFn>(&PutRule)},
        {SO_BEGINTAG, AsRoutine<SoBeginTagFn>(&BeginTag)},
        {SO_ENDTAG, AsRoutine<SoEndTagFn>(&EndTag)},
        {SO_REGISTERTEXT, AsRoutine<SoRegisterTextFn>(&RegisterText)},
        {SO_DECLARESUBTEXT, AsRoutine<SoDeclareSubTextFn>(&DeclareSubText)},
        {SO_PUTROWFORMAT, AsRoutine<SoPutRowFormatFn>(&PutRowFormat)},
        {SO_SETTEXTCOLOR, AsRoutine<SoSetTextColorFn>(&SetTextColor)},
        {SO_SETSECONDCOLOR, AsRoutine<SoSetSecondColorFn>(&SetSecondColor)},
        {SO_SETCHARSET, AsRoutine<SoSetCharsetFn>(&SetCharset)},
        {SO_NEWSUBDOC, AsRoutine<SoNewSubdocFn>(&NewSubdoc)},
        {SO_PUTSTRINGID, AsRoutine<SoPutStringIdFn>(&PutStringId)},
        {SO_PUTCELLFORMAT, AsRoutine<SoPutCellFormatFn>(&PutCellFormat)},
        {SO_SETPROPERTY, AsRoutine<SoSetPropertyFn>(&SetProperty)},
        {SO_SETSECTIONNAME, AsRoutine<SoSetSectionNameFn>(&SetSectionName)},
    };
    *count = static_cast<int>(sizeof entries / sizeof entries[0]);
    return entries;
}

}  // namespace hostsink

// A sink gone is no longer the thread's installed one.
inline HostSink::~HostSink() {
    if (hostsink::InstalledSink() == this) hostsink::InstalledSink() = nullptr;
}

// The two routines a host needs to install a sink, whichever way it reached
// the filter (linked, or through the table of VwGetRtns).
using HostSetUserFn = void (*)(uintptr_t, uintptr_t, FilterProc*);
using HostSetSoRtnFn = void (*)(int32_t, VwRoutine, FilterProc*);

// Makes `sink` the receiver of every host call of `proc`. Call after
// VwLocalUp; the sink must outlive the document.
inline void HostSinkInstall(HostSink& sink, HostSetUserFn setUser, HostSetSoRtnFn setSoRtn,
                            FilterProc* proc) {
    hostsink::InstalledSink() = &sink;
    setUser(reinterpret_cast<uintptr_t>(&sink), hostsink::kUserMark, proc);
    int count = 0;
    const hostsink::Entry* entries = hostsink::Entries(&count);
    for (int i = 0; i < count; ++i) {
        VwRoutine routine = entries[i].routine;
        if (entries[i].id == SO_PUTCHAR && sink.PutCharRoutine()) routine = sink.PutCharRoutine();
        setSoRtn(entries[i].id, routine, proc);
    }
}
