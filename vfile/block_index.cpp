// The index over the block chain.
#include "vfile/block_index.h"

#include "vfile/block_chain.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace vfile_internal {

constexpr int Fan = 64;             // entries of a node
constexpr int Filled = 56;          // entries that a fresh index gives a node: room for a few blocks more
constexpr int Thin = Fan / 2;       // a node with fewer looks for a neighbour to join
constexpr int Joined = Fan * 3 / 4; // what the two may have together

constexpr std::int32_t Unused = INT32_MAX; // as an end, that of an entry after the last

// A leaf at height 0, else an inner node; only the height tells them apart.
struct IndexNode {
    std::int32_t count;
    std::int32_t end[Fan];

    std::int32_t Start(int i) const { return i > 0 ? end[i - 1] : 0; }
    std::int32_t Sum() const { return Start(count); }
};

namespace {

struct Leaf : IndexNode {
    using Entry = BlkDesc;
    Entry* entry[Fan];
};

struct Inner : IndexNode {
    using Entry = IndexNode;
    Entry* entry[Fan];
};

Leaf& AsLeaf(IndexNode* node) {
    return *static_cast<Leaf*>(node);
}

Inner& AsInner(IndexNode* node) {
    return *static_cast<Inner*>(node);
}

template <class Node>
Node* NewNode() {
    auto* node = static_cast<Node*>(std::malloc(sizeof(Node)));
    if (!node) return nullptr;
    node->count = 0;
    for (std::int32_t& end : node->end) end = Unused;
    return node;
}

void FreeNode(IndexNode* node, int height) {
    for (int i = 0; height > 0 && i < node->count; ++i) FreeNode(AsInner(node).entry[i], height - 1);
    std::free(node);
}

// How many entries end at p or before it.
int EndedBy(const IndexNode& node, std::int32_t p) {
    int n = 0;
    for (const std::int32_t end : node.end) n += end <= p ? 1 : 0;
    return n;
}

// The entry that holds the byte p bytes into the node; p becomes the place within the entry.
int EntryOf(const IndexNode& node, std::int32_t& p) {
    const int i = EndedBy(node, p);
    p -= node.Start(i);
    return i;
}

// The entries from i on end so much later.
void Shift(IndexNode& node, int i, std::int32_t delta) {
    for (; i < node.count; ++i) node.end[i] += delta;
}

template <class Node>
void MoveEntries(Node& to, int at, const Node& from, int i, int n) {
    std::memmove(to.end + at, from.end + i, static_cast<std::size_t>(n) * sizeof from.end[0]);
    std::memmove(to.entry + at, from.entry + i, static_cast<std::size_t>(n) * sizeof from.entry[0]);
}

// Puts an entry in at i.
template <class Node>
void Put(Node& node, int i, typename Node::Entry* entry, std::int32_t len) {
    MoveEntries(node, i + 1, node, i, node.count - i);
    ++node.count;
    node.entry[i] = entry;
    node.end[i] = node.Start(i);
    Shift(node, i, len);
}

// Takes the entry i out; its length.
template <class Node>
std::int32_t TakeOut(Node& node, int i) {
    const std::int32_t len = node.end[i] - node.Start(i);
    --node.count;
    MoveEntries(node, i, node, i + 1, node.count - i);
    node.end[node.count] = Unused;
    Shift(node, i, -len);
    return len;
}

// Moves n entries from i on, the last ones of their node, after those of another node.
template <class Node>
void MoveLast(Node& to, Node& from, int i, int n) {
    MoveEntries(to, to.count, from, i, n);
    const std::int32_t delta = to.Sum() - from.Start(i);
    to.count += n;
    Shift(to, to.count - n, delta);
    for (int k = i; k < i + n; ++k) from.end[k] = Unused;
    from.count = i;
}

// Moves the upper half of a full node to a new one after it; null if out of memory.
template <class Node>
Node* Split(Node& node) {
    auto* behind = NewNode<Node>();
    if (behind) MoveLast(*behind, node, Fan / 2, Fan - Fan / 2);
    return behind;
}

// Takes `blk` in where it starts `at` bytes into the node. `*behind` becomes the node that was split off, or null.
// False if out of memory. A node is split before the way goes down: one that can't be had must not come in the middle.
bool InsertInto(int height, IndexNode* node, std::int32_t at, BlkDesc* blk, IndexNode** behind) {
    *behind = nullptr;
    if (node->count == Fan) {
        *behind = height > 0 ? static_cast<IndexNode*>(Split(AsInner(node))) : Split(AsLeaf(node));
        if (!*behind) return false;
        if (at > node->Sum()) {
            at -= node->Sum();
            node = *behind;
        }
    }
    if (height == 0) {
        Put(AsLeaf(node), EndedBy(*node, at), blk, blk->len);
        return true;
    }
    Inner& inner = AsInner(node);
    const int i = EndedBy(inner, at - 1); // at the border of two children, the end of the first
    IndexNode* added;
    if (!InsertInto(height - 1, inner.entry[i], at - inner.Start(i), blk, &added)) {
        if (*behind) FreeNode(*behind, height); // hangs on nothing yet
        return false;
    }
    Shift(inner, i, blk->len);
    if (added) {
        Put(inner, i + 1, added, 0);
        inner.end[i] -= added->Sum();
    }
    return true;
}

// Takes the children i and i + 1 together if one of them is thin and both fit.
template <class Node>
void JoinThin(Inner& inner, int i) {
    if (i < 0 || i + 1 >= inner.count) return;
    Node& left = static_cast<Node&>(*inner.entry[i]);
    Node& right = static_cast<Node&>(*inner.entry[i + 1]);
    if ((left.count >= Thin && right.count >= Thin) || left.count + right.count > Joined) return;
    MoveLast(left, right, 0, right.count);
    std::free(&right);
    inner.end[i] = inner.end[i + 1]; // and the other one has no length
    TakeOut(inner, i + 1);
}

// Takes out the block that starts `at` bytes into the node; its length.
std::int32_t EraseFrom(int height, IndexNode* node, std::int32_t at) {
    const int i = EntryOf(*node, at);
    if (height == 0) return TakeOut(AsLeaf(node), i);
    Inner& inner = AsInner(node);
    const std::int32_t len = EraseFrom(height - 1, inner.entry[i], at);
    Shift(inner, i, -len);
    if (inner.entry[i]->count == 0) {
        std::free(inner.entry[i]);
        TakeOut(inner, i);
        return len;
    }
    for (const int left : {i, i - 1}) height > 1 ? JoinThin<Inner>(inner, left) : JoinThin<Leaf>(inner, left);
    return len;
}

// Walks the leaves beside the chain; `blk` goes on. The number of the broken invariant, or 0.
int CheckNode(int height, IndexNode* node, const BlkDesc*& blk, const BlkDesc* lagging, std::int32_t lag) {
    if (node->count < 1 || node->count > Fan) return 2;
    for (int i = 0; i < Fan; ++i) {
        if (i >= node->count) {
            if (node->end[i] != Unused) return 2;
            continue;
        }
        const std::int32_t len = node->end[i] - node->Start(i);
        if (height > 0) {
            IndexNode* child = AsInner(node).entry[i];
            if (const int broken = CheckNode(height - 1, child, blk, lagging, lag)) return broken;
            if (child->Sum() != len) return 2;
        } else {
            if (AsLeaf(node).entry[i] != blk || len + (blk == lagging ? lag : 0) != blk->len) return 1;
            blk = blk->next;
        }
    }
    return 0;
}

// One level of a fresh index: nodes that stand by themselves, as many as `made`, in an array that has room for all.
struct Level {
    IndexNode** nodes;
    std::int32_t made;
    int height;

