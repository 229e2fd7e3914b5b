// A forked child: the parent's objects are out of reach, its own work, and neither disturbs the other. The end of a
// thread.
#include "support/halt_trap.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"
#include "vmem/vmem.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>

// The leak checker's question at exit: what a child can't destroy is no leak of its own.
static bool inChild = false;
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return inChild;
}

namespace {

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
    const auto setUp = [&] { VFile::SetTempDir(dir.Path().c_str()), VFile::SetMaxCacheSize(4); };
    setUp();
    VFile ofParent(Pattern(200000).c_str());
    int turn[2], status = 0;
    ASSERT_EQ(0, pipe(turn));
    const pid_t child = fork();
    if (child == 0) {
        inChild = true;
        char b;
        if (!VFile_IsThreadInitialized() || VFile::GetMaxCacheSize() != 4000 || VFile::GetTempDir()) _exit(2);
        setUp();
        {
            VFile own;
            Put(own, 0, 0, Pattern(150000, 5));
            if (read(turn[0], &b, 1) != 1) _exit(3);
            Put(own, 70000, 10, "replaced");
            if (ContentOf(own) != Pattern(150000, 5).replace(70000, 10, "replaced")) _exit(4);
        }
        std::exit(7);
    }
    Put(ofParent, 100000, 4, "parent");
    EXPECT_EQ(1, write(turn[1], "t", 1));
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
    EXPECT_EQ(Pattern(200000).replace(100000, 4, "parent"), ContentOf(ofParent));
    EXPECT_EQ(0U, dir.Count());
    for (const int end : turn) close(end);
}

TEST(Fork, ParentAndChildLiveSideBySideOnTheFirstThreadAndOnAnother) {
    LiveSideBySide();
    VFile ofMain;
    std::thread(LiveSideBySide).join();
}

TEST(ThreadEnd, ComesAfterTheHostsKeysAndHaltsIfAnObjectIsLeft) {
    EXPECT_ASSERT_HALT("VFile", std::thread([] { new VFile; }).join());
    static int gone;
    pthread_key_t key;
    ASSERT_EQ(0, pthread_key_create(&key, [](void* f) {
                  Put(*static_cast<VFile*>(f), 0, 0, "last words");
                  delete static_cast<VFile*>(f);
                  ++gone;
              }));
    std::thread([&] { pthread_setspecific(key, new VFile); }).join();
    EXPECT_EQ(1, gone);
    pthread_key_delete(key);
}

} // namespace
