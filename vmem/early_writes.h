// Writing pages together with one that goes. Internal.
#pragma once

#include "vmem/credit.h"
#include "vmem/page.h"

namespace vfile_internal {

class PageCache;

// Which pages are written before they are due: those beside the one that goes that lie in the same group of the file,
// are dirty, and go soon. They stay where they are, clean.
//
// A page that changes again before it goes was written in vain. What the account of early pages does not cover is not
// written: over any 147 or more pages that are due, less than twice the bytes. The file ends within the group of a page
// that was due, so less than 64 KiB after where it would end by itself.
class EarlyWrites {
  public:
    // The pages to be written with `victim`, itself among them, in the order of their addresses; how many.
    int Pick(const PageCache& cache, CacheDesc* victim, CacheDesc** pages) const;

    void Written(int n) { credit.Early(n); } // so many of them
    void Due() { credit.Due(); }             // a page that had to be written was
    void CameDue() { credit.CameDue(); }     // one need not be, since it was written early

  private:
    Credit credit;
};

} // namespace vfile_internal
