// Room for transfers of many blocks at once, where nobody can tell how many there were. Internal.
#pragma once

#include "vfile/vfile.h"

#include <algorithm>
#include <cstdlib>

namespace vfile_internal {

struct LargeRoom {
    static constexpr std::int32_t Size = 256 * BlkSize;

    // For transfers of `count` bytes in all; none for less than two blocks.
    explicit LargeRoom(std::int32_t count)
        : bytes(count > BlkSize
                    ? static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(std::min(count, Size))))
                    : nullptr) {}
    ~LargeRoom() { std::free(bytes); }
    LargeRoom(const LargeRoom&) = delete;
    LargeRoom& operator=(const LargeRoom&) = delete;

    unsigned char* const bytes; // null if out of memory
};

} // namespace vfile_internal
