// seek_test.cpp - the decoding object as a file: seeks in every direction
// against the whole decoded buffer, the cost of paging, failing bases, and
// what it says of itself.
#include <gtest/gtest.h>

#include <random>

#include "tests/decode/decode_test_util.h"

namespace {

Bytes RandomBytes(size_t size, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes data(size);
    for (size_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(rng() >> 13);
    // Long zero stretches make some encodings shrink a lot, others not at all.
    for (size_t i = 0; i + 5000 < size; i += 100000) std::fill_n(data.begin() + i, 5000, 0);
    return data;
}

Bytes Base64Lines(const Bytes& data) {
    static const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Bytes out;
    for (size_t i = 0; i < data.size(); i += 3) {
        uint32_t w = data[i] << 16;
        if (i + 1 < data.size()) w |= data[i + 1] << 8;
        if (i + 2 < data.size()) w |= data[i + 2];
        out.push_back(alphabet[w >> 18]);
        out.push_back(alphabet[(w >> 12) & 63]);
        out.push_back(i + 1 < data.size() ? alphabet[(w >> 6) & 63] : '=');
        out.push_back(i + 2 < data.size() ? alphabet[w & 63] : '=');
        if (i % 57 == 54) out.push_back('\n');
    }
    out.push_back('\n');
    return out;
}

// Compressed RTF made of literals and references to the byte just written,
// which the decoder must copy byte by byte as it writes them.
void LzfuRuns(size_t items, uint32_t seed, Bytes* compressed, Bytes* raw) {
    std::mt19937 rng(seed);
    Bytes body;
    uint32_t writeAt = 207;
    for (size_t k = 0; k < items;) {
        size_t flagAt = body.size();
        body.push_back(0);
        for (int bit = 0; bit < 8 && k < items; ++bit, ++k) {
            if (!raw->empty() && rng() % 3 == 0) {
                uint32_t length = 2 + rng() % 16;
                uint32_t token = ((writeAt + 4095) % 4096) << 4 | (length - 2);
                body[flagAt] |= 1 << bit;
                body.push_back(static_cast<uint8_t>(token >> 8));
                body.push_back(static_cast<uint8_t>(token));
                raw->insert(raw->end(), length, raw->back());
                writeAt = (writeAt + length) % 4096;
            } else {
                uint8_t byte = static_cast<uint8_t>(rng());
                body.push_back(byte);
                raw->push_back(byte);
                writeAt = (writeAt + 1) % 4096;
            }
        }
    }
    // The end: a reference to the write position, alone in its run.
    body.push_back(1);
    body.push_back(static_cast<uint8_t>(writeAt >> 4));
    body.push_back(static_cast<uint8_t>(writeAt << 4));
    const char* type = "LZFu";
    uint32_t sizes[2] = {static_cast<uint32_t>(body.size() + 12), static_cast<uint32_t>(raw->size())};
    for (uint32_t v : sizes)
        for (int k = 0; k < 4; ++k) compressed->push_back(static_cast<uint8_t>(v >> (8 * k)));
    compressed->insert(compressed->end(), type, type + 4);
    compressed->insert(compressed->end(), 4, 0);
    compressed->insert(compressed->end(), body.begin(), body.end());
}

// Random seeks of every kind and reads of every size, each checked against
// the whole decoded buffer.
void CheckRandomAccess(uint32_t code, const Bytes& encoded, const Bytes& expected, uint32_t seed) {
    MemoryBase base(encoded);
    base.position = 12345;  // the object must start from the base's start
    ObjectPtr object = DecodeOpen(base, code);
    ASSERT_NE(object, nullptr);
    std::mt19937 rng(seed);
    const int64_t length = static_cast<int64_t>(expected.size());
    int64_t position = 0;
    std::vector<uint8_t> buf(65535);
    for (int op = 0; op < 600; ++op) {
        uint16_t whence = static_cast<uint16_t>(rng() % 3);
        int kind = rng() % 4;
        int64_t target = kind == 0   ? position - static_cast<int64_t>(rng() % 3000)  // a reader's step back
                         : kind == 1 ? position
                                     : static_cast<int64_t>(rng() % (expected.size() + 200));
        target = std::max<int64_t>(target, 0);
        int64_t offset = whence == 0 ? target : whence == 1 ? target - position : target - length;
        ASSERT_EQ(object->Seek(object.get(), whence, static_cast<int32_t>(offset)), 0);
        position = target;
        uint32_t told = 0;
        ASSERT_EQ(object->Tell(object.get(), &told), 0);
        ASSERT_EQ(told, static_cast<uint32_t>(position));
        uint32_t count = rng() % 4 == 0 ? 65535 : 1 + rng() % 4096;
        uint32_t got = 0xFFFFFFFF;
        ASSERT_EQ(object->Read(object.get(), buf.data(), count, &got), 0);
        int64_t want = std::max<int64_t>(0, std::min<int64_t>(count, length - position));
        ASSERT_EQ(got, static_cast<uint32_t>(want)) << "op " << op << " at " << position;
        if (want > 0) {
            ASSERT_TRUE(std::equal(buf.begin(), buf.begin() + want, expected.begin() + position));
        }
        position += want;
    }
}

TEST(Seeking, RandomSeeksAndReadsMatchTheDecodedBuffer) {
    Bytes data = RandomBytes(3 * 1024 * 1024 + 5, 1);
    CheckRandomAccess(2, Base64Lines(data), data, 2);
    Bytes compressed, raw;
    LzfuRuns(400000, 3, &compressed, &raw);
    ASSERT_TRUE(DecodeBytes(22, compressed) == raw);
    CheckRandomAccess(22, compressed, raw, 4);
}

TEST(Seeking, EndsAndBeyond) {
    Bytes data = RandomBytes(300000, 5);
    MemoryBase base(Base64Lines(data));
    ObjectPtr object = DecodeOpen(base, 2);
    ASSERT_NE(object, nullptr);
    IoObject* io = object.get();
    uint32_t told = 0, got = 99;
    uint8_t buf[16];
    ASSERT_EQ(io->Seek(io, 2, 0), 0);
    io->Tell(io, &told);
    EXPECT_EQ(told, data.size());
    EXPECT_EQ(io->Read(io, buf, sizeof buf, &got), 0);
    EXPECT_EQ(got, 0u);
    // Past the end: the seek works, reads give nothing.
    EXPECT_EQ(io->Seek(io, 0, static_cast<int32_t>(data.size() + 5000)), 0);
    EXPECT_EQ(io->Read(io, buf, sizeof buf, &got), 0);
    EXPECT_EQ(got, 0u);
    // Before the start: refused, the position stays.
    EXPECT_NE(io->Seek(io, 1, -static_cast<int32_t>(data.size() + 5001)), 0);
    EXPECT_NE(io->Seek(io, 2, -static_cast<int32_t>(data.size() + 1)), 0);
    io->Tell(io, &told);
    EXPECT_EQ(told, data.size() + 5000);
    // Back to the start after the end was seen.
    EXPECT_EQ(io->Seek(io, 0, 0), 0);
    EXPECT_TRUE(ReadToEnd(io) == data);
}

// A reader made per call starts with a Tell and a seek; reads of 2 KiB with
// steps back of a few bytes are what the filter does all along.
TEST(Seeking, PagingWithReaderStepsBackStaysLinear) {
    Bytes data = RandomBytes(8 * 1024 * 1024, 6);
    MemoryBase base(Base64Lines(data));
    ObjectPtr object = DecodeOpen(base, 2);
    ASSERT_NE(object, nullptr);
    IoObject* io = object.get();
    std::vector<uint8_t> buf(2048);
    uint32_t position = 0, got = 0;
    for (;;) {
        ASSERT_EQ(io->Seek(io, 0, static_cast<int32_t>(position)), 0);
        ASSERT_EQ(io->Read(io, buf.data(), 2048, &got), 0);
        if (got == 0) break;
        ASSERT_TRUE(std::equal(buf.begin(), buf.begin() + got, data.begin() + position));
        position += got > 100 ? got - 37 : got;
    }
    EXPECT_EQ(position, data.size());
    EXPECT_LE(base.bytesRead, base.data.size() + 256 * 1024);
    // A jump back to the middle re-reads from a checkpoint, not from the start.
    uint64_t before = base.bytesRead;
    ASSERT_EQ(io->Seek(io, 0, static_cast<int32_t>(data.size() / 2)), 0);
    ASSERT_EQ(io->Read(io, buf.data(), 2048, &got), 0);
    ASSERT_EQ(got, 2048u);
    EXPECT_TRUE(std::equal(buf.begin(), buf.end(), data.begin() + data.size() / 2));
    EXPECT_LE(base.bytesRead - before, 512u * 1024);
}

// The object answers for its base, refuses codes it has no decoder for, and
// never closes its base.
TEST(Seeking, TheObjectSpeaksForItsBase) {
    MemoryBase base(TextBytes("SGVsbG8h\n"));
    base.name = "attachment.bin";
    ObjectPtr object = DecodeOpen(base, 2);
    ASSERT_NE(object, nullptr);
    IoObject* io = object.get();
    char name[513] = {};
    EXPECT_EQ(io->GetInfo(io, 3, name), 0);
    EXPECT_STREQ(name, "attachment.bin");
    uint32_t kind = 0;
    EXPECT_EQ(io->GetInfo(io, 14, &kind), -10);  // the base doesn't answer it
    EXPECT_EQ(io->GetInfo(io, 5, &kind), -10);
    EXPECT_EQ(io->Open, base.io.Open);
    EXPECT_EQ(io->Write, nullptr);
    EXPECT_TRUE(ReadToEnd(io) == TextBytes("Hello!"));
    object.reset();
    EXPECT_FALSE(base.closed);

    for (uint32_t code : {0u, 1u, 3u, 5u, 14u, 23u, 254u, 256u, 0xFFFFFFFFu}) {
        IoObject* out = reinterpret_cast<IoObject*>(-1);
        EXPECT_EQ(DecodeObjectOpen(&base.io, code, &out), -2) << code;
    }
}

TEST(Seeking, ABaseThatFailsEndsTheDataThere) {
    Bytes data = RandomBytes(2 * 1024 * 1024, 7);
    MemoryBase failing(Base64Lines(data));
    failing.failReadsAt = 1000000;
    failing.largestRead = 4000;
    ObjectPtr object = DecodeOpen(failing, 2);
    ASSERT_NE(object, nullptr);
    Bytes got = ReadToEnd(object.get());
    EXPECT_GT(got.size(), 600000u);
    EXPECT_LT(got.size(), 1000000u * 3 / 4);
    EXPECT_TRUE(std::equal(got.begin(), got.end(), data.begin()));

    // Seeks that fail: reading on works, going far back gives nothing.
    MemoryBase stuck(failing.data);
    object = DecodeOpen(stuck, 2);
    ASSERT_NE(object, nullptr);
    stuck.failSeeks = true;
    IoObject* io = object.get();
    std::vector<uint8_t> buf(65535);
    uint32_t n = 0;
    for (int i = 0; i < 10; ++i) ASSERT_EQ(io->Read(io, buf.data(), 65535, &n), 0);
    EXPECT_EQ(io->Seek(io, 0, 0), 0);
    EXPECT_EQ(io->Read(io, buf.data(), 100, &n), 0);
    EXPECT_EQ(n, 0u);
}

}  // namespace
