// The page cache: which pages are in RAM, how they are found, and in which order they go.
#include "vmem/vmem_internal.h"

#include "foundation/halt.h"

#include <cstdlib>
#include <cstring>

using namespace vfile_internal;

// The page at `adr`, a page address: loaded, and where it belongs in the list. NIL after a halt that came back.
CacheDesc* VMem::FindPage(std::int32_t adr) {
    CacheDesc* p = hashTable[SlotOf(adr)];
    if (p && p->adr == adr && p->hasSlot) return p; // and the list keeps its order: the page ages
    while (p && p->adr != adr) p = p->chainNext;
    if (p) {
        if (p != cacheHead) {
            Unlink(p);
            LinkAtHead(p);
        }
        UnHashCachePtr(p);
    } else {
        p = TakeDescriptor();
        if (!p) return nullptr;
        if (const char* failure = LoadPage(p->data, adr)) {
            DropPage(p); // it holds nothing
            Halt("VMem", "FindPage", failure);
            return nullptr;
        }
        p->dirty = false;
    }
    TakeSlot(p, adr);
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
        if (!FlushCachePtr(p)) return nullptr;
        UnHashCachePtr(p);
        Unlink(p);
    }
    LinkAtHead(p);
    return p;
}

void VMem::LinkAtHead(CacheDesc* p) {
    p->prev = nullptr;
    p->next = cacheHead;
    (cacheHead ? cacheHead->prev : cacheTail) = p;
    cacheHead = p;
}

void VMem::Unlink(CacheDesc* p) {
    (p->prev ? p->prev->next : cacheHead) = p->next;
    (p->next ? p->next->prev : cacheTail) = p->prev;
}

// Puts a descriptor that is in no chain to the front of the one of `adr`. The page that had the slot stays cached.
void VMem::TakeSlot(CacheDesc* p, std::int32_t adr) {
    CacheDesc*& front = hashTable[SlotOf(adr)];
    if (front) front->hasSlot = false;
    p->adr = adr;
    p->hasSlot = true;
    p->chainNext = front;
    front = p;
}

// Takes a descriptor out of its chain, and with it out of its slot.
void VMem::UnHashCachePtr(CacheDesc* p) {
    if (!p || p->adr == NoAdr) return;
    CacheDesc** link = &hashTable[SlotOf(p->adr)];
    while (*link != p) link = &(*link)->chainNext;
    *link = p->chainNext;
    p->adr = NoAdr;
    p->hasSlot = false;
}

void VMem::NewCachePtr(CacheDesc*& p) {
    p = static_cast<CacheDesc*>(std::malloc(sizeof(CacheDesc)));
    if (!p) return Halt("VMem", "NewCachePtr", "p==NIL");
    p->adr = NoAdr;
    p->dirty = false;
    p->hasSlot = false;
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
