// Several threads at once, each with its own VMem, cache limit and temporary directory.
#include "foundation/halt.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"
#include "support/vmem_support.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr int ThreadCount = 4;

void Edit(unsigned seed, std::int16_t cacheKb, const std::string& dir) {
    VFile::SetMaxCacheSize(cacheKb);
    VFile::SetTempDir(dir.c_str());
    std::mt19937 random(seed);
    VFile f;
    std::string model;
    for (int step = 0; step < 300; ++step) {
        const auto at = static_cast<std::size_t>(random() % (model.size() + 1));
        const auto cut = std::min<std::size_t>(random() % 500, model.size() - at);
        const std::string bytes = Pattern(static_cast<int>(random() % 1500), step);
        Put(f, static_cast<std::int32_t>(at), static_cast<std::int32_t>(cut), bytes);
        model.replace(at, cut, bytes);
        ASSERT_TRUE(f.res == resDone && f.Length() == static_cast<std::int32_t>(model.size()));
    }
    ASSERT_TRUE(ContentOf(f) == model) << "seed " << seed;
    const auto swapFiles = SwapFiles();
    const auto isHere = [&](const auto& file) { return file.second.find(dir + "/~vmem") == 0; };
    EXPECT_EQ(1, std::count_if(swapFiles.begin(), swapFiles.end(), isHere));
    EXPECT_EQ(cacheKb, VFile::GetMaxCacheSize());
    EXPECT_EQ(dir, VFile::GetTempDir());
}

TEST(Threads, WorkSideBySideWithSettingsOfTheirOwn) {
    const TempDir dirs[ThreadCount];
    std::vector<std::thread> threads;
    for (int i = 0; i < ThreadCount; ++i) {
        threads.emplace_back(Edit, 100U + static_cast<unsigned>(i), std::int16_t(4 + 4 * i), dirs[i].Path());
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(4000, VFile::GetMaxCacheSize());
    EXPECT_EQ(nullptr, VFile::GetTempDir());
    for (const TempDir& dir : dirs) EXPECT_EQ(0U, dir.Count());
}

std::atomic<int> halts{0};
thread_local int haltsHere = 0;

TEST(Threads, ComeAndGoAndHaltWhileTheProcedureIsExchanged) {
    static const HaltProc count = [](const char*) { ++halts, ++haltsHere; };
    InstallHaltProc(count);
    for (int round = 0; round < 25; ++round) {
        std::vector<std::thread> threads;
        for (int i = 0; i < ThreadCount; ++i) {
            threads.emplace_back([] {
                VFile f;
                Put(f, 0, 0, "x");
                Fatal("Host", 1);
                InstallHaltProc(count);
                EXPECT_EQ(1, haltsHere);
            });
        }
        for (auto& thread : threads) thread.join();
    }
    EXPECT_EQ(25 * ThreadCount, halts);
    DeinstallHaltProc();
}

} // namespace
