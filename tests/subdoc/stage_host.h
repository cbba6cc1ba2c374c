// stage_host.h - a host's file objects for the sub-document tests: a document
// stream whose Open logs every request and every Close of what it made, and
// can be told to fail. Ranges are the platform's; the decoding stage is a toy
// one (pairs of hex digits become bytes, everything else is skipped; it opens
// standing at its end), so that tests can nest stages and see each one work.
// The log is global because Open has no object of its own to keep it in; a
// StageHost resets it and owns the document stream for one test.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/io_object.h"
#include "tests/support/recording_host.h"

// One Open: the label of the object made (0 when none), the request's kind,
// the label of its base and its words 1 and 2, and the flags.
struct OpenRequest {
    uint32_t label, kind, base, first, second, flags;
};

// The `failAt`-th Open (counted from 1; 0: none) fails, and may still write
// an object to *out.
struct StageFailure {
    uint32_t failAt = 0;
    bool leaveObject = false;
};

class StageHost {
public:
    explicit StageHost(std::string_view document, StageFailure failure = {});
    ~StageHost();
    StageHost(const StageHost&) = delete;
    StageHost& operator=(const StageHost&) = delete;

    IoObject* document() const { return document_; }
    // Label 1 is the document; objects made by Open count on from 2.
    static const std::vector<OpenRequest>& Opens();
    static const std::vector<uint32_t>& Closed();
    static size_t LiveObjects();  // made by Open and not closed yet

private:
    IoObject* document_;
};

// The toy encoding: each byte as two lower-case hex digits.
std::string HexOf(std::string_view bytes);
// Reads `object` from where it stands to its end, `chunk` bytes per Read.
std::string ReadRest(IoObject* object, uint32_t chunk = 4096);
// GetInfo `what` into the 513 bytes a host gives it; "<refused>" on failure.
std::string NameOf(IoObject* object, uint32_t what = 3);

// One recipe the host was told: the steps between SoNewSubdoc and form 0xC2.
struct Recipe {
    uint32_t subdoc = 0;
    std::vector<std::array<uint32_t, 3>> steps;
};
std::vector<Recipe> RecipesOf(const RecordingHost& host);
