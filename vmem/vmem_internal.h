// What the sources of VMem share: the cached page, addresses, and the two tests that every access begins with.
// Internal.
#pragma once

#include "platform/platform.h"
#include "platform/thread.h"
#include "vmem/vmem.h"

#include <cstddef>
#include <cstdint>

// One page in RAM.
struct CacheDesc {
    CacheDesc* next;      // next of the cache list, toward the victim; NIL at the tail. Of a free one: next of its slab
    CacheDesc* prev;      // NIL at the head
    CacheDesc* chainNext; // next cached page of the same chain
    unsigned char* data;  // the page's bytes, in the slab
    PageSlab* slab;       // where it belongs
    std::uint64_t stamp;  // number of the move to the head that brought it where it is; falls toward the tail
    std::int32_t adr;     // page address, NoAdr while the descriptor is in no chain
    bool dirty;           // data has changes that the swap file has not
};

// Pages that came from the heap as one block, their bytes side by side. Pages that are first used one after the other
// lie so, and those that a stream of changes pushes out then go to the file in few pieces.
struct PageSlab {
    PageSlab* next; // of the slabs that have a free page
    PageSlab* prev;
    CacheDesc* free; // the first of its pages that are not in use
    int inUse;
};

namespace vfile_internal {

constexpr std::int32_t NoAdr = -1;
constexpr std::int32_t PageMask = VMem::PageSize - 1;
static_assert((VMem::PageSize & PageMask) == 0, "pages are told apart by masks");

// What one cached page counts for in every cache size that a host sets or reads. A fixed number, whatever a CacheDesc
// measures here, so that a limit in kilobytes means the same number of pages on every system.
constexpr int DescriptorSize = 1036;

// From this many pages on, a cache reads the swap file ahead and writes pages together. Below, the buffers would weigh
// against the cache, and the pages that go next are the ones in use.
constexpr int GatherFrom = 256;

// Pages of one write and of one read at most. The system keeps a file in units as large as the writes that it came by,
// if they begin at multiples of their size: it reads and writes large units faster, and single pages of them more
// slowly.
constexpr int GatherPages = 64;
constexpr int AheadPages = 64;

constexpr int SlabPages = 64; // of a slab at most

// A swap file's name is built in a buffer of this size; a directory that leaves no room for the name is not used.
constexpr std::size_t SwapPathSize = 268;

// Makes and opens a swap file in the first usable directory of `dir`, the variables TMP and TEMP, and the system's own
// temporary directory, and puts its full name into `path` (SwapPathSize bytes). InvalidHandle if no name is to be had.
FileHandle CreateSwapFile(char* path, const char* dir);

} // namespace vfile_internal

// Every transfer passes here.

inline bool VMem::OnOwnerThread() const {
    return platform::IsCurrentThread(owner);
}

inline bool VMem::CheckAdr(std::int32_t adr, std::int16_t len) const {
    if (len > 0 && adr >= 0 && std::int64_t{adr} + len <= topAdr) return true;
    return HaltOnAdr(adr, len);
}

inline CacheDesc*& VMem::ChainOf(std::int32_t adr) const {
    return chains[static_cast<std::uint32_t>(adr) / PageSize & (chainCount - 1)];
}

inline int VMem::SlotOf(std::int32_t adr) {
    return static_cast<int>(static_cast<std::uint32_t>(adr) / PageSize % SlotCount);
}
