// Numbers: the families, the conversions, words and bytes.
#include "foundation/number.h"

#include "tests/support/halt_trap.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

template <class T>
void CheckFamily(T (*max)(T, T), T (*min)(T, T), T (*sign)(T)) {
    using Limits = std::numeric_limits<T>;
    for (const T a : {Limits::lowest(), T(-1), T(0), T(1), Limits::max()}) {
        EXPECT_EQ(a < 0 ? T(-1) : a > 0 ? T(1) : T(0), sign(a));
        for (const T b : {Limits::lowest(), T(-1), T(0), T(1), Limits::max()}) {
            EXPECT_TRUE(max(a, b) == std::max(a, b) && min(a, b) == std::min(a, b));
        }
    }
}

TEST(Numbers, FamiliesHoldForEachTypesWholeRange) {
    CheckFamily<int>(Max, Min, Sign);
    CheckFamily<std::int32_t>(MaxL, MinL, SignL);
    CheckFamily<std::int16_t>(MaxS, MinS, SignS);
    CheckFamily<std::int64_t>(MaxQ, MinQ, SignQ);
    CheckFamily<double>(MaxR, MinR, SignR);
    const double nan = std::nan(""); // a comparison with it gives the second
    EXPECT_TRUE(MaxR(nan, 1.0) == 1.0 && MinR(nan, 1.0) == 1.0 && SignR(nan) == 0.0 && LongTrunc(nan) == 0);
    EXPECT_TRUE(std::isnan(MaxR(1.0, nan)) && std::isnan(MinR(1.0, nan)));
}

TEST(Numbers, LongTruncCutsTowardZeroAndSaturates) {
    const double values[] = {2.9,          0.999999,     9999.99, 10000.0, 2147483646.999,
                             2147483647.0, 2147483648.0, 1e10,    HUGE_VAL};
    const int results[] = {2, 0, 9999, 10000, 2147483646, 2147483647, 2147483647, 2147483647, 2147483647};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(results[i], LongTrunc(values[i]));
        EXPECT_EQ(-results[i], LongTrunc(-values[i]));
    }
}

TEST(Numbers, NarrowingTestsTheHighHalfAlone) {
    for (const int v : {0, -1, 65535, 40000, -40000, -65536, 32767}) EXPECT_EQ(static_cast<std::int16_t>(v), Short(v));
    for (const int v : {0, 65535}) EXPECT_EQ(v, ShortC(v));
    for (const int v : {65536, INT32_MAX}) EXPECT_HALT("Fatal Error 1 in module HSys ", Short(v));
    for (const int v : {-65537, INT32_MIN}) EXPECT_HALT("Fatal Error 2 in module HSys ", Short(v));
    for (const int v : {-1, 65536}) EXPECT_HALT("Fatal Error 3 in module HSys ", ShortC(v));
    InstallHaltProc([](const char*) {}); // one that returns: the low half comes back
    EXPECT_TRUE(Short(65538) == 2 && ShortC(-1) == 65535);
    DeinstallHaltProc();
}

TEST(Numbers, WordsAndBytesSplitAndJoin) {
    for (const std::int32_t v : {0, 1, -1, 0x12345678, INT32_MIN, INT32_MAX, static_cast<std::int32_t>(0x80FF7F01)}) {
        const auto bits = static_cast<std::uint32_t>(v);
        std::uint16_t hi, lo;
        Short2(v, hi, lo);
        EXPECT_TRUE(hi == bits >> 16 && lo == (bits & 0xFFFF) && hi == HI(v) && lo == LO(v) && v == Long2(hi, lo));
        char bytes[4], high, low;
        Extract4(v, bytes[3], bytes[2], bytes[1], bytes[0]);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(static_cast<char>(bits >> 8 * i), bytes[i]);
        EXPECT_EQ(v, Build4(bytes[3], bytes[2], bytes[1], bytes[0]));
        Extract2(static_cast<std::int16_t>(lo), high, low);
        EXPECT_TRUE(high == bytes[1] && low == bytes[0] && Build2(high, low) == static_cast<std::int16_t>(lo));
    }
}

} // namespace
