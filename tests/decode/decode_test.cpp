// decode_test.cpp - the decoding stages (Open kind 19) over in-memory bases:
// real encoded files against the decoded files shipped beside them, small
// crafted inputs for each decoder's lenient and odd cases, the same inputs
// fed in small steps and cut short, and the object's seeks, paging and
// failing bases.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/decode/decode.h"
#include "platform/decode/decoders.h"
#include "tests/support/memory_object.h"

namespace {

using Bytes = std::string;

ObjectPtr DecodeOpen(IoObject* base, uint32_t code) {
    IoObject* out = nullptr;
    return ObjectPtr(DecodeObjectOpen(base, code, &out) == 0 ? out : nullptr);
}

Bytes Decode(uint32_t code, const Bytes& data, const MemoryObjectOptions& options = {}) {
    MemoryObject base(data, options);
    ObjectPtr object = DecodeOpen(base.get(), code);
    return object ? ReadRest(object.get(), 65535) : Bytes();
}

// Feeds a decoder straight, growing its input `step` bytes at a time and with
// the least output room, as an adversarial reader of the base would.
Bytes DecodeTrickled(uint32_t code, const Bytes& data, size_t step) {
    const DecoderKind* kind = DecoderKindFor(code);
    std::unique_ptr<uint8_t[]> state(new uint8_t[kind->stateSize]);
    kind->init(state.get());
    Bytes out, pending;
    std::vector<uint8_t> room(kMinRoom);
    size_t fed = 0;
    for (int guard = 0; guard < 100000000; ++guard) {
        bool atEnd = fed == data.size();
        DecodeStep result = kind->decode(state.get(), reinterpret_cast<const uint8_t*>(pending.data()),
                                         pending.size(), atEnd, room.data(), room.size());
        out.append(reinterpret_cast<const char*>(room.data()), result.produced);
        pending.erase(0, result.consumed);
        if (result.finished || (atEnd && pending.empty())) return out;
        if (result.consumed == 0 && result.produced == 0) {
            if (atEnd) return out;
            pending.append(data, fed, step);
            fed = std::min(data.size(), fed + step);
        }
    }
    ADD_FAILURE() << "the decoder never finished";
    return out;
}

Bytes RandomBytes(size_t size, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes data(size, '\0');
    for (char& c : data) c = static_cast<char>(rng() >> 13);
    // Long zero stretches make some encodings shrink a lot, others not at all.
    for (size_t i = 0; i + 5000 < size; i += 100000) std::fill_n(data.begin() + i, 5000, '\0');
    return data;
}

Bytes Base64Lines(const Bytes& bytes) {
    static const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    Bytes out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t w = data[i] << 16;
        if (i + 1 < bytes.size()) w |= data[i + 1] << 8;
        if (i + 2 < bytes.size()) w |= data[i + 2];
        out += alphabet[w >> 18];
        out += alphabet[(w >> 12) & 63];
        out += i + 1 < bytes.size() ? alphabet[(w >> 6) & 63] : '=';
        out += i + 2 < bytes.size() ? alphabet[w & 63] : '=';
        if (i % 57 == 54) out += '\n';
    }
    return out + "\n";
}

// Quoted-printable of any bytes: escapes for all but plain letters, soft
// breaks every 60 or so columns, so escapes fall on every column.
Bytes QuotedPrintable(const Bytes& bytes) {
    static const char* hex = "0123456789ABCDEF";
    Bytes out;
    size_t column = 0;
    for (unsigned char c : bytes) {
        if (c >= 'A' && c <= 'z' && c != '=') {
            out += static_cast<char>(c), ++column;
        } else {
            out += {'=', hex[c >> 4], hex[c & 15]}, column += 3;
        }
        if (column >= 60u + c % 7) out += "=\r\n", column = 0;
    }
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
        body += '\0';
        for (int bit = 0; bit < 8 && k < items; ++bit, ++k) {
            if (!raw->empty() && rng() % 3 == 0) {
                uint32_t length = 2 + rng() % 16;
                uint32_t token = ((writeAt + 4095) % 4096) << 4 | (length - 2);
                body[flagAt] = static_cast<char>(body[flagAt] | 1 << bit);
                body += {static_cast<char>(token >> 8), static_cast<char>(token)};
                raw->append(length, raw->back());
                writeAt = (writeAt + length) % 4096;
            } else {
                char byte = static_cast<char>(rng());
                body += byte;
                *raw += byte;
                writeAt = (writeAt + 1) % 4096;
            }
        }
    }
    // The end: a reference to the write position, alone in its run.
    body += {1, static_cast<char>(writeAt >> 4), static_cast<char>(writeAt << 4)};
    for (uint32_t v : {static_cast<uint32_t>(body.size() + 12), static_cast<uint32_t>(raw->size())})
        for (int k = 0; k < 4; ++k) *compressed += static_cast<char>(v >> (8 * k));
    *compressed += Bytes("LZFu\0\0\0\0", 8) + body;
}

