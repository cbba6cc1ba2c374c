// identify_window.cpp - reads the identification window of an object and
// runs the rules in the order of the answers table, first match wins:
// empty, TNEF and pictures, other binary formats, RTF, messages, HTML,
// encodings, text.
//
// libmagic is asked only about data that isn't text (and PDF is known by its
// signature), which keeps it off the hot path of text parts and keeps its
// opinions on text (JSON, source code, "message/rfc822") out of the answers.
#include <cstring>

#include "platform/identify/identify.h"

namespace {

constexpr uint16_t kText = 4022;

// A full window may end in the middle of a line; the line rules see only
// whole lines, so that a cut data line isn't judged by its length.
size_t WholeLinesLength(const uint8_t* data, size_t length) {
    if (length < kIdentifyWindow) return length;
    size_t end = length;
    while (end > 0 && data[end - 1] != '\n' && data[end - 1] != '\r') --end;
    return end == 0 ? length : end;
}

}  // namespace

bool IdentifyReadWindow(IoObject* object, uint8_t* window, size_t* length) {
    *length = 0;
    if (object == nullptr || object->Seek == nullptr || object->Read == nullptr) return false;
    if (object->Seek(object, 0, 0) != 0) return false;
    // Decoding stages may deliver a little at a time: ask until the window is
    // full or the object ends.
    while (*length < kIdentifyWindow) {
        uint32_t got = 0;
        uint32_t want = static_cast<uint32_t>(kIdentifyWindow - *length);
        if (object->Read(object, window + *length, want, &got) != 0 || got == 0 || got > want) break;
        *length += got;
    }
    return true;
}

uint16_t IdentifyBytes(const uint8_t* data, size_t length) {
    if (length == 0) return kText;  // a part of length 0 is text
    if (uint16_t signature = IdentifySignature(data, length)) return signature;
    bool text = LooksLikeText(data, length);
    if (!text) {
        if (uint16_t binary = IdentifyByMagic(data, length)) return binary;
    }
    if (LooksLikeRtf(data, length)) return 1028;
    size_t lines = WholeLinesLength(data, length);
    if (uint16_t message = IdentifyMessage(data, lines)) return message;
    if (LooksLikeHtml(data, length)) return 1101;
    if (uint16_t encoding = IdentifyEncoding(data, lines)) return encoding;
    return text ? kText : 0;
}

uint16_t IdentifyEncodedBytes(const uint8_t* data, size_t length) {
    return IdentifyEncoding(data, WholeLinesLength(data, length));
}

extern "C" const char* IdentifyMimeType(IoObject* object) {
    static const char kUnknown[] = "application/octet-stream";
    thread_local char answer[256];
    uint8_t window[kIdentifyWindow];
    size_t length = 0;
    if (!IdentifyReadWindow(object, window, &length)) return kUnknown;
    const char* type = MagicMimeType(window, length);
    if (type == nullptr) return kUnknown;
    size_t n = strnlen(type, sizeof(answer) - 1);
    memcpy(answer, type, n);
    answer[n] = '\0';
    return answer;
}
