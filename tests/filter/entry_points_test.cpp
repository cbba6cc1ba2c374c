// The exported routines around the run: the routine table, the information
// queries, installing host routines, and the instance block.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/filter_proc.h"
#include "core/host_calls.h"
#include "host/mailfilter.h"

namespace {

VwRoutine Marker() { return reinterpret_cast<VwRoutine>(uintptr_t{0x5A5A}); }

std::vector<VwRoutine> Table(uint16_t count) {
    std::vector<VwRoutine> table(40, Marker());
    VwGetRtns(table.data(), count);
    return table;
}

// The count a host passes decides which groups of slots are written: 1 to
// 18 always (15 and 16 empty), 19 from 19 on, 20 to 22 from 22 on, 23 to 33
// from 29 on; a slot outside them keeps what the host put there.
TEST(EntryPoints, RoutineTableByCount) {
    const auto open = reinterpret_cast<VwRoutine>(&VwStreamOpen);
    const auto close = reinterpret_cast<VwRoutine>(&VwStreamClose);
    const auto special = reinterpret_cast<VwRoutine>(&VwDoSpecial);
    const struct { uint16_t count; int slot; VwRoutine expected; } cases[] = {
        {18, 0, open}, {18, 14, close}, {18, 15, nullptr}, {18, 16, nullptr}, {18, 17, &VwStreamReadRecord},
        {18, 18, Marker()}, {19, 18, special}, {21, 19, Marker()}, {21, 21, Marker()}, {22, 19, nullptr},
        {22, 21, nullptr}, {22, 22, Marker()}, {29, 22, nullptr}, {29, 32, nullptr}, {29, 33, Marker()}};
    for (const auto& c : cases) EXPECT_EQ(Table(c.count)[c.slot], c.expected) << c.count << " " << c.slot;
    // One routine under several names.
    EXPECT_EQ(reinterpret_cast<void*>(&VwStreamSeek), reinterpret_cast<void*>(&VwStreamTell));
    EXPECT_EQ(reinterpret_cast<void*>(&VwGetSectionDataFunc), reinterpret_cast<void*>(&VwStreamReadRecord));
    EXPECT_EQ(reinterpret_cast<void*>(&VwSetSectionDataFunc), reinterpret_cast<void*>(&VwStreamReadRecord));
}

TEST(EntryPoints, InformationQueries) {
    const struct { uint32_t id; uint16_t expected; } words[] = {
        {1, kFilterDataSize}, {0x10001, kFilterDataSize} /* only the low 16 bits of the id count */,
        {2, kOpenClearSize}, {6, 17}};
    for (const auto& w : words) {
        uint16_t word = 0;
        ASSERT_EQ(VwGetInfo(&word, w.id), 1) << w.id;
        EXPECT_EQ(word, w.expected) << w.id;
    }
    uint16_t ids[18];
    std::memset(ids, 0xEE, sizeof ids);
    ASSERT_EQ(VwGetInfo(ids, 7), 1);
    EXPECT_EQ(ids[0], 1187);
    EXPECT_EQ(ids[16], 1817);
    EXPECT_EQ(ids[17], 0xEEEE) << "34 bytes and no more";
    char text[32];
    ASSERT_EQ(VwGetInfo(text, 8), 1);
    EXPECT_EQ(std::strlen(text), 11u) << text;  // "Jan 24 2007"
    uint32_t number = 0;
    ASSERT_EQ(VwGetInfo(&number, 12), 1);
    EXPECT_EQ(number, 0x12345678u);
    uint16_t word = 77;
    EXPECT_EQ(VwGetInfo(&word, 14), 0);
    EXPECT_EQ(word, 77) << "an unknown id writes nothing";
}

int32_t MyBreak(uint32_t, uint32_t, uintptr_t, uintptr_t) { return 42; }
int32_t MyChar(uint32_t, uintptr_t, uintptr_t) { return 7; }

TEST(EntryPoints, InstallingHostRoutines) {
    FilterProc* proc = VwAllocProc();
    ASSERT_NE(proc, nullptr);
    EXPECT_EQ(proc->self, proc);
    void* handle = nullptr;
    VwLocalUp(proc, &handle, proc);
    EXPECT_EQ(handle, proc);
    // Stand-ins answer 0 for every routine the filter calls.
    EXPECT_EQ(SoPutBreak(BRK_PARAGRAPH, proc), 0);
    EXPECT_EQ(SoPutChar('a', proc), 0);
    VwSetSoRtn(SO_PUTBREAK, reinterpret_cast<VwRoutine>(&MyBreak), proc);
    EXPECT_EQ(SoPutBreak(BRK_PARAGRAPH, proc), 42);
    VwSetSoRtn(SO_PUTBREAK, nullptr, proc);
    EXPECT_EQ(SoPutBreak(BRK_PARAGRAPH, proc), 0) << "null installs the stand-in";

    std::vector<VwRoutine> before(proc->hostRoutines, proc->hostRoutines + kHostRoutineSlots);
    for (int id : {0, 119, 120, 122, -1, 1000})
        VwSetSoRtn(id, reinterpret_cast<VwRoutine>(&MyChar), proc);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), proc->hostRoutines));

    VwSetSoRtn(121, reinterpret_cast<VwRoutine>(&MyChar), proc);
    EXPECT_EQ(proc->hostRoutines[120], reinterpret_cast<VwRoutine>(&MyChar));
    EXPECT_EQ(proc->hostRoutines[3], reinterpret_cast<VwRoutine>(&MyChar)) << "121 replaces id 4";
    VwSetSoRtn(4, nullptr, proc);
    EXPECT_EQ(proc->hostRoutines[120], reinterpret_cast<VwRoutine>(&MyChar)) << "4 writes its slot alone";

    VwSetUser(11, 22, proc);
    EXPECT_EQ(proc->user1, 11u);
    EXPECT_EQ(proc->user2, 22u);
    void* down = nullptr;
    VwLocalDown(proc, &down);
    EXPECT_EQ(down, proc);

    // Saving copies FilterData, and nothing behind it. (That all of it comes
    // back is what every replay of the corpus sweep relies on.)
    proc->formatId = 1192;
    std::vector<uint8_t> saved(kFilterDataSize);
    VwGetData(saved.data(), proc);
    proc->formatId = 4050;
    VwSetData(saved.data(), proc);
    EXPECT_EQ(proc->formatId, 4050) << "formatId lies outside FilterData";
    VwFreeProc(proc);

    FilterProc* cleared = VwAllocProc();
    FilterProc* keep = cleared->self;
    cleared->self = nullptr;
    VwFreeProc(cleared);  // does nothing
    std::free(keep);
}

}  // namespace
