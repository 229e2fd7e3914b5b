// A trace tells exactly which bytes are the old ones, whatever the changes and their order.
#include "examples/vfedit_trace.h"

#include "support/test.h"

#include <numeric>

namespace {

TEST(Trace, TellsWhatHasStayed) {
    std::mt19937 random(static_cast<unsigned>(FromEnvironment("VFILE_SEED", 1)));
    const auto below = [&](std::size_t n) { return static_cast<std::int32_t>(random() % (n + 1)); };
    for (long step = FromEnvironment("VFILE_STEPS", 1500); step > 0 && !HasFailure(); --step) {
        std::vector<int> now(random() % 40); // each byte by its place in the old content, new ones by -1
        std::iota(now.begin(), now.end(), 0);
        const auto oldLength = static_cast<std::int32_t>(now.size());
        Trace trace(oldLength);
        for (auto changes = random() % 12; changes > 0; --changes) {
            const std::int32_t at = below(now.size()),
                               gone = std::min(below(4), static_cast<std::int32_t>(now.size()) - at);
            const std::int32_t n = below(4);
            now.erase(now.begin() + at, now.begin() + at + gone);
            now.insert(now.begin() + at, static_cast<std::size_t>(n), -1);
            trace.Changed(at, gone, n);
        }
        std::int32_t old = 0, place = 0;
        const auto same = [&](std::int32_t to) {
            for (; place < to; ++place, ++old) EXPECT_EQ(old, now.at(static_cast<std::size_t>(place)));
        };
        trace.Rewind();
        for (Stretch s; trace.Next(s); old += s.oldLength, place += s.length) {
            EXPECT_TRUE(place == 0 || s.now > place) << "two stretches that touch";
            same(s.now);
            EXPECT_EQ(old, s.old);
        }
        same(static_cast<std::int32_t>(now.size()));
        EXPECT_EQ(oldLength, old);
    }
}

} // namespace
