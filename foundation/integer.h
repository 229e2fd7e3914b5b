/// @file
/// Parameters that take an integer of any type, and narrow none without a word, or by its low bytes where that is
/// meant.
#pragma once

#include "../platform/export.h"

#include <cstdint>
#include <limits>
#include <type_traits>

namespace vfile_internal {

/// A parameter of the width of `Int` that can be called with every integer type, an enumeration, and a class that
/// converts to an integer. A value below all of `Int` becomes the lowest, one above them `above`. A bool, a floating
/// type and a pointer don't compile.
template <class Int, Int above>
class IntegerArg {
  public:
    template <class T, std::enable_if_t<(std::is_integral_v<T> && !std::is_same_v<T, bool>) ||
                                            (std::is_enum_v<T> && std::is_convertible_v<T, Int>),
                                        int> = 0>
    VFILE_LOCAL constexpr IntegerArg(T v) : value(Fitted(v)) {} ///< An integer, by its value.

    template <class T, std::enable_if_t<std::is_class_v<T> && std::is_convertible_v<const T&, Int>, int> = 0>
    VFILE_LOCAL constexpr IntegerArg(const T& v) : value(v) {} ///< What converts to an integer by itself.

    VFILE_LOCAL constexpr operator Int() const { return value; } ///< The value.

  private:
    template <class T>
    VFILE_LOCAL static constexpr Int Fitted(T v) {
        if constexpr (std::is_enum_v<T>) {
            return Fitted(static_cast<std::underlying_type_t<T>>(v));
        } else if constexpr (std::is_unsigned_v<T>) {
            return std::uintmax_t{v} > static_cast<std::uintmax_t>(std::numeric_limits<Int>::max())
                       ? above
                       : static_cast<Int>(v);
        } else {
            return v < std::numeric_limits<Int>::min()   ? std::numeric_limits<Int>::min()
                   : v > std::numeric_limits<Int>::max() ? above
                                                         : static_cast<Int>(v);
        }
    }
    Int value;
};

/// A parameter of the width of `UInt` that takes the low bytes of every integer, of an enumeration, and of a class that
/// converts to an integer; a narrower one is widened by its sign. A floating type and a pointer don't compile.
template <class UInt>
class LowBytes {
  public:
    template <class T,
              std::enable_if_t<std::is_integral_v<T> || (std::is_enum_v<T> && std::is_convertible_v<T, UInt>), int> = 0>
    VFILE_LOCAL constexpr LowBytes(T v) : value(static_cast<UInt>(v)) {} ///< An integer, by its low bytes.

    template <class T, std::enable_if_t<std::is_class_v<T> && std::is_convertible_v<const T&, UInt>, int> = 0>
    VFILE_LOCAL constexpr LowBytes(const T& v) : value(v) {} ///< What converts to an integer by itself.

    VFILE_LOCAL constexpr operator UInt() const { return value; } ///< The bytes.

  private:
    UInt value;
};

} // namespace vfile_internal
