// The limit of the page cache, and what a new one changes.
#include "vmem/page_cache.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {

// The space has no more than 2^21 pages.
std::int32_t PageCache::PagesOf(std::int32_t kb) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(std::int64_t{kb} * 1024 / DescriptorSize, 1 << 21));
}

void PageCache::SetLimit(std::int32_t kb) {
    maxCacheKb = std::max(kb, 0);
    maxCacheCount = PagesOf(maxCacheKb);
    gathers = maxCacheCount >= GatherFrom;
    if (!gathers) ahead.Drop();
    ShrinkTo(maxCacheCount);
    pool.FreeEmpty();
    PackSlabs();
    FitChains();
}

// Brings together what a smaller limit has left in many slabs: after it, one at most is partly free, and the others
// are back on the heap. The spare page stays where it is: its slab has no other one.
void PageCache::PackSlabs() {
    for (CacheDesc* p = cacheHead; p && pool.Scattered(); p = p->next) {
        if (p->lent == 0 && pool.ShouldMove(p)) p = MovePage(p);
    }
}

// Moves a cached page to the first slab that has a free one, and gives its old place back.
CacheDesc* PageCache::MovePage(CacheDesc* p) {
    CacheDesc* q;
    NewCachePtr(q);
    std::memcpy(q->data, p->data, PageSize);
    q->dirty = p->dirty;
    q->early = p->early;
    q->stamp = p->stamp;
    q->prev = p->prev;
    q->next = p->next;
    (q->prev ? q->prev->next : cacheHead) = q;
    (q->next ? q->next->prev : cacheTail) = q;
    const std::int32_t adr = p->adr;
    const bool hadSlot = hashTable[SlotOf(adr)] == p;
    UnHashCachePtr(p);
    HashInsert(q, adr);
    if (hadSlot) hashTable[SlotOf(adr)] = q;
    DisposeCachePtr(p);
    return q;
}

// Writes pages out and takes them from the head of the list, until at most `count` are left, or all are lent.
void PageCache::ShrinkTo(int count) {
    for (CacheDesc *p = cacheHead, *next; p && cacheCount > count; p = next) {
        next = p->next;
        if (!FlushCachePtr(p)) return;
        if (p->lent == 0) DropPage(p);
    }
}

// Twice as many chains as pages may be cached, so that few looks meet a page that is not meant. The own ones, or a
// table from the heap, if that has room.
void PageCache::FitChains() {
    std::uint32_t count = OwnChains;
    while (count < 2 * static_cast<std::uint32_t>(maxCacheCount)) count *= 2;
    if (count == chainCount) return;
    auto* table = count == OwnChains ? ownChains : static_cast<CacheDesc**>(std::calloc(count, sizeof(CacheDesc*)));
    if (table) UseChains(table, count);
}

void PageCache::UseChains(CacheDesc** table, std::uint32_t count) {
    if (chains != ownChains) std::free(chains);
    std::memset(ownChains, 0, sizeof ownChains);
    chains = table;
    chainCount = count;
    for (CacheDesc* p = cacheHead; p; p = p->next) HashInsert(p, p->adr);
}

} // namespace vfile_internal
