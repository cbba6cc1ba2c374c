// decode_bench - throughput of every decoding stage, read through its
// IoObject as a host reads an attachment (65535 bytes at a time), and the
// peak memory of a 100 MB base64 decode whose input is made on the fly, so
// that only the stage's own memory shows.
//
//   decode_bench [MB]     (encoded input per decoder, default 64)
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/decode/decode.h"

namespace {

using Bytes = std::vector<uint8_t>;

// --- input ------------------------------------------------------------------

struct BufferBase {
    IoObject io;
    const Bytes* data;
    size_t position;
};

int32_t BufferRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    auto* base = reinterpret_cast<BufferBase*>(object);
    size_t left = base->data->size() - std::min(base->position, base->data->size());
    size_t n = std::min<size_t>(count, left);
    std::memcpy(buf, base->data->data() + base->position, n);
    base->position += n;
    *got = static_cast<uint32_t>(n);
    return 0;
}

int32_t BufferSeek(IoObject* object, uint16_t whence, int32_t offset) {
    auto* base = reinterpret_cast<BufferBase*>(object);
    if (whence != 0) return -1;
    base->position = static_cast<uint32_t>(offset);
    return 0;
}

// Base64 made as it is read: one block of 1 MiB of lines over and over,
// `total` characters in all. Holds nothing else.
struct GeneratedBase {
    IoObject io;
    const std::vector<uint8_t>* block;
    uint64_t total;
    uint64_t position;
};

int32_t GeneratedRead(IoObject* object, void* buf, uint32_t count, uint32_t* got) {
    auto* base = reinterpret_cast<GeneratedBase*>(object);
    const std::vector<uint8_t>& block = *base->block;
    auto* out = static_cast<uint8_t*>(buf);
    uint32_t n = 0;
    while (n < count && base->position < base->total) {
        size_t at = base->position % block.size();
        size_t take = std::min<uint64_t>({count - n, block.size() - at, base->total - base->position});
        std::memcpy(out + n, block.data() + at, take);
        n += static_cast<uint32_t>(take);
        base->position += take;
    }
    *got = n;
    return 0;
}

int32_t GeneratedSeek(IoObject* object, uint16_t whence, int32_t offset) {
    if (whence != 0) return -1;
    reinterpret_cast<GeneratedBase*>(object)->position = static_cast<uint32_t>(offset);
    return 0;
}

// --- encoders, plain and unhurried -------------------------------------------

Bytes RandomData(size_t size) {
    Bytes data(size);
    uint64_t x = 88172645463325252ull;
    for (auto& b : data) {
        x ^= x << 13, x ^= x >> 7, x ^= x << 17;
        b = static_cast<uint8_t>(x);
    }
    return data;
}

Bytes Groups(const Bytes& data, const char* alphabet, size_t perLine, int lead) {
    Bytes out;
    for (size_t i = 0; i < data.size(); i += perLine) {
        size_t n = std::min(perLine, data.size() - i);
        if (lead) out.push_back(static_cast<uint8_t>(alphabet[n]));
        for (size_t j = 0; j < n; j += 3) {
            uint32_t w = data[i + j] << 16 | (j + 1 < n ? data[i + j + 1] << 8 : 0) | (j + 2 < n ? data[i + j + 2] : 0);
            for (int s = 18; s >= 0; s -= 6) out.push_back(static_cast<uint8_t>(alphabet[(w >> s) & 63]));
        }
        out.push_back('\n');
    }
    return out;
}

