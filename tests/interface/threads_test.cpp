// Several threads at once, each with its own VMem, cache limit and temporary directory.
#include "foundation/halt.h"
#include "support/vfile_support.h"
#include "support/vmem_support.h"

#include <atomic>

namespace {

constexpr int ThreadCount = 4;

void Edit(int seed, std::int16_t cacheKb, const std::string& dir) {
    VFile::SetMaxCacheSize(cacheKb);
    VFile::SetTempDir(dir.c_str());
    VFile f;
    std::string model;
    for (int step = 0; step < 300; ++step) {
        const int at = static_cast<int>(model.size()) / (step % 5 + 1);
        Put(f, at, step, Pattern(500, seed + step));
        model = Replaced(model, at, step, Pattern(500, seed + step));
    }
    EXPECT_TRUE(f.res == resDone && ContentOf(f) == model);
    int here = 0;
    for (const auto& file : SwapFiles()) here += file.second.find(dir + "/") == 0;
    EXPECT_TRUE(here == 1 && VFile::GetMaxCacheSize() == cacheKb && VFile::GetTempDir() == dir);
}

// Starts the threads, each with its number, and waits for their ends.
void OnThreads(const std::function<void(int)>& act) {
    std::vector<std::thread> threads;
    for (int i = 0; i < ThreadCount; ++i) threads.emplace_back(act, i);
    for (auto& thread : threads) thread.join();
}

TEST(Threads, WorkSideBySideWithSettingsOfTheirOwn) {
    const TempDir dirs[ThreadCount];
    OnThreads([&](int i) { Edit(100 * i, static_cast<std::int16_t>(4 + 4 * i), dirs[i].Path()); });
    EXPECT_TRUE(VFile::GetMaxCacheSize() == 4000 && !VFile::GetTempDir());
    for (const TempDir& dir : dirs) EXPECT_EQ(0U, dir.Count());
}

std::atomic<int> halts{0};
thread_local int haltsHere = 0;

TEST(Threads, ComeAndGoAndHaltWhileTheProcedureIsExchanged) {
    static const HaltProc count = [](const char*) { ++halts, ++haltsHere; };
    InstallHaltProc(count);
    for (int round = 0; round < 25; ++round) {
        OnThreads([](int) {
            VFile f("x");
            Fatal("Host", 1);
            InstallHaltProc(count);
            EXPECT_EQ(1, haltsHere);
        });
    }
    EXPECT_EQ(25 * ThreadCount, halts);
    DeinstallHaltProc();
}

} // namespace
