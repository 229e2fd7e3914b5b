// The scans of each width against plain loops: this processor uses only one of them.
#include "foundation/byte_scan_widths.h"

#include "support/test.h"

namespace {

void ComparesWithPlainLoops(const ByteScans& scans) {
    std::mt19937 rng(1);
    const auto below = [&](std::size_t n) { return static_cast<std::size_t>(rng()) % n; };
    for (int round = 0; round < 20000; ++round) {
        const std::size_t size = below(round % 4 == 0 ? 600 : 70), first = below(size + 1);
        std::vector<unsigned char> bytes(size);
        const std::size_t letters = 2 + below(30); // from many matches to none
        for (auto& byte : bytes) byte = static_cast<unsigned char>("aAbBcC@`"[below(8)] + below(letters) / 2 * 8);
        ByteTriple triple = {{'a', 'b', 'c'}, {0x20, 0, 0x20}, {0, below(3), 0}};
        triple.at[2] = triple.at[1] + below(40);

        std::size_t up = size, down = size, either = size, eitherBack = size;
        for (std::size_t i = 0; i < size; ++i) {
            bool all = i + triple.at[2] < size;
            for (int k = 0; all && k < 3; ++k) all = (bytes[i + triple.at[k]] | triple.mask[k]) == triple.byte[k];
            if (all && i >= first && up == size) up = i;
            if (all && i < first) down = i;
            if (bytes[i] != 'c' && bytes[i] != 'A') continue;
            if (either == size) either = i;
            eitherBack = i;
        }
        EXPECT_EQ(up, scans.findTriple(bytes.data(), size, triple, first)) << "round " << round;
        EXPECT_EQ(down, scans.findTripleBack(bytes.data(), size, triple, first)) << "round " << round;
        EXPECT_EQ(either, scans.findEither(bytes.data(), size, 'c', 'A')) << "round " << round;
        EXPECT_EQ(eitherBack, scans.findEitherBack(bytes.data(), size, 'c', 'A')) << "round " << round;
        if (testing::Test::HasFailure()) return;
    }
}

TEST(ByteScan, FindsWhatPlainLoopsFind) {
    ComparesWithPlainLoops(byteScans16);
#ifdef VFILE_AVX2
    if (__builtin_cpu_supports("avx2")) ComparesWithPlainLoops(byteScans32);
#endif
}

} // namespace
