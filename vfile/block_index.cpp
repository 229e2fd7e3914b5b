// The index over the block chain.
#include "vfile/block_index.h"

#include "vfile/vfile.h"

#include <cstdlib>
#include <cstring>

namespace vfile_internal {
namespace {

constexpr int Fan = 64;             // entries of a node
constexpr int Filled = 56;          // entries that a fresh index gives a node: room for a few blocks more
constexpr int Thin = Fan / 2;       // a node with fewer looks for a neighbour to join
constexpr int Joined = Fan * 3 / 4; // what the two may have together

// A node is a leaf at height 0, else an inner node; only the height tells them apart.
struct Leaf {
    std::int32_t count;
    std::int16_t len[Fan];
    BlkDesc* blk[Fan];
};

struct Inner {
    std::int32_t count;
    std::int32_t sum[Fan];
    void* child[Fan];
};

std::int32_t& CountOf(void* node) {
    return *static_cast<std::int32_t*>(node); // the first word of both
}

void* NewNode(int height) {
    void* node = std::malloc(height == 0 ? sizeof(Leaf) : sizeof(Inner));
    if (node) CountOf(node) = 0;
    return node;
}

void FreeNode(void* node, int height) {
    if (height > 0) {
        auto* inner = static_cast<Inner*>(node);
        for (int i = 0; i < inner->count; ++i) FreeNode(inner->child[i], height - 1);
    }
    std::free(node);
}

// Copies n entries between two nodes of a height, or within one.
void CopyEntries(int height, void* dst, int to, const void* src, int from, int n) {
    const auto entries = static_cast<std::size_t>(n);
    if (height == 0) {
        auto* d = static_cast<Leaf*>(dst);
        const auto* s = static_cast<const Leaf*>(src);
        std::memmove(d->len + to, s->len + from, entries * sizeof s->len[0]);
        std::memmove(d->blk + to, s->blk + from, entries * sizeof s->blk[0]);
    } else {
        auto* d = static_cast<Inner*>(dst);
        const auto* s = static_cast<const Inner*>(src);
        std::memmove(d->sum + to, s->sum + from, entries * sizeof s->sum[0]);
        std::memmove(d->child + to, s->child + from, entries * sizeof s->child[0]);
    }
}

void MakeGap(int height, void* node, int i) {
    CopyEntries(height, node, i + 1, node, i, CountOf(node) - i);
    ++CountOf(node);
}

void CloseGap(int height, void* node, int i) {
    --CountOf(node);
    CopyEntries(height, node, i, node, i + 1, CountOf(node) - i);
}

std::int32_t SumOf(int height, const void* node) {
    std::int32_t sum = 0;
    if (height == 0) {
        const auto* leaf = static_cast<const Leaf*>(node);
        for (int i = 0; i < leaf->count; ++i) sum += leaf->len[i];
    } else {
        const auto* inner = static_cast<const Inner*>(node);
        for (int i = 0; i < inner->count; ++i) sum += inner->sum[i];
    }
    return sum;
}

// The entry that holds the byte p bytes into the node; p becomes the place within the entry.
int EntryOf(const Inner* inner, std::int32_t& p) {
    int i = 0;
    while (p >= inner->sum[i]) p -= inner->sum[i++];
    return i;
}

int EntryOf(const Leaf* leaf, std::int32_t& p) {
    int i = 0;
    while (p >= leaf->len[i]) p -= leaf->len[i++];
    return i;
}

// Moves the upper half of a full node to a new one behind it; NIL if the heap has no room.
void* Split(int height, void* node) {
    void* behind = NewNode(height);
    if (!behind) return nullptr;
    CopyEntries(height, behind, 0, node, Fan / 2, Fan - Fan / 2);
    CountOf(node) = Fan / 2;
    CountOf(behind) = Fan - Fan / 2;
    return behind;
}

void SetEntry(Inner* inner, int i, int childHeight, void* child) {
    inner->sum[i] = SumOf(childHeight, child);
    inner->child[i] = child;
}

// Takes `blk` in where it starts `at` bytes into the node. `*behind` becomes the node that was split off, or NIL. False
// if the heap has no room.
bool InsertInto(int height, void* node, std::int32_t at, BlkDesc* blk, void** behind) {
    *behind = nullptr;
    const bool full = CountOf(node) == Fan;
    if (full) { // before going down: a split that can't be had must not come in the middle
        *behind = Split(height, node);
        if (!*behind) return false;
        const std::int32_t front = SumOf(height, node);
        if (at > front) {
            node = *behind;
            at -= front;
        }
    }
    if (height == 0) {
        auto* leaf = static_cast<Leaf*>(node);
        int i = 0;
        while (at > 0) at -= leaf->len[i++];
        MakeGap(0, leaf, i);
        leaf->len[i] = blk->len;
        leaf->blk[i] = blk;
        return true;
    }
    auto* inner = static_cast<Inner*>(node);
    int i = 0;
    while (at > inner->sum[i]) at -= inner->sum[i++];
    void* added;
    if (!InsertInto(height - 1, inner->child[i], at, blk, &added)) {
        if (*behind) FreeNode(*behind, height); // hangs on nothing yet
        return false;
    }
    inner->sum[i] = added ? SumOf(height - 1, inner->child[i]) : inner->sum[i] + blk->len;
    if (added) {
        MakeGap(height, inner, i + 1);
        SetEntry(inner, i + 1, height - 1, added);
    }
    return true;
}

// Takes the children i and i + 1 together if one of them is thin and both fit.
void JoinThin(int height, Inner* inner, int i) {
    if (i < 0 || i + 1 >= inner->count) return;
    void* left = inner->child[i];
    void* right = inner->child[i + 1];
    const int n = CountOf(left);
    const int m = CountOf(right);
    if ((n >= Thin && m >= Thin) || n + m > Joined) return;
    CopyEntries(height - 1, left, n, right, 0, m);
    CountOf(left) = n + m;
    inner->sum[i] += inner->sum[i + 1];
    std::free(right);
    CloseGap(height, inner, i + 1);
}

// Takes out the block that starts `at` bytes into the node; its length.
std::int32_t EraseFrom(int height, void* node, std::int32_t at) {
    if (height == 0) {
        auto* leaf = static_cast<Leaf*>(node);
        const int i = EntryOf(leaf, at);
        const std::int32_t len = leaf->len[i];
        CloseGap(0, leaf, i);
        return len;
    }
    auto* inner = static_cast<Inner*>(node);
    const int i = EntryOf(inner, at);
    const std::int32_t len = EraseFrom(height - 1, inner->child[i], at);
    inner->sum[i] -= len;
    if (CountOf(inner->child[i]) == 0) {
        std::free(inner->child[i]);
        CloseGap(height, inner, i);
    } else {
        JoinThin(height, inner, i);
        JoinThin(height, inner, i - 1);
    }
    return len;
}

// Walks the leaves beside the chain; `blk` goes on. The number of the broken invariant, or 0.
int CheckNode(int height, void* node, const BlkDesc*& blk, const BlkDesc* current, std::int32_t lag) {
    if (CountOf(node) < 1 || CountOf(node) > Fan) return 2;
    if (height == 0) {
        const auto* leaf = static_cast<const Leaf*>(node);
        for (int i = 0; i < leaf->count; ++i, blk = blk->next) {
            if (leaf->blk[i] != blk) return 1;
            if (leaf->len[i] + (blk == current ? lag : 0) != blk->len) return 1;
        }
        return 0;
    }
    auto* inner = static_cast<Inner*>(node);
    for (int i = 0; i < inner->count; ++i) {
        if (inner->sum[i] != SumOf(height - 1, inner->child[i])) return 2;
        if (const int broken = CheckNode(height - 1, inner->child[i], blk, current, lag)) return broken;
    }
    return 0;
}

} // namespace

// Builds the leaves, then level upon level, each from the one below.
BlkIndex* BlkIndex::Make(const BlkDesc* first) {
    if (!first) return nullptr;
    std::int32_t count = 0;
    for (const BlkDesc* b = first; b; b = b->next) ++count;
    const std::int32_t leaves = (count + Filled - 1) / Filled;
    auto* index = static_cast<BlkIndex*>(std::malloc(sizeof(BlkIndex)));
    auto** level = static_cast<void**>(std::malloc(static_cast<std::size_t>(leaves) * sizeof(void*)));
    std::int32_t made = 0;
    bool whole = index && level;
    auto* blk = const_cast<BlkDesc*>(first); // the index hands descriptors out as the chain does
    while (whole && blk) {
        auto* leaf = static_cast<Leaf*>(NewNode(0));
        whole = leaf != nullptr;
        for (; whole && blk && leaf->count < Filled; blk = blk->next) {
            leaf->len[leaf->count] = blk->len;
            leaf->blk[leaf->count++] = blk;
        }
        if (whole) level[made++] = leaf;
    }
    int height = 0;
    while (whole && made > 1) {
        std::int32_t above = 0;
        std::int32_t below = 0;
        while (whole && below < made) {
            auto* inner = static_cast<Inner*>(NewNode(height + 1));
            whole = inner != nullptr;
            if (!whole) break;
            while (below < made && inner->count < Filled) SetEntry(inner, inner->count++, height, level[below++]);
            level[above++] = inner;
        }
        if (!whole) { // what has been taken up hangs on the new nodes, the rest stands by itself
            for (std::int32_t i = 0; i < above; ++i) FreeNode(level[i], height + 1);
            for (std::int32_t i = below; i < made; ++i) FreeNode(level[i], height);
            made = 0;
            break;
        }
        made = above;
        ++height;
    }
    if (whole) {
        *index = BlkIndex();
        index->root = level[0];
        index->height = height;
        index->count = count;
    } else {
        for (std::int32_t i = 0; i < made; ++i) FreeNode(level[i], height);
        std::free(index);
        index = nullptr;
    }
    std::free(level);
    return index;
}

void BlkIndex::Dispose(BlkIndex*& index) {
    if (index) FreeNode(index->root, index->height);
    std::free(index);
    index = nullptr;
}

void BlkIndex::Find(BlkRdr& rd, std::int32_t p) const {
    const void* node = root;
    std::int32_t rest = p;
    for (int h = height; h > 0; --h) {
        const auto* inner = static_cast<const Inner*>(node);
        node = inner->child[EntryOf(inner, rest)];
    }
    const auto* leaf = static_cast<const Leaf*>(node);
    rd.ptr = leaf->blk[EntryOf(leaf, rest)];
    rd.start = p - rest;
}

void BlkIndex::Adjust(std::int32_t at, std::int32_t delta) {
    void* node = root;
    for (int h = height; h > 0; --h) {
        auto* inner = static_cast<Inner*>(node);
        const int i = EntryOf(inner, at);
        inner->sum[i] += delta;
        node = inner->child[i];
    }
    auto* leaf = static_cast<Leaf*>(node);
    std::int16_t& len = leaf->len[EntryOf(leaf, at)];
    len = static_cast<std::int16_t>(len + delta);
}

void BlkIndex::Erase(std::int32_t at) {
    EraseFrom(height, root, at);
    --count;
    while (height > 0 && CountOf(root) == 1) {
        void* only = static_cast<Inner*>(root)->child[0];
        std::free(root);
        root = only;
        --height;
    }
}

bool BlkIndex::Insert(std::int32_t at, BlkDesc* blk) {
    void* behind;
    if (!InsertInto(height, root, at, blk, &behind)) return false;
    ++count;
    if (!behind) return true;
    auto* top = static_cast<Inner*>(NewNode(height + 1));
    if (!top) {
        FreeNode(behind, height);
        return false;
    }
    top->count = 2;
    SetEntry(top, 0, height, root);
    SetEntry(top, 1, height, behind);
    root = top;
    ++height;
    return true;
}

int BlkIndex::Check(const BlkDesc* first, const BlkDesc* current, std::int32_t lag) const {
    const BlkDesc* blk = first;
    if (const int broken = CheckNode(height, root, blk, current, lag)) return broken;
    return blk ? 1 : 0;
}

} // namespace vfile_internal