    bool MakeLeaves(BlkDesc* blk);
    bool MakeNext();
    void Free() {
        for (std::int32_t i = 0; i < made; ++i) FreeNode(nodes[i], height);
    }
};

bool Level::MakeLeaves(BlkDesc* blk) {
    while (blk) {
        auto* leaf = NewNode<Leaf>();
        if (!leaf) return false;
        for (; blk && leaf->count < Filled; blk = blk->next) Put(*leaf, leaf->count, blk, blk->len);
        nodes[made++] = leaf;
    }
    return true;
}

// Makes the level above this one. What has been taken up hangs on the new nodes; without memory for all, all go.
bool Level::MakeNext() {
    std::int32_t above = 0;
    for (std::int32_t below = 0; below < made;) {
        auto* inner = NewNode<Inner>();
        if (!inner) {
            for (std::int32_t i = 0; i < above; ++i) FreeNode(nodes[i], height + 1);
            for (std::int32_t i = below; i < made; ++i) FreeNode(nodes[i], height);
            made = 0;
            return false;
        }
        for (; below < made && inner->count < Filled; ++below)
            Put(*inner, inner->count, nodes[below], nodes[below]->Sum());
        nodes[above++] = inner;
    }
    made = above;
    ++height;
    return true;
}

} // namespace

