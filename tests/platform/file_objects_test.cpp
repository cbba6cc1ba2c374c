// Tests of the platform's file objects: files, byte ranges (kind 8), sibling
// files (kind 9) and decoding stages (kind 19) as bases, through their
// IoObject routines only.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "tests/support/memory_object.h"

namespace {

const std::string kDigits = "0123456789";
IoObject* const kPreset = reinterpret_cast<IoObject*>(-1);

class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "mailsift-platform-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    const std::string& Path() const { return path_; }
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
        return path_ + "/" + name;
    }

private:
    std::string path_;
};

struct Closer {
    void operator()(IoObject* object) const {
        if (object != nullptr) object->Close(object);
    }
};
using ObjectPtr = std::unique_ptr<IoObject, Closer>;

ObjectPtr OpenFile(const std::string& path) { return ObjectPtr(FileObjectOpen(path.c_str())); }

ObjectPtr OpenRange(IoObject* base, uint32_t first, uint32_t last, int32_t* result = nullptr) {
    IoRangeRequest request{base, first, last};
    IoObject* out = kPreset;
    int32_t code = base->Open(&out, IO_OPEN_RANGE, &request, 1);
    if (result != nullptr) *result = code;
    return ObjectPtr(code == 0 ? out : nullptr);
}

int32_t OpenSibling(IoObject* base, const char* name, IoObject** out) {
    IoSiblingRequest request{};
    request.base = base;
    strncpy(request.name, name, sizeof(request.name) - 1);
    return base->Open(out, IO_OPEN_SIBLING, &request, 1);
}

// Reads from the present position to the end, `chunk` bytes per call.
std::string ReadRest(IoObject* object, uint32_t chunk = 2048) {
    std::string all, buf(chunk, '\0');
    uint32_t got = 0;
    while (object->Read(object, buf.data(), chunk, &got) == 0 && got != 0) all.append(buf.data(), got);
    return all;
}

uint32_t TellOf(IoObject* object) {
    uint32_t pos = 0xDEADBEEF;
    object->Tell(object, &pos);
    return pos;
}

std::string NameOf(IoObject* object) {
    char name[513];
    memset(name, 'x', sizeof(name));
    if (object->GetInfo(object, IO_INFO_NAME, name) != 0) return "<no answer>";
    return name;
}

uint32_t NameKindOf(IoObject* object) {
    uint32_t kind = 0;
    return object->GetInfo(object, IO_INFO_NAME_KIND, &kind) == 0 ? kind : 0;
}

// A base that delivers three bytes per call and is no object of the
// platform's, so it knows no directory.
MemoryObject Foreign(const std::string& bytes, const std::string& name) {
    MemoryObjectOptions options;
    options.name = name;
    options.shortReads = 3;
    return MemoryObject(bytes, options);
}

TEST(FileObject, ReadsSeeksTellsAndNames) {
    TempDir dir;
    ObjectPtr file = OpenFile(dir.Write("report 2024.eml", kDigits));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Write, nullptr);
    EXPECT_EQ(file->Open, &PlatformOpen);
    EXPECT_EQ(NameOf(file.get()), "report 2024.eml");
    EXPECT_EQ(NameKindOf(file.get()), 2u);
    uint32_t other = 0;
    EXPECT_EQ(file->GetInfo(file.get(), 4, &other), -10);
    EXPECT_EQ(file->GetInfo(file.get(), 5, &other), -10);

    char buf[16] = {};
    uint32_t got = 0;
    ASSERT_EQ(file->Read(file.get(), buf, 4, &got), 0);
    EXPECT_EQ(std::string(buf, got), "0123");
    EXPECT_EQ(TellOf(file.get()), 4u);
    EXPECT_EQ(file->Seek(file.get(), 1, -3), 0);
    EXPECT_EQ(TellOf(file.get()), 1u);
    EXPECT_EQ(file->Seek(file.get(), 2, -3), 0);
    EXPECT_EQ(ReadRest(file.get()), "789");
    EXPECT_EQ(file->Seek(file.get(), 0, 6), 0);
    EXPECT_EQ(ReadRest(file.get(), 1), "6789");

    // Past the end is allowed and reads nothing; before the start fails and
    // leaves the position alone.
    EXPECT_EQ(file->Seek(file.get(), 0, 100), 0);
    EXPECT_EQ(TellOf(file.get()), 100u);
    ASSERT_EQ(file->Read(file.get(), buf, sizeof(buf), &got), 0);
    EXPECT_EQ(got, 0u);
    EXPECT_NE(file->Seek(file.get(), 1, -101), 0);
    EXPECT_EQ(TellOf(file.get()), 100u);
    EXPECT_NE(file->Seek(file.get(), 7, 0), 0);
    // Whence 0 takes its offset as unsigned.
    EXPECT_EQ(file->Seek(file.get(), 0, static_cast<int32_t>(0xFFFFFFF0u)), 0);
    EXPECT_EQ(TellOf(file.get()), 0xFFFFFFF0u);
}

