// Where descriptors and bytes of pages come from.
#include "vmem/page_pool.h"

#include <cstdlib>

namespace vfile_internal {
namespace {

constexpr std::size_t DataAlign = 64; // of a page's bytes: the processor's cache moves so many

} // namespace

CacheDesc* PagePool::Take(int count) {
    if (!slabs && !NewSlab(count) && (count <= 1 || !NewSlab(1))) return nullptr;
    PageSlab* slab = slabs;
    CacheDesc* p = slab->free;
    slab->free = p->next;
    ++slab->inUse;
    if (!slab->free) Unlink(slab);
    p->adr = NoAdr;
    p->dirty = p->early = false;
    p->lent = 0;
    return p;
}

void PagePool::Return(CacheDesc* p) {
    PageSlab* slab = p->slab;
    if (!slab->free) Link(slab);
    p->next = slab->free;
    slab->free = p;
    --slab->inUse;
}

void PagePool::GiveBack(CacheDesc* p) {
    PageSlab* slab = p->slab;
    Return(p);
    if (slab->inUse == 0) FreeSlab(slab);
}

void PagePool::FreeEmpty() {
    for (PageSlab *slab = slabs, *next; slab; slab = next) {
        next = slab->next;
        if (slab->inUse == 0) FreeSlab(slab);
    }
}

bool PagePool::NewSlab(int count) {
    const auto n = static_cast<std::size_t>(count);
    void* block = std::malloc(sizeof(PageSlab) + n * (sizeof(CacheDesc) + PageSize) + DataAlign);
    if (!block) return false;
    auto* slab = static_cast<PageSlab*>(block);
    auto* pages = reinterpret_cast<CacheDesc*>(slab + 1);
    auto* data = reinterpret_cast<unsigned char*>(pages + n);
    data += DataAlign - reinterpret_cast<std::uintptr_t>(data) % DataAlign;
    std::size_t i = 0;
    do {
        pages[i] = {i + 1 < n ? &pages[i + 1] : nullptr, nullptr, nullptr, data, slab, 0, NoAdr, 0, false, false};
        data += PageSize;
    } while (++i < n);
    slab->free = pages;
    slab->inUse = 0;
    Link(slab);
    return true;
}

void PagePool::Link(PageSlab* slab) {
    slab->prev = nullptr;
    slab->next = slabs;
    if (slabs) slabs->prev = slab;
    slabs = slab;
}

void PagePool::Unlink(const PageSlab* slab) {
    (slab->prev ? slab->prev->next : slabs) = slab->next;
    if (slab->next) slab->next->prev = slab->prev;
}

void PagePool::FreeSlab(PageSlab* slab) {
    Unlink(slab);
    std::free(slab);
}

} // namespace vfile_internal
