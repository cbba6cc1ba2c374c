// objects.h - what the platform's own file objects share: the record behind
// each IoObject, how one object recognises another as one of ours, and the
// directory that a sibling is looked up in.
//
// Not a public interface: hosts see IoObject only. Objects that other code
// makes (the filter's, the decoding stages) are handled through their routines
// alone; they carry no directory, so no sibling can be opened next to them.
#pragma once

#include <cstdint>

#include "host/io_object.h"

// Our objects keep positions in 64 bits internally and refuse anything that
// does not fit the 32-bit positions of the interface. The two top values are
// sentinels ("to the end", "none"), so the largest usable length is below them.
constexpr uint64_t kLargestObjectLength = 0xFFFFFFFCu;

// Codes our routines answer besides 0.
constexpr int32_t kIoFailed = -1;          // a read error or a seek before the start
constexpr int32_t kIoNotMade = -2;         // Open could not make the object
constexpr int32_t kIoNotAnswered = -10;    // a GetInfo question we don't answer

// GetInfo 14 answer: the name comes as bytes.
constexpr uint32_t kNameKindBytes = 2;

// The position a Seek asks for: whence 0 from the start (the offset taken as
// unsigned), 1 from `position`, 2 from the end, which `endOf(&end)` finds only
// when asked. False for an unknown whence, an end that can't be found, or a
// target before the start or beyond a 32-bit position; past the end is fine.
template <typename EndOf>
bool SeekTarget(uint16_t whence, int32_t offset, uint64_t position, EndOf endOf, uint64_t* target) {
    int64_t at;
    if (whence == 0) {
        at = static_cast<uint32_t>(offset);
    } else if (whence == 1) {
        at = static_cast<int64_t>(position) + offset;
    } else if (whence == 2) {
        uint64_t end = 0;
        if (!endOf(&end)) return false;
        at = static_cast<int64_t>(end) + offset;
    } else {
        return false;
    }
    if (at < 0 || at > 0xFFFFFFFFll) return false;
    *target = static_cast<uint64_t>(at);
    return true;
}

// The directory that a sibling of `object` lives in, or null when `object`
// is not a platform object or does not sit over a file of ours. The text
// belongs to the object and lives as long as it does.
const char* PlatformObjectDirectory(IoObject* object);

// Kind 8 over any object.
int32_t RangeObjectOpen(const IoRangeRequest* request, IoObject** out);

// Kind 9: a file named in the request, next to the base's file.
int32_t SiblingObjectOpen(const IoSiblingRequest* request, IoObject** out);

// For the two files above: the directory of a file object or a range.
const char* FileObjectDirectory(IoObject* object);
const char* RangeObjectDirectory(IoObject* object);

// Base name of `path` (what follows the last '/'), as a pointer into it.
const char* PathBaseName(const char* path);
