// VwDoSpecial as a host meets it: the requests that make no object, no
// memory for the object, and the locator objects: a byte range of the
// document (what an embedded message's link asks for) and a recorded chain
// of steps.
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
    EXPECT_TRUE(Stages().opens.empty());
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
    EXPECT_TRUE(Stages().opens.empty()) << "nothing is opened without an object";

    // With memory back the same request works.
    ASSERT_EQ(VwDoSpecial(stage.document(), 0, &object, 0, 0, 0, session.proc()), 0);
    ASSERT_NE(object, nullptr);
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object), "body");
    object->Close(object);
}

// A byte range of the document: offset 3 with last offset 12, and offset 14
// to the end; then the embedded message's link, whose recipe (0x100, body
// offset, body length) opens the message, at most with the line end in front
// of the delimiter.
TEST(Locators, ByteRangesAndAnEmbeddedMessagesLink) {
    const std::string inner = "From: inner@example.org\r\nSubject: INNER\r\n\r\ninner body\r\n";
    const std::string mail = "Subject: outer\r\nContent-Type: multipart/mixed; boundary=\"b\"\r\n\r\n"
                             "--b\r\nContent-Type: message/rfc822\r\n\r\n" + inner + "--b--\r\n";
    RecordingHost host;
    MemoryObject document(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(document.get(), FI_INTERNET_MAIL), 0);

    IoObject* object = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), 3, &object, 10, 0, 0, session.proc()), 0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(ReadRest(object), mail.substr(3, 10));
    EXPECT_EQ(NameOf(object), "locatorsbody2.tmp");
    EXPECT_EQ(object->Write, nullptr);
    ASSERT_EQ(object->Seek(object, 2, 0), 0);
    uint32_t pos = 0;
    ASSERT_EQ(object->Tell(object, &pos), 0);
    EXPECT_EQ(pos, 10u);
    EXPECT_EQ(object->Seek(object, 7, 0), 0) << "an unknown whence does nothing";
    EXPECT_EQ(object->Close(object), 0);
    object = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), 14, &object, 0xFFFFFFFE, 0, 0, session.proc()), 0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(ReadRest(object), mail.substr(14)) << "to the end of the document";
    object->Close(object);

    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    const HostEvent* step = nullptr;  // the first step of the only recipe
    for (const HostEvent& event : host.Calls())
        if (!step && event.id == SO_SETPROPERTY && event.args[0].number == PROP_RECIPE_STEP) step = &event;
    ASSERT_EQ(host.Count(SO_NEWSUBDOC), 1u) << host.Transcript();
    ASSERT_NE(step, nullptr);
    ASSERT_EQ(step->args[1].number, STEP_SPECIAL);
    EXPECT_EQ(step->args[2].number, mail.find(inner));
    object = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), step->args[2].number, &object, step->args[3].number, 0, 0,
                          session.proc()), 0);
    ASSERT_NE(object, nullptr);
    const std::string got = ReadRest(object);
    EXPECT_EQ(got.substr(0, inner.size()), inner);
    EXPECT_LE(got.size(), inner.size() + 2);
    object->Close(object);
}

TEST(Locators, ARecordedChainDecodesAndRefusesBadNumbers) {
    const std::string mail = "Subject: x\r\n\r\naGVsbG8gY2hhaW4=\r\n";
    RecordingHost host;
    MemoryObject document(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(document.get(), FI_INTERNET_MAIL), 0);
    FilterProc* proc = session.proc();
    proc->chains = ListCreate(0, 0, sizeof(GrowList*), 4, 4);
    GrowList* chain = ListCreate(0, 0, sizeof(RangeStep), 4, 4);
    RangeStep range{STEP_RANGE, static_cast<uint32_t>(mail.find("aGVs")), 18, 0};
    RangeStep decode{STEP_DECODE, TC_BASE64, 0, 0};
    ListAdd(chain, &range);
    ListAdd(chain, &decode);
    ListAdd(proc->chains, &chain);
    GrowList* oneStep = ListCreate(0, 0, sizeof(RangeStep), 4, 4);
    ListAdd(oneStep, &range);
    ListAdd(proc->chains, &oneStep);

    IoObject* object = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), 2, &object, 2, 0, 0, proc), 0);
    EXPECT_EQ(ReadRest(object), "aGVsbG8gY2hhaW4=\r\n");
    object->Close(object);
    object = nullptr;
    for (uint32_t bad : {0u, 3u}) {
        EXPECT_EQ(VwDoSpecial(document.get(), 2, &object, bad, 0, 0, proc), -2) << bad;
        EXPECT_EQ(object, nullptr);
    }
    for (int round = 0; round < 2; ++round) {  // a chain serves one object at a time, again and again
        object = nullptr;
        ASSERT_EQ(VwDoSpecial(document.get(), 2, &object, 1, 0, 0, proc), 0);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(NameOf(object), "locatorsbody.tmp");
        EXPECT_EQ(ReadRest(object), "hello chain");
        EXPECT_EQ(object->Close(object), 0);
    }
}

}  // namespace

// An embedded message's link shows its file name, else its own subject, else
// a fixed text; with a file name its header is never read.
TEST(Locators, AnEmbeddedMessagesLinkNamesItAsBestItCan) {
    const struct { const char* type; const char* inner; const char* shown; } cases[] = {
        {"message/rfc822; name=\"saved.eml\"", "From: a@b\r\nSubject: unread\r\n\r\nx\r\n", "saved.eml"},
        {"message/rfc822", "From: a@b\r\nSubject: Its own subject\r\n\r\nx\r\n", "Its own subject"},
        {"message/rfc822", "From: a@b\r\nTo: c@d\r\n\r\nx\r\n", "Embedded Mail Message"},
    };
    for (const auto& c : cases) {
        const std::string mail = std::string("Subject: outer\r\nContent-Type: multipart/mixed; boundary=\"b\"\r\n\r\n"
                                             "--b\r\nContent-Type: ") + c.type + "\r\n\r\n" + c.inner + "--b--\r\n";
        RecordingHost host;
        ASSERT_EQ(RunDocument(host, mail, FI_INTERNET_MAIL), 0);
        EXPECT_NE(host.Text().find(c.shown), std::string::npos) << host.Text();
        EXPECT_EQ(host.Text().find("unread"), std::string::npos);
    }
}
