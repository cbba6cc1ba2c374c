// object_info.cpp - the GetInfo questions that every object of the filter
// answers alike, and the check for an OLE compound document at the start of a
// stream. Works on any IoObject through its own routines; knows nothing of
// what lies behind them.
#include <cstring>

#include "subdoc/subdoc.h"

namespace {

constexpr uint32_t kInfoName = 3;
constexpr uint32_t kInfoSignature = 4;
constexpr uint32_t kInfoNameAgain = 6;
constexpr uint32_t kInfoNameKind = 14;
constexpr uint32_t kInfoQuiet = 15;
constexpr uint32_t kNameKindBytes = 2;

constexpr uint8_t kCompoundSignature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

}  // namespace

int32_t SignatureCheck(IoObject* object) {
    uint32_t saved = 0;
    if (object->Tell(object, &saved) != 0) return kObjectNotAnswered;
    if (object->Seek(object, 0, 0) != 0) return kObjectNotAnswered;
    uint8_t head[sizeof kCompoundSignature] = {};
    uint32_t got = 0;
    if (object->Read(object, head, sizeof head, &got) != 0) return kObjectNotAnswered;
    if (object->Seek(object, 0, static_cast<int32_t>(saved)) != 0) return kObjectNotAnswered;
    if (got != sizeof head || std::memcmp(head, kCompoundSignature, sizeof head) != 0)
        return kObjectNotAnswered;
    return 0;
}

int32_t ObjectGetInfo(IoObject* object, const char* name, uint32_t what, void* answer) {
    switch (what) {
        case kInfoName:
        case kInfoNameAgain: {
            if (!answer) return kObjectNotAnswered;
            // With its NUL the name never passes kObjectNameSize bytes, the
            // buffer a host gives the filter's objects.
            const size_t length = strnlen(name, kObjectNameSize - 1);
            std::memcpy(answer, name, length);
            static_cast<char*>(answer)[length] = '\0';
            return 0;
        }
        case kInfoSignature: return SignatureCheck(object);
        case kInfoNameKind:
            if (!answer) return kObjectNotAnswered;
            std::memcpy(answer, &kNameKindBytes, sizeof kNameKindBytes);
            return 0;
        case kInfoQuiet: return 0;
        default: return kObjectNotAnswered;
    }
}
