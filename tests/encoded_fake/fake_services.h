// fake_services.h - a scripted identification service and a fake document
// stream for the classification tests. This test program defines
// IdentifyHandle and IdentifySpecial itself, so the filter's calls reach these
// instead of the platform's. The stream makes byte ranges and "decoding
// stages" whose output the test chooses, and keeps a log of what was asked.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/io_object.h"

namespace fake {

// What a test wants the service to answer for the bytes it is shown
// (0: write nothing), and what it was shown.
struct Identity {
    std::function<uint16_t(const std::string&)> handle;
    std::function<uint16_t(const std::string&)> special;
    std::vector<std::string> handleSeen;
    std::vector<uint32_t> handleModes;
    std::vector<std::string> specialSeen;
    std::vector<uint16_t> specialHints;
};

// The service of the running test; ResetService installs the default rules.
Identity& Service();
void ResetService();

// Like the platform's service, by the first bytes: empty and printable text
// 4022, a PNG signature 1502, "{\rtf" 1028, "<html" 1101, the TNEF signature
// 1197, the openings of uuencode, yEnc and BinHex 4050, 4054, 4056; anything
// else has no answer.
uint16_t DefaultHandle(const std::string& bytes);
// For a "begin " block: 4050 when its first data line starts with 'M', 4052
// when with 'h', else 1999.
uint16_t DefaultSpecial(const std::string& bytes);

// Shared by a fake stream and every object derived from it.
struct StreamLog {
    std::map<uint32_t, std::string> decoded;  // what Open kind 19 delivers, by TransferCode
    bool failRange = false;                   // Open kind 8 fails
    std::vector<uint32_t> decodeCodes;        // every TransferCode asked of Open kind 19
    uint32_t rangeReads = 0;                  // Reads on range objects outside the service
    int32_t alive = 0;                        // derived objects not closed yet
};

// A read-only object over `bytes`; the caller closes it.
IoObject* FakeStreamOpen(std::string bytes, std::shared_ptr<StreamLog> log);

}  // namespace fake