Bytes Base64(const Bytes& data) {
    return Groups(data, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", 57, 0);
}

Bytes Uu(const Bytes& data) {
    std::string head = "begin 644 data.bin\n";
    Bytes out(head.begin(), head.end());
    Bytes body = Groups(data, "`!\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_", 45, 1);
    out.insert(out.end(), body.begin(), body.end());
    for (char c : std::string("`\nend\n")) out.push_back(static_cast<uint8_t>(c));
    return out;
}

Bytes Xx(const Bytes& data) {
    return Groups(data, "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 45, 1);
}

Bytes Yenc(const Bytes& data) {
    std::string head = "=ybegin line=128 size=" + std::to_string(data.size()) + " name=data.bin\r\n";
    Bytes out(head.begin(), head.end());
    int column = 0;
    for (uint8_t b : data) {
        uint8_t c = static_cast<uint8_t>(b + 42);
        if (c == 0 || c == '\n' || c == '\r' || c == '=') {
            out.push_back('=');
            c = static_cast<uint8_t>(c + 64);
            ++column;
        }
        out.push_back(c);
        if (++column >= 128) out.push_back('\r'), out.push_back('\n'), column = 0;
    }
    for (char c : std::string("\r\n=yend\r\n")) out.push_back(static_cast<uint8_t>(c));
    return out;
}

Bytes QuotedPrintable(const Bytes& data) {
    Bytes out;
    int column = 0;
    for (uint8_t b : data) {
        bool plain = b >= 33 && b <= 126 && b != '=';
        if (column >= 72) out.push_back('='), out.push_back('\n'), column = 0;
        if (plain) {
            out.push_back(b);
            ++column;
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "=%02X", b);
            out.insert(out.end(), hex, hex + 3);
            column += 3;
        }
    }
    return out;
}

Bytes Ascii85(const Bytes& data, bool btoa) {
    std::string head = btoa ? "xbtoa Begin\n" : "<~";
    Bytes out(head.begin(), head.end());
    int column = 0;
    for (size_t i = 0; i + 4 <= data.size(); i += 4) {
        uint32_t w = uint32_t{data[i]} << 24 | data[i + 1] << 16 | data[i + 2] << 8 | data[i + 3];
        char digits[5];
        for (int k = 4; k >= 0; --k) digits[k] = static_cast<char>('!' + w % 85), w /= 85;
        out.insert(out.end(), digits, digits + 5);
        if ((column += 5) >= 75) out.push_back('\n'), column = 0;
    }
    std::string tail = btoa ? "\nxbtoa End N " + std::to_string(data.size() / 4 * 4) + " 0 E 0 S 0 R 0\n" : "~>";
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

Bytes Utf7(const Bytes& data) {
    Bytes out;
    for (uint8_t b : data) out.push_back(static_cast<uint8_t>('a' + b % 26));
    for (size_t i = 60; i < out.size(); i += 61) out[i] = '\n';
    return out;
}

Bytes StoredRtf(const Bytes& data) {
    uint32_t size = static_cast<uint32_t>(data.size());
    Bytes out(16, 0);
    for (int k = 0; k < 4; ++k) out[4 + k] = static_cast<uint8_t>(size >> (8 * k));
    std::memcpy(out.data() + 8, "LZFu", 4);
    for (size_t i = 0; i < data.size(); i += 8) {
        out.push_back(0);  // eight literals
        out.insert(out.end(), data.begin() + i, data.begin() + std::min(i + 8, data.size()));
    }
    return out;
}

// --- measuring ---------------------------------------------------------------

double Seconds(const std::function<uint64_t()>& run, uint64_t* produced) {
    auto start = std::chrono::steady_clock::now();
    *produced = run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

uint64_t Drain(IoObject* object) {
    static std::vector<uint8_t> buf(65535);
    uint64_t total = 0;
    uint32_t got = 0;
    while (object->Read(object, buf.data(), 65535, &got) == 0 && got > 0) total += got;
    return total;
}

uint64_t DecodeThrough(const Bytes& encoded, uint32_t code) {
    BufferBase base{};
    base.io.Read = BufferRead;
    base.io.Seek = BufferSeek;
    base.data = &encoded;
    IoObject* object = nullptr;
    if (DecodeObjectOpen(&base.io, code, &object) != 0) return 0;
    uint64_t total = Drain(object);
    object->Close(object);
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 64;
    size_t target = megabytes << 20;
    // 100 MB decoded from base64 made on the fly.
    // First, while nothing else is held: 1 MiB of lines repeated, 57 bytes a line.
    const std::vector<uint8_t> block = Base64(RandomData(57 * 13797));
    GeneratedBase base{};
    base.io.Read = GeneratedRead;
    base.io.Seek = GeneratedSeek;
    base.block = &block;
    base.total = (100ull << 20) / 57 * 77;
    IoObject* object = nullptr;
    if (DecodeObjectOpen(&base.io, 2, &object) != 0) return 1;
    uint64_t produced = 0;
    double seconds = Seconds([&] { return Drain(object); }, &produced);
    object->Close(object);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("100 MB base64 made as read: %.1f MB out in %.2f s (%.0f MB/s out); peak RSS %.1f MiB"
                " (aim <= 16 MiB)\n\n",
                produced / 1e6, seconds, produced / 1e6 / seconds, usage.ru_maxrss / 1024.0);
    struct Row {
        const char* name;
        uint32_t code;
        double aim;  // MB/s of encoded input; 0: none set
        std::function<Bytes(const Bytes&)> encode;
        double ratio;  // encoded bytes per data byte, roughly
    } rows[] = {
        {"base64", 2, 460, Base64, 1.36},
        {"quoted-printable", 20, 0, QuotedPrintable, 2.6},
        {"uuencode", 15, 180, Uu, 1.38},
        {"xxencode", 16, 0, Xx, 1.38},
        {"yEnc", 18, 180, Yenc, 1.03},
        {"Ascii85", 4, 0, [](const Bytes& d) { return Ascii85(d, false); }, 1.27},
        {"btoa", 19, 0, [](const Bytes& d) { return Ascii85(d, true); }, 1.27},
        {"UTF-7", 21, 0, Utf7, 1.0},
        {"compressed RTF", 22, 0, StoredRtf, 1.13},
    };
    std::printf("%-18s %10s %10s %10s %8s %s\n", "decoder", "input MB", "output MB", "MB/s in", "aim", "");
    for (const Row& row : rows) {
        Bytes encoded = row.encode(RandomData(static_cast<size_t>(target / row.ratio)));
        uint64_t produced = 0;
        double seconds = Seconds([&] { return DecodeThrough(encoded, row.code); }, &produced);
        double rate = encoded.size() / 1e6 / seconds;
        std::printf("%-18s %10.1f %10.1f %10.0f %8s %s\n", row.name, encoded.size() / 1e6, produced / 1e6,
                    rate, row.aim > 0 ? std::to_string(static_cast<int>(row.aim)).c_str() : "-",
                    row.aim > 0 ? (rate >= row.aim ? "ok" : "BELOW AIM") : "");
    }

    return 0;
}