// Small reads with short backward steps, reads across the read-ahead
// window's edge, and reads larger than it, all see the file as it is.
TEST(FileObject, LargeFileReadsMatchTheBytes) {
    std::string bytes(300 * 1024, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 7919u) >> 3);
    TempDir dir;
    ObjectPtr file = OpenFile(dir.Write("big.bin", bytes));
    ASSERT_NE(file, nullptr);

    std::string seen;
    char buf[2048];
    for (uint32_t offset = 0; offset < bytes.size(); offset += 2000) {
        ASSERT_EQ(file->Seek(file.get(), 0, static_cast<int32_t>(offset)), 0);
        uint32_t got = 0;
        ASSERT_EQ(file->Read(file.get(), buf, sizeof(buf), &got), 0);
        ASSERT_EQ(got, std::min<size_t>(sizeof(buf), bytes.size() - offset)) << "at " << offset;
        ASSERT_TRUE(std::string(buf, got) == bytes.substr(offset, got)) << "at " << offset;
        seen.append(buf, got < 2000 ? got : 2000);
    }
    EXPECT_TRUE(seen == bytes);

    ASSERT_EQ(file->Seek(file.get(), 0, 1000), 0);
    std::string large(100 * 1024, '\0');
    uint32_t got = 0;
    ASSERT_EQ(file->Read(file.get(), large.data(), static_cast<uint32_t>(large.size()), &got), 0);
    EXPECT_EQ(got, large.size());
    EXPECT_TRUE(large == bytes.substr(1000, large.size()));
    EXPECT_EQ(TellOf(file.get()), 1000u + got);
    EXPECT_EQ(file->Seek(file.get(), 2, -5), 0);
    EXPECT_EQ(ReadRest(file.get()), bytes.substr(bytes.size() - 5));
}

