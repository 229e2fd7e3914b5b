// VMem with each allocation and each call on its swap file failing in turn.
#include "support/faults.h"
#include "support/vmem_support.h"

namespace {

using Outcomes = std::set<std::string>;

const std::string swapNotMade = "VMem, FlushCachePtr():\nswap file creation failed";
const std::string diskFull = "VMem, FlushCachePtr():\nwriting on swap file failed (disk full?)";
const std::string diskFullInGap = "VMem, ExtendFile():\nwriting on swap file failed (disk full?)";
const std::string unread = "VMem, FindPage():\nreading from swap file failed";

class VMemFaults : public testing::Test {
  protected:
    // Of the first `n` pages, those that do not hold their number at `offset`.
    static int WrongPages(VMem& vm, int n, int offset) {
        int wrong = 0;
        for (int i = 0, value = -1; i < n; ++i) vm.Get(i * 1024 + offset, value), wrong += value != i;
        return wrong;
    }
    // Fills eight pages, the last one first so that the swap file starts with a gap, and reads them back.
    bool SpillAndReadBack() const {
        VMem vm;
        vm.SetTempDir(dir.Path().c_str());
        vm.SetMaxCacheSize(3);
        AllocPages(vm, 8);
        for (int i = 7; i >= 0; --i) vm.Set(i * 1024 + 1000, i);
        return WrongPages(vm, 8, 1000) == 0;
    }
    // The same where pages are read and written together. What fails then is done again page by page.
    std::string SpillTogether(const Arm& arm) const {
        VMem vm;
        vm.SetTempDir(dir.Path().c_str());
        vm.SetMaxCacheSize(260); // 256 pages
        AllocPages(vm, 400);
        for (int i = 0; i < 256; ++i) vm.Set(i * 1024, i);
        int wrong = 0;
        arm([&] {
            for (int i = 256; i < 400; ++i) vm.Set(i * 1024, i);
            wrong = WrongPages(vm, 400, 0);
            vm.SetMaxCacheSize(32767);
        });
        return wrong == 0 ? "done" : "wrong";
    }
    Outcomes Sweep(Faults::Kind kind, int error, bool lasting = false) const {
        const auto run = [this](const Arm& arm) {
            bool right = false;
            arm([&] { right = SpillAndReadBack(); });
            return right ? "done" : "wrong";
        };
        return ForEachFault(kind, error, run, lasting);
    }
    const TempDir dir;
};

TEST_F(VMemFaults, EachFailureHasItsHaltOrNone) {
    EXPECT_EQ((Outcomes{"VMem, NewCachePtr():\np==NIL", "done"}), Sweep(Faults::Heap, 0)); // the texts are done without
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Open, EACCES));                              // the next name serves
    EXPECT_EQ(Outcomes{swapNotMade}, Sweep(Faults::Open, EACCES, true));
    EXPECT_EQ((Outcomes{diskFull, diskFullInGap}), Sweep(Faults::Write, ENOSPC));
    EXPECT_EQ((Outcomes{"VMem, FlushCachePtr():\nseeking in swap file failed",
                        "VMem, ExtendFile():\nseeking in swap file failed"}),
              Sweep(Faults::Write, EINVAL));
    EXPECT_EQ(Outcomes{unread}, Sweep(Faults::Read, EIO));
    EXPECT_EQ(Outcomes{"VMem, FindPage():\nseeking in swap file failed"}, Sweep(Faults::Read, EINVAL));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Lock, ENOLCK)); // a file system without locks
    EXPECT_EQ(Outcomes{swapNotMade}, Sweep(Faults::Lock, EWOULDBLOCK, true));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Other, EIO));
    for (const auto kind : {Faults::Open, Faults::Read, Faults::Write, Faults::Lock})
        EXPECT_EQ(Outcomes{"done"}, Sweep(kind, EINTR));
}

TEST_F(VMemFaults, PagesTogetherFailAsAlone) {
    const auto run = [this](const Arm& arm) { return SpillTogether(arm); };
    EXPECT_EQ(Outcomes{"done"}, ForEachFault(Faults::Heap, 0, run));
    EXPECT_EQ((Outcomes{diskFull, "done"}), ForEachFault(Faults::Write, ENOSPC, run));
    EXPECT_EQ(Outcomes{diskFull}, ForEachFault(Faults::Write, ENOSPC, run, true));
    EXPECT_EQ((Outcomes{unread, "done"}), ForEachFault(Faults::Read, EIO, run));
    EXPECT_EQ(Outcomes{unread}, ForEachFault(Faults::Read, EIO, run, true));
}

TEST_F(VMemFaults, PageThatGoesOutInPartIsAFullDisk) {
    for (const int room : {0, 1, 1023, 1024, 7 * 1024, 8 * 1024 - 1})
        EXPECT_HALT(room < 7 * 1024 ? diskFullInGap : diskFull, Faults::DiskFullAfter(room); SpillAndReadBack());
}

// A halt procedure that comes back is promised little, but invariants hold, and what was stored before is not lost.
TEST_F(VMemFaults, HaltThatComesBackLosesNothing) {
    static int halts;
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        VMem vm;
        vm.SetTempDir(dir.Path().c_str());
        vm.SetMaxCacheSize(round % 2 == 0 ? 3 : 260);
        AllocPages(vm, 400);
        for (int i = 0; i < 400; ++i) vm.Set(i * 1024, i);
        std::vector<std::int32_t> blocks(300);
        for (int i = 0; i < 300; ++i)
            vm.Alloc(blocks[i], static_cast<std::int16_t>(1010 + i % 20)); // also for the mixed list
        halts = 0;
        InstallHaltProc([](const char*) { ++halts; });
        Faults::FailNth(round % 4 < 2 ? Faults::Read : Faults::Write, 1 + round, EIO, true);
        for (int i = 0; i < 300; ++i) {
            vm.Dealloc(blocks[i * 7 % 300], static_cast<std::int16_t>(1010 + i * 7 % 300 % 20));
            vm.CopyBytes(i * 1024 + 500, 399 * 1024 - i * 1024 + 100, 300);
            std::int32_t again;
            if (i % 2 == 0) vm.Alloc(again, static_cast<std::int16_t>(1010 + i % 20));
        }
        Faults::Disarm();
        DeinstallHaltProc();
        EXPECT_LT(0, halts);
        EXPECT_TRUE(CheckVMem(vm, true, stderr));
        EXPECT_EQ(0, WrongPages(vm, 400, 0));
    }
}

} // namespace
