// The invariants of a VMem as a check, and its state as text.
#include "vmem/vmem_check.h"

#include "platform/swap_file.h"
#include "vmem/vmem_internal.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {

class VMemCheck {
  public:
    VMemCheck(const VMem& memory, std::FILE* report) : m(memory), out(report) {}
    bool Check(bool deep) const;
    void Dump(bool all) const;

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
    bool CheckContents() const;
    bool CheckAhead() const;
    bool CheckSlabs() const;
    int PagesInUse(const PageSlab* slab) const;
    bool CheckClasses() const;
    bool CheckHead(const char* list, int number, std::int32_t head, std::int32_t count) const;
    bool CheckFreeLists() const;
    bool ReadFreeList(const char* list, int number, Block* blocks, std::int32_t& found) const;
    bool CheckOverlap(Block* blocks, std::int32_t count) const;
    std::int32_t FreeBlocks() const;
    bool ReadFile(std::int64_t adr, unsigned char* data) const;
    bool Peek(std::int32_t adr, unsigned char* to, int n) const;

    const VMem& m;
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
    for (const CacheDesc* p = m.cacheHead; p; before = p, p = p->next) {
        if (p->prev != before) return Broken("C1: page %d does not point back at the one before it", p->adr);
        if (before && before->stamp <= p->stamp) {
            return Broken("C7: page %d has no lower stamp than page %d before it", p->adr, before->adr);
        }
        if (++n > m.cacheCount) return Broken("C1: the list goes on past cacheCount %d", m.cacheCount);
    }
    if (before != m.cacheTail) return Broken("C1: the list of %d pages does not end at cacheTail", n);
    return n == m.cacheCount || Broken("C1: the list has %d pages, cacheCount is %d", n, m.cacheCount);
}

// As many pages in the chains as in the list, none twice, and each page of the list among them.
bool VMemCheck::CheckChains() const {
    int n = 0;
    for (std::uint32_t i = 0; i < m.chainCount; ++i) {
        for (const CacheDesc* p = m.chains[i]; p; p = p->chainNext) {
            if (++n > m.cacheCount) return Broken("C2: more pages in chains than cacheCount %d", m.cacheCount);
            if (p->adr < 0 || (p->adr & PageMask) != 0 || &m.ChainOf(p->adr) != &m.chains[i]) {
                return Broken("C2: page %d in chain %u", p->adr, i);
            }
            if (m.Lookup(p->adr) != p) return Broken("C2: page %d is cached twice", p->adr);
        }
    }
    if (n != m.cacheCount) return Broken("C2: %d pages in chains, cacheCount is %d", n, m.cacheCount);
    for (const CacheDesc* p = m.cacheHead; p; p = p->next) {
        if (p->adr < 0) return Broken("C2: a page of the list has adr %d", p->adr);
        if (m.Lookup(p->adr) != p) return Broken("C2: page %d of the list is in no chain", p->adr);
    }
    for (int slot = 0; slot < VMem::SlotCount; ++slot) {
        const CacheDesc* p = m.hashTable[slot];
        if (p && (p->adr < 0 || VMem::SlotOf(p->adr) != slot || m.Lookup(p->adr) != p)) {
            return Broken("C2: slot %d holds page %d", slot, p->adr);
        }
    }
    return true;
}

bool VMemCheck::CheckSizes() const {
    const int pages = m.maxCacheKb * 1024 / DescriptorSize;
    if (m.maxCacheCount != pages) return Broken("C3: maxCacheCount is %d, should be %d", m.maxCacheCount, pages);
    if (m.cacheCount > std::max(pages, 1)) return Broken("C3: %d pages cached of at most %d", m.cacheCount, pages);
    const auto size = static_cast<long long>(m.fileSize);
    if (size % VMem::PageSize != 0) return Broken("C4: fileSize is %lld", size);
    return m.swapFile != InvalidHandle || size == 0 || Broken("C4: fileSize is %lld without a swap file", size);
}

bool VMemCheck::ReadFile(std::int64_t adr, unsigned char* data) const {
    bool seekFailed = false;
    return platform::ReadAt(m.swapFile, data, VMem::PageSize, adr, &seekFailed) == VMem::PageSize;
}

