// The invariants of a VFile as a check, and its chain as text.
#include "vfile/vfile_check.h"

#include "vfile/content.h"
#include "vfile/line_index.h"
#include "vmem/vmem_check.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>

namespace vfile_internal {

class VFileCheck {
  public:
    VFileCheck(const VFile& file, std::FILE* report)
        : f(file), c(Content::Of(file)), chain(c.chain), out(report), blocks(0) {}
    bool Check();
    void Dump(bool all) const;
    void DumpLines() const;

  private:
    bool Broken(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    bool CheckChain();
    bool CheckPages() const;
    bool CheckCursor() const;
    bool CheckBuffer() const;
    bool CheckIndex() const;
    bool CheckLines() const;
    bool CheckChunks(const LineIndex& lines, const unsigned char* bytes) const;
    bool ReadAll(unsigned char* bytes) const;

    const VFile& f;
    const Content& c;
    const BlockChain& chain;
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
    for (const BlkDesc* b = chain.first; b; before = b, b = b->next) {
        if (b->prev != before) return Broken("B1: block %d does not point back at the one before it", blocks);
        const bool alone = chain.first == chain.last;
        if (b->len < (alone ? 0 : 1)) return Broken("B2: block %d has len %d", blocks, b->len);
        if (b->len > 0 && (b->adr < 0 || b->adr % BlkSize != 0)) {
            return Broken("B3: block %d of len %d has adr %d", blocks, b->len, b->adr);
        }
        sum += b->len;
        ++blocks;
    }
    if (before != chain.last || !before) return Broken("B1: the chain of %d blocks does not end at last", blocks);
    if (sum != f.len) return Broken("B2: blocks add up to %lld, len is %d", static_cast<long long>(sum), f.len);
    if (sum != chain.total) return Broken("B2: the chain counts %d bytes of %d", chain.total, f.len);
    return true;
}

// No two blocks have the same page.
bool VFileCheck::CheckPages() const {
    struct Pages {
        std::int64_t start, end;
    };
    if (blocks < 1) return true;
    auto* taken = static_cast<Pages*>(std::malloc(static_cast<std::size_t>(blocks) * sizeof(Pages)));
    if (!taken) return true; // no memory to tell
    std::int32_t n = 0;
    for (const BlkDesc* b = chain.first; b; b = b->next) {
        if (b->adr != -1) taken[n++] = {b->adr, std::int64_t{b->adr} + std::max<std::int32_t>(b->len, 1)};
    }
    std::sort(taken, taken + n, [](const Pages& a, const Pages& b) { return a.start < b.start; });
    const Pages* twice =
        std::adjacent_find(taken, taken + n, [](const Pages& a, const Pages& b) { return a.end > b.start; });
    const auto adr = twice == taken + n ? -1 : static_cast<std::int32_t>(twice->start);
    std::free(taken);
    return adr == -1 || Broken("B3: two blocks have the page at %d", adr);
}

bool VFileCheck::CheckCursor() const {
    std::int32_t start = 0;
    const BlkDesc* b = chain.first;
    for (; b && b != c.cur.ptr; b = b->next) start += b->len;
    if (!b) return Broken("B4: the current block is not in the chain");
    if (start != c.cur.start)
        return Broken("B4: blocks before the cursor add up to %d, cur.start is %d", start, c.cur.start);
    if (c.cur.ix < 0 || c.cur.ix > b->len) return Broken("B4: cur.ix is %d in a block of %d", c.cur.ix, b->len);
    if (f.pos != start + c.cur.ix) return Broken("B4: cur.start + cur.ix is %d, pos is %d", start + c.cur.ix, f.pos);
    return true;
}

bool VFileCheck::CheckBuffer() const {
    if (c.bufDirty && !c.bufBlk) return Broken("B5: bufDirty without bufBlk");
    if (!c.bufBlk) return true;
    if (!c.buf) return Broken("B5: bufBlk without buf");
    const BlkDesc* b = chain.first;
    while (b && b != c.bufBlk) b = b->next;
    if (!b || b->IsRun()) return Broken("B5: the block in the buffer is a run, or not in the chain");
    if (c.bufDirty && b->adr == -1) return Broken("B5: bufDirty and no page");
    if (c.bufDirty || b->len == 0) return true;
    unsigned char page[BlkSize];
    if (!PeekVMem(*chain.vm, b->adr, page, b->len)) return Broken("B5: the page can't be read");
    const auto i = std::mismatch(page, page + b->len, c.buf).first - page;
    return i == b->len || Broken("B5: byte %d is %d in buf, %d in the page", static_cast<int>(i), c.buf[i], page[i]);
}

bool VFileCheck::CheckIndex() const {
    if (!chain.index) return chain.lag == 0 || Broken("I1: no index, but a lag of %d", chain.lag);
    const int broken = chain.index->Check(chain.first, chain.lagging, chain.lag);
    if (broken) return Broken("I%d: the index and the chain disagree, lag %d", broken, chain.lag);
    return chain.index->Count() == blocks ||
           Broken("I1: the index counts %d blocks of %d", chain.index->Count(), blocks);
}

bool VFileCheck::CheckLines() const {
    const LineIndex* lines = LineIndex::Of(f);
    if (!lines) return true;
    if (!lines->tree.Check()) return Broken("L1 or L2: the nodes of the line index");
    const std::int32_t covered = lines->tree.All().bytes + lines->lag.bytes;
    if (covered != f.len) return Broken("L3: the line index covers %d bytes, len is %d", covered, f.len);
    auto* bytes = static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(f.len) + 1, 1));
    if (!bytes) return true; // no memory to tell
    const bool good = ReadAll(bytes) ? CheckChunks(*lines, bytes) : Broken("L3: a page can't be read");
    std::free(bytes);
    return good;
}

