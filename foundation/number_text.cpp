// Numbers as text, in any radix.
#include "foundation/number_text.h"

#include <cstring>

namespace vfile_internal {
namespace {

int Digits(char* out, std::uint64_t v, bool minus, std::uint64_t radix) {
    char digits[NumberTextSize];
    char* first = digits + sizeof digits;
    *--first = '\0';
    do {
        *--first = "0123456789abcdefghijklmnopqrstuvwxyz"[v % radix];
        v /= radix;
    } while (v != 0);
    if (minus) *--first = '-';
    const auto size = static_cast<std::size_t>(digits + sizeof digits - first);
    std::memcpy(out, first, size);
    return static_cast<int>(size) - 1;
}

int Signed(char* out, std::int64_t v, std::uint64_t bits, int radix) {
    if (radix < 2 || radix > 36) radix = 10;
    if (v < 0 && radix == 10) return Digits(out, 0 - static_cast<std::uint64_t>(v), true, 10);
    return Digits(out, bits, false, static_cast<std::uint64_t>(radix));
}

} // namespace

int NumberToText(char* out, std::int32_t v, int radix) {
    return Signed(out, v, static_cast<std::uint32_t>(v), radix);
}

int NumberToText(char* out, std::uint32_t v, int radix) {
    return NumberToText(out, std::uint64_t{v}, radix);
}

int NumberToText(char* out, std::int64_t v, int radix) {
    return Signed(out, v, static_cast<std::uint64_t>(v), radix);
}

int NumberToText(char* out, std::uint64_t v, int radix) {
    return Signed(out, 0, v, radix);
}

} // namespace vfile_internal
