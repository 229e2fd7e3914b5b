// The end of a thread: after the host's own objects of the thread, and a halt if one is left.
#include "support/halt_trap.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>

TEST(ThreadEnd, HaltsIfAnObjectIsLeft) {
    EXPECT_ASSERT_HALT("VFile", std::thread([] { new VFile; }).join());
    EXPECT_EQ("no halt", halt_trap::TextOf([] { std::thread([] { delete new VFile; }).join(); }));
}

TEST(ThreadEnd, NoticeWaitsForObjectsBehindKeysOfTheHost) {
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
