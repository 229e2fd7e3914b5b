// The page cache: which pages are in RAM, how they are found, and in which order they go. Internal.
#pragma once

#include "vmem/early_writes.h"
#include "vmem/page_pool.h"
#include "vmem/read_ahead.h"
#include "vmem/swap_file.h"

#include <cstddef>
#include <cstdint>

namespace vfile_internal {

// A bounded number of pages of the space. The others lie in the swap file or were never written and read as zeros.
//
//     cacheHead <-> {4096 dirty} <-> {0} <-> {9216 dirty} <-> cacheTail     the tail is the next page to go
//     hashTable[adr / 1024 % 4016] -> {4096}                                the page that holds the slot, or null
//     chains[adr / 1024 % 8192] -> {8392704} -> {4096} -> null               all cached pages of this remainder
//
// A page that holds its slot is found without a change to the list, so it ages like an untouched one. Any other page,
// found in its chain or loaded, goes to the head and takes its slot. When the cache is full the tail goes, and is
// written to the swap file if it is dirty.
//
//  - C1 cacheCount is the length of the list, which reads the same from both ends.
//  - C2 Every page of the list is in its own chain, no page address is there twice, and the chains hold nothing else.
//       A slot that is not null points at a page of the list whose own slot it is.
//  - C3 cacheCount is at most maxCacheCount, but one page is always allowed; maxCacheCount is maxCacheKb in pages.
//  - C5 A clean page below fileSize equals its bytes in the swap file; a clean page above is all zeros.
//  - C6 Pages read ahead lie below fileSize and equal their bytes in the swap file (deep). There are none while the
//       cache is limited to less than 256 pages.
//  - C7 stamp falls from page to page toward the tail.
//  - C9 lentCount pages are lent. Only while there are some, cacheCount may pass the limit, by as many at most.
//
// (C4 stands at SwapFile, C8 at PagePool.)
//
// Owns its pages; borrows the swap file, which lives as long. What halts and returns gives null or false, and has
// changed nothing but where it says so.
class PageCache {
  public:
    explicit PageCache(SwapFile& swapFile);
    ~PageCache();
    PageCache(const PageCache&) = delete;
    PageCache& operator=(const PageCache&) = delete;

    // Pages, by page addresses. A descriptor is good until the next call that can bring a page in.
    CacheDesc* AtHand(std::int32_t adr) const; // the page that holds its slot, null if it does not
    CacheDesc* Lookup(std::int32_t adr) const; // the cached page, null if it is not
    CacheDesc* FindPage(std::int32_t adr, bool toFill = false);
    CacheDesc* EnterPage(std::int32_t adr);
    void Forget(std::int32_t adr);
    void ForgetRange(std::int64_t start, std::int64_t end);
    CacheDesc* NearEviction(std::int64_t adr) const;

    // A cached page whose bytes are looked at where they lie keeps its place in RAM, whatever comes, until each Lend
    // has had its TakeBack; if it comes to the tail, it goes on to the head. Neither does anything to a page that is
    // not cached.
    void Lend(std::int32_t adr);
    void TakeBack(std::int32_t adr);

    // Bytes, of ranges that have been tested (transfers.cpp).
    bool Get(std::int32_t adr, void* buf, std::int32_t len);
    bool Set(std::int32_t adr, const void* buf, std::int32_t len);
    bool SetWhole(std::int32_t adr, const void* buf, std::int32_t len);
    bool Fill(std::int32_t adr, const void* buf, std::int32_t len);

    // All pages.
    void Flush();
    void Release();
    void DropAll();
    void SetLimit(std::int32_t kb);
    std::int32_t LimitKb() const { return maxCacheKb; }
    std::int32_t SizeKb() const { return KbOf(cacheCount); }
    static std::int32_t PagesOf(std::int32_t kb); // that a limit of so many kilobytes allows

  private:
    friend class VMemCheck;
    static constexpr int SlotCount = 4016; // slots of hashTable
    static constexpr int OwnChains = 1024; // chains that need no heap

    static int SlotOf(std::int32_t adr);
    static std::int32_t KbOf(std::int32_t pages) {
        return static_cast<std::int32_t>(std::int64_t{pages} * DescriptorSize / 1024);
    }
    CacheDesc*& ChainOf(std::int32_t adr) const;
    CacheDesc* TakeDescriptor();
    CacheDesc* Victim();
    void LinkAtHead(CacheDesc* p);
    void Unlink(CacheDesc* p);
    void HashInsert(CacheDesc* p, std::int32_t adr);
    void UnHashCachePtr(CacheDesc* p);
    void NewCachePtr(CacheDesc*& p);
    void DisposeCachePtr(CacheDesc*& p);
    void DropPage(CacheDesc* p);
    void ShrinkTo(int count);
    void PackSlabs();
    CacheDesc* MovePage(CacheDesc* p);
    void FitChains();
    void UseChains(CacheDesc** table, std::uint32_t count);
    const char* Load(std::int32_t adr, unsigned char* data);
    CacheDesc* Replace(CacheDesc* victim, std::int32_t off, const unsigned char* from, std::size_t n, std::int32_t adr);
    bool FlushCachePtr(CacheDesc* p);
    bool WriteOut(CacheDesc* p, const unsigned char* data);
    bool FlushVictim(CacheDesc* p);
    void WriteCluster(CacheDesc* victim);
    void CameDue(CacheDesc* p);

    SwapFile& swap;
    CacheDesc* cacheHead;            // the page that last took the slow road, null if the cache is empty
    CacheDesc* cacheTail;            // the next victim
    CacheDesc* hashTable[SlotCount]; // the page that holds the slot, null if there is none
    CacheDesc** chains;              // all cached pages by their number modulo chainCount; ownChains or from the heap
    std::uint32_t chainCount;        // a power of two
    CacheDesc* ownChains[OwnChains]; // for a limit of half as many pages, and when out of memory
    CacheDesc* sparePage;            // in reserve for an empty cache, null after DropAll
    std::uint64_t moves;             // pages moved to the head so far: the last stamp
    std::int32_t cacheCount;         // cached pages
    std::int32_t maxCacheCount;      // their limit; one page is always allowed
    std::int32_t maxCacheKb;         // the same limit in kilobytes, as the caller gave it
    int lentCount;                   // pages that are lent
    bool gathers;                    // the cache is large, and moves pages early
    PagePool pool;
    ReadAhead ahead;
    EarlyWrites early;
};

inline int PageCache::SlotOf(std::int32_t adr) {
    return static_cast<int>(static_cast<std::uint32_t>(adr) / PageSize % SlotCount);
}

inline CacheDesc*& PageCache::ChainOf(std::int32_t adr) const {
    return chains[static_cast<std::uint32_t>(adr) / PageSize & (chainCount - 1)];
}

inline CacheDesc* PageCache::AtHand(std::int32_t adr) const {
    CacheDesc* p = hashTable[SlotOf(adr)];
    return p && p->adr == adr ? p : nullptr;
}

} // namespace vfile_internal