TEST(FileObject, RefusesWhatIsNoRegularFile) {
    TempDir dir;
    errno = 0;
    EXPECT_EQ(FileObjectOpen((dir.Path() + "/missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(FileObjectOpen(dir.Path().c_str()), nullptr);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(FileObjectOpen(""), nullptr);
    EXPECT_EQ(FileObjectOpen(nullptr), nullptr);
}

TEST(RangeObject, CountsFromItsFirstByteAndStopsAtItsLast) {
    TempDir dir;
    ObjectPtr file = OpenFile(dir.Write("digits.txt", kDigits));
    ASSERT_NE(file, nullptr);
    ObjectPtr range = OpenRange(file.get(), 2, 5);
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(range->Open, &PlatformOpen);
    EXPECT_EQ(range->Write, nullptr);

    EXPECT_EQ(TellOf(range.get()), 0u);
    EXPECT_EQ(ReadRest(range.get(), 3), "2345");
    EXPECT_EQ(TellOf(range.get()), 4u);
    EXPECT_EQ(range->Seek(range.get(), 2, -1), 0);
    EXPECT_EQ(TellOf(range.get()), 3u);
    EXPECT_EQ(ReadRest(range.get()), "5");
    EXPECT_EQ(range->Seek(range.get(), 0, 1), 0);
    EXPECT_EQ(range->Seek(range.get(), 1, 1), 0);
    EXPECT_EQ(ReadRest(range.get()), "45");
    EXPECT_NE(range->Seek(range.get(), 1, -100), 0);

    // Moving the base between two reads must not move the range.
    EXPECT_EQ(range->Seek(range.get(), 0, 1), 0);
    EXPECT_EQ(file->Seek(file.get(), 0, 9), 0);
    EXPECT_EQ(ReadRest(range.get(), 1), "345");
    EXPECT_EQ(range->Seek(range.get(), 0, 50), 0);
    EXPECT_EQ(ReadRest(range.get()), "");

    // It is named after what it lies in, and never closes its base.
    EXPECT_EQ(NameOf(range.get()), "digits.txt");
    EXPECT_EQ(NameKindOf(range.get()), 2u);
    range.reset();
    EXPECT_EQ(file->Seek(file.get(), 0, 0), 0);
    EXPECT_EQ(ReadRest(file.get()), kDigits);
}

TEST(RangeObject, EndsEmptyRangesAndRangesOfRanges) {
    TempDir dir;
    ObjectPtr file = OpenFile(dir.Write("digits.txt", kDigits));
    ASSERT_NE(file, nullptr);
    // A last offset before the first is an empty object, not a failure: a
    // header-only part asks for first .. first - 2 this way.
    int32_t code = -1;
    ObjectPtr empty = OpenRange(file.get(), 6, 4, &code);
    EXPECT_EQ(code, 0);
    ASSERT_NE(empty, nullptr);

    struct {
        IoObject* object;
        std::string bytes;
    } ranges[] = {
        {OpenRange(file.get(), 3, 0xFFFFFFFE).release(), "3456789"},
        {empty.release(), ""},
        {OpenRange(file.get(), 7, 1000).release(), "789"},  // longer than its base
        {OpenRange(file.get(), 4, 4).release(), "4"},       // first and last the same byte
        {OpenRange(file.get(), 20, 30).release(), ""},
    };
    for (auto& r : ranges) {
        ObjectPtr range(r.object);
        ASSERT_NE(range, nullptr) << r.bytes;
        EXPECT_EQ(ReadRest(range.get()), r.bytes);
        EXPECT_EQ(range->Seek(range.get(), 2, 0), 0);
        EXPECT_EQ(TellOf(range.get()), r.bytes.size());
    }

    ObjectPtr outer = OpenRange(file.get(), 1, 8);
    ASSERT_NE(outer, nullptr);
    ObjectPtr inner = OpenRange(outer.get(), 2, 4);
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(ReadRest(inner.get()), "345");
    EXPECT_EQ(NameOf(inner.get()), "digits.txt");
    ObjectPtr innerToEnd = OpenRange(outer.get(), 5, 0xFFFFFFFE);
    ASSERT_NE(innerToEnd, nullptr);
    EXPECT_EQ(ReadRest(innerToEnd.get()), "678");
}

// Over a foreign base that delivers a few bytes per call, a range still fills
// each read, and reads the base only through the base's own routines.
TEST(RangeObject, WorksOverForeignObjectsThatDeliverLittleAtATime) {
    MemoryObject base = Foreign("The quick brown fox jumps over the lazy dog", "fox.txt");
    ObjectPtr range = OpenRange(base.get(), 4, 18);
    ASSERT_NE(range, nullptr);
    char buf[32] = {};
    uint32_t got = 0;
    ASSERT_EQ(range->Read(range.get(), buf, 10, &got), 0);
    EXPECT_EQ(std::string(buf, got), "quick brow");
    EXPECT_EQ(ReadRest(range.get()), "n fox");
    EXPECT_EQ(NameOf(range.get()), "fox.txt");
}

TEST(RangeObject, RefusesRequestsWithoutABase) {
    IoRangeRequest request{nullptr, 0, 3};
    IoObject* out = kPreset;
    EXPECT_EQ(PlatformOpen(&out, IO_OPEN_RANGE, &request, 1), -2);
    EXPECT_EQ(PlatformOpen(&out, IO_OPEN_RANGE, nullptr, 1), -2);
    EXPECT_EQ(PlatformOpen(&out, 7, &request, 1), -2);
    EXPECT_EQ(out, kPreset);
}

TEST(SiblingObject, OpensFilesBesideTheBaseFile) {
    TempDir dir;
    ObjectPtr first = OpenFile(dir.Write("set.001", "first piece"));
    dir.Write("set.002", "second piece");
    dir.Write("a..b", "dots inside a name");
    ASSERT_NE(first, nullptr);

    IoObject* out = nullptr;
    ASSERT_EQ(OpenSibling(first.get(), "set.002", &out), 0);
    ObjectPtr second(out);
    EXPECT_EQ(ReadRest(second.get()), "second piece");
    EXPECT_EQ(NameOf(second.get()), "set.002");
    EXPECT_EQ(second->Open, &PlatformOpen);

    // A sibling of a sibling, and a sibling of a range of a range over the file.
    ASSERT_EQ(OpenSibling(second.get(), "set.001", &out), 0);
    EXPECT_EQ(ReadRest(ObjectPtr(out).get()), "first piece");
    ObjectPtr range = OpenRange(first.get(), 0, 4);
    ASSERT_NE(range, nullptr);
    ObjectPtr rangeOfRange = OpenRange(range.get(), 1, 2);
    ASSERT_NE(rangeOfRange, nullptr);
    ASSERT_EQ(OpenSibling(rangeOfRange.get(), "set.002", &out), 0);
    EXPECT_EQ(ReadRest(ObjectPtr(out).get()), "second piece");
    ASSERT_EQ(OpenSibling(first.get(), "a..b", &out), 0);
    EXPECT_EQ(ReadRest(ObjectPtr(out).get()), "dots inside a name");
}

TEST(SiblingObject, RefusesNamesThatLeaveTheDirectory) {
    TempDir dir;
    std::filesystem::create_directory(dir.Path() + "/sub");
    dir.Write("sub/inner.txt", "inside");
    dir.Write("outside.txt", "outside");
    ObjectPtr file = OpenFile(dir.Write("sub/base.txt", "base"));
    ASSERT_NE(file, nullptr);

    for (const char* name : {"../outside.txt", "..", ".", "", "inner.txt/", "/etc/passwd",
                             "missing.txt"}) {
        IoObject* out = kPreset;
        EXPECT_NE(OpenSibling(file.get(), name, &out), 0) << name;
        EXPECT_EQ(out, kPreset) << name;
    }
    IoObject* out = kPreset;
    EXPECT_EQ(OpenSibling(file.get(), "inner.txt", &out), 0);
    ObjectPtr inner(out);

    // A name that fills the whole field with no NUL in it is refused.
    IoSiblingRequest unterminated{};
    unterminated.base = file.get();
    memset(unterminated.name, 'a', sizeof(unterminated.name));
    out = kPreset;
    EXPECT_NE(PlatformOpen(&out, IO_OPEN_SIBLING, &unterminated, 1), 0);
    EXPECT_EQ(out, kPreset);
}

TEST(SiblingObject, RefusedOverObjectsWithoutADirectory) {
    MemoryObject base = Foreign("base", "base.txt");
    IoObject* out = kPreset;
    EXPECT_NE(OpenSibling(base.get(), "other.txt", &out), 0);
    ObjectPtr range = OpenRange(base.get(), 0, 2);
    ASSERT_NE(range, nullptr);
    EXPECT_NE(OpenSibling(range.get(), "other.txt", &out), 0);
    EXPECT_EQ(out, kPreset);
}

// Kind 19 reaches the decoding stages; ranges work over what they deliver,
// and a decoded object has no directory for siblings.
TEST(PlatformOpen, DecodedObjectsServeAsBases) {
    TempDir dir;
    ObjectPtr file = OpenFile(dir.Write("note.b64", "SGVsbG8sIGRlY29kZWQgd29ybGQh\r\n"));  // "Hello, decoded world!"
    dir.Write("other.txt", "other");
    ASSERT_NE(file, nullptr);
    IoDecodeRequest request{file.get(), 0, 2, {0, 0, 0, 0}};
    IoObject* out = kPreset;
    ASSERT_EQ(file->Open(&out, IO_OPEN_DECODE, &request, 1), 0);
    ObjectPtr decoded(out);
    ObjectPtr range = OpenRange(decoded.get(), 7, 13);
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(ReadRest(range.get()), "decoded");
    ObjectPtr tail = OpenRange(decoded.get(), 15, 0xFFFFFFFE);
    ASSERT_NE(tail, nullptr);
    EXPECT_EQ(ReadRest(tail.get(), 2), "world!");
    EXPECT_EQ(tail->Seek(tail.get(), 2, 0), 0);
    EXPECT_EQ(TellOf(tail.get()), 6u);

    out = kPreset;
    EXPECT_NE(OpenSibling(decoded.get(), "other.txt", &out), 0);
    request.transferCode = 99;
    EXPECT_NE(PlatformOpen(&out, IO_OPEN_DECODE, &request, 1), 0);
    EXPECT_EQ(out, kPreset);
}

}  // namespace
