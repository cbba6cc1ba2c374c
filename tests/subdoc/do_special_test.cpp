// VwDoSpecial as a host meets it: the exported names of the loadable library
// and slot 18 of its table, the requests that make no object yet, and a real
// mail whose attachment link carries a recipe that opens the attachment.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "filter/filter_proc.h"
#include "host/mailfilter.h"
#include "tests/subdoc/stage_host.h"
#include "tests/support/filter_session.h"
#include "tests/support/memory_object.h"

namespace {

IoObject* const kPreset = reinterpret_cast<IoObject*>(~uintptr_t{0});

// One recipe the host was told: the steps between SoNewSubdoc and form 0xC2.
struct Recipe {
    uint32_t subdoc = 0;
    std::vector<std::array<uint32_t, 3>> steps;
};

std::vector<Recipe> RecipesOf(const RecordingHost& host) {
    std::vector<Recipe> recipes;
    bool open = false;
    for (const HostEvent& event : host.Calls()) {
        if (event.id == SO_NEWSUBDOC) {
            recipes.push_back(Recipe{event.result, {}});
            open = true;
        } else if (open && event.id == SO_SETPROPERTY && event.args[0].number == PROP_RECIPE_STEP) {
            recipes.back().steps.push_back(
                {event.args[1].number, event.args[2].number, event.args[3].number});
        } else if (event.id == SO_SETPROPERTY && event.args[0].number == PROP_RECIPE_END) {
            open = false;
        }
    }
    return recipes;
}

TEST(DoSpecial, RequestsWithoutAnObjectAnswerMinusTwo) {
    RecordingHost host;
    MemoryObject mail("Subject: x\r\n\r\nbody\r\n");
    FilterSession session(host);
    ASSERT_EQ(session.Open(mail.get(), FI_INTERNET_MAIL), 0);
    StageHost stage("Subject: x\r\n\r\nbody\r\n");
    const size_t callsBefore = host.Calls().size();

    // Split bodies and chains need their lists, which a lone mail doesn't have.
    struct Case { uint32_t a, b; } cases[] = {{1, 0}, {2, 1}, {2, 0}};
    for (const Case& c : cases) {
        IoObject* object = kPreset;
        EXPECT_EQ(VwDoSpecial(stage.document(), c.a, &object, c.b, 0, 0, session.proc()), -2)
            << "a " << c.a;
        EXPECT_EQ(object, kPreset) << "a " << c.a;
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

TEST(DoSpecial, LoadableLibraryExportsTheObjectRoutines) {
    void* library = dlopen(MAILSIFT_FILTER_LIB, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    auto symbol = [&](const char* name) { return dlsym(library, name); };
    for (const char* name : {"VwDoSpecial", "MIMEDoClose", "MIMEDoRead", "MIMEDoSeek",
                             "MIMEDoTell", "MIMEDoGetInfo"}) {
        EXPECT_NE(symbol(name), nullptr) << name;
    }
    for (const char* name : {"AttachmentBodyOpen", "ObjectGetInfo", "SignatureCheck"}) {
        EXPECT_EQ(symbol(name), nullptr) << name << " stays inside";
    }

    auto getRtns = reinterpret_cast<void (*)(VwRoutine*, uint16_t)>(symbol("VwGetRtns"));
    ASSERT_NE(getRtns, nullptr);
    VwRoutine table[40];
    const VwRoutine mark = reinterpret_cast<VwRoutine>(&getRtns);
    for (VwRoutine& slot : table) slot = mark;
    getRtns(table, 18);
    EXPECT_EQ(table[18], mark) << "a table of 18 slots has no slot 18";
    getRtns(table, 19);
    EXPECT_EQ(reinterpret_cast<void*>(table[18]), symbol("VwDoSpecial"));

    // An object made through the library carries the exported routines.
    auto allocProc = reinterpret_cast<FilterProc* (*)()>(symbol("VwAllocProc"));
    auto localUp = reinterpret_cast<void (*)(void*, void**, FilterProc*)>(symbol("VwLocalUp"));
    auto streamOpen = reinterpret_cast<decltype(&VwStreamOpen)>(symbol("VwStreamOpen"));
    auto streamClose = reinterpret_cast<decltype(&VwStreamClose)>(symbol("VwStreamClose"));
    auto freeProc = reinterpret_cast<void (*)(FilterProc*)>(symbol("VwFreeProc"));
    auto doSpecial = reinterpret_cast<decltype(&VwDoSpecial)>(table[18]);
    FilterProc* proc = allocProc();
    ASSERT_NE(proc, nullptr);
    void* handle = nullptr;
    localUp(proc, &handle, proc);
    const std::string document = "Subject: x\r\n\r\nattached\r\n";
    MemoryObject mail(document);
    VwOpenInfo info{};
    ASSERT_EQ(streamOpen(mail.get(), FI_INTERNET_MAIL, 0, &info, proc), 0);
    AttachRecord record{};
    record.offset = static_cast<uint32_t>(document.find("attached"));
    record.length = 8;
    ASSERT_EQ(ListAdd(proc->attachments, &record), 0);
    IoObject* object = nullptr;
    ASSERT_EQ(doSpecial(mail.get(), 0, &object, 0, 0, 0, proc), 0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(reinterpret_cast<void*>(object->Close), symbol("MIMEDoClose"));
    EXPECT_EQ(reinterpret_cast<void*>(object->Read), symbol("MIMEDoRead"));
    EXPECT_EQ(reinterpret_cast<void*>(object->Seek), symbol("MIMEDoSeek"));
    EXPECT_EQ(reinterpret_cast<void*>(object->Tell), symbol("MIMEDoTell"));
    EXPECT_EQ(reinterpret_cast<void*>(object->GetInfo), symbol("MIMEDoGetInfo"));
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    EXPECT_EQ(ReadRest(object), "attached");
    object->Close(object);
    streamClose(mail.get(), proc);
    freeProc(proc);
    dlclose(library);
}

std::string CorpusFile(const char* name) {
    return ReadWholeFile(std::string(MAILSIFT_CORPUS_DIR) + "/" + name);
}

// The one link recipe (0x100, a, b) of a rendered document.
Recipe SpecialLink(const RecordingHost& host) {
    Recipe link;
    for (const Recipe& recipe : RecipesOf(host))
        if (recipe.steps.size() == 1 && recipe.steps[0][0] == STEP_SPECIAL) link = recipe;
    return link;
}

// A multipart/mixed mail whose second part is a 7bit text attachment: the
// plan records it, its link carries (0x100, 0, index), and following that
// recipe gives the attachment's own bytes under its file name.
TEST(DoSpecial, CorpusAttachmentOpensThroughItsRecipe) {
    const std::string bytes =
        CorpusFile("mikel-mail/emails/attachment_emails/attachment_with_unquoted_name.eml");
    ASSERT_FALSE(bytes.empty());
    RecordingHost host;
    MemoryObject mail(bytes);
    FilterSession session(host);
    ASSERT_EQ(session.Open(mail.get(), FI_INTERNET_MAIL), 0);
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);

    FilterProc* proc = session.proc();
    ASSERT_EQ(ListCount(proc->attachments), 1u);
    const AttachRecord& record = *ListAt<AttachRecord>(proc->attachments, 0);
    EXPECT_EQ(record.ownerPart, proc->currentPart) << "owned by the part the display starts at";
    EXPECT_EQ(record.transferCode, 0u);
    EXPECT_EQ(record.offset, bytes.find("Hi there."));
    ASSERT_NE(record.name, nullptr);
    EXPECT_STREQ(record.name, "This is a test.txt");

    const Recipe link = SpecialLink(host);
    ASSERT_NE(link.subdoc, 0u) << host.Transcript();
    EXPECT_EQ(link.steps[0][1], 0u);
    EXPECT_EQ(link.steps[0][2], 0u);

    IoObject* object = nullptr;
    ASSERT_EQ(VwDoSpecial(mail.get(), link.steps[0][1], &object, link.steps[0][2], 0, 0, proc), 0);
    ASSERT_NE(object, nullptr);
    char name[513] = {};
    ASSERT_EQ(object->GetInfo(object, 3, name), 0);
    EXPECT_STREQ(name, "This is a test.txt");
    ASSERT_EQ(object->Seek(object, 0, 0), 0);
    const std::string content = ReadRest(object);
    EXPECT_EQ(content.rfind("Hi there.\r\n", 0), 0u) << content;
    EXPECT_EQ(content.find("--Apple-Mail"), std::string::npos) << content;
    object->Close(object);
}

// A base64 picture attached to a mail: the object decodes through the
// platform's stage and stands at its start. The picture is 160 bytes, from
// the PNG signature to the IEND chunk.
TEST(DoSpecial, CorpusBase64AttachmentReadsDecoded) {
    const std::string bytes = CorpusFile("mime4j/mimetools-testmsgs/empty-preamble.msg");
    ASSERT_FALSE(bytes.empty());
    RecordingHost host;
    MemoryObject mail(bytes);
    FilterSession session(host);
    ASSERT_EQ(session.Open(mail.get(), FI_MIME_FILE), 0);
    ASSERT_EQ(session.ReadToEnd(), FilterSession::Stop::Document);
    ASSERT_EQ(ListCount(session.proc()->attachments), 1u);
    EXPECT_EQ(ListAt<AttachRecord>(session.proc()->attachments, 0)->transferCode, TC_BASE64);

    const Recipe link = SpecialLink(host);
    ASSERT_EQ(link.steps.size(), 1u) << host.Transcript();
    IoObject* object = nullptr;
    ASSERT_EQ(VwDoSpecial(mail.get(), link.steps[0][1], &object, link.steps[0][2], 0, 0,
                          session.proc()),
              0);
    ASSERT_NE(object, nullptr);
    uint32_t pos = 99;
    ASSERT_EQ(object->Tell(object, &pos), 0);
    EXPECT_EQ(pos, 0u);
    const std::string picture = ReadRest(object, 64);
    ASSERT_EQ(picture.size(), 160u);
    EXPECT_EQ(picture.substr(0, 8), "\x89PNG\r\n\x1A\n");
    EXPECT_EQ(picture.substr(148), std::string("\0\0\0\0IEND\xAE\x42\x60\x82", 12));
    char name[513] = {};
    ASSERT_EQ(object->GetInfo(object, 3, name), 0);
    EXPECT_STREQ(name, "dot.png");
    object->Close(object);
}

}  // namespace
