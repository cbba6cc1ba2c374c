// byte_reader.cpp - buffered forward reading of an IoObject with cheap short
// back-steps. The reader never owns its object; a new reader always starts at
// offset 0 of the object, wherever the object stands, because the first
// refill seeks to bufferOffset.
#include <cstdlib>

#include "input/input.h"

ByteReader* ReaderOpen(IoObject* file) {
    // Callers treat a null reader as an unreadable stream.
    auto* reader = static_cast<ByteReader*>(std::calloc(1, sizeof(ByteReader)));
    if (!reader) return nullptr;
    reader->file = file;
    reader->self = reader;
    reader->next = reader->buffer;
    return reader;
}

IoObject* ReaderClose(ByteReader* reader) {
    if (!reader) return nullptr;
    IoObject* file = reader->file;
    std::free(reader->self);
    return file;
}

uint16_t ReaderRefill(ByteReader* reader) {
    reader->bufferOffset += reader->bufferCount;
    IoObject* file = reader->file;
    uint32_t pos = 0;
    // A failed Tell or Seek is not examined: Read then reads wherever the
    // object stands, which is the documented degradation.
    if (file->Tell(file, &pos) != 0 || pos != reader->bufferOffset)
        file->Seek(file, 0, static_cast<int32_t>(reader->bufferOffset));
    uint32_t got = 0;
    if (file->Read(file, reader->buffer, kReaderBufferSize, &got) != 0) got = 0;
    if (got > kReaderBufferSize) got = kReaderBufferSize;
    reader->bufferCount = got;
    reader->next = reader->buffer + 1;
    if (got == 0) {
        reader->remaining = -1;
        return kReaderEnd;
    }
    reader->remaining = static_cast<int16_t>(got - 1);
    return reader->buffer[0];
}

int32_t ReaderSeek(ByteReader* reader, int32_t offset, uint16_t whence) {
    uint32_t target;
    if (whence == 1) {
        target = ReaderTell(reader) + static_cast<uint32_t>(offset);
    } else if (whence == 2) {
        IoObject* file = reader->file;
        uint32_t end = 0;
        if (file->Seek(file, 2, offset) != 0 || file->Tell(file, &end) != 0) return -1;
        target = end;
    } else {
        target = static_cast<uint32_t>(offset);
    }
    if (target >= reader->bufferOffset && target - reader->bufferOffset < reader->bufferCount) {
        uint32_t inBuffer = target - reader->bufferOffset;
        reader->next = reader->buffer + inBuffer;
        reader->remaining = static_cast<int16_t>(reader->bufferCount - inBuffer);
        return 0;
    }
    reader->bufferCount = 0;
    reader->remaining = 0;
    reader->next = reader->buffer;
    reader->bufferOffset = target;
    IoObject* file = reader->file;
    return file->Seek(file, 0, static_cast<int32_t>(target)) == 0 ? 0 : -1;
}

uint16_t ReaderPeek(ByteReader* reader, uint16_t n) {
    if (n == 0) return 0;
    uint32_t start = ReaderTell(reader);
    uint16_t byte = 0;
    uint16_t got = 0;
    for (uint16_t i = 0; i < n; ++i) {
        byte = ReaderGet(reader);
        if (byte == kReaderEnd) break;
        ++got;
    }
    if (got > 0) ReaderSeek(reader, static_cast<int32_t>(start), 0);
    return byte;
}

int32_t ReaderUnget(ByteReader* reader, uint16_t n) {
    ReaderSeek(reader, -static_cast<int32_t>(n), 1);
    return 0;
}

uint16_t ReaderGet16(ByteReader* reader) {
    uint16_t low = ReaderGet(reader);
    uint16_t high = ReaderGet(reader);
    if (low == kReaderEnd || high == kReaderEnd) return 0;
    return static_cast<uint16_t>(low | (high << 8));
}

uint32_t ReaderGet32(ByteReader* reader) {
    // Each byte counts as a signed 16-bit value, so the end of input adds -1
    // in its place rather than being signalled.
    uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        int16_t byte = static_cast<int16_t>(ReaderGet(reader));
        value += static_cast<uint32_t>(static_cast<int32_t>(byte)) << shift;
    }
    return value;
}
