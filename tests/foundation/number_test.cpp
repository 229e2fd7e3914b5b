// Numbers: the families, the conversions, words and bytes.
#include "foundation/number.h"

#include "tests/support/halt_trap.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

template <class T>
void CheckFamily(T (*max)(T, T), T (*min)(T, T), T (*sign)(T)) {
    const T low = std::numeric_limits<T>::lowest();
    const T high = std::numeric_limits<T>::max();
    for (const T a : {low, T(-1), T(0), T(1), high}) {
        EXPECT_EQ(a < 0 ? T(-1) : a > 0 ? T(1) : T(0), sign(a));
        for (const T b : {low, T(-1), T(0), T(1), high}) {
            EXPECT_EQ(std::max(a, b), max(a, b));
            EXPECT_EQ(std::min(a, b), min(a, b));
        }
    }
}

TEST(Numbers, FamiliesHoldForEachTypesWholeRange) {
    CheckFamily<int>(Max, Min, Sign);
    CheckFamily<std::int32_t>(MaxL, MinL, SignL);
    CheckFamily<std::int16_t>(MaxS, MinS, SignS);
    CheckFamily<std::int64_t>(MaxQ, MinQ, SignQ);
    CheckFamily<double>(MaxR, MinR, SignR);
}

TEST(Numbers, ComparisonWithNoNumberGivesTheSecond) {
    const double nan = std::nan("");
    EXPECT_EQ(1.0, MaxR(nan, 1.0));
    EXPECT_EQ(1.0, MinR(nan, 1.0));
    EXPECT_TRUE(std::isnan(MaxR(1.0, nan)));
    EXPECT_TRUE(std::isnan(MinR(1.0, nan)));
    EXPECT_EQ(0.0, SignR(nan));
    EXPECT_EQ(0, LongTrunc(nan));
}

TEST(Numbers, LongTruncCutsTowardZeroAndSaturates) {
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<double, std::int32_t> rows[] = {{2.9, 2},
                                                    {0.0, 0},
                                                    {0.999999, 0},
                                                    {9999.99, 9999},
                                                    {10000.0, 10000},
                                                    {123456789.999, 123456789},
                                                    {2147483646.999, 2147483646},
                                                    {2147483647.0, 2147483647},
                                                    {2147483647.5, 2147483647},
                                                    {1e10, 2147483647},
                                                    {inf, 2147483647}};
    for (const auto& [x, result] : rows) {
        EXPECT_EQ(result, LongTrunc(x)) << x;
        EXPECT_EQ(-result, LongTrunc(-x)) << -x;
    }
    EXPECT_EQ(-2147483647, LongTrunc(-2147483648.0));
}

TEST(Numbers, NarrowingTestsTheHighHalfAlone) {
    const std::pair<std::int32_t, std::int16_t> rows[] = {{0, 0},          {-1, -1},    {65535, -1},   {40000, -25536},
                                                          {-40000, 25536}, {-65536, 0}, {32767, 32767}};
    for (const auto& [v, result] : rows) EXPECT_EQ(result, Short(v)) << v;
    EXPECT_EQ(65535, ShortC(65535));
    EXPECT_EQ(0, ShortC(0));
    for (const int v : {65536, INT32_MAX}) EXPECT_HALT("Fatal Error 1 in module HSys ", Short(v));
    for (const int v : {-65537, INT32_MIN}) EXPECT_HALT("Fatal Error 2 in module HSys ", Short(v));
    for (const int v : {-1, 65536}) EXPECT_HALT("Fatal Error 3 in module HSys ", ShortC(v));

    InstallHaltProc([](const char*) {}); // one that returns: the low half comes back
    EXPECT_EQ(2, Short(65538));
    EXPECT_EQ(65535, ShortC(-1));
    DeinstallHaltProc();
}

TEST(Numbers, ConversionsKeepTheBits) {
    EXPECT_EQ(-1, LongC(0xFFFFFFFFU));
    EXPECT_EQ(0xFFFFFFFFU, Card(-1));
    EXPECT_EQ(INT32_MIN, Int(0x80000000U));
    EXPECT_EQ(-2147483648.0, LongFloat(INT32_MIN));
}

TEST(Numbers, WordsAndBytesSplitAndJoin) {
    for (const std::int32_t v : {0, 1, -1, 0x12345678, INT32_MIN, INT32_MAX, static_cast<std::int32_t>(0x80FF7F01)}) {
        const auto bits = static_cast<std::uint32_t>(v);
        std::uint16_t hi, lo;
        Short2(v, hi, lo);
        EXPECT_TRUE(hi == bits >> 16 && lo == (bits & 0xFFFF) && hi == HI(v) && lo == LO(v) && v == Long2(hi, lo));
        char b3, b2, b1, b0, high, low;
        Extract4(v, b3, b2, b1, b0);
        const char bytes[] = {b3, b2, b1, b0};
        for (int i = 0; i < 4; ++i) EXPECT_EQ(static_cast<char>(bits >> (24 - 8 * i)), bytes[i]);
        EXPECT_EQ(v, Build4(b3, b2, b1, b0));
        Extract2(static_cast<std::int16_t>(lo), high, low);
        EXPECT_TRUE(high == b1 && low == b0);
        EXPECT_EQ(static_cast<std::int16_t>(lo), Build2(high, low));
    }
}

} // namespace
