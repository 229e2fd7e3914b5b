// Follows a VMem, under a cache of a few pages, of some 256, where transfers are gathered, or of all pages, with a slow
// and simple model of it, which moves each page by itself and when it is due: after every step the bytes, the sizes,
// the free lists and the cached pages in their order are equal, and nothing is dirty that is clean by the model.
// VFILE_SEED and VFILE_STEPS repeat a run.
#include "support/vmem_support.h"

#include <deque>
#include <fstream>
#include <map>
#include <set>

// The private road of VFile: an explicit instantiation may name private members.
void Take(VMem& m, std::int32_t& adr);
void Discard(VMem& m, std::int32_t& adr);
void Fill(VMem& m, std::int32_t adr, const void* from, std::int16_t n);
template <auto take, auto discard, auto fill>
struct Road {
    friend void Take(VMem& m, std::int32_t& adr) { (m.*take)(adr); }
    friend void Discard(VMem& m, std::int32_t& adr) { (m.*discard)(adr); }
    friend void Fill(VMem& m, std::int32_t adr, const void* from, std::int16_t n) { (m.*fill)(adr, from, n); }
};
template struct Road<&VMem::TakePage, &VMem::DiscardPage, &VMem::FillPage>;

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
};

// The free blocks of one length, the next one to be taken first.
struct List {
    int len;
    std::deque<int> blocks;
};

struct Model {
    std::string bytes = std::string(BytesMax, '\0');
    int top = 0, fileSize = 0, maxPages = 0;
    long misses = 0, moved = 0; // and bytes that go between the cache and the file for them
    bool spare = true;
    std::deque<Page> pages; // from head to tail
    std::map<int, int> slots;
    List freePages{1024, {}};
    std::set<int> blank; // free pages that hold no link
    std::deque<Block> mixed;
    std::vector<List> classes{{4, {}}, {5, {}}, {1024, {}}};

