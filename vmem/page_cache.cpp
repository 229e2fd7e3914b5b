// The page cache: which pages are in RAM, how they are found, and in which order they go.
#include "vmem/vmem_internal.h"

#include "foundation/halt.h"

#include <cstdlib>
#include <cstring>

using namespace vfile_internal;

// The page at `adr`, a page address: loaded, and where it belongs in the list. NIL after a halt that came back.
CacheDesc* VMem::FindPage(std::int32_t adr) {
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
        if (const char* failure = LoadPage(p->data, adr)) {
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
    p = static_cast<CacheDesc*>(std::malloc(sizeof(CacheDesc)));
    if (!p) return Halt("VMem", "NewCachePtr", "p==NIL");
    p->adr = NoAdr;
    p->dirty = false;
}

void VMem::DisposeCachePtr(CacheDesc*& p) {
    if (!p) return Halt("VMem", "DisposeCachePtr", "p==NIL");
    UnHashCachePtr(p);
    std::free(p);
    p = nullptr;
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
