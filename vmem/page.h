// A page in RAM, and what all rooms of VMem share. Internal.
#pragma once

#include "vmem/vmem.h"

#include <cstdint>

namespace vfile_internal {

constexpr std::int32_t NoAdr = -1;
constexpr std::int32_t PageSize = VMem::PageSize;
constexpr std::int32_t PageMask = PageSize - 1;
static_assert((PageSize & PageMask) == 0, "pages are told apart by masks");

// From this many pages on, a cache moves pages before they are due, so that a call of the system moves many. Below, the
// buffers would weigh against the cache, and the pages that go next are the ones in use.
constexpr int GatherFrom = 256;

// Pages of one write and of one read at most, and of a group in the file. The system keeps a file in units as large as
// the writes that it came by, if they begin at multiples of their size: it reads and writes large units faster, and
// single pages of them more slowly.
constexpr int GatherPages = 64;
constexpr int GroupSize = GatherPages * PageSize;

// What one cached page counts for in every cache size that a host sets or reads. A fixed number, whatever a CacheDesc
// measures here, so that a limit in kilobytes means the same number of pages on every system.
constexpr int DescriptorSize = 1036;

constexpr int SlabPages = 64; // of a slab at most

struct PageSlab;

struct CacheDesc {
    CacheDesc* next; // next of the cache list, toward the victim; null at the tail. Of a free one: next of its slab
    CacheDesc* prev; // null at the head
    CacheDesc* chainNext; // next cached page of the same chain
    unsigned char* data;  // the page's bytes, in the slab
    PageSlab* slab;       // where it belongs
    std::uint64_t stamp;  // number of the move to the head that brought it where it is; falls toward the tail
    std::int32_t adr;     // page address, NoAdr while the descriptor is in no chain
    std::uint16_t lent;   // how many look at data; see PageCache::Lend
    bool dirty;           // data has changes that the swap file has not
    bool early;           // was written before it was due, and has not come due yet; may have changed again since
};

inline std::int32_t PageOf(std::int32_t adr) {
    return adr & ~PageMask;
}

} // namespace vfile_internal
