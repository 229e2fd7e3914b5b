// The rooms of a VMem. Internal.
#pragma once

#include "foundation/from_heap.h"
#include "vmem/allocator.h"
#include "vmem/page_cache.h"
#include "vmem/swap_file.h"

namespace vfile_internal {

// Each uses only those before it.
struct Memory : FromHeap {
    Memory() : cache(file), allocator(cache) {}

    SwapFile file;
    PageCache cache;
    Allocator allocator;
};

} // namespace vfile_internal
