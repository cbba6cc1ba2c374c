// The buffered reader: its position arithmetic around buffer ends and the end
// of input is what every scanner above relies on.
#include <gtest/gtest.h>

#include <string>

#include "input/input.h"
#include "tests/support/memory_object.h"

namespace {

std::string Bytes(size_t n) {
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>('A' + i % 26);
    return s;
}

struct Reader {
    explicit Reader(IoObject* object) : reader(ReaderOpen(object)) {}
    ~Reader() { ReaderClose(reader); }
    ByteReader* reader;
};

TEST(ByteReader, NewReaderStartsAtOffsetZeroWhereverTheObjectStands) {
    MemoryObject object(Bytes(300));
    object.get()->Seek(object.get(), 0, 100);
    Reader r(object.get());
    EXPECT_EQ(ReaderGet(r.reader), 'A');
    EXPECT_EQ(ReaderTell(r.reader), 1u);
}

TEST(ByteReader, EndOfInputPositions) {
    MemoryObject object(Bytes(5000));
    Reader r(object.get());
    for (int i = 0; i < 5000; ++i) ASSERT_NE(ReaderGet(r.reader), kReaderEnd) << i;
    EXPECT_EQ(ReaderTell(r.reader), 5000u);
    EXPECT_EQ(ReaderPeek(r.reader, 1), kReaderEnd);
    EXPECT_EQ(ReaderTell(r.reader), 5001u) << "a peek that met the end with nothing read";
    EXPECT_EQ(ReaderGet(r.reader), kReaderEnd);
    EXPECT_EQ(ReaderTell(r.reader), 5001u);
    EXPECT_EQ(ReaderGet(r.reader), kReaderEnd) << "end is reported again, by a new refill";
    ASSERT_EQ(ReaderSeek(r.reader, 0, 2), 0);
    EXPECT_EQ(ReaderTell(r.reader), 5000u);
    ASSERT_EQ(ReaderSeek(r.reader, 4999, 0), 0);
    EXPECT_EQ(ReaderGet(r.reader), static_cast<uint16_t>('A' + 4999 % 26));
}

TEST(ByteReader, PeekAcrossTheBufferEndLeavesThePosition) {
    std::string data = Bytes(4096);
    data[2047] = 'x';
    data[2048] = 'y';
    MemoryObject object(data);
    Reader r(object.get());
    ASSERT_EQ(ReaderSeek(r.reader, 2047, 0), 0);
    EXPECT_EQ(ReaderPeek(r.reader, 0), 0);
    EXPECT_EQ(ReaderPeek(r.reader, 2), 'y');
    EXPECT_EQ(ReaderTell(r.reader), 2047u);
    EXPECT_EQ(ReaderGet(r.reader), 'x');
    EXPECT_EQ(ReaderGet(r.reader), 'y');
}

TEST(ByteReader, SeeksInsideTheBufferMakeNoCalls) {
    MemoryObject object(Bytes(3000));
    Reader r(object.get());
    ReaderGet(r.reader);
    uint32_t seeks = object.stats().seeks;
    uint32_t reads = object.stats().reads;
    ASSERT_EQ(ReaderSeek(r.reader, 2000, 0), 0);
    EXPECT_EQ(ReaderGet(r.reader), static_cast<uint16_t>('A' + 2000 % 26));
    ASSERT_EQ(ReaderSeek(r.reader, -10, 1), 0);
    EXPECT_EQ(ReaderTell(r.reader), 1991u);
    EXPECT_EQ(ReaderUnget(r.reader, 1), 0);
    EXPECT_EQ(ReaderTell(r.reader), 1990u);
    EXPECT_EQ(object.stats().seeks, seeks);
    EXPECT_EQ(object.stats().reads, reads);
    EXPECT_LE(object.stats().largestRequest, kReaderBufferSize);
}

TEST(ByteReader, MultiByteNumbers) {
    MemoryObject object(std::string("\x34\x12\x78\x56\x34\x12\xAB", 7));
    Reader r(object.get());
    EXPECT_EQ(ReaderGet16(r.reader), 0x1234);
    EXPECT_EQ(ReaderGet32(r.reader), 0x12345678u);
    EXPECT_EQ(ReaderGet16(r.reader), 0) << "one byte left";
    MemoryObject tail(std::string("\x01\x02", 2));
    Reader t(tail.get());
    // Missing bytes count as -1 in their place, with no end mark.
    uint32_t value = ReaderGet32(t.reader);
    EXPECT_EQ(value, 0x0201u - (1u << 16) - (1u << 24));
    EXPECT_NE(value, 0xFFFFu);
}

TEST(ByteReader, FailingAndShortReads) {
    MemoryObjectOptions failing;
    failing.failRead = true;
    MemoryObject broken(Bytes(100), failing);
    Reader b(broken.get());
    EXPECT_EQ(ReaderGet(b.reader), kReaderEnd) << "a failing Read looks like the end";

    MemoryObjectOptions shortReads;
    shortReads.shortReads = 7;
    std::string data = Bytes(1000);
    MemoryObject trickle(data, shortReads);
    Reader s(trickle.get());
    std::string got;
    for (uint16_t c; (c = ReaderGet(s.reader)) != kReaderEnd;) got += static_cast<char>(c);
    EXPECT_EQ(got, data);
}

}  // namespace
