// Settings of a thread, and the coming and going of its VMem.
#include "support/halt_trap.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>
#include <thread>

TEST(ThreadEnv, SettingsOutliveTheVMem) {
    std::thread([] {
        EXPECT_EQ(4000, VFile::GetMaxCacheSize());
        EXPECT_EQ(nullptr, VFile::GetTempDir());
        EXPECT_EQ(0, VFile::GetCacheSize());
        VFile::ReleaseCache();
        VFile::SetMaxCacheSize(100);
        VFile::SetTempDir("/some/where");
        {
            VFile f;
            EXPECT_EQ(100, VFile::GetMaxCacheSize());
            EXPECT_STREQ("/some/where", VFile::GetTempDir());
            VFile::SetMaxCacheSize(200);
            VFile::SetTempDir(VFile::GetTempDir()); // its very own text
            VFile second;
        }
        EXPECT_EQ(200, VFile::GetMaxCacheSize());
        EXPECT_STREQ("/some/where", VFile::GetTempDir());
        VFile::SetTempDir(VFile::GetTempDir());
        EXPECT_STREQ("/some/where", VFile::GetTempDir());
        VFile::SetTempDir("");
        EXPECT_EQ(nullptr, VFile::GetTempDir());
        VFile::SetMaxCacheSize(-7);
        EXPECT_EQ(-7, VFile::GetMaxCacheSize()); // waits as it is
        VFile f;
        EXPECT_EQ(0, VFile::GetMaxCacheSize());
    }).join();
}

TEST(ThreadEnv, SetupIsIdempotentAndCanBeUndone) {
    std::thread([] {
        EXPECT_TRUE(VFile_IsThreadInitialized());
        VFile::SetMaxCacheSize(77);
        EXPECT_TRUE(VFile_InitializeThread());
        EXPECT_EQ(77, VFile::GetMaxCacheSize());
        EXPECT_TRUE(VFile_UninitializeThread());
        EXPECT_TRUE(VFile_UninitializeThread());
        EXPECT_FALSE(VFile_IsThreadInitialized());
        EXPECT_TRUE(VFile_InitializeThread());
        EXPECT_EQ(4000, VFile::GetMaxCacheSize());
    }).join();
}

TEST(ThreadEnv, BrokenContractsHalt) {
    EXPECT_ASSERT_HALT("VFile", VFile f; VFile_UninitializeThread());
    EXPECT_ASSERT_HALT("VFile", VFile_UninitializeThread(); VFile f);
    EXPECT_ASSERT_HALT("VFile", VFile::TLS_InitializeProcess());
}
