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

TEST(EntryPoints, RoutineTableByCount) {
    auto t18 = Table(18);
    EXPECT_EQ(t18[0], reinterpret_cast<VwRoutine>(&VwStreamOpen));
    EXPECT_EQ(t18[14], reinterpret_cast<VwRoutine>(&VwStreamClose));
    EXPECT_EQ(t18[15], nullptr);
    EXPECT_EQ(t18[16], nullptr);
    EXPECT_EQ(t18[17], &VwStreamReadRecord);
    EXPECT_EQ(t18[18], Marker()) << "slot 18 needs a count of 19";
    auto t19 = Table(19);
    EXPECT_EQ(t19[18], reinterpret_cast<VwRoutine>(&VwDoSpecial));
    auto t21 = Table(21);
    EXPECT_EQ(t21[19], Marker());
    EXPECT_EQ(t21[21], Marker());
    auto t22 = Table(22);
    for (int i = 19; i <= 21; ++i) EXPECT_EQ(t22[i], nullptr) << i;
    EXPECT_EQ(t22[22], Marker());
    auto t29 = Table(29);
    for (int i = 19; i <= 32; ++i) EXPECT_EQ(t29[i], nullptr) << i;
    EXPECT_EQ(t29[33], Marker());
    // One routine under several names.
    EXPECT_EQ(reinterpret_cast<void*>(&VwStreamSeek), reinterpret_cast<void*>(&VwStreamTell));
    EXPECT_EQ(reinterpret_cast<void*>(&VwGetSectionDataFunc), reinterpret_cast<void*>(&VwStreamReadRecord));
    EXPECT_EQ(reinterpret_cast<void*>(&VwSetSectionDataFunc), reinterpret_cast<void*>(&VwStreamReadRecord));
}

TEST(EntryPoints, InformationQueries) {
    uint16_t word = 0;
    ASSERT_EQ(VwGetInfo(&word, 1), 1);
    EXPECT_EQ(word, kFilterDataSize);
    ASSERT_EQ(VwGetInfo(&word, 0x10001), 1) << "only the low 16 bits of the id count";
    ASSERT_EQ(VwGetInfo(&word, 2), 1);
    EXPECT_EQ(word, kOpenClearSize);
    ASSERT_EQ(VwGetInfo(&word, 6), 1);
    EXPECT_EQ(word, 17);
    uint16_t ids[18];
    std::memset(ids, 0xEE, sizeof ids);
    ASSERT_EQ(VwGetInfo(ids, 7), 1);
    EXPECT_EQ(ids[0], 1187);
    EXPECT_EQ(ids[7], 4050);
    EXPECT_EQ(ids[11], 4051);
    EXPECT_EQ(ids[16], 1817);
    EXPECT_EQ(ids[17], 0xEEEE) << "34 bytes and no more";
    char text[32];
    ASSERT_EQ(VwGetInfo(text, 8), 1);
    EXPECT_EQ(std::strlen(text), 11u) << text;  // "Jan 24 2007"
    ASSERT_EQ(VwGetInfo(text, 9), 1);
    EXPECT_EQ(std::strlen(text), 8u) << text;  // "14:24:14"
    uint32_t number = 0;
    ASSERT_EQ(VwGetInfo(&number, 12), 1);
    EXPECT_EQ(number, 0x12345678u);
    word = 77;
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

    // Saving copies FilterData as one block, and nothing behind it.
    proc->readPos = 1234;
    proc->support1028.image[kImage1028ReadPos] = 9;
    proc->formatId = 1192;
    std::vector<uint8_t> saved(kFilterDataSize);
    VwGetData(saved.data(), proc);
    proc->readPos = 1;
    proc->support1028.image[kImage1028ReadPos] = 0;
    proc->formatId = 4050;
    VwSetData(saved.data(), proc);
    EXPECT_EQ(proc->readPos, 1234u);
    EXPECT_EQ(proc->support1028.image[kImage1028ReadPos], 9);
    EXPECT_EQ(proc->formatId, 4050) << "formatId lies outside FilterData";
    VwFreeProc(proc);

    FilterProc* cleared = VwAllocProc();
    FilterProc* keep = cleared->self;
    cleared->self = nullptr;
    VwFreeProc(cleared);  // does nothing
    std::free(keep);
}

}  // namespace
