// Numbers of threads.
#include "platform/thread.h"

#include "tests/platform/platform_test.h"

#include <set>
#include <thread>
#include <vector>

namespace {

TEST(ThreadIds, DifferForLiveAndPastThreadsAndInAForkedChild) {
    std::set<std::uint32_t> ids = {0, CurrentThreadId()};
    for (int round = 0; round < 20; ++round) {
        std::uint32_t taken[4] = {};
        std::vector<std::thread> threads;
        for (auto& id : taken) threads.emplace_back([&id] { id = CurrentThreadId(); });
        for (auto& thread : threads) thread.join();
        ids.insert(std::begin(taken), std::end(taken));
    }
    EXPECT_EQ(82U, ids.size());
    const std::string child = InChild([] { return std::to_string(CurrentThreadId()); });
    EXPECT_EQ(0U, ids.count(static_cast<std::uint32_t>(std::stoul(child))));
}

} // namespace