bool VMemCheck::CheckContents() const {
    for (const CacheDesc* p = m.cacheHead; p; p = p->next) {
        if (p->dirty) continue;
        unsigned char should[VMem::PageSize] = {};
        if (p->adr < m.fileSize && !ReadFile(p->adr, should)) return Broken("C5: the file lacks page %d", p->adr);
        const unsigned char* at = std::mismatch(p->data, p->data + VMem::PageSize, should).first;
        const auto i = at - p->data;
        if (i < VMem::PageSize) {
            return Broken("C5: byte %d of clean page %d is %d, should be %d", static_cast<int>(i), p->adr, *at,
                          should[i]);
        }
    }
    return true;
}

// The pages of a slab that are cached, or in reserve.
int VMemCheck::PagesInUse(const PageSlab* slab) const {
    int n = m.sparePage && m.sparePage->adr == NoAdr && m.sparePage->slab == slab ? 1 : 0;
    for (const CacheDesc* p = m.cacheHead; p; p = p->next) {
        if (p->slab == slab) ++n;
    }
    return n;
}

bool VMemCheck::CheckSlabs() const {
    const PageSlab* before = nullptr;
    for (const PageSlab* slab = m.slabs; slab; before = slab, slab = slab->next) {
        if (slab->prev != before) return Broken("C8: a slab does not point back at the one before it");
        int n = 0;
        for (const CacheDesc* p = slab->free; p; p = p->next) {
            if (p->slab != slab || ++n >= SlabPages)
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
    for (const VMem::Run& run : m.runs) {
        if (run.start == run.end) continue;
        const auto start = static_cast<long long>(run.start), end = static_cast<long long>(run.end);
        if (!run.pages || m.maxCacheCount < GatherFrom || start > end || end > m.fileSize) {
            return Broken("C6: read ahead from %lld to %lld of %lld", start, end, static_cast<long long>(m.fileSize));
        }
        for (long long adr = start; adr < end; adr += VMem::PageSize) {
            unsigned char should[VMem::PageSize];
            if (!ReadFile(adr, should)) return Broken("C6: the file lacks page %lld", adr);
            if (std::memcmp(run.pages + (adr - start), should, sizeof should) != 0) {
                return Broken("C6: page %lld read ahead differs from the file", adr);
            }
        }
    }
    return true;
}

bool VMemCheck::CheckClasses() const {
    constexpr std::int16_t preset[] = {0, 4, 5, VMem::PageSize};
    if (m.classCount < 3 || m.classCount > VMem::MaxClasses) return Broken("A1: classCount is %d", m.classCount);
    for (int i = 0; i <= VMem::MaxClasses; ++i) {
        const int len = m.classLen[i];
        if (i <= 3 && len != preset[i]) return Broken("A1: class %d has length %d, not %d", i, len, preset[i]);
        if (i > 3 && i <= m.classCount && (len < 4 || m.freeCount[i] < 1)) {
            return Broken("A1: class %d of length %d has %d blocks", i, len, m.freeCount[i]);
        }
        for (int j = 1; j < i && i <= m.classCount; ++j) {
            if (m.classLen[j] == len) return Broken("A1: classes %d and %d both have length %d", j, i, len);
        }
        if (i > m.classCount && (m.freeHead[i] != NoAdr || len != 0 || m.freeCount[i] != 0)) {
            return Broken("A1: entry %d, not in use, holds %d, %d, %d", i, m.freeHead[i], len, m.freeCount[i]);
        }
        if (!CheckHead("list", i, m.freeHead[i], m.freeCount[i])) return false;
    }
    return CheckHead("free pages", 0, m.freePages, m.freePageCount);
}

bool VMemCheck::CheckHead(const char* list, int number, std::int32_t head, std::int32_t count) const {
    if (count >= 0 && head >= NoAdr && (count == 0) == (head == NoAdr)) return true;
    return Broken("A2: %s %d has head %d and %d blocks", list, number, head, count);
}

// Bytes of the space, from the cache or the swap file.
bool VMemCheck::Peek(std::int32_t adr, unsigned char* to, int n) const {
    for (int i = 0; i < n; ++i) {
        const std::int32_t page = (adr + i) & ~PageMask;
        const CacheDesc* p = m.Lookup(page);
        unsigned char data[VMem::PageSize] = {};
        if (!p && page < m.fileSize && !ReadFile(page, data)) return false;
        to[i] = (p ? p->data : data)[(adr + i) & PageMask];
    }
    return true;
}

// Number -1 is the free page list. Puts its blocks behind those found before.
bool VMemCheck::ReadFreeList(const char* list, int number, Block* blocks, std::int32_t& found) const {
    const std::int32_t count = number < 0 ? m.freePageCount : m.freeCount[number];
    std::int32_t at = number < 0 ? m.freePages : m.freeHead[number];
    for (std::int32_t i = 0; i < count; ++i) {
        unsigned char bytes[6] = {};
        std::int32_t next = NoAdr;
        std::int16_t len = number < 0 ? std::int16_t{VMem::PageSize} : m.classLen[number];
        const int headSize = number == 0 ? 6 : 4;
        if (at < 0 || std::int64_t{at} + headSize > m.topAdr || !Peek(at, bytes, headSize)) {
            return Broken("A3: entry %d of %s %d is at %d, topAdr is %d", i, list, number, at, m.topAdr);
        }
        std::memcpy(&next, bytes, 4);
        if (number == 0) std::memcpy(&len, bytes + 4, 2);
        const bool wholePage = len == VMem::PageSize && (at & PageMask) == 0;
        if (len < (number == 0 ? 6 : 4) || wholePage != (number < 0)) {
            return Broken("A3: a block of %d bytes at %d on %s %d", len, at, list, number);
        }
        blocks[found++] = {at, len};
        at = next;
    }
    return at == NoAdr || Broken("A3: %s %d goes on at %d behind its %d blocks", list, number, at, count);
}

bool VMemCheck::CheckOverlap(Block* blocks, std::int32_t count) const {
    std::sort(blocks, blocks + count, [](const Block& a, const Block& b) { return a.adr < b.adr; });
    for (std::int32_t i = 0; i < count; ++i) {
        const std::int64_t end = std::int64_t{blocks[i].adr} + blocks[i].len;
        const std::int32_t limit = i + 1 < count ? blocks[i + 1].adr : m.topAdr;
        if (end > limit)
            return Broken("A4: the free block at %d ends at %lld, past %d", blocks[i].adr, (long long)end, limit);
    }
    return true;
}

std::int32_t VMemCheck::FreeBlocks() const {
    std::int32_t n = m.freePageCount;
    for (int i = 0; i <= m.classCount; ++i) n += m.freeCount[i];
    return n;
}

bool VMemCheck::CheckFreeLists() const {
    const auto size = (static_cast<std::size_t>(FreeBlocks()) + 1) * sizeof(Block);
    auto* blocks = static_cast<Block*>(std::malloc(size));
    if (!blocks) return true; // no memory to tell
    std::int32_t found = 0;
    bool right = ReadFreeList("free pages", -1, blocks, found);
    for (int i = 0; i <= m.classCount && right; ++i) right = ReadFreeList("list", i, blocks, found);
    right = right && CheckOverlap(blocks, found);
    std::free(blocks);
    return right;
}

bool VMemCheck::Check(bool deep) const {
    if (!CheckList() || !CheckChains() || !CheckSizes() || !CheckClasses()) return false;
    return !deep || (CheckContents() && CheckAhead() && CheckSlabs() && CheckFreeLists());
}

void VMemCheck::Dump(bool all) const {
    constexpr int Most = 50; // lines of pages
    std::fprintf(out, "VMem: temp %s swap %s\n", m.tempDir ? m.tempDir : "-", m.swapName ? m.swapName : "-");
    std::fprintf(out, "  topAdr %d fileSize %lld cache %d of %d spare %s\n", m.topAdr,
                 static_cast<long long>(m.fileSize), m.cacheCount, m.maxCacheCount, m.sparePage ? "yes" : "no");
    std::fprintf(out, "  free: page %d@%d mixed %d@%d", m.freePageCount, m.freePages, m.freeCount[0], m.freeHead[0]);
    for (int i = 1; i <= m.classCount; ++i) {
        std::fprintf(out, " %d %d@%d", m.classLen[i], m.freeCount[i], m.freeHead[i]);
    }
    std::fputc('\n', out);
    int i = 0;
    for (const CacheDesc* p = m.cacheHead; p && i < m.cacheCount && (all || i < Most); p = p->next, ++i) {
        std::fprintf(out, "  page %d%s%s%s\n", p->adr, p->dirty ? " dirty" : "",
                     m.hashTable[VMem::SlotOf(p->adr)] == p ? "" : " no slot", p == m.sparePage ? " spare" : "");
    }
    if (i < m.cacheCount) std::fprintf(out, "  ... %d more\n", m.cacheCount - i);
}

} // namespace vfile_internal

bool CheckVMem(const VMem& m, bool deep, std::FILE* out) {
    return vfile_internal::VMemCheck(m, out).Check(deep);
}

void DumpVMem(const VMem& m, std::FILE* out, bool all) {
    vfile_internal::VMemCheck(m, out).Dump(all);
}
