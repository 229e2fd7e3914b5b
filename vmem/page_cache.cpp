// The page cache: which pages are in RAM, how they are found, and in which order they go.
#include "vmem/vmem_internal.h"

#include "foundation/halt.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace vfile_internal;

namespace {

constexpr std::size_t DataAlign = 64; // of a page's bytes: the processor's cache moves so many

} // namespace

// The page at `adr`, a page address: loaded, and where it belongs in the list. NIL after a halt that came back. A page
// that the caller is going to fill, and that was never written, is left as it is.
CacheDesc* VMem::FindPage(std::int32_t adr, bool toFill) {
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
        if (const char* failure = toFill && fileSize <= adr ? nullptr : LoadPage(p->data, adr)) {
            DropPage(p); // it holds nothing
            Halt("VMem", "FindPage", failure);
            return nullptr;
        }
        p->dirty = false;
        Enchain(p, adr);
    }
    slot = p; // the page that stood there stays cached
    return p;
}

// The cached page at this address, NIL if there is none.
CacheDesc* VMem::Lookup(std::int32_t adr) const {
    CacheDesc* p = ChainOf(adr);
    while (p && p->adr != adr) p = p->chainNext;
    return p;
}

// A descriptor for a page that is not cached, in no chain and at the head of the list. NIL after a halt that came back;
// nothing has changed then.
CacheDesc* VMem::TakeDescriptor() {
    CacheDesc* p = nullptr;
    if (!cacheHead || cacheCount < maxCacheCount) { // an empty cache takes a page whatever the limit
        p = cacheHead ? nullptr : sparePage;
        if (!p) NewCachePtr(p);
        if (!p) return nullptr;
        ++cacheCount;
    } else {
        p = cacheTail;
        if (!FlushVictim(p)) return nullptr;
        UnHashCachePtr(p);
        Unlink(p);
    }
    LinkAtHead(p);
    return p;
}

void VMem::LinkAtHead(CacheDesc* p) {
    p->stamp = ++moves;
    p->prev = nullptr;
    p->next = cacheHead;
    (cacheHead ? cacheHead->prev : cacheTail) = p;
    cacheHead = p;
}

void VMem::Unlink(CacheDesc* p) {
    (p->prev ? p->prev->next : cacheHead) = p->next;
    (p->next ? p->next->prev : cacheTail) = p->prev;
}

// Puts a descriptor that is in no chain to the front of the one of `adr`.
void VMem::Enchain(CacheDesc* p, std::int32_t adr) {
    CacheDesc*& front = ChainOf(adr);
    p->adr = adr;
    p->chainNext = front;
    front = p;
}

// Takes a descriptor out of its chain, and out of its slot if it holds that.
void VMem::UnHashCachePtr(CacheDesc* p) {
    if (!p || p->adr == NoAdr) return;
    CacheDesc** link = &ChainOf(p->adr);
    while (*link != p) link = &(*link)->chainNext;
    *link = p->chainNext;
    CacheDesc*& slot = hashTable[SlotOf(p->adr)];
    if (slot == p) slot = nullptr;
    p->adr = NoAdr;
}

void VMem::NewCachePtr(CacheDesc*& p) {
    // A small cache takes its pages one by one, and so does a large one where the heap has no room for more.
    const int count = maxCacheCount < GatherFrom ? 1 : std::min(SlabPages, maxCacheCount - cacheCount);
    p = nullptr;
    if (!slabs && !NewSlab(count) && (count == 1 || !NewSlab(1))) return Halt("VMem", "NewCachePtr", "p==NIL");
    PageSlab* slab = slabs;
    p = slab->free;
    slab->free = p->next;
    ++slab->inUse;
    if (!slab->free) UnlinkSlab(slab);
    p->adr = NoAdr;
    p->dirty = false;
}