// A BinHex file whose data fork is `fork`, already in the run-length layer
// (0x90 n repeats the byte before n - 1 more times, 0x90 0 is 0x90 itself),
// and holds `length` bytes once expanded.
Bytes BinHexFile(const Bytes& fork, uint32_t length) {
    static const char* alphabet = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
    Bytes layered = Bytes("\x01" "a\0TEXTttxt\0\0", 13) + Bytes{char(length >> 24), char(length >> 16), char(length >> 8),
                                                                 char(length), 0, 0, 0, 0, 0, 0} + fork + Bytes(4, '\0');
    layered.append((3 - layered.size() % 3) % 3, '\0');
    Bytes out = "(This file must be converted with BinHex 4.0)\n:";
    for (size_t i = 0; i < layered.size(); i += 3) {
        uint32_t w = uint8_t(layered[i]) << 16 | uint8_t(layered[i + 1]) << 8 | uint8_t(layered[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6) out += alphabet[(w >> shift) & 63];
    }
    return out + ":\n";
}

const Bytes kUuBody = "M5&AI<R!I<R!A('1E<W0@9FEL92!F;W(@:6QL=7-T<F%T:6YG('1H92!V87)I\n%;W5S\"@``\n";
const Bytes kUuData("This is a test file for illustrating the various\n\0", 50);
const uint8_t kRtfExample[] = {  // the example of the format's public description
    0x2d, 0x00, 0x00, 0x00, 0x2b, 0x00, 0x00, 0x00, 0x4c, 0x5a, 0x46, 0x75, 0xf1, 0xc5, 0xc7, 0xa7,
    0x03, 0x00, 0x0a, 0x00, 0x72, 0x63, 0x70, 0x67, 0x31, 0x32, 0x35, 0x42, 0x32, 0x0a, 0xf3, 0x20,
    0x68, 0x65, 0x6c, 0x09, 0x00, 0x20, 0x62, 0x77, 0x05, 0xb0, 0x6c, 0x64, 0x7d, 0x0a, 0x80, 0x0f, 0xa0};

struct Sample {
    Bytes input;
    uint32_t code;
    Bytes expected;
    bool detected = false;  // detection (code 255) finds the same
};

// Real files beside the files they decode to, then crafted inputs.
std::vector<Sample> Samples() {
    const Bytes test = CorpusBytes("uudeview/doc/test.txt"), yencTest = CorpusBytes("aswaving-yenc/testdata/yenc.org/testfile.txt");
    const Bytes single = CorpusBytes("usenet-yenc/yenc/singlepart/testfile.txt");
    std::vector<Sample> s = {
        {CorpusBytes("convert-binhex/testin/eyeball.gif.hqx"), 17, CorpusBytes("convert-binhex/testout/eyeball.gif"), true},
        {CorpusBytes("uudeview/test/binhex.good.msg"), 17, test, true},
        {CorpusBytes("uudeview/test/plain-yenc.good.msg"), 18, test, true},
        {CorpusBytes("uudeview/test/mime-xxencode.good.msg"), 16, test, true},
        {CorpusBytes("uudeview/test/plain-uuencode.good.msg"), 15, test, true},
        {CorpusBytes("uudeview/test/uuencode-mac-cr.good.msg"), 15, test, true},
        {CorpusBytes("uudeview/test/uuencode-suid-permissions.good.msg"), 15, test, true},
        {CorpusBytes("uudeview/test/filename-from-subject.good.msg"), 15, test, true},
        // A whole message: the header lines before the data and the boundary
        // behind it are no base64 and drop out.
        {CorpusBytes("uudeview/test/mime-base64.good.msg"), 2, test},
        {CorpusBytes("aswaving-yenc/testdata/yenc.org/testfile.txt.yenc"), 18, yencTest, true},
        {CorpusBytes("aswaving-yenc/testdata/yenc.org/testfile_no_checksums.txt.yenc"), 18, yencTest, true},
        {CorpusBytes("usenet-yenc/yenc/singlepart/00000005.ntx"), 18, single, true},
        // Damage in the trailer lines, which the decoder doesn't check.
        {CorpusBytes("usenet-yenc/yenc/singlepart/00000005_checksum_mismatch.ntx"), 18, single, true},
        {CorpusBytes("usenet-yenc/yenc/singlepart/00000005_missing_checksum.ntx"), 18, single, true},
        {CorpusBytes("usenet-yenc/yenc/singlepart/00000005_size_mismatch.ntx"), 18, single, true},
        {CorpusBytes("usenet-yenc/yenc/singlepart/test_1.2.ntx"), 18, CorpusBytes("usenet-yenc/yenc/singlepart/test_1.2.dat"), true},
        {CorpusBytes("usenet-yenc/yenc/multipart/test_1.2.ntx"), 18, CorpusBytes("usenet-yenc/yenc/multipart/test_1.2.dat"), true},
        // Parts joined in stream order.
        {CorpusBytes("usenet-yenc/yenc/multipart/00000020.ntx") + CorpusBytes("usenet-yenc/yenc/multipart/00000021.ntx"), 18,
         CorpusBytes("usenet-yenc/yenc/multipart/joystick.jpg"), true},
        // Only a resource fork: the data fork we deliver is empty.
        {CorpusBytes("mpack/macrsrc.hqx"), 17, ""},

        // Base64 stops at text behind the data, a junk byte drops its whole
        // line but not what came before, and padding may be missing.
        {"SGVsbG8h\n-- \nsig line\n", 2, "Hello!"},
        {"SGVsbG8=\nSGVsbG8=\n", 2, "Hello"},
        {"Here is the file, as asked:\n\n SGVs bG8h \r\n\r\n", 2, "Hello!"},
        {"begin-base64 644 a.txt\nSGVsbG8h\n====\nSGVsbG8h\n", 2, "Hello!"},
        {"SGVsbG8hIQ\n", 2, "Hello!!"},
        {"SGVsbG8h\nSGV*bG8h\nSGVsbG8h\n", 2, "Hello!"},
        // Quoted-printable keeps bad escapes.
        {"a=G1b=\r\nc=4", 20, "a=G1bc=4"},
        {"=41=42=e9 \t\r\nx=\n", 20, "AB\xe9\r\nx"},
        {"tail  \nend=  \nmore\rlast", 20, "tail\nendmore\rlast"},
        {"==41=", 20, "=A"},
        // Uuencode: a later piece without begin line among headers and text,
        // a dash line whose length fits the count rule, blanks a transport
        // appended, and two blocks one after the other.
        {"begin 644 a\n" + kUuBody + "`\nend\n", 15, kUuData},
        {"Subject: part 2\n\n" + kUuBody + "`\nend\nsig\n", 15, kUuData},
        {"-------------------\n", 15, ""},
        {"begin 644 a\n%;W5S\"@``   \nend\n", 15, Bytes("ous\n\0", 5)},
        {"begin 644 a\n" + kUuBody + "end\ntext\nbegin 600 b\n" + kUuBody + "end\n", 15, kUuData + kUuData},
        {"begin 644 a\n" + Bytes(1 << 20, 'M') + "\nend\n", 15, ""},
        // BinHex runs, and the marker byte itself.
        {BinHexFile(Bytes("x\x90\x04\x90\x00y\x90\x03", 8), 8), 17, "xxxx\x90yyy", true},
        // Ascii85 between its markers, and btoa with and without a count.
        {"junk <~87cURD]i,\"Ebo80~> junk", 4, "Hello World!"},
        {"<<~87cURD]i,\"Ebo80~>", 4, "Hello World!"},
        {"<~z!!~>", 4, Bytes(5, '\0')},
        {"no markers at all", 4, ""},
        {"xbtoa Begin\n87cURD]i,\"Ebo80\nxbtoa End N 12 c E 0 S 0 R 0\n", 19, "Hello World!"},
        {"xbtoa Begin\n87cURD]i,\"Ebo80\nxbtoa End N 10 a E 0 S 0 R 0\n", 19, "Hello Worl"},
        {"xbtoa Begin\nyy87cURD]i,\"Ebo80\n", 19, "        Hello World!"},
        {"xbtoa Begin\n87cURDZ\n", 19, "Hello"},  // a last group of two digits is one byte
        {"no opening\n87cURD]i,\"Ebo80\n", 19, ""},
        // UTF-7 into big-endian 16-bit units.
        {"Hi Mom -+Jjo--!", 21, Bytes("\0H\0i\0 \0M\0o\0m\0 \0-\x26\x3A\0-\0!", 22)},
        {"1 +- 1", 21, Bytes("\0" "1\0 \0+\0 \0" "1", 10)},
        // Compressed RTF: the published example, and the stored form.
        {Bytes(std::begin(kRtfExample), std::end(kRtfExample)), 22, "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n"},
        {Bytes("\x0f\0\0\0\x03\0\0\0MELA\0\0\0\0{}\nXYZ", 22), 22, "{}\n"},
        {Bytes("\x0f\0\0\0\x03\0\0\0ABCD\0\0\0\0{}\n", 19), 22, ""},
    };
    Bytes random = RandomBytes(30000, 3), raw, lzfu;
    s.push_back({Base64Lines(random), 2, random});
    s.push_back({QuotedPrintable(random), 20, random});
    LzfuRuns(20000, 4, &lzfu, &raw);
    s.push_back({lzfu, 22, raw});
    return s;
}

// Whole; in odd read sizes over a base that gives little per read; fed
// straight to the decoder in small steps; through detection; and cut short
// anywhere, which gives what was there.
TEST(Decode, SamplesDecodeHoweverTheyAreRead) {
    std::mt19937 rng(14);
    for (const Sample& s : Samples()) {
        SCOPED_TRACE(testing::PrintToString(s.input.substr(0, 60)) + " code " + std::to_string(s.code));
        ASSERT_FALSE(s.input.empty());
        EXPECT_TRUE(Decode(s.code, s.input) == s.expected);
        EXPECT_TRUE(!s.detected || Decode(255, s.input) == s.expected);
        MemoryObjectOptions trickle;
        trickle.shortReads = 997;
        MemoryObject base(s.input, trickle);
        ObjectPtr object = DecodeOpen(base.get(), s.code);
        ASSERT_NE(object, nullptr);
        EXPECT_TRUE(ReadRest(object.get(), 7) == s.expected);
        EXPECT_LE(base.stats().largestRequest, 65535u);
        if (s.input.size() > 100000) continue;
        for (size_t step : {1, 3, 64}) EXPECT_TRUE(DecodeTrickled(s.code, s.input, step) == s.expected) << step;
        for (int cut = 0; cut < 5; ++cut) {
            size_t keep = rng() % s.input.size();
            Bytes got = Decode(s.code, s.input.substr(0, keep));
            // The last group or escape may be read differently; all before it is the source.
            ASSERT_LE(got.size(), s.expected.size() + 4) << keep;
            EXPECT_EQ(got.substr(0, got.size() > 4 ? got.size() - 4 : 0),
                      s.expected.substr(0, got.size() > 4 ? got.size() - 4 : 0)) << keep;
        }
    }
}

// Nothing decoded outgrows its input by more than the shorthands allow, on
// random bytes, printable junk in lines, and hostile corpus samples.
TEST(Decode, JunkAndHostileSamplesStayBounded) {
    std::mt19937 rng(9);
    std::vector<Bytes> inputs;
    for (int round = 0; round < 6; ++round) {
        Bytes junk = RandomBytes(200000 + rng() % 1000, rng());
        if (round % 2)
            for (char& c : junk) c = static_cast<char>(0x20 + static_cast<uint8_t>(c) % 0x5F);
        if (round % 3 == 2)
            for (size_t i = 0; i < junk.size(); i += 1 + rng() % 90) junk[i] = '\n';
        inputs.push_back(junk);
    }
    for (const char* name : {"heap-oob-ScanData-truncated-headers-Content-Type-variant2.bad.msg",
                             "heap-oob-ScanData-truncated-headers-Content-Type.bad.msg",
                             "heap-oob-UUGetFileName-truncated-Subject.bad.msg", "heap-oob-UUGetPartNo.bad.msg"})
        inputs.push_back(CorpusBytes(std::string("uudeview/test/") + name));
    for (const Bytes& input : inputs) {
        ASSERT_FALSE(input.empty());
        for (uint32_t code : {2, 4, 15, 16, 17, 18, 19, 20, 21, 22, 255})
            EXPECT_LE(Decode(code, input).size(), input.size() * 4 + 64) << code;
    }
}

TEST(Decode, HugeLinesDecodeWhole) {
    // One base64 line of 1.5 MB, no line ends at all.
    Bytes got = Decode(2, std::string(1600000, 'Q').replace(0, 4, "QUJD"));
    ASSERT_EQ(got.size(), 1200000u);
    EXPECT_EQ(got.substr(0, 3), "ABC");
    // A huge quoted-printable line with escapes everywhere, so some fall on
    // the cut between two pieces of it.
    Bytes qp;
    for (int i = 0; i < 100000; ++i) qp += "x=41";
    got = Decode(20, qp + "\r\n");
    ASSERT_EQ(got.size(), 200002u);
    EXPECT_EQ(got.find_first_not_of("xA"), 200000u);
    EXPECT_EQ(got.substr(199998), "xA\r\n");
    // A yEnc data line of 300 KB with escapes in groups of three bytes, so
    // that one falls on the cut between two pieces: decoded whole.
    Bytes y = "=ybegin line=128 size=200000 name=a\r\n";
    for (int i = 0; i < 100000; ++i) y += "k=}";  // 'A', '\x13'
    got = Decode(18, y + "\r\n=yend\r\n");
    ASSERT_EQ(got.size(), 200000u);
    EXPECT_EQ(got.find_first_not_of(Bytes("A\x13")), Bytes::npos);
    EXPECT_EQ(got.substr(199998), "A\x13");
}

// Every offset and read size against the whole decoded buffer.
void CheckRandomAccess(uint32_t code, const Bytes& encoded, const Bytes& expected, uint32_t seed) {
    MemoryObject base(encoded);
    base.get()->Seek(base.get(), 0, 12345);  // the object must start from the base's start
    ObjectPtr object = DecodeOpen(base.get(), code);
    ASSERT_NE(object, nullptr);
    std::mt19937 rng(seed);
    const int64_t length = static_cast<int64_t>(expected.size());
    int64_t position = 0;
    std::vector<char> buf(65535);
    for (int op = 0; op < 600; ++op) {
        uint16_t whence = static_cast<uint16_t>(rng() % 3);
        int kind = rng() % 4;
        int64_t target = kind == 0   ? position - static_cast<int64_t>(rng() % 3000)  // a reader's step back
                         : kind == 1 ? (op % 2 ? position : -1 - static_cast<int64_t>(rng() % 3000))
                                     : static_cast<int64_t>(rng() % (expected.size() * 33 / 32));  // a few past the end
        if (whence == 0) target = std::max<int64_t>(target, 0);
        int64_t offset = whence == 0 ? target : whence == 1 ? target - position : target - length;
        // Before the start is refused, and the position stays.
        ASSERT_EQ(object->Seek(object.get(), whence, static_cast<int32_t>(offset)) == 0, target >= 0);
        if (target >= 0) position = target;
        uint32_t told = 0;
        ASSERT_EQ(object->Tell(object.get(), &told), 0);
        ASSERT_EQ(told, static_cast<uint32_t>(position));
        uint32_t count = rng() % 4 == 0 ? 65535 : 1 + rng() % 4096;
        uint32_t got = 0xFFFFFFFF;
        ASSERT_EQ(object->Read(object.get(), buf.data(), count, &got), 0);
        int64_t want = std::max<int64_t>(0, std::min<int64_t>(count, length - position));
        ASSERT_EQ(got, static_cast<uint32_t>(want)) << "op " << op << " at " << position;
        ASSERT_TRUE(std::equal(buf.begin(), buf.begin() + want, expected.begin() + position));
        position += want;
    }
}

TEST(Decode, RandomSeeksAndReadsMatchTheDecodedBuffer) {
    Bytes data = RandomBytes(3 * 1024 * 1024 + 5, 1);
    CheckRandomAccess(2, Base64Lines(data), data, 2);
    Bytes compressed, raw;
    LzfuRuns(400000, 3, &compressed, &raw);
    CheckRandomAccess(22, compressed, raw, 4);
}

// A reader made per call starts with a Tell and a seek; reads of 2 KiB with
// steps back of a few bytes are what the filter does all along.
TEST(Decode, PagingWithReaderStepsBackStaysLinear) {
    Bytes data = RandomBytes(8 * 1024 * 1024, 6), encoded = Base64Lines(data);
    MemoryObject base(encoded);
    ObjectPtr object = DecodeOpen(base.get(), 2);
    ASSERT_NE(object, nullptr);
    IoObject* io = object.get();
    std::vector<char> buf(2048);
    uint32_t position = 0, got = 0;
    for (int calls = 0; calls < 10000; ++calls) {
        ASSERT_EQ(io->Seek(io, 0, static_cast<int32_t>(position)), 0);
        ASSERT_EQ(io->Read(io, buf.data(), 2048, &got), 0);
        if (got == 0) break;
        ASSERT_TRUE(std::equal(buf.begin(), buf.begin() + got, data.begin() + position));
        position += got > 100 ? got - 37 : got;
    }
    EXPECT_EQ(position, data.size());
    EXPECT_LE(base.stats().bytesRead, encoded.size() + 256 * 1024);
    // A jump back to the middle re-reads from a checkpoint, not from the start.
    uint64_t before = base.stats().bytesRead;
    ASSERT_EQ(io->Seek(io, 0, static_cast<int32_t>(data.size() / 2)), 0);
    ASSERT_EQ(io->Read(io, buf.data(), 2048, &got), 0);
    ASSERT_EQ(got, 2048u);
    EXPECT_TRUE(std::equal(buf.begin(), buf.end(), data.begin() + data.size() / 2));
    EXPECT_LE(base.stats().bytesRead - before, 512u * 1024);
}

// The object answers for its base, refuses codes it has no decoder for, and
// never closes its base (the base's own close at the end would then be the
// second).
TEST(Decode, TheObjectSpeaksForItsBase) {
    MemoryObjectOptions named;
    named.name = "attachment.bin";
    MemoryObject base("SGVsbG8h\n", named);
    ObjectPtr object = DecodeOpen(base.get(), 2);
    ASSERT_NE(object, nullptr);
    IoObject* io = object.get();
    char name[513] = {};
    EXPECT_EQ(io->GetInfo(io, IO_INFO_NAME, name), 0);
    EXPECT_STREQ(name, "attachment.bin");
    uint32_t kind = 0;
    EXPECT_EQ(io->GetInfo(io, IO_INFO_NAME_KIND, &kind), 0);
    EXPECT_EQ(kind, 2u);
    EXPECT_EQ(io->GetInfo(io, 5, &kind), -10);
    EXPECT_EQ(io->Open, base.get()->Open);
    EXPECT_EQ(io->Write, nullptr);
    EXPECT_EQ(ReadRest(io), "Hello!");
    object.reset();

    for (uint32_t code : {0u, 1u, 3u, 5u, 14u, 23u, 254u, 256u, 0xFFFFFFFFu}) {
        IoObject* out = reinterpret_cast<IoObject*>(-1);
        EXPECT_EQ(DecodeObjectOpen(base.get(), code, &out), -2) << code;
    }
}

TEST(Decode, ABaseThatFailsEndsTheDataThere) {
    Bytes data = RandomBytes(2 * 1024 * 1024, 7);
    MemoryObjectOptions failing;
    failing.failReadFrom = 1000000;
    failing.shortReads = 4000;
    Bytes got = Decode(2, Base64Lines(data), failing);
    EXPECT_GT(got.size(), 600000u);
    EXPECT_LT(got.size(), 1000000u * 3 / 4);
    EXPECT_TRUE(std::equal(got.begin(), got.end(), data.begin()));

    // Seeks that fail: reading on works, going far back gives nothing.
    MemoryObjectOptions stuck;
    stuck.failSeek = true;
    MemoryObject base(Base64Lines(data), stuck);
    ObjectPtr object = DecodeOpen(base.get(), 2);
    ASSERT_NE(object, nullptr);
    IoObject* io = object.get();
    std::vector<char> buf(65535);
    uint32_t n = 0;
    for (int i = 0; i < 10; ++i) ASSERT_EQ(io->Read(io, buf.data(), 65535, &n), 0);
    EXPECT_EQ(n, 65535u);
    EXPECT_EQ(io->Seek(io, 0, 0), 0);
    EXPECT_EQ(io->Read(io, buf.data(), 100, &n), 0);
    EXPECT_EQ(n, 0u);
}

}  // namespace
