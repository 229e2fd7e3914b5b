// The page cache.
#include "vmem/page_cache.h"

#include "foundation/halt.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {
PageCache::PageCache(SwapFile& swapFile)
    : swap(swapFile), cacheHead(nullptr), cacheTail(nullptr), hashTable{}, chains(ownChains),
      chainCount(OwnChains), ownChains{}, sparePage(nullptr), moves(0), cacheCount(0), maxCacheCount(0), maxCacheKb(0),
      lentCount(0), gathers(false) {
    NewCachePtr(sparePage);
}

PageCache::~PageCache() {
    DropAll();
    if (chains != ownChains) std::free(chains);
}

// The page at `adr`, a page address: loaded, and where it belongs in the list. Null after a halt procedure that
// returned. A page that the caller is going to fill, and that was never written, is left as it is.
CacheDesc* PageCache::FindPage(std::int32_t adr, bool toFill) {
    CacheDesc*& slot = hashTable[SlotOf(adr)];
    if (slot && slot->adr == adr) return slot; // and the list keeps its order: the page ages
    CacheDesc* p = Lookup(adr);
    if (p) {
        if (p != cacheHead) {
            Unlink(p);
            LinkAtHead(p);
        }
    } else {
        p = TakeDescriptor();
        if (!p) return nullptr;
        if (const char* failure = toFill && !swap.Has(adr) ? nullptr : Load(adr, p->data)) {
            DropPage(p); // it holds nothing
            Halt("VMem", "FindPage", failure);
            return nullptr;
        }
        p->dirty = p->early = false;
        HashInsert(p, adr);
    }
    slot = p; // the page that stood there stays cached
    return p;
}

// The page at `adr` in the place of `victim`, which goes to the file with n bytes of it changed: in the cache it has
// them never, so it is as before where it can't be written. Null after a halt procedure that returned.
CacheDesc* PageCache::Replace(CacheDesc* victim, std::int32_t off, const unsigned char* from, std::size_t n,
                              std::int32_t adr) {
    unsigned char data[PageSize];
    if (const char* failure = Load(adr, data)) {
        Halt("VMem", "FindPage", failure);
        return nullptr;
    }
    unsigned char changed[PageSize];
    std::memcpy(changed, victim->data, PageSize);
    std::memcpy(changed + off, from, n);
    victim->dirty = true; // the file may get a part of it
    if (!WriteOut(victim, changed)) return nullptr;
    CacheDesc* p = EnterPage(adr);
    if (p) std::memcpy(p->data, data, PageSize);
    return p;
}

// Takes a page in that is not cached; what its bytes are is the caller's to see to. Null after a halt procedure that
// returned; nothing has changed then.
CacheDesc* PageCache::EnterPage(std::int32_t adr) {
    CacheDesc* p = TakeDescriptor();
    if (!p) return nullptr;
    p->dirty = p->early = false;
    HashInsert(p, adr);
    hashTable[SlotOf(adr)] = p;
    return p;
}

// The cached page at this address, null if there is none.
CacheDesc* PageCache::Lookup(std::int32_t adr) const {
    CacheDesc* p = ChainOf(adr);
    while (p && p->adr != adr) p = p->chainNext;
    return p;
}

// A descriptor for a page that is not cached, in no chain and at the head of the list. Null after a halt procedure that
// returned; nothing has changed then.
CacheDesc* PageCache::TakeDescriptor() {
    CacheDesc* p = nullptr;
    // An empty cache takes a page whatever the limit, and so does one whose pages are all lent.
    if (lentCount >= cacheCount || cacheCount < maxCacheCount) {
        p = cacheHead ? nullptr : sparePage;
        if (!p) NewCachePtr(p);
        if (!p) return nullptr;
        ++cacheCount;
    } else {
        p = Victim();
        if (!FlushVictim(p)) return nullptr;
        UnHashCachePtr(p);
        Unlink(p);
    }
    LinkAtHead(p);
    return p;
}

// The next page to go; not all are lent.
inline CacheDesc* PageCache::Victim() {
    for (CacheDesc* p; (p = cacheTail)->lent > 0;) {
        Unlink(p);
        LinkAtHead(p);
    }
    return cacheTail;
}

void PageCache::LinkAtHead(CacheDesc* p) {
    p->stamp = ++moves;
    p->prev = nullptr;
    p->next = cacheHead;
    (cacheHead ? cacheHead->prev : cacheTail) = p;
    cacheHead = p;
}

void PageCache::Unlink(CacheDesc* p) {
    (p->prev ? p->prev->next : cacheHead) = p->next;
    (p->next ? p->next->prev : cacheTail) = p->prev;
}

// Puts a descriptor that is in no chain to the front of the one of `adr`.
void PageCache::HashInsert(CacheDesc* p, std::int32_t adr) {
    CacheDesc*& front = ChainOf(adr);
    p->adr = adr;
    p->chainNext = front;
    front = p;
}

// Takes a descriptor out of its chain, and out of its slot if it holds that.
void PageCache::UnHashCachePtr(CacheDesc* p) {
    if (!p || p->adr == NoAdr) return;
    CacheDesc** link = &ChainOf(p->adr);
    while (*link != p) link = &(*link)->chainNext;
    *link = p->chainNext;
    CacheDesc*& slot = hashTable[SlotOf(p->adr)];
    if (slot == p) slot = nullptr;
    p->adr = NoAdr;
    if (p->lent > 0) --lentCount; // its bytes are of no more use, even to who looks at them
    p->lent = 0;
}

