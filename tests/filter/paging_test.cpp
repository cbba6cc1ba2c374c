// Paging as a host does it, over a body of more than 10 MB: stopping at every
// paragraph break must render exactly what one uninterrupted run renders, and
// any saved FilterData, put back in any order, must read on exactly as it did
// the first time. The host here keeps only what it needs (a running digest and
// the sampled segments), since the full transcript of 10 MB would not fit a
// sanitizer build.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/mailfilter.h"
#include "tests/support/memory_object.h"

namespace {

// One unit of rendered output with the state in force at it.
struct Item {
    uint32_t kind;  // 0 character, 1 special character, 2 break
    uint32_t value;
    uint32_t charset;
    uint32_t attributes;
    uint32_t colour;
    bool operator==(const Item&) const = default;
};

class PagingHost {
public:
    bool stopAtParagraphs = false;
    bool capturing = false;
    std::vector<Item> captured;
    uint64_t digest = 1469598103934665603ull;
    uint64_t items = 0;
    uint32_t lastBreak = 0;
    bool lastStopped = false;

    void Install(FilterProc* proc) {
        void* handle = nullptr;
        VwLocalUp(proc, &handle, proc);
        VwSetUser(reinterpret_cast<uintptr_t>(this), 0, proc);
        VwSetSoRtn(SO_PUTCHAR, reinterpret_cast<VwRoutine>(&PutChar), proc);
        VwSetSoRtn(SO_PUTSPECIALCHAR, reinterpret_cast<VwRoutine>(&PutSpecial), proc);
        VwSetSoRtn(SO_PUTBREAK, reinterpret_cast<VwRoutine>(&PutBreak), proc);
        VwSetSoRtn(SO_SETCHARSET, reinterpret_cast<VwRoutine>(&SetCharset), proc);
        VwSetSoRtn(SO_SETPROPERTY, reinterpret_cast<VwRoutine>(&SetProperty), proc);
        VwSetSoRtn(SO_SETTEXTCOLOR, reinterpret_cast<VwRoutine>(&SetColour), proc);
    }

private:
    uint32_t charset_ = 0;
    uint32_t attributes_ = 0;
    uint32_t colour_ = 0;

    static PagingHost* Self(uintptr_t user) { return reinterpret_cast<PagingHost*>(user); }

