// message_fixture.h - what the message tests share: a reader with the line
// buffer over bytes in memory, a parsed header block and a walked part list,
// each freed as the filter frees them.
#pragma once

#include <string>

#include "input/input.h"
#include "message/message.h"
#include "tests/support/memory_object.h"

namespace message_test {

struct Scan {
    std::string text;
    MemoryObject object;
    ByteReader* reader;
    TextBuffer line{};

    explicit Scan(std::string bytes, const MemoryObjectOptions& options = {})
        : text(std::move(bytes)), object(text, options), reader(ReaderOpen(object.get())) {
        TextBufferAlloc(&line, 1024);
    }
    ~Scan() {
        ReaderClose(reader);
        StringFree(line.block);
    }
    Scan(const Scan&) = delete;
    Scan& operator=(const Scan&) = delete;

    std::string Line(uint16_t start = 0) { return ReadLine(reader, &line, start); }
};

// One header block parsed at `start` (0: the message's own block).
struct Headers {
    HeaderList* list = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
    explicit Headers(const std::string& text, uint32_t start = 0, uint32_t keepAll = 0) {
        Scan scan(std::string(start, '\n') + text);
        ReaderSeek(scan.reader, static_cast<int32_t>(start), 0);
        uint32_t end = 0;
        FindBodyStart(scan.reader, &scan.line, &end);
        ParseHeader(scan.reader, start, end, list, keepAll, &scan.line);
    }
    ~Headers() { HeaderListFree(list); }
    Headers(const Headers&) = delete;
    Headers& operator=(const Headers&) = delete;

    uint16_t Count() const { return ListCount(list); }
    std::string Name(uint16_t i) const { return FieldName(i, list); }
    std::string Value(uint16_t i) const { return FieldValue(i, list); }
};

struct Walked {
    Scan scan;
    PartList* parts = ListCreate(0, 0, sizeof(MessagePart), 4, 4);
    int32_t code;

    explicit Walked(std::string bytes, const MemoryObjectOptions& options = {}) : scan(std::move(bytes), options) {
        code = WalkMessage(scan.reader, nullptr, parts, 0, &scan.line);
    }
    ~Walked() {
        for (uint16_t i = 0; i < Count(); ++i) {
            HeaderListFree(At(i).headers);
            StringFree(At(i).boundaryBlock);
        }
        ListDestroy(parts);
    }
    Walked(const Walked&) = delete;
    Walked& operator=(const Walked&) = delete;

    uint16_t Count() const { return ListCount(parts); }
    MessagePart& At(uint16_t i) const { return *ListAt<MessagePart>(parts, i); }
    std::string Body(uint16_t i) const { return scan.text.substr(At(i).bodyOffset, At(i).bodyLength); }
    std::string Boundary(uint16_t i) const { return At(i).boundary ? At(i).boundary : "(null)"; }

    // Every record as boundary ('-' for none), '*' for a multipart, ':' its
    // field count and its body in brackets; '~' marks a body that runs to
    // the end of the stream.
    std::string Outline() const {
        std::string out;
        for (uint16_t i = 0; i < Count(); ++i) {
            const MessagePart& part = At(i);
            out += std::string(i ? " " : "") + (part.boundary ? part.boundary : "-") + (part.isMultipart ? "*" : "") +
                   ":" + std::to_string(ListCount(part.headers)) + "[";
            if (part.bodyLength == 0xFFFFFFFEu) out += "~";
            if (part.bodyOffset <= scan.text.size()) out += Body(i);
            out += "]";
        }
        return out;
    }
};

}  // namespace message_test