void PageCache::NewCachePtr(CacheDesc*& p) {
    // A small cache takes its pages one by one, and so does a large one where there is no memory for more.
    p = pool.Take(maxCacheCount < GatherFrom ? 1 : std::min(SlabPages, maxCacheCount - cacheCount));
    if (!p) Halt("VMem", "NewCachePtr", "p==NIL");
}

void PageCache::DisposeCachePtr(CacheDesc*& p) {
    if (!p) return Halt("VMem", "DisposeCachePtr", "p==NIL");
    UnHashCachePtr(p);
    pool.GiveBack(p);
    p = nullptr;
}

// Takes a page out of the cache, dirty or not.
void PageCache::DropPage(CacheDesc* p) {
    UnHashCachePtr(p);
    Unlink(p);
    --cacheCount;
    if (p != sparePage) DisposeCachePtr(p); // the spare waits for the next time that the cache is empty
}

// Takes the page at this address out of the cache if it is there; its bytes are of no more use. A slab that this leaves
// empty waits for the next pages: what is cut and what is put in come in turns.
void PageCache::Forget(std::int32_t adr) {
    if (swap.backings.Leave(adr)) ahead.Forget(adr, std::int64_t{adr} + PageSize);
    CacheDesc* p = Lookup(adr);
    if (!p) return;
    UnHashCachePtr(p);
    Unlink(p);
    --cacheCount;
    if (p != sparePage) pool.Return(p);
}

// The same for all pages of a range that is going to have other bytes.
void PageCache::ForgetRange(std::int64_t start, std::int64_t end) {
    for (CacheDesc *p = cacheHead, *next; p; p = next) {
        next = p->next;
        if (p->adr >= start && p->adr < end) DropPage(p);
    }
    ahead.Forget(start, end);
}

void PageCache::Lend(std::int32_t adr) {
    CacheDesc* p = Lookup(adr);
    if (p && p->lent++ == 0) ++lentCount;
}

void PageCache::TakeBack(std::int32_t adr) {
    CacheDesc* p = Lookup(adr);
    if (!p || p->lent == 0 || --p->lent > 0) return;
    --lentCount;
    ShrinkTo(std::max(maxCacheCount, 1));
}

// The page at `adr`, if it is dirty and among the last GatherPages of the list; else null. A page that is farther from
// the tail may well be changed again before it goes.
CacheDesc* PageCache::NearEviction(std::int64_t adr) const {
    CacheDesc* p = Lookup(static_cast<std::int32_t>(adr));
    return p && p->dirty && p->stamp - cacheTail->stamp < GatherPages ? p : nullptr;
}

// Between a page and the swap file.

// Fills a page's bytes; null, or what failed. A page that the file does not have was never written and reads as zeros.
const char* PageCache::Load(std::int32_t adr, unsigned char* data) {
    if (!swap.Has(adr)) {
        std::memset(data, 0, PageSize);
        return nullptr;
    }
    const unsigned char* bytes = gathers ? ahead.PageAt(adr, swap) : nullptr;
    if (!bytes) return swap.Read(adr, data);
    std::memcpy(data, bytes, PageSize);
    for (int i = 0; i < PageSize; i += 64) __builtin_prefetch(cacheTail->data + i, 1); // of the next victim
    return nullptr;
}

// Writes a dirty page to the swap file. False after a halt procedure that returned: the page is dirty still.
bool PageCache::FlushCachePtr(CacheDesc* p) {
    if (!p->dirty) {
        if (p->early) CameDue(p);
        return true;
    }
    return WriteOut(p, p->data);
}

bool PageCache::WriteOut(CacheDesc* p, const unsigned char* data) {
    if (!swap.Write(p->adr, data)) {
        ahead.Forget(p->adr, std::int64_t{p->adr} + PageSize);
        return false;
    }
    p->dirty = p->early = false;
    ahead.Written(p->adr, data);
    early.Due();
    return true;
}

// A page that was written early would be written now, and need not be.
void PageCache::CameDue(CacheDesc* p) {
    p->early = false;
    early.CameDue();
}

// FlushCachePtr of a page that goes, by one transfer with its neighbours if it can be.
bool PageCache::FlushVictim(CacheDesc* p) {
    if (p->dirty && gathers) WriteCluster(p);
    return FlushCachePtr(p); // by itself, if it is dirty still
}

// Those that could not be written whole stay dirty. If the victim is among these, its own write finds out what is
// wrong: the pages before it lie inside the file, so they have taken no room from it.
void PageCache::WriteCluster(CacheDesc* victim) {
    CacheDesc* pages[GatherPages];
    const int n = early.Pick(*this, victim, pages);
    const std::int64_t first = pages[0]->adr;
    if (n == 1 || !swap.Reaches(first)) return; // what comes before it can halt
    unsigned char* data[GatherPages];
    for (int i = 0; i < n; ++i) data[i] = pages[i]->data;
    const int whole = swap.WriteMore(first, data, n);
    const bool readAhead = ahead.Holds(first, first + n * PageSize);
    for (int i = 0; i < whole; ++i) {
        pages[i]->dirty = false;
        pages[i]->early = true;
        if (readAhead) ahead.Written(pages[i]->adr, data[i]);
    }
    if (whole < n) ahead.Forget(first + whole * PageSize, first + n * PageSize);
    early.Written(whole);
}

// All pages.

void PageCache::Flush() {
    for (CacheDesc* p = cacheHead; p; p = p->next) FlushCachePtr(p);
}

void PageCache::Release() {
    ShrinkTo(0);
    pool.FreeEmpty();
    ahead.Drop();
}

void PageCache::DropAll() {
    while (cacheHead) DropPage(cacheHead);
    if (sparePage) DisposeCachePtr(sparePage);
    pool.FreeEmpty();
    ahead.Drop();
}

} // namespace vfile_internal