BlkIndex* BlkIndex::Make(BlkDesc* first) {
    if (!first) return nullptr;
    std::int32_t count = 0;
    for (const BlkDesc* b = first; b; b = b->next) ++count;
    const auto leaves = static_cast<std::size_t>((count + Filled - 1) / Filled);
    auto* index = static_cast<BlkIndex*>(std::malloc(sizeof(BlkIndex)));
    Level level{static_cast<IndexNode**>(std::malloc(leaves * sizeof(IndexNode*))), 0, 0};
    bool whole = index && level.nodes && level.MakeLeaves(first);
    while (whole && level.made > 1) whole = level.MakeNext();
    if (whole) {
        index->root = level.nodes[0];
        index->height = level.height;
        index->count = count;
    } else {
        level.Free();
        std::free(index);
        index = nullptr;
    }
    std::free(level.nodes);
    return index;
}

void BlkIndex::Dispose(BlkIndex*& index) {
    if (index) FreeNode(index->root, index->height);
    std::free(index);
    index = nullptr;
}

void BlkIndex::Find(BlkRdr& rd, std::int32_t p) const {
    IndexNode* node = root;
    std::int32_t rest = p;
    for (int h = height; h > 0; --h) node = AsInner(node).entry[EntryOf(*node, rest)];
    rd.ptr = AsLeaf(node).entry[EntryOf(*node, rest)];
    rd.start = p - rest;
}

void BlkIndex::Adjust(std::int32_t at, std::int32_t delta) {
    IndexNode* node = root;
    for (int h = height;; --h) {
        const int i = EntryOf(*node, at);
        Shift(*node, i, delta);
        if (h == 0) return;
        node = AsInner(node).entry[i];
    }
}

void BlkIndex::Erase(std::int32_t at) {
    EraseFrom(height, root, at);
    --count;
    while (height > 0 && root->count == 1) {
        IndexNode* only = AsInner(root).entry[0];
        std::free(root);
        root = only;
        --height;
    }
}

bool BlkIndex::Insert(std::int32_t at, BlkDesc* blk) {
    IndexNode* behind;
    if (!InsertInto(height, root, at, blk, &behind)) return false;
    ++count;
    if (!behind) return true;
    auto* top = NewNode<Inner>();
    if (!top) {
        FreeNode(behind, height);
        return false;
    }
    Put(*top, 0, root, root->Sum());
    Put(*top, 1, behind, behind->Sum());
    root = top;
    ++height;
    return true;
}

int BlkIndex::Check(const BlkDesc* first, const BlkDesc* lagging, std::int32_t lag) const {
    const BlkDesc* blk = first;
    if (const int broken = CheckNode(height, root, blk, lagging, lag)) return broken;
    return blk ? 1 : 0;
}

} // namespace vfile_internal
