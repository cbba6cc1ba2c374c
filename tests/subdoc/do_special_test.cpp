// VwDoSpecial as a host meets it: the requests that make no object, no
// memory for the object, and real mails whose attachment link carries a
// recipe that opens the attachment.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/subdoc/stage_host.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

// The heap is made to fail by a calloc of this test program that refuses once
// when armed; a sanitizer build owns calloc itself, so there the test is skipped.
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

IoObject* const kPreset = reinterpret_cast<IoObject*>(~uintptr_t{0});

// A mail whose attachments list holds one record, of its body.
class DoSpecialRequest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(session.Open(mail.get(), FI_INTERNET_MAIL), 0);
        AttachRecord record{};
        record.offset = 14;
        record.length = 4;
        ASSERT_EQ(ListAdd(session.proc()->attachments, &record), 0);
        callsBefore = host.Calls().size();
    }

    RecordingHost host;
    MemoryObject mail{"Subject: x\r\n\r\nbody\r\n"};
    FilterSession session{host};
    StageHost stage{"Subject: x\r\n\r\nbody\r\n"};
    size_t callsBefore = 0;
};

TEST_F(DoSpecialRequest, WithoutAnObjectAnswerMinusTwo) {

    // Split bodies and chains need their lists, which a lone mail doesn't
    // have; an attachment index must name a record.
    const struct { uint32_t a, b; } cases[] = {{1, 0}, {2, 1}, {2, 0}, {0, 1}, {0, 2}, {0, 0x10000}, {0, 0xFFFFFFFF}};
    for (const auto& c : cases) {
        IoObject* object = kPreset;
        EXPECT_EQ(VwDoSpecial(stage.document(), c.a, &object, c.b, 0, 0, session.proc()), -2) << c.a << " " << c.b;
        EXPECT_EQ(object, kPreset) << c.a << " " << c.b;
    }
    // Nonsense from the host: no stream, nowhere to put the object, no block.
    IoObject* object = kPreset;
    EXPECT_EQ(VwDoSpecial(nullptr, 0, &object, 0, 0, 0, session.proc()), -2);
    EXPECT_EQ(VwDoSpecial(stage.document(), 0, nullptr, 0, 0, 0, session.proc()), -2);
    EXPECT_EQ(VwDoSpecial(stage.document(), 0, &object, 0, 0, 0, nullptr), -2);
    EXPECT_EQ(object, kPreset);
    EXPECT_TRUE(StageHost::Opens().empty());
    EXPECT_EQ(host.Calls().size(), callsBefore);

    // A block that never opened a document has no attachments list at all.
    FilterProc* fresh = VwAllocProc();
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(VwDoSpecial(stage.document(), 0, &object, 0, 0, 0, fresh), -2);
    EXPECT_EQ(object, kPreset);
    VwFreeProc(fresh);
}

// No memory for the object: the host hears SoBailOut(0) and gets nothing.
TEST_F(DoSpecialRequest, NoMemoryForTheObjectCallsBailOut) {
    if (!SUBDOC_OWN_CALLOC) GTEST_SKIP() << "the sanitizer runtime owns calloc";

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

// A mail's one attachment: the plan records it for the part the display
// starts at, its link is the one-step recipe (0x100, 0, index), and following
// it gives the attachment's own bytes under its file name. A raw attachment
// stands at its end, a decoded one at its start.
TEST(DoSpecial, CorpusAttachmentsOpenThroughTheirRecipe) {
    const struct {
        const char* file;
        uint16_t format;
        uint32_t transferCode;
        const char* bodyStart;
        const char* name;
        std::string head, tail;
        size_t minSize, maxSize;  // a raw part may keep the line end before its delimiter
    } cases[] = {
        {"mikel-mail/emails/attachment_emails/attachment_with_unquoted_name.eml", FI_INTERNET_MAIL, 0,
         "Hi there.", "This is a test.txt", "Hi there.\r\n", "\r\n", 11, 13},
        {"mime4j/mimetools-testmsgs/empty-preamble.msg", FI_MIME_FILE, TC_BASE64, "iVBOR", "dot.png",
         "\x89PNG\r\n\x1A\n", std::string("\0\0\0\0IEND\xAE\x42\x60\x82", 12), 160, 160},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string bytes = ReadWholeFile(std::string(MAILSIFT_DATA_DIR) + "/" + c.file);
        ASSERT_FALSE(bytes.empty());
        RecordingHost host;
        MemoryObject mail(bytes);
        FilterSession session(host);
        ASSERT_EQ(session.Open(mail.get(), c.format), 0);
        ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
        FilterProc* proc = session.proc();
        ASSERT_EQ(ListCount(proc->attachments), 1u);
        const AttachRecord& record = *ListAt<AttachRecord>(proc->attachments, 0);
        EXPECT_EQ(record.ownerPart, proc->currentPart);
        EXPECT_EQ(record.transferCode, c.transferCode);
        EXPECT_EQ(record.offset, bytes.find(c.bodyStart));
        ASSERT_NE(record.name, nullptr);
        EXPECT_STREQ(record.name, c.name);

        Recipe link;
        for (const Recipe& recipe : RecipesOf(host))
            if (recipe.steps.size() == 1 && recipe.steps[0][0] == STEP_SPECIAL) link = recipe;
        ASSERT_NE(link.subdoc, 0u) << host.Transcript();
        EXPECT_EQ(link.steps[0][1], 0u);
        EXPECT_EQ(link.steps[0][2], 0u);
        IoObject* object = nullptr;
        ASSERT_EQ(VwDoSpecial(mail.get(), link.steps[0][1], &object, link.steps[0][2], 0, 0, proc), 0);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(NameOf(object), c.name);
        uint32_t pos = 99;
        ASSERT_EQ(object->Tell(object, &pos), 0);
        ASSERT_EQ(object->Seek(object, 0, 0), 0);
        const std::string content = ReadRest(object, 64);
        EXPECT_EQ(pos, c.transferCode ? 0 : content.size());
        ASSERT_GE(content.size(), c.minSize) << content;
        EXPECT_LE(content.size(), c.maxSize) << content;
        EXPECT_EQ(content.substr(0, c.head.size()), c.head);
        EXPECT_EQ(content.substr(content.size() - c.tail.size()), c.tail);
        object->Close(object);
    }
}

}  // namespace
