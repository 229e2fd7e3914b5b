// A forked child: the parent's objects are out of reach, its own work, and neither disturbs the other.
#include "support/halt_trap.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"
#include "vmem/vmem.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <thread>

// The leak checker's question at exit: what a child can't destroy is no leak of its own.
static bool inChild = false;
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return inChild;
}

namespace {

const std::string much = Pattern(200000);

TEST(Fork, ChildThatTouchesAnObjectOfTheParentHalts) {
    VFile f("abc");
    VMem vm;
    const std::function<void()> acts[] = {[&] { f.SetPos(0); }, [&] { f.Append("x"); }, [&] { f.Flush(); },
                                          [&] { f.~VFile(); }, [&] { VFile own(f); }};
    for (const auto& act : acts) EXPECT_ASSERT_HALT("VFile", act());
    EXPECT_ASSERT_HALT("VMem", vm.FlushCache());
    EXPECT_ASSERT_HALT("VMem", vm.~VMem());
    EXPECT_EQ("abc", ContentOf(f));
}

// Parent and child change their objects by turns, with next to no cache, and the child leaves through exit().
void LiveSideBySide() {
    const TempDir dir;
    VFile::SetTempDir(dir.Path().c_str());
    VFile::SetMaxCacheSize(4);
    VFile onStack(much.c_str());
    auto* const onHeap = new VFile("heap");
    std::fflush(stdout);
    int turn[2];
    ASSERT_EQ(0, pipe(turn));
    const pid_t child = fork();
    if (child == 0) {
        inChild = true;
        char b;
        if (!VFile_IsThreadInitialized() || VFile::GetMaxCacheSize() != 4000 || VFile::GetTempDir()) _exit(2);
        VFile::SetTempDir(dir.Path().c_str());
        VFile::SetMaxCacheSize(4);
        {
            VFile own;
            Put(own, 0, 0, Pattern(150000, 5));
            if (read(turn[0], &b, 1) != 1) _exit(3);
            Put(own, 70000, 10, "replaced");
            if (ContentOf(own) != Pattern(150000, 5).replace(70000, 10, "replaced")) _exit(4);
        }
        std::exit(7);
    }
    Put(onStack, 100000, 4, "parent");
    EXPECT_EQ(1, write(turn[1], "t", 1));
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
    EXPECT_EQ(std::string(much).replace(100000, 4, "parent"), ContentOf(onStack));
    EXPECT_EQ("heap", ContentOf(*onHeap));
    EXPECT_EQ(0U, dir.Count());
    delete onHeap;
    close(turn[0]);
    close(turn[1]);
}

TEST(Fork, ParentAndChildLiveSideBySideOnTheFirstThreadAndOnAnother) {
    LiveSideBySide();
    VFile ofMain;
    std::thread(LiveSideBySide).join();
}

} // namespace
