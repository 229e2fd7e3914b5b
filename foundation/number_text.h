// Numbers as text, in any radix. Internal.
//
// Digits are 0 to 9 and lower-case letters, most significant first, without leading zeros. A negative number carries a
// minus sign in radix 10; in any other radix its bits are written, as many as its type has. A radix outside 2 to 36
// counts as 10. Each writes a terminator and returns the length without it.
#pragma once

#include <cstdint>

namespace vfile_internal {

constexpr int NumberTextSize = 66; // 64 binary digits, a sign, a terminator

int NumberToText(char* out, std::int32_t v, int radix);
int NumberToText(char* out, std::uint32_t v, int radix);
int NumberToText(char* out, std::int64_t v, int radix);
int NumberToText(char* out, std::uint64_t v, int radix);

} // namespace vfile_internal
