// The invariants of a VFile as a check, and its chain as text.
#include "vfile/vfile_check.h"

#include "vfile/block_index.h"
#include "vfile/vfile.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>

namespace vfile_internal {

class VFileCheck {
  public:
    VFileCheck(const VFile& file, std::FILE* report) : f(file), out(report), blocks(0) {}
    bool Check();
    void Dump(bool all) const;

  private:
    bool Broken(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    bool CheckChain();
    bool CheckPages() const;
    bool CheckCursor() const;
    bool CheckBuffer() const;
    bool CheckIndex() const;

    const VFile& f;
    std::FILE* out;
    std::int32_t blocks;
};

bool VFileCheck::Broken(const char* format, ...) const {
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

bool VFileCheck::CheckChain() {
    std::int64_t sum = 0;
    const BlkDesc* before = nullptr;
    for (const BlkDesc* b = f.first; b; before = b, b = b->next) {
        if (b->prev != before) return Broken("B1: block %d does not point back at the one before it", blocks);
        const bool alone = f.first == f.last;
        if (b->len < (alone ? 0 : 1) || b->len > BlkSize) return Broken("B2: block %d has len %d", blocks, b->len);
        if (b->len > 0 && (b->adr < 0 || b->adr % BlkSize != 0)) {
            return Broken("B3: block %d of len %d has adr %d", blocks, b->len, b->adr);
        }
        sum += b->len;
        ++blocks;
    }
    if (before != f.last || !before) return Broken("B1: the chain of %d blocks does not end at last", blocks);
    if (sum != f.len) return Broken("B2: blocks add up to %lld, len is %d", static_cast<long long>(sum), f.len);
    return true;
}

// No two blocks have the same page.
bool VFileCheck::CheckPages() const {
    if (blocks < 1) return true;
    auto* adrs = static_cast<std::int32_t*>(std::malloc(static_cast<std::size_t>(blocks) * sizeof(std::int32_t)));
    if (!adrs) return true; // no memory to tell
    std::int32_t n = 0;
    for (const BlkDesc* b = f.first; b; b = b->next) {
        if (b->adr != -1) adrs[n++] = b->adr;
    }
    std::sort(adrs, adrs + n);
    const std::int32_t* twice = std::adjacent_find(adrs, adrs + n);
    const std::int32_t adr = twice == adrs + n ? -1 : *twice;
    std::free(adrs);
    return adr == -1 || Broken("B3: two blocks have the page at %d", adr);
}

bool VFileCheck::CheckCursor() const {
    std::int32_t start = 0;
    const BlkDesc* b = f.first;
    for (; b && b != f.cur.ptr; b = b->next) start += b->len;
    if (!b) return Broken("B4: the current block is not in the chain");
    if (start != f.cur.start)
        return Broken("B4: blocks before the cursor add up to %d, cur.start is %d", start, f.cur.start);
    if (f.cur.ix < 0 || f.cur.ix > b->len) return Broken("B4: cur.ix is %d in a block of %d", f.cur.ix, b->len);
    if (f.pos != start + f.cur.ix) return Broken("B4: cur.start + cur.ix is %d, pos is %d", start + f.cur.ix, f.pos);
    return true;
}

bool VFileCheck::CheckBuffer() const {
    if (f.bufDirty && !f.bufLoaded) return Broken("B5: bufDirty without bufLoaded");
    if (f.bufLoaded && !f.buf) return Broken("B5: bufLoaded without buf");
    if (f.bufDirty && f.cur.ptr->adr == -1) return Broken("B5: bufDirty and no page");
    return true;
}

bool VFileCheck::CheckIndex() const {
    if (!f.index) return f.indexLag == 0 || Broken("I1: no index, but a lag of %d", f.indexLag);
    const int broken = f.index->Check(f.first, f.cur.ptr, f.indexLag);
    if (broken) return Broken("I%d: the index and the chain disagree, lag %d", broken, f.indexLag);
    return f.index->Count() == blocks || Broken("I1: the index counts %d blocks of %d", f.index->Count(), blocks);
}

bool VFileCheck::Check() {
    return CheckChain() && CheckPages() && CheckCursor() && CheckBuffer() && CheckIndex();
}

void VFileCheck::Dump(bool all) const {
    constexpr int Around = 25; // blocks on either side of the current one
    std::fprintf(out, "VFile: len %d pos %d res %d eof %d flags 0x%x type %d buf %s\n", f.len, f.pos, f.res,
                 f.eof, // NOLINT
                 static_cast<unsigned>(f.flags), f.type,
                 !f.buf         ? "none"
                 : !f.bufLoaded ? "free"
                 : !f.bufDirty  ? "loaded"
                                : "dirty");
    int current = 0;
    for (const BlkDesc* b = f.first; b && b != f.cur.ptr; b = b->next) ++current;
    std::int32_t start = 0;
    int i = 0;
    for (const BlkDesc* b = f.first; b; start += b->len, b = b->next, ++i) {
        if (!all && (i < current - Around || i > current + Around)) continue;
        std::fprintf(out, "%c %d: start %d len %d adr %d", b == f.cur.ptr ? '*' : ' ', i, start, b->len, b->adr);
        if (b == f.cur.ptr) std::fprintf(out, "  cur.start %d cur.ix %d", f.cur.start, f.cur.ix);
        std::fputc('\n', out);
    }
}

} // namespace vfile_internal

bool CheckVFile(const VFile& f, std::FILE* out) {
    return vfile_internal::VFileCheck(f, out).Check();
}

void DumpVFile(const VFile& f, std::FILE* out, bool all) {
    vfile_internal::VFileCheck(f, out).Dump(all);
}
