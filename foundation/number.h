/// @file
/// Numbers: minimum, maximum and sign for each type, conversions between widths, words and bytes.
///
/// The letters after the names tell the type: none for int, L for 32-bit signed, S for 16-bit, Q for 64-bit, R for
/// double. All of it is stateless and can be called from any thread; only Short and ShortC can halt.
#pragma once

#include "../platform/export.h"

#include <cstdint>

static_assert(sizeof(int) == 4, "int is taken to be 32 bits wide");

/// @name The larger of two
/// `a` if it is above `b`, else `b`; so MaxR with a NaN gives `b`.
/// @{
VFILE_API int Max(int a, int b); ///< the larger of the two
VFILE_API std::int32_t MaxL(std::int32_t a, std::int32_t b);
VFILE_API std::int16_t MaxS(std::int16_t a, std::int16_t b);
VFILE_API std::int64_t MaxQ(std::int64_t a, std::int64_t b);
VFILE_API double MaxR(double a, double b);
/// @}

/// @name The smaller of two
/// `a` if it is below `b`, else `b`; so MinR with a NaN gives `b`.
/// @{
VFILE_API int Min(int a, int b); ///< the smaller of the two
VFILE_API std::int32_t MinL(std::int32_t a, std::int32_t b);
VFILE_API std::int16_t MinS(std::int16_t a, std::int16_t b);
VFILE_API std::int64_t MinQ(std::int64_t a, std::int64_t b);
VFILE_API double MinR(double a, double b);
/// @}

/// @name The sign
/// 1 above 0, -1 below 0, else 0, in the type of the argument; SignR of a NaN is 0.0.
/// @{
VFILE_API int Sign(int x); ///< 1, 0 or -1
VFILE_API std::int32_t SignL(std::int32_t x);
VFILE_API std::int16_t SignS(std::int16_t x);
VFILE_API std::int64_t SignQ(std::int64_t x);
VFILE_API double SignR(double x);
/// @}

/// The value unchanged.
VFILE_API std::int32_t Long(int v);

/// The bits unchanged, no test.
VFILE_API std::int32_t LongC(unsigned int v);

/// The bits unchanged, no test.
VFILE_API unsigned int Card(int v);

/// The bits unchanged, no test.
VFILE_API int Int(unsigned int v);

/// The exact value.
VFILE_API double LongFloat(std::int32_t v);

/// Truncates toward zero. Values past the range give 2147483647 or -2147483647 (not -2147483648); a NaN gives 0.
VFILE_API std::int32_t LongTrunc(double x);

/// The low 16 bits, tested: halts through Fatal("HSys", 1) if `v` is not negative and its high 16 bits are not all 0,
/// and through Fatal("HSys", 2) if it is negative and they are not all 1. The test looks at the high half alone: 40000
/// passes and comes back as -25536.
VFILE_API std::int16_t Short(std::int32_t v);

/// The low 16 bits, tested: halts through Fatal("HSys", 3) if the high 16 bits are not all 0, so for every negative
/// `v`.
VFILE_API std::uint16_t ShortC(std::int32_t v);

/// @name Words and bytes
/// Split or join without any test. The argument that comes first is always the more significant one.
/// @{
VFILE_API std::uint16_t LO(std::int32_t v);                                  ///< the low 16 bits
VFILE_API std::uint16_t HI(std::int32_t v);                                  ///< the high 16 bits
VFILE_API void Short2(std::int32_t v, std::uint16_t& hi, std::uint16_t& lo); ///< both halves of `v`
VFILE_API std::int32_t Long2(std::uint16_t hi, std::uint16_t lo);            ///< the halves joined
VFILE_API void Extract4(int v, char& b3, char& b2, char& b1, char& b0);      ///< the four bytes, highest first
VFILE_API int Build4(char b3, char b2, char b1, char b0);                    ///< four bytes joined
VFILE_API void Extract2(std::int16_t v, char& hi, char& lo);                 ///< the two bytes
VFILE_API std::int16_t Build2(char hi, char lo);                             ///< two bytes joined
/// @}
