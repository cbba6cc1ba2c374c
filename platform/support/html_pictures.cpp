// html_pictures.cpp - resolving <img src> to the message's own parts.
#include "platform/support/html_pictures.h"

#include <string>

namespace {

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

// A Content-ID without its angle brackets; senders forget them both ways.
std::string_view Bare(std::string_view id) {
    id = Trimmed(id);
    if (id.size() >= 2 && id.front() == '<' && id.back() == '>') id = id.substr(1, id.size() - 2);
    return id;
}

std::string_view LastSegment(std::string_view path) {
    const size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool StartsNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if ((text[i] | 0x20) != prefix[i]) return false;
    return true;
}

const LocatorRecord* At(const GrowList* locators, uint16_t i) { return ListAt<LocatorRecord>(locators, i); }

uint32_t ByContentId(const GrowList* locators, std::string_view cid) {
    for (uint16_t i = 0; i < ListCount(locators); ++i) {
        const LocatorRecord* record = At(locators, i);
        if (record->contentId && record->subdocHandle != 0 && Bare(record->contentId) == cid)
            return record->subdocHandle;
    }
    return 0;
}

uint32_t ByLocation(const GrowList* locators, std::string_view src) {
    uint32_t bySegment = 0;
    int segmentMatches = 0;
    for (uint16_t i = 0; i < ListCount(locators); ++i) {
        const LocatorRecord* record = At(locators, i);
        if (!record->contentLocation || record->subdocHandle == 0) continue;
        const std::string_view location = Trimmed(record->contentLocation);
        if (location == src) return record->subdocHandle;
        if (!LastSegment(location).empty() && LastSegment(location) == LastSegment(src)) {
            bySegment = record->subdocHandle;
            ++segmentMatches;
        }
    }
    return segmentMatches == 1 ? bySegment : 0;
}

}  // namespace

uint32_t FindPicture(const GrowList* locators, std::string_view src) {
    src = Trimmed(src);
    if (!locators || src.empty()) return 0;
    if (StartsNoCase(src, "cid:")) return ByContentId(locators, Bare(src.substr(4)));
    return ByLocation(locators, src);
}