    void Add(uint32_t kind, uint32_t value) {
        Item item{kind, value, charset_, attributes_, colour_};
        const auto* bytes = reinterpret_cast<const uint8_t*>(&item);
        for (size_t i = 0; i < sizeof item; ++i) digest = (digest ^ bytes[i]) * 1099511628211ull;
        ++items;
        if (capturing) captured.push_back(item);
    }
    static int32_t PutChar(uint32_t ch, uintptr_t user, uintptr_t) {
        Self(user)->Add(0, ch & 0xFFFF);
        return 0;
    }
    static int32_t PutSpecial(uint32_t kind, uintptr_t user, uintptr_t) {
        Self(user)->Add(1, kind);
        return 0;
    }
    static int32_t PutBreak(uint32_t kind, uint32_t, uintptr_t user, uintptr_t) {
        PagingHost* host = Self(user);
        host->Add(2, kind);
        host->lastBreak = kind;
        host->lastStopped = kind == BRK_PARAGRAPH && host->stopAtParagraphs;
        return host->lastStopped ? 1 : 0;
    }
    static int32_t SetCharset(uint32_t charset, uintptr_t user, uintptr_t) {
        Self(user)->charset_ = charset;
        return 0;
    }
    static int32_t SetProperty(uint32_t form, uint32_t a, uint32_t b, uint32_t, uintptr_t user, uintptr_t) {
        if (form == PROP_ATTRIBUTE && a < 32) {
            uint32_t bit = 1u << a;
            Self(user)->attributes_ = b ? (Self(user)->attributes_ | bit) : (Self(user)->attributes_ & ~bit);
        }
        return 0;
    }
    static int32_t SetColour(uint32_t which, uint32_t colour, uintptr_t user, uintptr_t) {
        if (which == 0) Self(user)->colour_ = colour;
        return 0;
    }
};

// A mail whose body passes 10 MB, in UTF-8 with characters of every length,
// tabs and all three kinds of line end, so that characters straddle buffers.
std::string BigMail() {
    std::string mail =
        "From: Paging Test <paging@example.org>\r\n"
        "Subject: =?UTF-8?B?R3LDvMOfZQ==?= from far away\r\n"
        "MIME-Version: 1.0\r\n"
        "Content-Type: text/plain; charset=utf-8\r\n"
        "\r\n";
    const char* pieces[] = {"plain words ", "caf\xC3\xA9 ", "\xE6\x97\xA5\xE6\x9C\xAC ", "\t", "na\xC3\xAFve "};
    const char* ends[] = {"\r\n", "\n", "\r"};
    std::mt19937 random(20261122);
    while (mail.size() < (10u << 20) + 4096) {
        int words = 1 + static_cast<int>(random() % 12);
        for (int w = 0; w < words; ++w) mail += pieces[random() % 5];
        mail += ends[random() % 3];
        if (random() % 40 == 0) mail += "\r\n";  // an empty paragraph
    }
    return mail;
}

struct Reading {
    FilterProc* proc = VwAllocProc();
    PagingHost host;
    IoObject* stream;
    explicit Reading(IoObject* s) : stream(s) { host.Install(proc); }
    ~Reading() {
        VwStreamClose(stream, proc);
        VwFreeProc(proc);
    }
    // Reads once; answers false at the end of the document.
    bool Read() {
        EXPECT_EQ(VwStreamRead(stream, proc), 0);
        return host.lastBreak != BRK_DOCUMENT_END;
    }
};

TEST(Paging, StopsAndRestoresMatchAnUninterruptedRun) {
    std::string mail = BigMail();
    MemoryObject object(mail);

    Reading whole(object.get());
    ASSERT_EQ(VwStreamOpen(object.get(), FI_INTERNET_MAIL, 0, nullptr, whole.proc), 0);
    ASSERT_EQ(VwStreamSection(object.get(), whole.proc), 0);
    while (whole.Read()) ASSERT_TRUE(whole.host.lastBreak != BRK_SECTION_END);
    ASSERT_GE(mail.size(), 10u << 20);
    ASSERT_GT(whole.host.items, 8u << 20) << "the body is rendered in full";

    Reading paged(object.get());
    paged.host.stopAtParagraphs = true;
    ASSERT_EQ(VwStreamOpen(object.get(), FI_INTERNET_MAIL, 0, nullptr, paged.proc), 0);
    ASSERT_EQ(VwStreamSection(object.get(), paged.proc), 0);

    // A seeded sample of stops, with the output that followed each.
    std::mt19937 random(7);
    std::vector<std::vector<uint8_t>> saved;
    std::vector<std::vector<Item>> followed;
    uint16_t dataSize = 0;
    ASSERT_EQ(VwGetInfo(&dataSize, 1), 1);
    std::vector<uint8_t> data(dataSize);
    size_t stops = 0;
    bool capture = false;
    for (;;) {
        paged.host.capturing = capture;
        paged.host.captured.clear();
        bool more = paged.Read();
        if (capture) followed.push_back(paged.host.captured);
        if (!more) break;
        ASSERT_TRUE(paged.host.lastStopped) << "a read ends at a stop or at the end";
        ++stops;
        capture = random() % 400 == 0;
        if (capture) {
            VwGetData(data.data(), paged.proc);
            saved.push_back(data);
        }
    }
    EXPECT_EQ(paged.host.items, whole.host.items);
    EXPECT_EQ(paged.host.digest, whole.host.digest) << "paged output differs from the whole run";
    ASSERT_GT(stops, 100000u);
    ASSERT_GE(saved.size(), 200u);
    ASSERT_EQ(saved.size(), followed.size());

    // Every copy, in a shuffled order, reads on as it did the first time.
    std::vector<size_t> order(saved.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), random);
    paged.host.capturing = true;
    for (size_t i : order) {
        VwSetData(saved[i].data(), paged.proc);
        paged.host.captured.clear();
        paged.Read();
        ASSERT_EQ(paged.host.captured, followed[i]) << "copy " << i;
    }
    // Two copies restored alternately.
    size_t a = saved.size() / 3, b = 2 * saved.size() / 3;
    for (int round = 0; round < 20; ++round) {
        size_t pick = round % 2 ? b : a;
        VwSetData(saved[pick].data(), paged.proc);
        paged.host.captured.clear();
        paged.Read();
        ASSERT_EQ(paged.host.captured, followed[pick]) << "round " << round;
    }
}

}  // namespace
