// The bytes of the space: transfers that take page by page from the cache.
#include "vmem/page_cache.h"

#include <algorithm>
#include <cstring>

namespace vfile_internal {

// Get and Set: pages before one that halted have been moved.

bool PageCache::Get(std::int32_t adr, void* buf, std::int32_t len) {
    auto* to = static_cast<unsigned char*>(buf);
    for (std::int32_t left = len;;) {
        const CacheDesc* p = FindPage(PageOf(adr));
        if (!p) return false;
        const std::int32_t off = adr & PageMask;
        const std::int32_t n = std::min(left, PageSize - off);
        std::memcpy(to, p->data + off, static_cast<std::size_t>(n));
        left -= n;
        if (left == 0) return true;
        to += n;
        adr += n;
    }
}

bool PageCache::Set(std::int32_t adr, const void* buf, std::int32_t len) {
    const auto* from = static_cast<const unsigned char*>(buf);
    for (std::int32_t left = len;;) {
        const std::int32_t off = adr & PageMask;
        const std::int32_t n = std::min(left, PageSize - off);
        CacheDesc* p = FindPage(PageOf(adr), n == PageSize);
        if (!p) return false;
        std::memcpy(p->data + off, from, static_cast<std::size_t>(n));
        p->dirty = true;
        left -= n;
        if (left == 0) return true;
        from += n;
        adr += n;
    }
}

// Set of some bytes, all of them or none: the page after is brought first, and nothing has changed where that halts.
bool PageCache::SetWhole(std::int32_t adr, const void* buf, std::int32_t len) {
    const auto* from = static_cast<const unsigned char*>(buf);
    const std::int32_t off = adr & PageMask;
    const auto n = static_cast<std::size_t>(std::min(len, PageSize - off));
    const auto rest = static_cast<std::size_t>(len) - n;
    CacheDesc* p = FindPage(PageOf(adr));
    if (!p) return false;
    if (rest > 0) {
        const std::int32_t next = PageOf(adr) + PageSize;
        const bool goes = p == cacheTail && p->lent == 0 && cacheCount >= maxCacheCount && !Lookup(next);
        CacheDesc* behind = goes ? Replace(p, off, from, n, next) : FindPage(next);
        if (!behind) return false;
        std::memcpy(behind->data, from + n, rest);
        behind->dirty = true;
        if (goes) return true;
    }
    std::memcpy(p->data + off, from, n);
    p->dirty = true;
    return true;
}

// Set from the start of a page on. What lies after these bytes is of no more use, so the page is not read in.
bool PageCache::Fill(std::int32_t adr, const void* buf, std::int32_t len) {
    const bool cached = Lookup(adr) != nullptr;
    CacheDesc* p = cached ? FindPage(adr) : EnterPage(adr);
    if (!p) return false;
    std::memcpy(p->data, buf, static_cast<std::size_t>(len));
    if (!cached) std::memset(p->data + len, 0, static_cast<std::size_t>(PageSize - len));
    p->dirty = true;
    return true;
}

} // namespace vfile_internal