bool VFileCheck::CheckChunks(const LineIndex& lines, const unsigned char* bytes) const {
    for (std::int32_t from = 0, old = 0; old < lines.tree.All().bytes;) {
        const LineChunk chunk = lines.tree.OfByte(old);
        const bool lags = lines.hot.self.bytes > 0 && lines.hot.before.bytes == old;
        const std::int32_t to = from + chunk.self.bytes + (lags ? lines.lag.bytes : 0);
        const std::int32_t told = chunk.self.ends + (lags ? lines.lag.ends : 0);
        std::int32_t ends = 0;
        for (std::int32_t i = from; i < to; ++i)
            ends += bytes[i] == '\r' || (bytes[i] == '\n' && !(i > 0 && bytes[i - 1] == '\r'));
        if (ends != told) return Broken("L3: %d line ends from %d to %d, the index has %d", ends, from, to, told);
        if (to < f.len && bytes[to] == '\n' && bytes[to - 1] == '\r') return Broken("L3: a pair around %d", to);
        old += chunk.self.bytes;
        from = to;
    }
    return true;
}

// The content, past the cache.
bool VFileCheck::ReadAll(unsigned char* bytes) const {
    for (const BlkDesc* b = chain.first; b; bytes += b->len, b = b->next) {
        if (b == c.bufBlk) {
            std::copy(c.buf, c.buf + b->len, bytes);
        } else if (b->len > 0 && !PeekVMem(*chain.vm, b->adr, bytes, b->len)) {
            return false;
        }
    }
    return true;
}

bool VFileCheck::Check() {
    return CheckChain() && CheckPages() && CheckCursor() && CheckBuffer() && CheckIndex() && CheckLines();
}

void VFileCheck::Dump(bool all) const {
    constexpr int Around = 25; // blocks on either side of the current one
    std::fprintf(out, "VFile: len %d pos %d res %d eof %d flags 0x%x type %d buf %s\n", f.len, f.pos, f.res,
                 f.eof, // NOLINT
                 static_cast<unsigned>(f.flags), f.type,
                 !c.buf        ? "none"
                 : !c.bufBlk   ? "free"
                 : !c.bufDirty ? "loaded"
                               : "dirty");
    int current = 0;
    for (const BlkDesc* b = chain.first; b && b != c.cur.ptr; b = b->next) ++current;
    std::int32_t start = 0;
    int i = 0;
    for (const BlkDesc* b = chain.first; b; start += b->len, b = b->next, ++i) {
        if (!all && (i < current - Around || i > current + Around)) continue;
        std::fprintf(out, "%c %d: start %d len %d adr %d", b == c.cur.ptr ? '*' : ' ', i, start, b->len, b->adr);
        if (b == c.cur.ptr) std::fprintf(out, "  cur.start %d cur.ix %d", c.cur.start, c.cur.ix);
        std::fputc('\n', out);
    }
}

void VFileCheck::DumpLines() const {
    const LineIndex* lines = LineIndex::Of(f);
    if (!lines) return;
    const LineChunk& hot = lines->hot;
    std::fprintf(out, "line ends: %d; hot chunk at %d of %d bytes with %d, lag %d, %d\n", lines->Ends(),
                 hot.before.bytes, hot.self.bytes, hot.self.ends, lines->lag.bytes, lines->lag.ends);
    for (std::int32_t at = 0; at < lines->tree.All().bytes;) {
        const LineChunk chunk = lines->tree.OfByte(at);
        std::fprintf(out, "  chunk at %d: %d bytes, %d line ends\n", at, chunk.self.bytes, chunk.self.ends);
        at += chunk.self.bytes;
    }
}

bool CheckVFile(const VFile& f, std::FILE* out) {
    return VFileCheck(f, out).Check();
}

void DumpVFile(const VFile& f, std::FILE* out, bool all) {
    VFileCheck(f, out).Dump(all);
}

void DumpLines(const VFile& f, std::FILE* out) {
    VFileCheck(f, out).DumpLines();
}

} // namespace vfile_internal
