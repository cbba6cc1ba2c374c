// Tests of the platform's file objects: files, byte ranges (kind 8), sibling
// files (kind 9) and decoding stages (kind 19) as bases, through their
// IoObject routines only.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "tests/support/memory_object.h"

namespace {

const std::string kDigits = "0123456789";
IoObject* const kPreset = reinterpret_cast<IoObject*>(-1);

ObjectPtr OpenFile(const std::string& path) { return ObjectPtr(FileObjectOpen(path.c_str())); }

ObjectPtr OpenRange(IoObject* base, uint32_t first, uint32_t last) {
    IoRangeRequest request{base, first, last};
    IoObject* out = kPreset;
    return ObjectPtr(base->Open(&out, IO_OPEN_RANGE, &request, 1) == 0 ? out : nullptr);
}


uint32_t NameKindOf(IoObject* object) {
    uint32_t kind = 0;
    return object->GetInfo(object, IO_INFO_NAME_KIND, &kind) == 0 ? kind : 0;
}

std::string SiblingBytes(IoObject* base, const char* name) {
    IoSiblingRequest request{};
    request.base = base;
    strncpy(request.name, name, sizeof(request.name) - 1);
    IoObject* out = kPreset;
    if (base->Open(&out, IO_OPEN_SIBLING, &request, 1) != 0)
        return out == kPreset ? "<refused>" : "<refused, out written>";
    ObjectPtr sibling(out);
    EXPECT_EQ(sibling->Open, &PlatformOpen);
    return NameOf(sibling.get()) == name ? ReadRest(sibling.get()) : "<misnamed>";
}

// One step on an object: a seek (whence, offset) that must work or fail,
// then the position it must tell; or, with `read` > 0, the bytes read from
// there to the end `read` at a time.
struct Step {
    uint16_t whence;
    int32_t offset;
    bool works;
    uint32_t tell;
    uint32_t read = 0;
    std::string bytes = "";
};

void Walk(IoObject* object, const std::vector<Step>& steps) {
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step& s = steps[i];
        SCOPED_TRACE("step " + std::to_string(i));
        EXPECT_EQ(object->Seek(object, s.whence, s.offset) == 0, s.works);
        EXPECT_EQ(TellOf(object), s.tell);
        EXPECT_EQ(s.read > 0 ? ReadRest(object, s.read) : "", s.bytes);
    }
}

TEST(FileObject, ReadsSeeksTellsAndNames) {
    ObjectPtr file = OpenFile(WriteTemp("report 2024.eml", kDigits));
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
    Walk(file.get(), {
        {1, -3, true, 1},
        {2, -3, true, 7, 2048, "789"},
        {0, 6, true, 6, 1, "6789"},
        // Past the end is allowed and reads nothing; before the start fails
        // and leaves the position alone, as does an unknown whence.
        {0, 100, true, 100, 16, ""},
        {1, -101, false, 100},
        {7, 0, false, 100},
        // Whence 0 takes its offset as unsigned.
        {0, static_cast<int32_t>(0xFFFFFFF0u), true, 0xFFFFFFF0u},
    });
}

// A read larger than the read-ahead window goes past it. (Small reads across
// its edge are checked by every attachment the extraction tests compare.)
TEST(FileObject, ReadsLargerThanTheWindowMatchTheBytes) {
    std::string bytes(300 * 1024, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 7919u) >> 3);
    ObjectPtr file = OpenFile(WriteTemp("big.bin", bytes));
    ASSERT_NE(file, nullptr);
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
    for (const auto& [path, error] : {std::pair<std::string, int>{OwnTempFolder().string() + "/missing", ENOENT},
                                      {OwnTempFolder().string(), EISDIR}, {"", ENOENT}}) {
        errno = 0;
        EXPECT_EQ(FileObjectOpen(path.c_str()), nullptr) << path;
        EXPECT_EQ(errno, error) << path;
    }
    EXPECT_EQ(FileObjectOpen(nullptr), nullptr);
}

