// Writing pages together with one that goes.
#include "vmem/early_writes.h"

#include "vmem/page_cache.h"

namespace vfile_internal {

int EarlyWrites::Pick(const PageCache& cache, CacheDesc* victim, CacheDesc** pages) const {
    int more = credit.Pages();
    const std::int64_t group = victim->adr - victim->adr % GroupSize;
    std::int64_t first = victim->adr;
    for (; more > 0 && first > group && cache.NearEviction(first - PageSize); --more) first -= PageSize;
    int n = 0;
    for (std::int64_t adr = first; adr < group + GroupSize; adr += PageSize, ++n) {
        pages[n] = adr > victim->adr && more-- <= 0 ? nullptr : cache.NearEviction(adr);
        if (!pages[n]) break;
    }
    return n;
}

} // namespace vfile_internal
