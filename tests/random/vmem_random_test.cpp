// Follows a VMem, under a cache of a few pages, of some 256, where transfers are gathered, or of all pages, with a slow
// and simple model of it: after every step the bytes, the sizes, the free lists and the cached pages in their order are
// equal. VFILE_SEED and VFILE_STEPS repeat a run.
#include "support/vmem_support.h"

#include <deque>
#include <map>

namespace {

constexpr int SlotMate = 4016 * 1024; // from a page to the next one with its slot
constexpr int BallastBlocks = 130;    // of 32767 bytes: over 4016 pages, so that pages share slots
constexpr int BytesMax = BallastBlocks * 32767 + 400000;
constexpr std::size_t BlocksMax = 150; // in use at a time

struct Block {
    int adr, len;
};

struct Page {
    int adr;
    bool dirty, spare;
    long stamp;
};

// The free blocks of one length, the next one to be taken first.
struct List {
    int len;
    std::deque<int> blocks;
};

struct Model {
    std::string bytes = std::string(BytesMax, '\0');
    int top = 0, fileSize = 0, maxPages = 0;
    long moves = 0;
    bool spare = true;
    std::deque<Page> pages; // from head to tail
    std::map<int, int> slots;
    List freePages{1024, {}};
    std::deque<Block> mixed;
    std::vector<List> classes{{4, {}}, {5, {}}, {1024, {}}};

    static int SlotOf(int adr) { return adr / 1024 % 4016; }
    bool HasSlot(int adr) const { return slots.count(SlotOf(adr)) != 0 && slots.at(SlotOf(adr)) == adr; }
    void Flush(Page& p) {
        if (p.dirty) fileSize = std::max(fileSize, p.adr + 1024);
        p.dirty = false;
    }
    std::deque<Page>::iterator Find(int adr) {
        return std::find_if(pages.begin(), pages.end(), [=](const Page& q) { return q.adr == adr; });
    }
    // A victim takes the dirty pages around it along that lie in the same 64 KiB and are among the next 64 to
    // go, if the file reaches up to them.
    void FlushAround(const Page& victim) {
        const auto soon = [&](int adr) {
            const auto p = Find(adr);
            return p != pages.end() && p->dirty && p->stamp - victim.stamp < 64;
        };
        const int group = victim.adr - victim.adr % 65536;
        int first = victim.adr;
        while (first > group && soon(first - 1024)) first -= 1024;
        if (!victim.dirty || maxPages < 256 || fileSize == 0 || fileSize < first) return;
        for (int adr = first; adr < group + 65536 && soon(adr); adr += 1024) Flush(*Find(adr));
    }
    Page Drop(std::deque<Page>::iterator p) {
        Flush(*p);
        if (HasSlot(p->adr)) slots.erase(SlotOf(p->adr));
        const Page dropped = *p;
        pages.erase(p);
        return dropped;
    }
    void Shrink(int count) {
        while (static_cast<int>(pages.size()) > count) Drop(pages.begin());
    }
    void Touch(int adr, bool write) {
        auto p = Find(adr);
        if (!HasSlot(adr)) {
            Page page{adr, false, pages.empty() && spare, 0};
            const bool atHead = p != pages.end() && p == pages.begin();
            if (p != pages.end()) {
                page = *p;
                pages.erase(p);
            } else if (!pages.empty() && static_cast<int>(pages.size()) >= maxPages) {
                FlushAround(pages.back());
                page.spare = Drop(pages.end() - 1).spare;
            }
            if (!atHead) page.stamp = ++moves;
            pages.push_front(page);
            p = pages.begin();
            slots[SlotOf(adr)] = adr;
        }
        p->dirty = p->dirty || write;
    }
    void Use(int adr, int n, bool write) {
        for (int page = adr / 1024 * 1024; n > 0 && page < adr + n; page += 1024) Touch(page, write);
    }
    void Put(int adr, const void* from, int n) {
        Use(adr, n, true);
        std::memmove(bytes.data() + adr, from, static_cast<std::size_t>(n));
    }
    void Copy(int dst, int src, int n) {
        for (int done = 0, piece = 0; dst != src && done < n; done += piece) {
            piece = std::min(1024, n - done);
            const int off = dst > src ? n - done - piece : done;
            Use(src + off, piece, false);
            Put(dst + off, bytes.data() + src + off, piece);
        }
    }

