// The scans of each width against plain loops: this processor uses only one of them.
#include "foundation/byte_scan_widths.h"

#include "support/test.h"

using namespace vfile_internal;

namespace {

void ComparesWithPlainLoops(const ByteScans& scans) {
    std::mt19937 rng(1);
    const auto below = [&](std::size_t n) { return static_cast<std::size_t>(rng()) % n; };
    for (int round = 0; round < 20000; ++round) {
        const std::size_t size = below(round % 4 == 0 ? 600 : 70), first = below(size + 1);
        std::vector<unsigned char> bytes(size);
        const std::size_t letters = 2 + below(30); // from many matches to none
        for (auto& byte : bytes) byte = static_cast<unsigned char>("aAbBcC@`"[below(8)] + below(letters) / 2 * 8);
        const std::vector<unsigned char> plain = bytes;
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
        for (auto& byte : bytes) byte = byte == 'B' ? '\r' : byte == '@' || byte == 'c' ? '\n' : byte;
        const bool afterCr = round % 3 == 0;
        std::size_t ends = 0, k = 1 + below(20), nth = size;
        for (std::size_t i = 0; i < size; ++i) {
            const bool inPair = i > 0 ? bytes[i - 1] == '\r' : afterCr;
            if (bytes[i] != '\r' && (bytes[i] != '\n' || inPair)) continue;
            if (++ends == k) nth = i;
        }
        const std::size_t left = ends < k ? k - ends : k;
        ASSERT_EQ(ends, scans.countLineEnds(bytes.data(), size, afterCr)) << round;
        ASSERT_EQ(nth, scans.findLineEnd(bytes.data(), size, afterCr, k)) << round;
        ASSERT_TRUE(nth < size || k == left) << round;
        bytes = plain;

        ASSERT_EQ(up, scans.findTriple(bytes.data(), size, triple, first)) << round;
        ASSERT_EQ(down, scans.findTripleBack(bytes.data(), size, triple, first)) << round;
        ASSERT_EQ(either, scans.findEither(bytes.data(), size, 'c', 'A')) << round;
        ASSERT_EQ(eitherBack, scans.findEitherBack(bytes.data(), size, 'c', 'A')) << round;
    }
}

TEST(ByteScan, FindsWhatPlainLoopsFind) {
    ComparesWithPlainLoops(byteScans16);
#ifdef VFILE_AVX2
    if (__builtin_cpu_supports("avx2")) ComparesWithPlainLoops(byteScans32);
#endif
}

} // namespace
