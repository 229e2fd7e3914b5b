// The tree of chunks.
#include "vfile/line_tree.h"

#include <cstdlib>
#include <cstring>

namespace vfile_internal {
namespace {

constexpr int Fan = 64;                  // entries of a node
constexpr int Spare = 8;                 // by which its room grows
constexpr int Thin = Fan / 2;            // a node with fewer looks for a neighbour to join
constexpr int JoinedCount = Fan * 3 / 4; // what the two may have together

// The entries follow: of a leaf, which is at height 0, Chunk, else Child.
struct alignas(8) Node {
    std::int32_t count, room;
};

// Bytes in the lower 16 bits, line ends in the upper ones. Four of them can be added as they are.
using Chunk = std::uint32_t;
static_assert(4 * LineTree::MostBytes <= 0xFFFF, "a sum of four must not carry over");

struct Child {
    LineSum sum;
    Node* node;
};

LineSum& operator+=(LineSum& a, LineSum b) {
    a.bytes += b.bytes;
    a.ends += b.ends;
    return a;
}

LineSum Less(LineSum a) {
    return {-a.bytes, -a.ends};
}

Node* NodeAt(void* p) {
    return static_cast<Node*>(p);
}

Chunk* Chunks(const Node* leaf) {
    return reinterpret_cast<Chunk*>(const_cast<Node*>(leaf) + 1);
}

Child* Children(const Node* inner) {
    return reinterpret_cast<Child*>(const_cast<Node*>(inner) + 1);
}

std::int32_t BytesOf(Chunk c) {
    return static_cast<std::int32_t>(c & 0xFFFF);
}

LineSum SumOf(Chunk c) {
    return {BytesOf(c), static_cast<std::int32_t>(c >> 16)};
}

Chunk ChunkOf(LineSum sum) {
    return static_cast<Chunk>(sum.bytes) | static_cast<Chunk>(sum.ends) << 16;
}

// The entry of a leaf that takes a count of some kind beyond `n`: goes over those before it, and adds them up in
// `passed`.
[[gnu::always_inline]] inline Chunk* PassChunks(const Node* leaf, std::int32_t LineSum::*kind, std::int32_t n,
                                                LineSum& passed) {
    Chunk* chunk = Chunks(leaf);
    const Chunk* const end = chunk + leaf->count;
    for (LineSum four; end - chunk >= 4 && (four = SumOf(chunk[0] + chunk[1] + chunk[2] + chunk[3])).*kind <= n;) {
        n -= four.*kind;
        passed += four;
        chunk += 4;
    }
    for (LineSum one; (one = SumOf(*chunk)).*kind <= n; ++chunk) {
        n -= one.*kind;
        passed += one;
    }
    return chunk;
}

// The same among the children of an inner node; `n` is what is left of it there.
[[gnu::always_inline]] inline Child* PassChildren(const Node* inner, std::int32_t LineSum::*kind, std::int32_t& n,
                                                  LineSum& passed) {
    Child* child = Children(inner);
    for (; child->sum.*kind <= n; ++child) {
        n -= child->sum.*kind;
        passed += child->sum;
    }
    return child;
}

std::size_t EntrySize(int height) {
    return height == 0 ? sizeof(Chunk) : sizeof(Child);
}

char* EntryAt(int height, Node* node, int i) {
    return reinterpret_cast<char*>(node + 1) + EntrySize(height) * static_cast<std::size_t>(i);
}

std::size_t NodeSize(int height, int room) {
    return sizeof(Node) + EntrySize(height) * static_cast<std::size_t>(room);
}

// Gives a node, which may be null, room for n entries and a few more; null if out of memory.
Node* Fit(int height, Node* node, int n) {
    const int room = (n + Spare - 1) / Spare * Spare;
    auto* fit = static_cast<Node*>(std::realloc(node, NodeSize(height, room)));
    if (!fit) return nullptr;
    if (!node) fit->count = 0;
    fit->room = room;
    return fit;
}

void FreeNode(Node* node, int height) {
    for (int i = 0; height > 0 && i < node->count; ++i) FreeNode(Children(node)[i].node, height - 1);
    std::free(node);
}

LineSum SumOf(int height, const Node* node) {
    LineSum sum = {};
    for (int i = 0; i < node->count; ++i) sum += height == 0 ? SumOf(Chunks(node)[i]) : Children(node)[i].sum;
    return sum;
}

// Puts an entry in before the i-th one. A full node is split: `behind` becomes its second part. False if out of memory;
// the entry hangs nowhere then.
bool PutEntry(int height, Node*& node, int i, const void* entry, Node*& behind) {
    behind = nullptr;
    Node** target = &node;
    if (node->count == Fan) {
        const int front = i == Fan ? Fan : Fan / 2; // one that grows at its end stays full
        behind = Fit(height, nullptr, Fan - front + 1);
        if (!behind) return false;
        behind->count = Fan - front;
        std::memcpy(EntryAt(height, behind, 0), EntryAt(height, node, front),
                    EntrySize(height) * static_cast<std::size_t>(Fan - front));
        node->count = front;
        if (i > front || front == Fan) {
            i -= front;
            target = &behind;
        }
    }
    if ((*target)->count == (*target)->room) {
        Node* fit = Fit(height, *target, (*target)->count + 1);
        if (!fit) return false;
        *target = fit;
    }
    char* at = EntryAt(height, *target, i);
    std::memmove(at + EntrySize(height), at, EntrySize(height) * static_cast<std::size_t>((*target)->count - i));
    std::memcpy(at, entry, EntrySize(height));
    ++(*target)->count;
    return true;
}

// Takes the i-th entry out. Room that is too much goes back.
void DropEntry(int height, Node*& node, int i) {
    char* at = EntryAt(height, node, i);
    --node->count;
    std::memmove(at, at + EntrySize(height), EntrySize(height) * static_cast<std::size_t>(node->count - i));
    if (node->room - node->count < 2 * Spare || node->count == 0) return;
    if (Node* fit = Fit(height, node, node->count + 1)) node = fit;
}

bool InsertInto(int height, Node*& node, std::int32_t at, Chunk chunk, Node*& behind) {
    int i = 0;
    if (height == 0) {
        while (at > 0) at -= BytesOf(Chunks(node)[i++]);
        return PutEntry(0, node, i, &chunk, behind);
    }
    behind = nullptr;
    while (i + 1 < node->count && at > Children(node)[i].sum.bytes) at -= Children(node)[i++].sum.bytes;
    Child& child = Children(node)[i];
    Node* added;
    const bool done = InsertInto(height - 1, child.node, at, chunk, added);
    if (done && !added) return child.sum += SumOf(chunk), true;
    bool hung = !added;
    if (added) {
        child.sum = SumOf(height - 1, child.node);
        const Child entry = {SumOf(height - 1, added), added};
        hung = PutEntry(height, node, i + 1, &entry, behind);
    }
    if (!hung) FreeNode(added, height - 1);
    return done && hung;
}

// Takes the children i and i + 1 together if one of them is thin and both fit.
void JoinThin(int height, Node*& node, int i) {
    if (i < 0 || i + 1 >= node->count) return;
    Child& left = Children(node)[i];
    const Child right = Children(node)[i + 1];
    const int n = left.node->count, m = right.node->count;
    if ((n >= Thin && m >= Thin) || n + m > JoinedCount) return;
    if (left.node->room < n + m) {
        Node* fit = Fit(height - 1, left.node, n + m);
        if (!fit) return;
        left.node = fit;
    }
    std::memcpy(EntryAt(height - 1, left.node, n), EntryAt(height - 1, right.node, 0),
                EntrySize(height - 1) * static_cast<std::size_t>(m));
    left.node->count = n + m;
    left.sum += right.sum;
    std::free(right.node);
    DropEntry(height, node, i + 1);
}

// Takes out the chunk that starts `at` bytes into the node; what it held.
LineSum EraseFrom(int height, Node*& node, std::int32_t at) {
    int i = 0;
    if (height == 0) {
        while (at > 0) at -= BytesOf(Chunks(node)[i++]);
        const LineSum gone = SumOf(Chunks(node)[i]);
        DropEntry(0, node, i);
        return gone;
    }
    while (at >= Children(node)[i].sum.bytes) at -= Children(node)[i++].sum.bytes;
    Child& child = Children(node)[i];
    const LineSum gone = EraseFrom(height - 1, child.node, at);
    child.sum += Less(gone);
    if (child.node->count == 0) {
        std::free(child.node);
        DropEntry(height, node, i);
    } else {
        JoinThin(height, node, i);
        JoinThin(height, node, i - 1);
    }
    return gone;
}

bool CheckNode(int height, const Node* node) {
    if (node->count < 1 || node->count > Fan || node->count > node->room) return false;
    for (int i = 0; i < node->count; ++i) {
        if (height == 0) {
            if (BytesOf(Chunks(node)[i]) == 0) return false;
            continue;
        }
        const Child& child = Children(node)[i];
        const LineSum sum = SumOf(height - 1, child.node);
        if (sum.bytes != child.sum.bytes || sum.ends != child.sum.ends) return false;
        if (!CheckNode(height - 1, child.node)) return false;
    }
    return true;
}

std::int64_t MemoryOf(int height, const Node* node) {
    auto bytes = static_cast<std::int64_t>(NodeSize(height, node->room));
    for (int i = 0; height > 0 && i < node->count; ++i) bytes += MemoryOf(height - 1, Children(node)[i].node);
    return bytes;
}

} // namespace

LineChunk LineTree::OfByte(std::int32_t p) const {
    LineChunk found = {};
    const Node* node = NodeAt(root);
    for (int h = height; h > 0; --h) node = PassChildren(node, &LineSum::bytes, p, found.before)->node;
    found.self = SumOf(*PassChunks(node, &LineSum::bytes, p, found.before));
    return found;
}

LineChunk LineTree::OfEnd(std::int32_t n) const {
    LineChunk found = {};
    const Node* node = NodeAt(root);
    --n;
    for (int h = height; h > 0; --h) node = PassChildren(node, &LineSum::ends, n, found.before)->node;
    found.self = SumOf(*PassChunks(node, &LineSum::ends, n, found.before));
    return found;
}

LineChunk LineTree::Seek(std::int32_t p) {
    LineChunk found = {};
    Node* node = NodeAt(root);
    for (int h = height; h > 0; --h) {
        Child* child = PassChildren(node, &LineSum::bytes, p, found.before);
        way[h] = &child->sum;
        node = child->node;
    }
    sought = PassChunks(node, &LineSum::bytes, p, found.before);
    found.self = SumOf(*sought);
    return found;
}

void LineTree::Add(LineSum more) {
    LineSum sum = SumOf(*sought);
    sum += more;
    *sought = ChunkOf(sum);
    for (int h = height; h > 0; --h) *way[h] += more;
    all += more;
}

void LineTree::Erase(std::int32_t at) {
    Node* top = NodeAt(root);
    all += Less(EraseFrom(height, top, at));
    while (height > 0 && top->count == 1) {
        Node* only = Children(top)[0].node;
        std::free(top);
        top = only;
        --height;
    }
    root = top;
    if (top->count == 0) Clear();
}

bool LineTree::Insert(std::int32_t at, LineSum chunk) {
    Node* top = root ? NodeAt(root) : Fit(0, nullptr, 1);
    if (!top) return false;
    Node* behind;
    const bool done = InsertInto(height, top, at, ChunkOf(chunk), behind);
    root = top;
    all += chunk;
    if (!behind) return done;
    Node* above = done ? Fit(height + 1, nullptr, 2) : nullptr;
    if (!above) {
        FreeNode(behind, height);
        return false;
    }
    above->count = 2;
    Children(above)[0] = {SumOf(height, top), top};
    Children(above)[1] = {SumOf(height, behind), behind};
    root = above;
    ++height;
    return true;
}

void LineTree::Clear() {
    if (root) FreeNode(NodeAt(root), height);
    root = nullptr;
    height = 0;
    all = {};
}

std::int64_t LineTree::Memory() const {
    return root ? MemoryOf(height, NodeAt(root)) : 0;
}

bool LineTree::Check() const {
    if (!root) return all.bytes == 0 && all.ends == 0;
    const LineSum sum = SumOf(height, NodeAt(root));
    return sum.bytes == all.bytes && sum.ends == all.ends && CheckNode(height, NodeAt(root));
}

} // namespace vfile_internal
