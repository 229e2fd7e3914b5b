// The invariants of a VMem as a check, and its state as text.
#include "vmem/vmem_check.h"

#include "vmem/memory.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {

class VMemCheck {
  public:
    VMemCheck(const VMem& vm, std::FILE* report)
        : cache(vm.memory->cache), file(vm.memory->file), space(vm.memory->allocator), out(report) {}
    bool Check(bool deep) const;
    void Dump(bool all) const;
    bool Peek(std::int32_t adr, unsigned char* to, int n) const;

  private:
    // A free block, or the place of the next one while a list is read.
    struct Block {
        std::int32_t adr;
        std::int32_t len;
    };

    bool Broken(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    bool CheckList() const;
    bool CheckChains() const;
    bool CheckSizes() const;
    bool CheckBackings() const;
    bool CheckContents() const;
    bool CheckAhead() const;
    bool CheckSlabs() const;
    int PagesInUse(const PageSlab* slab) const;
    bool CheckClasses() const;
    bool CheckHead(const char* list, int number, std::int32_t head, std::int32_t count) const;
    bool CheckFreeLists() const;
    bool ReadFreeList(int number, Block* blocks, std::int32_t& found) const;
    bool ReadFreePages(Block* blocks, std::int32_t& found) const;
    bool CheckOverlap(Block* blocks, std::int32_t count) const;
    std::int32_t FreeBlocks() const;
    bool ReadFile(std::int64_t adr, unsigned char* data) const;

    const PageCache& cache;
    const SwapFile& file;
    const Allocator& space;
    std::FILE* out;
};

bool VMemCheck::Broken(const char* format, ...) const {
    if (out) {
        std::va_list args;
        va_start(args, format);
        std::vfprintf(out, format, args);
        va_end(args);
        std::fputc('\n', out);
        Dump(false);
    }
    return false;
}

bool VMemCheck::CheckList() const {
    int n = 0;
    const CacheDesc* before = nullptr;
    for (const CacheDesc* p = cache.cacheHead; p; before = p, p = p->next) {
        if (p->prev != before) return Broken("C1: page %d does not point back at the one before it", p->adr);
        if (before && before->stamp <= p->stamp) {
            return Broken("C7: page %d has no lower stamp than page %d before it", p->adr, before->adr);
        }
        if (++n > cache.cacheCount) return Broken("C1: the list goes on past cacheCount %d", cache.cacheCount);
    }
    if (before != cache.cacheTail) return Broken("C1: the list of %d pages does not end at cacheTail", n);
    return n == cache.cacheCount || Broken("C1: the list has %d pages, cacheCount is %d", n, cache.cacheCount);
}

// As many pages in the chains as in the list, none twice, and each page of the list among them.
bool VMemCheck::CheckChains() const {
    int n = 0;
    for (std::uint32_t i = 0; i < cache.chainCount; ++i) {
        for (const CacheDesc* p = cache.chains[i]; p; p = p->chainNext) {
            if (++n > cache.cacheCount) return Broken("C2: more pages in chains than cacheCount %d", cache.cacheCount);
            if (p->adr < 0 || (p->adr & PageMask) != 0 || &cache.ChainOf(p->adr) != &cache.chains[i]) {
                return Broken("C2: page %d in chain %u", p->adr, i);
            }
            if (cache.Lookup(p->adr) != p) return Broken("C2: page %d is cached twice", p->adr);
        }
    }
    if (n != cache.cacheCount) return Broken("C2: %d pages in chains, cacheCount is %d", n, cache.cacheCount);
    for (const CacheDesc* p = cache.cacheHead; p; p = p->next) {
        if (p->adr < 0) return Broken("C2: a page of the list has adr %d", p->adr);
        if (cache.Lookup(p->adr) != p) return Broken("C2: page %d of the list is in no chain", p->adr);
    }
    for (int slot = 0; slot < PageCache::SlotCount; ++slot) {
        const CacheDesc* p = cache.hashTable[slot];
        if (p && (p->adr < 0 || PageCache::SlotOf(p->adr) != slot || cache.Lookup(p->adr) != p)) {
            return Broken("C2: slot %d holds page %d", slot, p->adr);
        }
    }
    return true;
}

bool VMemCheck::CheckSizes() const {
    const int pages = PageCache::PagesOf(cache.maxCacheKb);
    if (cache.maxCacheCount != pages)
        return Broken("C3: maxCacheCount is %d, should be %d", cache.maxCacheCount, pages);
    int lent = 0;
    for (const CacheDesc* p = cache.cacheHead; p; p = p->next) lent += p->lent > 0;
    if (lent != cache.lentCount) return Broken("C9: %d pages are lent, lentCount is %d", lent, cache.lentCount);
    if (cache.cacheCount > std::max(pages, 1) + lent)
        return Broken("C3: %d pages cached of at most %d", cache.cacheCount, pages);
    const auto size = static_cast<long long>(file.fileSize);
    if (size % PageSize != 0) return Broken("C4: fileSize is %lld", size);
    return file.handle != InvalidHandle || size == 0 || Broken("C4: fileSize is %lld without a swap file", size);
}

bool VMemCheck::ReadFile(std::int64_t adr, unsigned char* data) const {
    return !file.Read(static_cast<std::int32_t>(adr), data);
}

bool VMemCheck::CheckBackings() const {
    for (const Backing* b = file.backings.First(); b; b = b->next) {
        std::int32_t n = 0;
        for (std::int64_t adr = b->start; adr < b->end; adr += PageSize) {
            const Backing* other = b->next;
            while (other && !other->Gives(adr)) other = other->next;
            n += b->Gives(adr) ? 1 : 0;
            if (b->Gives(adr) && (other || adr >= space.topAdr)) return Broken("C10: page %lld", (long long)adr);
        }
        if (n != b->giving || n < 1) return Broken("C10: %d pages come from a file, not %d", n, b->giving);
    }
    return true;
}

bool VMemCheck::CheckContents() const {
    for (const CacheDesc* p = cache.cacheHead; p; p = p->next) {
        if (p->dirty) continue;
        unsigned char should[PageSize] = {};
        if (file.Has(p->adr) && !ReadFile(p->adr, should)) return Broken("C5: the file lacks page %d", p->adr);
        const unsigned char* at = std::mismatch(p->data, p->data + PageSize, should).first;
        const auto i = at - p->data;
        if (i < PageSize) {
            return Broken("C5: byte %d of clean page %d is %d, should be %d", static_cast<int>(i), p->adr, *at,
                          should[i]);
        }
    }
    return true;
}

// The pages of a slab that are cached, or in reserve.
int VMemCheck::PagesInUse(const PageSlab* slab) const {
    int n = cache.sparePage && cache.sparePage->adr == NoAdr && cache.sparePage->slab == slab ? 1 : 0;
    for (const CacheDesc* p = cache.cacheHead; p; p = p->next) {
        if (p->slab == slab) ++n;
    }
    return n;
}

bool VMemCheck::CheckSlabs() const {
    const PageSlab* before = nullptr;
    for (const PageSlab* slab = cache.pool.slabs; slab; before = slab, slab = slab->next) {
        if (slab->prev != before) return Broken("C8: a slab does not point back at the one before it");
        int n = 0;
        for (const CacheDesc* p = slab->free; p; p = p->next) {
            if (p->slab != slab || ++n > SlabPages)
                return Broken("C8: free page %d of a slab is none of its own, or one too many", n);
        }
        if (n == 0) return Broken("C8: a slab without a free page is listed");
        if (slab->inUse != PagesInUse(slab)) {
            return Broken("C8: %d pages of a slab are in use, not %d", PagesInUse(slab), slab->inUse);
        }
    }
    return true;
}

bool VMemCheck::CheckAhead() const {
    for (int i = 0; i < ReadAhead::RunCount; ++i) {
        const ReadAhead::Batch batch = cache.ahead.BatchOf(i);
        const auto start = static_cast<long long>(batch.start), end = static_cast<long long>(batch.end);
        if (start == end) continue;
        if (!batch.bytes || cache.maxCacheCount < GatherFrom || start > end)
            return Broken("C6: read ahead from %lld to %lld", start, end);
        for (long long adr = start; adr < end; adr += PageSize) {
            unsigned char should[PageSize];
            if (!file.Has(adr) || !ReadFile(adr, should)) return Broken("C6: the file lacks page %lld", adr);
            if (std::memcmp(batch.bytes + (adr - start), should, sizeof should) != 0)
                return Broken("C6: page %lld read ahead differs from the file", adr);
        }
    }
    return true;
}

bool VMemCheck::CheckClasses() const {
    constexpr std::int16_t preset[] = {0, 4, 5, PageSize};
    if (space.classCount < 3 || space.classCount > Allocator::MaxClasses)
        return Broken("A1: classCount is %d", space.classCount);
    for (int i = 0; i <= Allocator::MaxClasses; ++i) {
        const int len = space.classLen[i];
        if (i <= 3 && len != preset[i]) return Broken("A1: class %d has length %d, not %d", i, len, preset[i]);
        if (i > 3 && i <= space.classCount && (len < 4 || space.freeCount[i] < 1)) {
            return Broken("A1: class %d of length %d has %d blocks", i, len, space.freeCount[i]);
        }
        for (int j = 1; j < i && i <= space.classCount; ++j) {
            if (space.classLen[j] == len) return Broken("A1: classes %d and %d both have length %d", j, i, len);
        }
        if (i > space.classCount && (space.freeHead[i] != NoAdr || len != 0 || space.freeCount[i] != 0)) {
            return Broken("A1: entry %d, not in use, holds %d, %d, %d", i, space.freeHead[i], len, space.freeCount[i]);
        }
        if (!CheckHead("list", i, space.freeHead[i], space.freeCount[i])) return false;
    }
    return CheckHead("free pages", 0, space.freePages.Head(), space.freePages.Count());
}

bool VMemCheck::CheckHead(const char* list, int number, std::int32_t head, std::int32_t count) const {
    if (count >= 0 && head >= NoAdr && (count == 0) == (head == NoAdr)) return true;
    return Broken("A2: %s %d has head %d and %d blocks", list, number, head, count);
}

// Bytes of the space, from the cache or the swap file.
bool VMemCheck::Peek(std::int32_t adr, unsigned char* to, int n) const {
    for (int done = 0, k; done < n; done += k) {
        const std::int32_t off = (adr + done) & PageMask;
        const std::int32_t page = adr + done - off;
        k = std::min(n - done, PageSize - off);
        const CacheDesc* p = cache.Lookup(page);
        unsigned char data[PageSize] = {};
        if (!p && file.Has(page) && !ReadFile(page, data)) return false;
        std::memcpy(to + done, (p ? p->data : data) + off, static_cast<std::size_t>(k));
    }
    return true;
}

// Puts the blocks of a list after those found before.
bool VMemCheck::ReadFreeList(int number, Block* blocks, std::int32_t& found) const {
    std::int32_t at = space.freeHead[number];
    for (std::int32_t i = 0; i < space.freeCount[number]; ++i) {
        unsigned char bytes[6] = {};
        std::int32_t next = NoAdr;
        std::int16_t len = space.classLen[number];
        const int headSize = number == 0 ? 6 : 4;
        if (at < 0 || std::int64_t{at} + headSize > space.topAdr || !Peek(at, bytes, headSize)) {
            return Broken("A3: entry %d of list %d is at %d, topAdr is %d", i, number, at, space.topAdr);
        }
        std::memcpy(&next, bytes, 4);
        if (number == 0) std::memcpy(&len, bytes + 4, 2);
        if (len < headSize || (len == PageSize && (at & PageMask) == 0)) {
            return Broken("A3: a block of %d bytes at %d on list %d", len, at, number);
        }
        blocks[found++] = {at, len};
        at = next;
    }
    return at == NoAdr || Broken("A3: list %d goes on at %d behind its %d blocks", number, at, space.freeCount[number]);
}

// The same for the list of free pages: what its runs tell, and the links that pages hold.
bool VMemCheck::ReadFreePages(Block* blocks, std::int32_t& found) const {
    std::int32_t at = space.freePages.Head();
    std::int32_t left = space.freePages.Count();
    const FreeRun* run = space.freePages.Run(0);
    for (int i = 1; run; ++i) {
        if (run->head != at) return Broken("A3: free page %d is followed by %d", at, run->head);
        if (run->count < 1 || run->count > left) return Broken("A3: a run of %d of %d pages", run->count, left);
        const FreeRun* below = space.freePages.Run(i);
        for (int k = 1; k <= run->count; ++k, --left) {
            if (at < 0 || (at & PageMask) != 0 || std::int64_t{at} + PageSize > space.topAdr) {
                return Broken("A3: free page %d, topAdr is %d", at, space.topAdr);
            }
            blocks[found++] = {at, PageSize};
            std::int32_t next = k < run->count ? at - run->step * PageSize : below ? below->head : NoAdr;
            if (run->step == 0 && !Peek(at, reinterpret_cast<unsigned char*>(&next), 4)) {
                return Broken("A3: free page %d can't be read", at);
            }
            at = next;
        }
        run = below;
    }
    return (at == NoAdr && left == 0) || Broken("A3: %d pages missing on the free list, which goes on at %d", left, at);
}

bool VMemCheck::CheckOverlap(Block* blocks, std::int32_t count) const {
    std::sort(blocks, blocks + count, [](const Block& a, const Block& b) { return a.adr < b.adr; });
    for (std::int32_t i = 0; i < count; ++i) {
        const std::int64_t end = std::int64_t{blocks[i].adr} + blocks[i].len;
        const std::int32_t limit = i + 1 < count ? blocks[i + 1].adr : space.topAdr;
        if (end > limit)
            return Broken("A4: the free block at %d ends at %lld, past %d", blocks[i].adr, (long long)end, limit);
    }
    return true;
}

std::int32_t VMemCheck::FreeBlocks() const {
    std::int32_t n = space.freePages.Count();
    for (int i = 0; i <= space.classCount; ++i) n += space.freeCount[i];
    return n;
}

bool VMemCheck::CheckFreeLists() const {
    const auto size = (static_cast<std::size_t>(FreeBlocks()) + 1) * sizeof(Block);
    auto* blocks = static_cast<Block*>(std::malloc(size));
    if (!blocks) return true; // no memory to tell
    std::int32_t found = 0;
    bool right = ReadFreePages(blocks, found);
    for (int i = 0; i <= space.classCount && right; ++i) right = ReadFreeList(i, blocks, found);
    right = right && CheckOverlap(blocks, found);
    std::int32_t bytes = 0;
    for (std::int32_t i = 0; i < found; ++i) bytes += blocks[i].len;
    std::free(blocks);
    return right && (bytes == space.Free() || Broken("A3: %d bytes are free, not %d", bytes, space.Free()));
}

bool VMemCheck::Check(bool deep) const {
    if (!CheckList() || !CheckChains() || !CheckSizes() || !CheckBackings() || !CheckClasses()) return false;
    return !deep || (CheckContents() && CheckAhead() && CheckSlabs() && CheckFreeLists());
}

void VMemCheck::Dump(bool all) const {
    constexpr int Most = 50; // lines of pages
    std::fprintf(out, "VMem: temp %s swap %s\n", file.dir ? file.dir : "-", file.name ? file.name : "-");
    std::fprintf(out, "  topAdr %d fileSize %lld cache %d of %d spare %s\n", space.topAdr,
                 static_cast<long long>(file.fileSize), cache.cacheCount, cache.maxCacheCount,
                 cache.sparePage ? "yes" : "no");
    std::fprintf(out, "  free: page %d@%d mixed %d@%d", space.freePages.Count(), space.freePages.Head(),
                 space.freeCount[0], space.freeHead[0]);
    for (int i = 1; i <= space.classCount; ++i) {
        std::fprintf(out, " %d %d@%d", space.classLen[i], space.freeCount[i], space.freeHead[i]);
    }
    std::fputc('\n', out);
    int i = 0;
    for (const CacheDesc* p = cache.cacheHead; p && i < cache.cacheCount && (all || i < Most); p = p->next, ++i) {
        std::fprintf(out, "  page %d%s%s%s\n", p->adr, p->dirty ? " dirty" : "",
                     cache.hashTable[PageCache::SlotOf(p->adr)] == p ? "" : " no slot",
                     p == cache.sparePage ? " spare" : "");
    }
    if (i < cache.cacheCount) std::fprintf(out, "  ... %d more\n", cache.cacheCount - i);
}

bool CheckVMem(const VMem& m, bool deep, std::FILE* out) {
    return VMemCheck(m, out).Check(deep);
}

bool PeekVMem(const VMem& m, std::int32_t adr, void* to, int n) {
    return VMemCheck(m, nullptr).Peek(adr, static_cast<unsigned char*>(to), n);
}

void DumpVMem(const VMem& m, std::FILE* out, bool all) {
    VMemCheck(m, out).Dump(all);
}

} // namespace vfile_internal
