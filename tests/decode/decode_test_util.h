// decode_test_util.h - what the decoding tests share: an IoObject over bytes
// in memory (with ways to misbehave), reading a decoding object out whole,
// files, and the vectors that make_vectors.py writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/io_object.h"

using Bytes = std::vector<uint8_t>;

struct MemoryBase {
    IoObject io;
    Bytes data;
    size_t position = 0;
    uint32_t largestRead = 0xFFFFFFFF;  // hands out at most this much per Read
    size_t failReadsAt = SIZE_MAX;      // a Read that reaches here fails
    bool failSeeks = false;
    std::string name = "base.txt";
    uint32_t biggestAsk = 0;            // the largest count a caller asked for
    int seeks = 0;
    uint64_t bytesRead = 0;             // bytes handed out by Read
    bool closed = false;
};

// The object stays the test's: Close does nothing, so a test can look at it.
MemoryBase* MemoryBaseMake(Bytes data);
void MemoryBaseFree(MemoryBase* base);

// Opens a decoding object over `data`; null when the open fails.
IoObject* DecodeOpen(MemoryBase* base, uint32_t code);

// Reads the object from its present position to the end, in reads of
// `chunk` bytes.
Bytes ReadToEnd(IoObject* object, uint32_t chunk = 65535);

// Decodes `data` whole through a decoding object.
Bytes DecodeBytes(uint32_t code, const Bytes& data, uint32_t chunk = 65535);

// Feeds a decoder straight, growing its input a few bytes at a time and with
// little output room, as an adversarial reader of the base would.
Bytes DecodeTrickled(uint32_t code, const Bytes& data, size_t step);

Bytes FileBytes(const std::string& path);
Bytes TextBytes(const std::string& text);

// A fresh temporary directory, removed by the destructor.
struct TempDir {
    std::string path;
    TempDir();
    ~TempDir();
    std::string operator/(const std::string& name) const { return path + "/" + name; }
};

// Runs make_vectors.py into `dir`; false when python3 failed.
bool MakeVectors(const TempDir& dir, int seed, size_t size);

// Runs uudeview on `file`, writing into a new directory; the decoded files.
std::vector<std::string> Uudeview(const std::string& file, const TempDir& out);

std::string CorpusPath(const std::string& relative);
