// The allocator: which addresses are in use. Internal.
#pragma once

#include "vmem/free_pages.h"
#include "vmem/page_cache.h"

namespace vfile_internal {

// A heap in the memory that it manages: free blocks are chained through their own first bytes.
//
//     |  block | free 100 |   block   | free page |    page   |...
//     0           \__ mixed list         \__ free page list     topAdr: never handed out from here on
//
// A block that is given back goes to the first place that takes it: the top, if it is the highest one; the free page
// list, if it is a whole page; a class, the list of blocks of exactly its length (classes for 4, 5 and 1024 bytes are
// always there, others come and go, 16 at most); or the mixed list. Blocks are never merged and have no header.
//
//  - A1 The classes 1 to 3 have the lengths 4, 5 and 1024, no two classes have the same length, a class above 3 has a
//       block, and the entries above classCount hold -1, 0 and 0.
//  - A2 The head of a list is -1 if and only if its count is 0.
//  - A3 Each list ends after as many blocks as are counted, and each block is one that this list takes; what FreePages
//       has of the free page list and the links in its pages agree.
//  - A4 Free blocks lie below topAdr and have no byte in common.
//
// A list changes only when the block that it is changed at has been read or written: where that halts and returns,
// there is no block (-1), or it stays its owner's.
class Allocator {
  public:
    explicit Allocator(PageCache& pageCache) : cache(pageCache) { Reset(); }
    Allocator(const Allocator&) = delete;
    Allocator& operator=(const Allocator&) = delete;

    // The test of every range: inside the used space, and of a length above 0. Halts if not.
    bool CheckAdr(std::int32_t adr, std::int16_t len) const { return Holds(adr, len) || HaltOnAdr(adr, len); }
    bool Holds(std::int32_t adr, std::int16_t len) const {
        return len > 0 && adr >= 0 && std::int64_t{adr} + len <= topAdr;
    }

    void Alloc(std::int32_t& adr, std::int16_t len);
    void AllocPage(std::int32_t& adr);
    void TakePage(std::int32_t& adr);
    bool TakeRange(std::int32_t& adr, std::int32_t count);
    void Dealloc(std::int32_t& adr, std::int16_t len);
    void DeallocPage(std::int32_t& adr);
    void DiscardPage(std::int32_t& adr);
    void Reset(); // all is given back

    std::int32_t Used() const { return topAdr; }
    std::int32_t Free() const;
    std::int32_t PagesLeft() const; // that can still be handed out

  private:
    friend class VMemCheck;
    static constexpr int MaxClasses = 16; // exact-size classes at most

    static bool HaltOnAdr(std::int32_t adr, std::int16_t len);
    int ClassOf(std::int16_t len) const;
    int ClassFor(std::int16_t len) const;
    bool ReadLink(std::int32_t adr, std::int32_t& next);
    std::int32_t PopPage(bool withLink);
    bool PushPage(std::int32_t adr);
    std::int32_t GapToPage() const;
    void NewPage(std::int32_t& adr);
    std::int32_t PopBlock(int i);
    bool PushBlock(std::int32_t adr, int i);
    void RetireClass(int i);
    bool TakeFromMixed(std::int32_t& adr, std::int16_t len);
    bool ReadMixed(std::int32_t adr, std::int32_t& next, std::int16_t& len);
    bool LinkMixed(std::int32_t prev, std::int32_t next);
    bool PushMixed(std::int32_t adr, std::int16_t len);
    void CountMixed(int blocks, std::int16_t len);
    void Dealloc0(std::int32_t& adr, std::int16_t len, bool toClass);

    PageCache& cache;
    std::int32_t topAdr;                    // first address never handed out
    std::int16_t classCount;                // exact-size classes in use
    std::int32_t freeHead[MaxClasses + 1];  // first free block: of the mixed list [0], of the classes [1..]; -1 if none
    std::int16_t classLen[MaxClasses + 1];  // block length of a class; 0 for the mixed list
    std::int32_t freeCount[MaxClasses + 1]; // blocks on each list
    std::int32_t mixedBytes;                // of the blocks on the mixed list
    FreePages freePages;
};

} // namespace vfile_internal