TEST(RangeObject, CountsFromItsFirstByteAndStopsAtItsLast) {
    ObjectPtr file = OpenFile(WriteTemp("digits.txt", kDigits));
    ASSERT_NE(file, nullptr);
    ObjectPtr range = OpenRange(file.get(), 2, 5);
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(range->Open, &PlatformOpen);
    EXPECT_EQ(range->Write, nullptr);
    Walk(range.get(), {
        {1, 0, true, 0, 3, "2345"},
        {1, 0, true, 4},
        {2, -1, true, 3, 2048, "5"},
        {0, 1, true, 1},
        {1, 1, true, 2, 2048, "45"},
        {1, -100, false, 4},
        {0, 50, true, 50, 2048, ""},
    });
    // Moving the base between two reads must not move the range.
    EXPECT_EQ(range->Seek(range.get(), 0, 1), 0);
    EXPECT_EQ(file->Seek(file.get(), 0, 9), 0);
    EXPECT_EQ(ReadRest(range.get(), 1), "345");

    // It is named after what it lies in, and never closes its base.
    EXPECT_EQ(NameOf(range.get()), "digits.txt");
    EXPECT_EQ(NameKindOf(range.get()), 2u);
    range.reset();
    EXPECT_EQ(file->Seek(file.get(), 0, 0), 0);
    EXPECT_EQ(ReadRest(file.get()), kDigits);
}

TEST(RangeObject, EndsEmptyRangesAndRangesOfRanges) {
    ObjectPtr file = OpenFile(WriteTemp("digits.txt", kDigits));
    ASSERT_NE(file, nullptr);
    ObjectPtr outer = OpenRange(file.get(), 1, 8);  // "12345678"
    ASSERT_NE(outer, nullptr);
    const struct {
        IoObject* base;
        uint32_t first, last;
        std::string bytes;
    } ranges[] = {
        {file.get(), 3, 0xFFFFFFFE, "3456789"},
        // A last offset before the first is an empty object, not a failure:
        // a header-only part asks for first .. first - 2 this way.
        {file.get(), 6, 4, ""},
        {file.get(), 7, 1000, "789"},  // longer than its base
        {file.get(), 4, 4, "4"},       // first and last the same byte
        {file.get(), 20, 30, ""},
        {outer.get(), 2, 4, "345"},
        {outer.get(), 5, 0xFFFFFFFE, "678"},
    };
    for (const auto& r : ranges) {
        ObjectPtr range = OpenRange(r.base, r.first, r.last);
        ASSERT_NE(range, nullptr) << r.bytes;
        EXPECT_EQ(ReadRest(range.get(), 2), r.bytes);
        EXPECT_EQ(range->Seek(range.get(), 2, 0), 0);
        EXPECT_EQ(TellOf(range.get()), r.bytes.size());
        EXPECT_EQ(NameOf(range.get()), "digits.txt");
    }
}

// Over a foreign base that delivers a few bytes per call, a range still fills
// each read, and reads the base only through the base's own routines.
TEST(RangeObject, WorksOverForeignObjectsThatDeliverLittleAtATime) {
    MemoryObjectOptions options;
    options.name = "fox.txt";
    options.shortReads = 3;
    MemoryObject base("The quick brown fox jumps over the lazy dog", options);
    ObjectPtr range = OpenRange(base.get(), 4, 18);
    ASSERT_NE(range, nullptr);
    char buf[32] = {};
    uint32_t got = 0;
    ASSERT_EQ(range->Read(range.get(), buf, 10, &got), 0);
    EXPECT_EQ(std::string(buf, got), "quick brow");
    EXPECT_EQ(ReadRest(range.get()), "n fox");
    EXPECT_EQ(NameOf(range.get()), "fox.txt");
    // Such a base knows no directory, nor do ranges over it.
    EXPECT_EQ(SiblingBytes(base.get(), "other.txt"), "<refused>");
    EXPECT_EQ(SiblingBytes(range.get(), "other.txt"), "<refused>");

    IoRangeRequest request{nullptr, 0, 3};
    IoObject* out = kPreset;
    EXPECT_EQ(PlatformOpen(&out, IO_OPEN_RANGE, &request, 1), -2);
    EXPECT_EQ(PlatformOpen(&out, IO_OPEN_RANGE, nullptr, 1), -2);
    EXPECT_EQ(PlatformOpen(&out, 7, &request, 1), -2);
    EXPECT_EQ(out, kPreset);
}

