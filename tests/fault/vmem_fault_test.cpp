// VMem with each allocation and each call on its swap file failing in turn.
#include "foundation/result.h"
#include "platform/file.h"
#include "platform/swap_file.h"
#include "support/faults.h"
#include "support/vmem_support.h"

#include <map>

namespace platform = vfile_internal::platform;

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
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Open, EOPNOTSUPP));                          // it gets a name
    EXPECT_EQ(Outcomes{swapNotMade}, Sweep(Faults::Open, EACCES, true));
    EXPECT_EQ((Outcomes{diskFull, diskFullInGap}), Sweep(Faults::Write, ENOSPC));
    EXPECT_EQ((Outcomes{"VMem, FlushCachePtr():\nseeking in swap file failed",
                        "VMem, ExtendFile():\nseeking in swap file failed"}),
              Sweep(Faults::Write, EINVAL));
    EXPECT_EQ(Outcomes{unread}, Sweep(Faults::Read, EIO));
    EXPECT_EQ(Outcomes{"VMem, FindPage():\nseeking in swap file failed"}, Sweep(Faults::Read, EINVAL));
    for (const auto kind : {Faults::Close, Faults::Other}) EXPECT_EQ(Outcomes{"done"}, Sweep(kind, EIO));
    for (const auto kind : {Faults::Open, Faults::Read, Faults::Write}) EXPECT_EQ(Outcomes{"done"}, Sweep(kind, EINTR));
}

// Where it is made by a name: somebody holds it or has moved it at once, the file system knows no locks.
TEST_F(VMemFaults, SwapFileThatMayKeepANameIsNotUsed) {
    const auto run = [](const Arm& arm) {
        const TempDir own;
        FileHandle h = InvalidHandle;
        arm([&] { h = platform::OpenSwapFile(own.File("swap").c_str()); });
        struct stat st;
        if (h == InvalidHandle) return "res " + std::to_string(GetFileRes());
        const bool nameless = fstat(DescriptorOf(h), &st) == 0 && st.st_nlink == 0;
        platform::CloseFile(h);
        return std::string(nameless ? "done" : "has a name");
    };
    EXPECT_EQ((Outcomes{"res 6", "res 14"}), ForEachFault(Faults::Other, ENOENT, run));
    EXPECT_EQ(Outcomes{"res 6"}, ForEachFault(Faults::Lock, EWOULDBLOCK, run));
    for (const int error : {ENOLCK, EINTR}) EXPECT_EQ(Outcomes{"done"}, ForEachFault(Faults::Lock, error, run));
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

// A halt procedure that comes back or throws is promised little, but no block is handed out where one came or twice,
// and none that is in use changes. Blocks of odd lengths have links on the edges of pages, and each step may fail.
TEST_F(VMemFaults, HaltThatIsSurvivedLosesNothing) {
    static unsigned halts, round;
    for (round = 0; round < 120 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        std::mt19937 rng(round);
        VMem vm;
        vm.SetTempDir(dir.Path().c_str());
        const bool large = round % 8 == 7; // pages move together
        vm.SetMaxCacheSize(large ? 260 : static_cast<std::int16_t>(round % 8));
        std::map<std::int32_t, int> used; // blocks in use, each filled with what its address says
        const auto fill = [](std::int32_t adr, int n) {
            return std::string(static_cast<std::size_t>(n), static_cast<char>(adr * 7 + n));
        };
        const auto take = [&](int n) {
            std::int32_t adr;
            const unsigned before = halts;
            n == 0 ? vm.AllocPage(adr) : vm.Alloc(adr, static_cast<std::int16_t>(n));
            ASSERT_EQ(halts == before, adr != -1);
            if (adr == -1) return;
            n = n == 0 ? 1024 : n;
            const auto next = used.lower_bound(adr);
            ASSERT_TRUE(next == used.end() || next->first >= adr + n) << adr << " is in use";
            ASSERT_TRUE(next == used.begin() || std::prev(next)->first + std::prev(next)->second <= adr) << adr;
            Faults::Disarm();
            vm.Set(adr, fill(adr, n).data(), static_cast<std::int16_t>(n));
            used[adr] = n;
        };
        const auto give = [&] {
            const auto block = std::next(used.begin(), static_cast<long>(rng() % used.size()));
            std::int32_t adr = block->first;
            vm.Dealloc(adr, static_cast<std::int16_t>(block->second));
            if (adr == -1) used.erase(block);
        };
        halts = 0;
        InstallHaltProc([](const char*) {
            if (++halts, round % 3 == 0) throw halts;
        });
        for (int i = 0; i < (large ? 3000 : 1500) && !HasFatalFailure(); ++i) {
            if (i > (large ? 2000 : 500))
                Faults::FailNth(rng() % 2 ? Faults::Read : Faults::Write, 1 + static_cast<int>(rng() % 3), EIO,
                                rng() % 3 == 0);
            const int lengths[] = {0, 4, 6, 7, 11, 1022, 1024, 2047};
            try {
                used.empty() || rng() % 100 < (used.size() < (large ? 700 : 200) ? 70U : 30U)
                    ? take(lengths[rng() % 8] + (rng() % 4 == 0 ? static_cast<int>(rng() % 40) : 0))
                    : give();
            } catch (unsigned) {
            }
            Faults::Disarm();
        }
        DeinstallHaltProc();
        EXPECT_TRUE(halts > 0 && CheckVMem(vm, true, stderr));
        for (const auto& [adr, n] : used) {
            std::string is(static_cast<std::size_t>(n), 0);
            vm.Get(adr, is.data(), static_cast<std::int16_t>(n));
            EXPECT_EQ(fill(adr, n), is);
        }
    }
}

} // namespace