    static int SlotOf(int adr) { return adr / 1024 % 4016; }
    bool HasSlot(int adr) const { return slots.count(SlotOf(adr)) != 0 && slots.at(SlotOf(adr)) == adr; }
    void Flush(Page& p) {
        if (p.dirty) moved += 1024 + std::max(0, p.adr - fileSize); // and the gap before it
        if (p.dirty) fileSize = std::max(fileSize, p.adr + 1024);
        p.dirty = false;
    }
    std::deque<Page>::iterator Find(int adr) {
        return std::find_if(pages.begin(), pages.end(), [=](const Page& q) { return q.adr == adr; });
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
            Page page{adr, false, pages.empty() && spare};
            if (p != pages.end()) {
                page = *p;
                pages.erase(p);
            } else {
                if (!pages.empty() && static_cast<int>(pages.size()) >= maxPages)
                    page.spare = Drop(pages.end() - 1).spare;
                ++misses;
                if (adr < fileSize) moved += 1024;
            }
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
    int PopPage(bool look) {
        if (blank.erase(freePages.blocks.front()) == 0) return Pop(freePages);
        const int adr = freePages.blocks.front();
        freePages.blocks.pop_front();
        const int next = First(freePages);
        if (look) Put(adr, &next, 4);
        return adr;
    }
    int Alloc(int len) {
        len = std::max(len, 4);
        if (len == 1024 && !freePages.blocks.empty()) return PopPage(true);
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
    int AllocPage(bool look = true) {
        if (!freePages.blocks.empty()) return PopPage(look);
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

    void Discard(int adr) {
        if (const auto p = Find(adr); p != pages.end()) p->dirty = false, Drop(p);
        if (adr + 1024 == top) {
            top = adr;
        } else {
            freePages.blocks.push_front(adr);
            blank.insert(adr);
        }
    }
    void Fill(int adr, const void* from, int n) {
        if (Find(adr) == pages.end()) std::memset(bytes.data() + adr, 0, 1024);
        Put(adr, from, n);
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

// Compares what the model says with what is. Dirty pages may have been written before they were due, so that the file
// ends later by less than a group of 64.
bool Agree(const std::string& should, const std::string& is) {
    std::istringstream a(should), b(is);
    std::string line, real;
    int ends[2] = {}, from[2] = {}, to[2] = {};
    while (std::getline(a, line) && std::getline(b, real)) {
        const auto mark = line.find(" dirty");
        if (line != real && mark != std::string::npos) line.erase(mark, 6);
        if (std::sscanf(line.c_str(), "  topAdr %*d fileSize%n %d%n", &from[0], &ends[0], &to[0]) == 1) {
            std::sscanf(real.c_str(), "  topAdr %*d fileSize%n %d%n", &from[1], &ends[1], &to[1]);
            line.erase(from[0], to[0] - from[0]), real.erase(from[1], to[1] - from[1]);
        }
        if (line != real) return false;
    }
    return !std::getline(a, line) && !std::getline(b, real) && ends[1] >= ends[0] && ends[1] - ends[0] < 65536;
}

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
    const auto random = [&](int n) { std::generate(buf, buf + n, [&] { return static_cast<char>(rng()); }); };
    const auto asVFile = [&] { // drops a page, fills one, or takes one
        const auto isPage = [](const Block& b) { return b.len == 1024 && b.adr % 1024 == 0; };
        const auto page = std::find_if(used.begin() + below(static_cast<int>(used.size()) + 1), used.end(), isPage);
        const int n = 1 + below(1024);
        random(n);
        if (page == used.end()) {
            std::int32_t adr = -1;
            Take(vm, adr);
            used.push_back({model.AllocPage(false), 1024});
            EXPECT_EQ(used.back().adr, adr);
        } else if (below(2) == 0) {
            Fill(vm, page->adr, buf, static_cast<std::int16_t>(n));
            model.Fill(page->adr, buf, n);
        } else {
            std::int32_t adr = page->adr;
            Discard(vm, adr);
            model.Discard(page->adr);
            vfile_internal::PeekVMem(vm, page->adr, model.bytes.data() + page->adr, 1024); // something, from now on
            used.erase(page);
            EXPECT_EQ(-1, adr);
        }
    };
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
            random(n);
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
        } else if (what < 510 && used.size() < BlocksMax) {
            asVFile();
        } else {
            transfer();
        }
        if (step % 64 != 0 && rng() % (1 + model.pages.size() / 64) != 0) continue; // large ones take their time
        EXPECT_TRUE(Agree(model.State(), StateOf(vm))) << model.State() << "is\n" << StateOf(vm);
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

// Bytes that this process has read and written, as the system counts them, without those of the question.
long BytesMoved() {
    static long asked = 0;
    std::ifstream in("/proc/self/io");
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    long read = 0, written = 0;
    std::sscanf(text.c_str(), "rchar: %ld wchar: %ld", &read, &written);
    const long moved = read + written - asked;
    asked += static_cast<long>(text.size());
    return moved;
}

// A cache of 256 pages over `pages` pages, all written once, and then one access after the other.
struct Load {
    const char* what;
    int pages;
    std::function<std::pair<int, bool>(int)> access; // the i-th: page, and whether it is written
};

TEST(VMemRandom, MovesAtMostTwiceWhatThePlainRulesMove) {
    std::mt19937 rng(1);
    const auto below = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    int at = 0;
    std::vector<Load> loads = {
        {"upward", 1000, [](int i) { return std::pair(i % 1000, true); }},
        {"downward", 1000, [](int i) { return std::pair(999 - i % 1000, true); }},
        {"random", 1000, [&](int) { return std::pair(below(1000), below(2) == 0); }},
        {"two", 2000, [](int i) { return std::pair(i % 2 * 1000 + i / 2 % 1000, i % 2 == 0); }},
        {"hot pages", 5000, [&](int i) { return std::pair(i % 4 ? below(60) : i / 4 % 5000, true); }},
        {"tail", 300, [](int i) { return std::pair((i / 48 + (i % 48 ? 45 + i % 48 : 0)) % 300, true); }},
        {"short runs", 5000, [&](int i) { return std::pair(i % 4 ? ++at : at = below(4990), false); }},
    };
    for (const int n : {257, 264, 296, 346})
        loads.push_back({"every second dirty", n, [n](int i) { return std::pair(i % n, i % 2 == 0); }});
    for (int stride = 2; stride <= 16; ++stride)
        loads.push_back({"stride", 2039, [=](int i) { return std::pair(i * stride % 2039, i % 3 == 0); }});
    for (const Load& load : loads) {
        VMem vm;
        Model model;
        vm.SetMaxCacheSize(260);
        model.maxPages = 256;
        AllocPages(vm, load.pages);
        const auto use = [&](int page, bool write) {
            char buf[100] = {};
            write ? vm.Set(page * 1024, buf, 100) : vm.Get(page * 1024, buf, 100);
            model.Touch(page * 1024, write);
        };
        for (int page = 0; page < load.pages; ++page) use(page, true);
        std::vector<std::pair<long, long>> moved; // at every 250th miss: by the plain rules, and in fact
        double worst = 0;
        for (int i = 0; worst <= 2 && moved.size() < 50; ++i) {
            const auto [page, write] = load.access(i);
            const long misses = model.misses;
            use(page, write);
            if (model.misses == misses || misses % 250 != 0) continue;
            moved.emplace_back(model.moved, BytesMoved());
            if (moved.size() < 5) continue;
            const auto [plain, fact] = moved[moved.size() - 5];
            worst = std::max(worst, static_cast<double>(moved.back().second - fact) /
                                        static_cast<double>(moved.back().first - plain));
        }
        EXPECT_LE(worst, 2) << load.what << ' ' << load.pages;
    }
}

} // namespace