// Siblings of the file, of a sibling and of a range of a range over the
// file; names that could leave the directory are refused.
TEST(SiblingObject, OpensFilesBesideTheBaseFileOnly) {
    std::filesystem::create_directory(OwnTempFolder().string() + "/sub");
    WriteTemp("outside.txt", "outside");
    WriteTemp("sub/set.002", "second piece");
    WriteTemp("sub/a..b", "dots inside a name");
    ObjectPtr first = OpenFile(WriteTemp("sub/set.001", "first piece"));
    ASSERT_NE(first, nullptr);
    ObjectPtr range = OpenRange(first.get(), 0, 4);
    ASSERT_NE(range, nullptr);
    ObjectPtr rangeOfRange = OpenRange(range.get(), 1, 2);
    ASSERT_NE(rangeOfRange, nullptr);
    IoSiblingRequest request{first.get(), {}};
    strcpy(request.name, "set.002");
    IoObject* out = kPreset;
    ASSERT_EQ(PlatformOpen(&out, IO_OPEN_SIBLING, &request, 1), 0);
    ObjectPtr second(out);

    const struct {
        IoObject* base;
        const char* name;
        std::string bytes;
    } cases[] = {
        {second.get(), "set.001", "first piece"},
        {rangeOfRange.get(), "set.002", "second piece"},
        {first.get(), "a..b", "dots inside a name"},
        {first.get(), "../outside.txt", "<refused>"},
        {first.get(), "..", "<refused>"},
        {first.get(), ".", "<refused>"},
        {first.get(), "", "<refused>"},
        {first.get(), "set.002/", "<refused>"},
        {first.get(), "/etc/passwd", "<refused>"},
        {first.get(), "missing.txt", "<refused>"},
    };
    for (const auto& c : cases) EXPECT_EQ(SiblingBytes(c.base, c.name), c.bytes) << c.name;

    // A name that fills the whole field with no NUL in it is refused.
    memset(request.name, 'a', sizeof(request.name));
    out = kPreset;
    EXPECT_NE(PlatformOpen(&out, IO_OPEN_SIBLING, &request, 1), 0);
    EXPECT_EQ(out, kPreset);
}

// Kind 19 reaches the decoding stages, and a decoded object has no directory
// for siblings. (Ranges over decoded data are what every TNEF attachment is.)
TEST(PlatformOpen, DecodedObjectsServeAsBases) {
    ObjectPtr file = OpenFile(WriteTemp("note.b64", "SGVsbG8sIGRlY29kZWQgd29ybGQh\r\n"));  // "Hello, decoded world!"
    WriteTemp("other.txt", "other");
    ASSERT_NE(file, nullptr);
    IoDecodeRequest request{file.get(), 0, 2, {0, 0, 0, 0}};
    IoObject* out = kPreset;
    ASSERT_EQ(file->Open(&out, IO_OPEN_DECODE, &request, 1), 0);
    ObjectPtr decoded(out);
    EXPECT_EQ(ReadRest(decoded.get()), "Hello, decoded world!");

    EXPECT_EQ(SiblingBytes(decoded.get(), "other.txt"), "<refused>");
    request.transferCode = 99;
    out = kPreset;
    EXPECT_NE(PlatformOpen(&out, IO_OPEN_DECODE, &request, 1), 0);
    EXPECT_EQ(out, kPreset);
}

}  // namespace
