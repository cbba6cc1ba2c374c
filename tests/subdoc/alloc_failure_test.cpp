// No memory for the object: VwDoSpecial tells the host through SoBailOut(0)
// and hands out nothing. The heap is made to fail by a calloc of this test
// program that refuses once when armed; a sanitizer build owns calloc itself,
// so there the test is skipped.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "filter/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/subdoc/stage_host.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

#if defined(__SANITIZE_ADDRESS__)
#define SUBDOC_OWN_CALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SUBDOC_OWN_CALLOC 0
#endif
#endif
#ifndef SUBDOC_OWN_CALLOC
#define SUBDOC_OWN_CALLOC 1
#endif

namespace {
bool refuseNextCalloc = false;
}

#if SUBDOC_OWN_CALLOC
// Built on malloc, so whatever it hands out is freed by the C library's free.
extern "C" void* calloc(size_t count, size_t size) {
    if (refuseNextCalloc) {
        refuseNextCalloc = false;
        return nullptr;
    }
    if (size != 0 && count > SIZE_MAX / size) return nullptr;
    // Through a pointer the compiler can't see into: malloc followed by a
    // plain memset would be folded back into a call of calloc, this one.
    static void* (*volatile clear)(void*, int, size_t) = std::memset;
    void* block = std::malloc(count * size);
    if (block) clear(block, 0, count * size);
    return block;
}
#endif

namespace {

TEST(DoSpecialMemory, NoMemoryForTheObjectCallsBailOut) {
    if (!SUBDOC_OWN_CALLOC) GTEST_SKIP() << "the sanitizer runtime owns calloc";
    RecordingHost host;
    MemoryObject mail("Subject: x\r\n\r\nbody\r\n");
    FilterSession session(host);
    ASSERT_EQ(session.Open(mail.get(), FI_INTERNET_MAIL), 0);
    AttachRecord record{};
    record.offset = 14;
    record.length = 4;
    ASSERT_EQ(ListAdd(session.proc()->attachments, &record), 0);
    StageHost stage("Subject: x\r\n\r\nbody\r\n");
    const size_t callsBefore = host.Calls().size();

    IoObject* object = nullptr;
    refuseNextCalloc = true;
    const int16_t code = VwDoSpecial(stage.document(), 0, &object, 0, 0, 0, session.proc());
    refuseNextCalloc = false;
    EXPECT_EQ(code, -2);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(host.Calls().size(), callsBefore + 1);
    EXPECT_EQ(FormatHostEvent(host.Calls().back()), "SoBailOut 0");
    EXPECT_TRUE(StageHost::Opens().empty()) << "nothing is opened without an object";

    // With memory back the same request works.
    ASSERT_EQ(VwDoSpecial(stage.document(), 0, &object, 0, 0, 0, session.proc()), 0);
    ASSERT_NE(object, nullptr);
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object), "body");
    object->Close(object);
}

}  // namespace
