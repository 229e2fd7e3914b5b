// What the files of the editing members share. Internal.
#pragma once

#include <climits>
#include <cstring>

namespace vfile_internal {

// The length of a text as a change takes it. One beyond all contents comes out negative, which every change refuses.
inline int TextLength(const char* s) {
    const std::size_t n = std::strlen(s);
    return n <= INT_MAX ? static_cast<int>(n) : -1;
}

} // namespace vfile_internal
