// Where descriptors and bytes of pages come from. Internal.
#pragma once

#include "vmem/page.h"

namespace vfile_internal {

// Pages that came from the heap as one block, their bytes side by side. Pages that are first used one after the other
// lie so, and those that a stream of changes pushes out then go to the file in few pieces.
struct PageSlab {
    PageSlab* next; // of the slabs that have a free page
    PageSlab* prev;
    CacheDesc* free; // the first of its pages that are not in use
    int inUse;
};

//  - C8 A slab that is listed has a free page, and as many in use as are cached or in reserve (deep).
class PagePool {
  public:
    PagePool() : slabs(nullptr) {}
    ~PagePool() { FreeEmpty(); } // all pages are back
    PagePool(const PagePool&) = delete;
    PagePool& operator=(const PagePool&) = delete;

    // A page in no chain, clean. If there is none, up to `count` come from the heap; null if it has no room for one.
    CacheDesc* Take(int count);

    // Takes a page back; its slab waits for the next time, even if no page of it is in use.
    void Return(CacheDesc* p);

    // The same, but a slab without a page in use goes back to the heap.
    void GiveBack(CacheDesc* p);
    void FreeEmpty();

    // True if moving pages together could free a slab, and if this page should be moved for that.
    bool Scattered() const { return slabs && slabs->next; }
    bool ShouldMove(const CacheDesc* p) const { return p->slab->free && p->slab != slabs; }

  private:
    friend class VMemCheck;
    bool NewSlab(int count);
    void Link(PageSlab* slab);
    void Unlink(const PageSlab* slab);
    void FreeSlab(PageSlab* slab);

    PageSlab* slabs; // those that have a free page
};

} // namespace vfile_internal