    int Pop(List& list) {
        const int adr = list.blocks.front();
        Use(adr, 4, false);
        list.blocks.pop_front();
        return adr;
    }
    static int First(const List& list) { return list.blocks.empty() ? -1 : list.blocks.front(); }
    void Push(List& list, int adr) {
        const int next = First(list);
        Put(adr, &next, 4);
        list.blocks.push_front(adr);
    }
    std::vector<List>::iterator ClassOf(int len) {
        return std::find_if(classes.begin(), classes.end(), [=](const List& c) { return c.len == len; });
    }
    int NextMixed(std::size_t i) const { return i < mixed.size() ? mixed[i].adr : -1; }
    int UnlinkMixed(std::size_t i) {
        const int adr = mixed[i].adr;
        const int next = NextMixed(i + 1);
        if (i > 0) Put(mixed[i - 1].adr, &next, 4);
        mixed.erase(mixed.begin() + static_cast<std::ptrdiff_t>(i));
        return adr;
    }
    int Alloc(int len) {
        len = std::max(len, 4);
        if (len == 1024 && !freePages.blocks.empty()) return Pop(freePages);
        if (const auto c = ClassOf(len); c != classes.end() && !c->blocks.empty()) {
            const int adr = Pop(*c);
            if (c->blocks.empty() && c - classes.begin() >= 3) classes.erase(c);
            return adr;
        }
        std::size_t largest = 0;
        for (std::size_t i = 0; i < mixed.size(); ++i) {
            Use(mixed[i].adr, 4, false);
            Use(mixed[i].adr + 4, 2, false);
            if (mixed[i].len == len) return UnlinkMixed(i);
            if (mixed[i].len > mixed[largest].len) largest = i;
        }
        if (mixed.empty() || mixed[largest].len < len + 4) return (top += len) - len;
        const int rest = mixed[largest].len - len;
        const int adr = UnlinkMixed(largest);
        Free(adr + len, rest, false);
        return adr;
    }
    int AllocPage() {
        if (!freePages.blocks.empty()) return Pop(freePages);
        const int from = top;
        int gap = (1024 - top % 1024) % 1024;
        if (gap > 0 && gap < 4) gap += 1024;
        top += gap + 1024;
        if (gap > 0) Free(from, gap, false);
        return from + gap;
    }
    void Free(int adr, int len, bool whole) {
        len = std::max(len, 4);
        const auto c = ClassOf(len);
        if (adr + len == top) {
            top = adr;
        } else if (len == 1024 && adr % 1024 == 0) {
            Push(freePages, adr);
        } else if ((whole || len < 6) && c != classes.end()) {
            Push(*c, adr);
        } else if (whole && classes.size() < 16) {
            Push(classes.emplace_back(List{len, {}}), adr);
        } else {
            const int next = NextMixed(0);
            Put(adr, &next, 4);
            Put(adr + 4, &len, 2);
            mixed.push_front({adr, len});
        }
    }

