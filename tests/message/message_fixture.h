// message_fixture.h - what the message tests share: a read-only IoObject over
// bytes in memory that counts its calls, a reader with a line buffer over it,
// and a walked part list that frees itself.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "input/input.h"
#include "message/message.h"

namespace message_test {

struct MemoryObject {
    IoObject io;  // first, so an IoObject* is a MemoryObject*
    std::string data;
    uint32_t pos = 0;
    uint32_t reads = 0;

    explicit MemoryObject(std::string bytes) : io{}, data(std::move(bytes)) {
        io.Close = [](IoObject*) -> int32_t { return 0; };
        io.Read = [](IoObject* object, void* buf, uint32_t count, uint32_t* got) -> int32_t {
            auto* self = reinterpret_cast<MemoryObject*>(object);
            ++self->reads;
            uint32_t size = static_cast<uint32_t>(self->data.size());
            uint32_t n = self->pos >= size ? 0 : std::min(count, size - self->pos);
            if (n > 0) std::memcpy(buf, self->data.data() + self->pos, n);
            self->pos += n;
            *got = n;
            return 0;
        };
        io.Seek = [](IoObject* object, uint16_t whence, int32_t offset) -> int32_t {
            auto* self = reinterpret_cast<MemoryObject*>(object);
            int64_t base = whence == 1 ? self->pos : whence == 2 ? static_cast<int64_t>(self->data.size()) : 0;
            int64_t target = whence == 0 ? static_cast<int64_t>(static_cast<uint32_t>(offset)) : base + offset;
            if (target < 0) return -1;
            self->pos = static_cast<uint32_t>(target);
            return 0;
        };
        io.Tell = [](IoObject* object, uint32_t* pos) -> int32_t {
            *pos = reinterpret_cast<MemoryObject*>(object)->pos;
            return 0;
        };
        io.GetInfo = [](IoObject*, uint32_t, void*) -> int32_t { return -10; };
    }
};

// A reader and the instance's line buffer (1024 bytes) over bytes in memory.
struct Scan {
    MemoryObject object;
    ByteReader* reader;
    TextBuffer line{};

    explicit Scan(std::string bytes) : object(std::move(bytes)) {
        reader = ReaderOpen(&object.io);
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

// The header list of a text parsed as one block at `start` (0: the message's
// own block, which keeps all fields).
struct Headers {
    HeaderList* list;
    explicit Headers(const std::string& text, uint32_t start = 0, uint32_t keepAll = 0) {
        Scan scan(std::string(start, '\n') + text);
        list = ListCreate(0, 0, sizeof(HeaderField), 4, 4);
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

// The parts of a walked message; frees them as the filter's close does.
struct Walked {
    Scan scan;
    PartList* parts;
    int32_t code;

    explicit Walked(std::string bytes) : scan(std::move(bytes)) {
        parts = ListCreate(0, 0, sizeof(MessagePart), 4, 4);
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
    std::string Body(uint16_t i) const {
        const MessagePart& part = At(i);
        return scan.object.data.substr(part.bodyOffset, part.bodyLength);
    }
    std::string Boundary(uint16_t i) const { return At(i).boundary ? At(i).boundary : "(null)"; }
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

}  // namespace message_test
