// Locator objects through VwDoSpecial: a byte range of the document (what an
// embedded message's link asks for) and a recorded chain of steps.
#include <gtest/gtest.h>

#include <string>

#include "core/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/subdoc/stage_host.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

namespace {

TEST(Locators, ByteRangesOfTheDocument) {
    RecordingHost host;
    const std::string mail = "Subject: x\r\n\r\n0123456789abcdefghij\r\n";
    MemoryObject document(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(document.get(), FI_INTERNET_MAIL), 0);

    IoObject* object = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), 3, &object, 10, 0, 0, session.proc()), 0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(ReadRest(object), mail.substr(3, 10)) << "offset 3, last offset 12";
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
}

TEST(Locators, AnEmbeddedMessageOpensThroughItsLink) {
    const std::string inner = "From: inner@example.org\r\nSubject: INNER\r\n\r\ninner body\r\n";
    const std::string mail =
        "From: a@example.org\r\nSubject: outer\r\nMIME-Version: 1.0\r\n"
        "Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\n"
        "--b\r\nContent-Type: text/plain\r\n\r\nsee below\r\n"
        "--b\r\nContent-Type: message/rfc822\r\n\r\n" + inner + "--b--\r\n";
    RecordingHost host;
    MemoryObject document(mail);
    FilterSession session(host);
    ASSERT_EQ(session.Open(document.get(), FI_INTERNET_MAIL), 0);
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    // The link's recipe: (0x100, bodyOffset, bodyLength).
    uint32_t a = 0, b = 0;
    for (const Recipe& recipe : RecipesOf(host))
        for (const auto& step : recipe.steps)
            if (step[0] == STEP_SPECIAL && step[1] >= 3) a = step[1], b = step[2];
    ASSERT_EQ(a, mail.find(inner)) << host.Transcript();
    IoObject* object = nullptr;
    ASSERT_EQ(VwDoSpecial(document.get(), a, &object, b, 0, 0, session.proc()), 0);
    ASSERT_NE(object, nullptr);
    const std::string got = ReadRest(object);
    EXPECT_EQ(got.substr(0, inner.size()), inner);
    EXPECT_LE(got.size(), inner.size() + 2) << "at most the line end before the delimiter";
    object->Close(object);
    EXPECT_NE(host.Text().find("INNER"), std::string::npos) << "the link shows the subject";
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

    IoObject* object = nullptr;
    for (uint32_t bad : {0u, 2u}) {
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