    std::string State() const {
        std::ostringstream s;
        const auto list = [&](const List& l) { s << l.blocks.size() << '@' << First(l); };
        s << "  topAdr " << top << " fileSize " << fileSize << " cache " << pages.size() << " of " << maxPages
          << " spare " << (spare ? "yes" : "no") << "\n  free: page ";
        list(freePages);
        s << " mixed " << mixed.size() << '@' << NextMixed(0);
        for (const List& c : classes) {
            s << ' ' << c.len << ' ';
            list(c);
        }
        for (const Page& p : pages)
            s << "\n  page " << p.adr << (p.dirty ? " dirty" : "") << (HasSlot(p.adr) ? "" : " no slot")
              << (p.spare ? " spare" : "");
        return s.str() + '\n';
    }
};

// One object and its model, step by step; ends at the first difference.
void Walk(unsigned seed, long steps) {
    static const int lengths[] = {0, 0, 0, 1, 4, 5, 6, 7, 60, 100, 1000, 1023, 1024, 1025, 3000};
    std::mt19937 rng(seed);
    VMem vm;
    Model model;
    std::vector<Block> used;
    const auto below = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const auto limit = [&] {
        const int some = below(60);
        const int kb = some == 0 ? 32767 : some < 40 ? below(17) : 220 + some * 2;
        vm.SetMaxCacheSize(static_cast<std::int16_t>(kb));
        model.maxPages = kb * 1024 / 1036;
        model.Shrink(model.maxPages);
        if (model.pages.empty()) return;
        const int adr = model.pages[rng() % model.pages.size()].adr; // its slot may have gone with another page
        if (adr < model.top) ByteAt(vm, adr), model.Use(adr, 1, false);
    };
    const auto take = [&](int len) { // a page if `len` is 0
        std::int32_t adr = -1;
        len == 0 ? vm.AllocPage(adr) : vm.Alloc(adr, static_cast<std::int16_t>(len));
        used.push_back({len == 0 ? model.AllocPage() : model.Alloc(len), len == 0 ? 1024 : len});
        EXPECT_EQ(used.back().adr, adr);
    };
    const auto give = [&] {
        std::swap(used[rng() % used.size()], used.back());
        std::int32_t adr = used.back().adr;
        vm.Dealloc(adr, static_cast<std::int16_t>(used.back().len));
        model.Free(used.back().adr, used.back().len, true);
        used.pop_back();
        EXPECT_EQ(-1, adr);
    };
    char buf[32768];
    const auto read = [&](int from, int n) {
        vm.Get(from, buf, static_cast<std::int16_t>(n));
        model.Use(from, n, false);
        EXPECT_EQ(0, std::memcmp(model.bytes.data() + from, buf, static_cast<std::size_t>(n))) << "bytes from " << from;
    };
    const auto write = [&](int to, int n) {
        vm.Set(to, buf, static_cast<std::int16_t>(n));
        model.Put(to, buf, n);
    };
    const auto transfer = [&] { // reads anywhere, links of free blocks too; writes and copies inside blocks
        const Block b = used[rng() % used.size()];
        const int to = b.adr + below(b.len);
        const int n = below(b.adr + b.len - to + 1);
        // over itself, in the same slots
        const int mates[] = {to, to - SlotMate, to + SlotMate, below(model.top - n + 1)};
        const int from = std::clamp(mates[below(4)] - 5 + below(11), 0, model.top - n);
        if (const int what = below(4); what == 0) {
            vm.CopyBytes(to, from, static_cast<std::int16_t>(n));
            model.Copy(to, from, n);
        } else if (what == 1) {
            std::generate(buf, buf + n, [&] { return static_cast<char>(rng()); });
            write(to, n);
        } else {
            read(from, n);
        }
    };
    const auto sweep = [&] { // reads upward, free blocks too, and may write the same back
        const bool back = below(2) == 0;
        int at = below(model.top);
        for (int n = below(200); n > 0 && at + 1024 <= model.top; --n, at += 1024) {
            read(at, 1024);
            if (back) write(at, 1024);
        }
    };

    limit();
    for (int i = below(2) * BallastBlocks; i > 0; --i) take(32767);
    for (long step = 1; step <= steps; ++step) {
        const int what = below(800);
        if (what == 0) {
            vm.DeallocAll();
            used.clear();
            model = Model();
            model.spare = false;
            limit();
        } else if (what == 1) {
            vm.ReleaseCache();
            model.Shrink(0);
        } else if (what == 2) {
            vm.FlushCache();
            for (Page& p : model.pages) model.Flush(p);
        } else if (what < 20) {
            limit();
        } else if (used.empty() || (what < 240 && used.size() < BlocksMax && model.top < BytesMax - 40000)) {
            take(lengths[rng() % std::size(lengths)] + below(2) * below(30));
        } else if (what < 400) {
            give();
        } else if (what < 410) {
            sweep();
        } else {
            transfer();
        }
        if (step % 64 != 0 && rng() % (1 + model.pages.size() / 64) != 0) continue; // large ones take their time
        EXPECT_EQ(model.State(), StateOf(vm));
        EXPECT_TRUE(CheckVMem(vm, step % 64 == 0, stderr));
        ASSERT_FALSE(testing::Test::HasFailure()) << "VFILE_SEED=" << seed << " VFILE_STEPS=" << step;
    }
}

TEST(VMemRandom, DoesAsTheModelDoes) {
    const long steps = FromEnvironment("VFILE_STEPS", 10000);
    const long first = FromEnvironment("VFILE_SEED", 0);
    const long last = first == 0 ? 10 : first;
    for (long seed = std::max(first, 1L); seed <= last && !HasFailure(); ++seed)
        Walk(static_cast<unsigned>(seed), steps);
}

} // namespace
