// A forked child: the parent's objects are out of reach, its own work, and neither disturbs the other. The end of a
// thread.
#include "support/vfile_support.h"
#include "vmem/vmem.h"

// The leak checker's question at exit: what a child can't destroy is no leak of its own.
static bool inChild = false;
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return inChild;
}

namespace {

// Parent and child work in one directory, with next to no cache, and the child leaves through exit().
void LiveSideBySide() {
    const TempDir dir;
    const auto works = [&](int seed, const std::function<void()>& meanwhile) {
        VFile::SetTempDir(dir.Path().c_str());
        VFile::SetMaxCacheSize(4);
        VFile own(Pattern(200000, seed).c_str());
        meanwhile();
        Put(own, 70000, 10, "replaced");
        return ContentOf(own) == Replaced(Pattern(200000, seed), 70000, 10, "replaced");
    };
    int status = 0;
    EXPECT_TRUE(works(0, [&] {
        const pid_t child = fork();
        inChild = child == 0;
        if (inChild && (!VFile_IsThreadInitialized() || VFile::GetMaxCacheSize() != 4000 || VFile::GetTempDir()))
            _exit(2);
        if (inChild) std::exit(works(5, [] {}) ? 7 : 3);
        waitpid(child, &status, 0);
    }));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
    EXPECT_EQ(0U, dir.Count());
}

TEST(Fork, ParentAndChildLiveSideBySideOnTheFirstThreadAndOnAnother) {
    LiveSideBySide();
    VFile ofMain;
    std::thread(LiveSideBySide).join();
}

TEST(ThreadEnd, ComesAfterTheHostsKeysAndHaltsIfAnObjectIsLeft) {
    EXPECT_ASSERT_HALT("VFile", std::thread([] { new VFile; }).join());
    static bool works = false;
    pthread_key_t key;
    ASSERT_EQ(0, pthread_key_create(&key, [](void* f) {
                  works = ContentOf(*static_cast<VFile*>(f)) == "last words";
                  delete static_cast<VFile*>(f);
              }));
    std::thread([&] { pthread_setspecific(key, new VFile("last words")); }).join();
    EXPECT_TRUE(works);
    pthread_key_delete(key);
}

} // namespace
