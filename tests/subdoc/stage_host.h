// stage_host.h - a host's file objects for the sub-document tests: a document
// stream over bytes whose Open logs every request and every Close of what it
// made, and can be told to fail. Ranges are the platform's; the decoding stage
// is a toy one (pairs of hex digits become bytes, everything else is
// skipped; it opens standing at its end), so that tests can nest stages and
// see each one work.
//
// The log is global because Open has no object of its own to keep it in; a
// StageHost resets it and owns the document stream for one test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/io_object.h"

struct StageEvent {
    enum Kind { Open, Close } kind = Open;
    uint32_t label = 0;   // Open: the label of the object made (0 when it failed); Close: the one closed
    uint32_t openKind = 0;
    uint32_t base = 0;    // label of the request's base object
    uint32_t first = 0;   // kind 8: first offset; kind 19: word 1
    uint32_t second = 0;  // kind 8: last offset; kind 19: TransferCode
    uint32_t flags = 0;
};

// How Open misbehaves; `failAt` counts Opens from 1 (0: never fails).
struct StageFailure {
    uint32_t failAt = 0;
    bool leaveObject = false;  // the failing Open still writes an object to *out
};

class StageHost {
public:
    explicit StageHost(std::string_view document, StageFailure failure = {});
    ~StageHost();
    StageHost(const StageHost&) = delete;
    StageHost& operator=(const StageHost&) = delete;

    IoObject* document() const { return document_; }
    // Label 1 is the document; objects made by Open count on from 2.
    static const std::vector<StageEvent>& Log();
    static std::vector<StageEvent> Opens();
    static std::vector<uint32_t> Closed();
    // Objects made by Open and not closed yet.
    static size_t LiveObjects();

private:
    IoObject* document_;
};

// The toy encoding: each byte as two lower-case hex digits.
std::string HexOf(std::string_view bytes);

// Reads `object` from its present position until it ends, asking `chunk`
// bytes per Read.
std::string ReadRest(IoObject* object, uint32_t chunk = 4096);