// Takes `count` pages from the heap; false if it has no room.
bool VMem::NewSlab(int count) {
    const auto n = static_cast<std::size_t>(count);
    void* block = std::malloc(sizeof(PageSlab) + n * (sizeof(CacheDesc) + PageSize) + DataAlign);
    if (!block) return false;
    auto* slab = static_cast<PageSlab*>(block);
    auto* pages = reinterpret_cast<CacheDesc*>(slab + 1);
    auto* data = reinterpret_cast<unsigned char*>(pages + n);
    data += DataAlign - reinterpret_cast<std::uintptr_t>(data) % DataAlign;
    for (std::size_t i = 0; i < n; ++i, data += PageSize) {
        pages[i].next = i + 1 < n ? &pages[i + 1] : nullptr;
        pages[i].data = data;
        pages[i].slab = slab;
    }
    slab->free = pages;
    slab->inUse = 0;
    LinkSlab(slab);
    return true;
}

void VMem::LinkSlab(PageSlab* slab) {
    slab->prev = nullptr;
    slab->next = slabs;
    if (slabs) slabs->prev = slab;
    slabs = slab;
}

void VMem::UnlinkSlab(const PageSlab* slab) {
    (slab->prev ? slab->prev->next : slabs) = slab->next;
    if (slab->next) slab->next->prev = slab->prev;
}

// Brings together what a smaller limit has left in many slabs: behind it, one at most is partly free, and the others
// are back on the heap. The spare page stays where it is: its slab has no other one.
void VMem::PackSlabs() {
    for (CacheDesc* p = cacheHead; p && slabs && slabs->next; p = p->next) {
        if (p->slab->free && p->slab != slabs) p = MovePage(p);
    }
}

// Moves a cached page to the first slab that has a free one, and gives its old place back.
CacheDesc* VMem::MovePage(CacheDesc* p) {
    CacheDesc* q;
    NewCachePtr(q);
    std::memcpy(q->data, p->data, PageSize);
    q->dirty = p->dirty;
    q->stamp = p->stamp;
    q->prev = p->prev;
    q->next = p->next;
    (q->prev ? q->prev->next : cacheHead) = q;
    (q->next ? q->next->prev : cacheTail) = q;
    const std::int32_t adr = p->adr;
    const bool hadSlot = hashTable[SlotOf(adr)] == p;
    UnHashCachePtr(p);
    Enchain(q, adr);
    if (hadSlot) hashTable[SlotOf(adr)] = q;
    DisposeCachePtr(p);
    return q;
}

void VMem::DisposeCachePtr(CacheDesc*& p) {
    if (!p) return Halt("VMem", "DisposeCachePtr", "p==NIL");
    UnHashCachePtr(p);
    PageSlab* slab = p->slab;
    if (!slab->free) LinkSlab(slab);
    p->next = slab->free;
    slab->free = p;
    p = nullptr;
    if (--slab->inUse > 0) return;
    UnlinkSlab(slab);
    std::free(slab);
}

// Takes a page out of the cache, dirty or not.
void VMem::DropPage(CacheDesc* p) {
    UnHashCachePtr(p);
    Unlink(p);
    --cacheCount;
    if (p != sparePage) DisposeCachePtr(p); // the spare waits for the next time that the cache is empty
}

void VMem::DropAllPages() {
    while (cacheHead) DropPage(cacheHead);
    if (sparePage) DisposeCachePtr(sparePage);
}

// Writes pages out and takes them from the head of the list, until at most `count` are left.
void VMem::ShrinkTo(int count) {
    while (cacheCount > count && FlushCachePtr(cacheHead)) { // NOLINT(clang-analyzer-unix.Malloc): the head has changed
        DropPage(cacheHead);
    }
}

// Twice as many chains as pages may be cached, so that few looks meet a page that is not meant. The own ones, or a
// table from the heap, if that has room.
void VMem::FitChains() {
    std::uint32_t count = OwnChains;
    while (count < 2 * static_cast<std::uint32_t>(maxCacheCount)) count *= 2;
    if (count == chainCount) return;
    auto* table = count == OwnChains ? ownChains : static_cast<CacheDesc**>(std::calloc(count, sizeof(CacheDesc*)));
    if (table) UseChains(table, count);
}

void VMem::UseChains(CacheDesc** table, std::uint32_t count) {
    if (chains != ownChains) std::free(chains);
    std::memset(ownChains, 0, sizeof ownChains);
    chains = table;
    chainCount = count;
    for (CacheDesc* p = cacheHead; p; p = p->next) Enchain(p, p->adr);
}
