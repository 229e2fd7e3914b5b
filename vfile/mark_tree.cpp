// The tree of marks: its memory, the treap, and what a change of the content does to it.
#include "vfile/mark_tree.h"

#include "platform/thread.h"

#include <algorithm>
#include <cstdlib>

namespace vfile_internal {

namespace {

// No two nodes have the same.
std::uint32_t Height(std::int32_t node) {
    auto v = static_cast<std::uint32_t>(node);
    v = (v ^ v >> 16) * 0x7FEB352Du;
    v = (v ^ v >> 15) * 0x846CA68Bu;
    return v ^ v >> 16;
}

} // namespace

MarkTree::MarkTree(VFile& f)
    : marks(0), ends(0), count(0), nodes(nullptr), used(1), room(0),
      free(0), watch{nullptr, nullptr, this, nullptr, Changed, nullptr, nullptr, Gone},
      owner(platform::CurrentThreadId()) {
    Observed::Attach(f, watch);
}

// In the child of a fork, a thread that is not here may have been giving them more room.
MarkTree::~MarkTree() {
    Observed::Detach(watch);
    if (!platform::IsFromBeforeFork(owner) || platform::IsOfForkingThread(owner)) std::free(nodes);
}

bool MarkTree::Reserve(int more) {
    for (std::int32_t i = free; i != 0 && more > 0; i = nodes[i].up) --more;
    if (used + more <= room) return true;
    if (room > MaxLen / 4) return false;
    const std::int32_t wanted = std::max<std::int32_t>(16, room + room / 2 + more);
    auto* moved = static_cast<Node*>(std::realloc(nodes, static_cast<std::size_t>(wanted) * sizeof(Node)));
    if (!moved) return false;
    nodes = moved;
    room = wanted;
    return true;
}

// After those of the same place and gravity. There is memory.
std::int32_t MarkTree::Add(std::int32_t at, MarkKind kind, VFileGravity gravity) {
    std::int32_t node = free;
    if (node) {
        free = nodes[node].up;
    } else {
        node = used++;
    }
    nodes[node] = {0, 0, 0, 0, at, 0, 0, 0, kind, gravity, false};
    std::int32_t& root = kind == RangeEnd ? ends : marks;
    std::int32_t low, high;
    Split(root, MarkKey(at, gravity) + 1, low, high);
    root = Join(Join(low, node), high);
    if (kind != RangeEnd) ++count;
    return node;
}

void MarkTree::Remove(std::int32_t node) {
    Node& n = nodes[node];
    if (n.kind == RangeStart) Remove(n.mate);
    if (n.kind != RangeEnd) --count;
    GiveDown(node);
    const std::int32_t rest = Join(n.left, n.right), up = n.up;
    if (up) {
        Hang(up, nodes[up].left == node ? &Node::left : &Node::right, rest);
    } else {
        (n.kind == RangeEnd ? ends : marks) = rest;
        nodes[rest].up = 0;
    }
    n.kind = Free;
    n.up = free;
    free = node;
}

void MarkTree::Clear() {
    std::free(nodes);
    nodes = nullptr;
    marks = ends = count = room = free = 0;
    used = 1;
}

// ---- The treap ----

void MarkTree::Hang(std::int32_t parent, std::int32_t Node::*side, std::int32_t child) {
    nodes[parent].*side = child;
    nodes[child].up = parent; // that of [0] means nothing
}

void MarkTree::HangOrRoot(std::int32_t parent, std::int32_t Node::*side, std::int32_t child, std::int32_t& root) {
    if (parent) return Hang(parent, side, child);
    root = child;
    nodes[child].up = 0;
}

// Moves all nodes of a subtree.
void MarkTree::Give(std::int32_t node, std::int32_t at, std::int64_t gone) {
    if (!node) return;
    Node& n = nodes[node];
    n.at += at;
    n.addAt += at;
    n.gone += gone;
    n.addGone += gone;
}

void MarkTree::GiveDown(std::int32_t node) {
    Node& n = nodes[node];
    if (n.addAt == 0 && n.addGone == 0) return;
    Give(n.left, n.addAt, n.addGone);
    Give(n.right, n.addAt, n.addGone);
    n.addAt = 0;
    n.addGone = 0;
}

std::int32_t MarkTree::Place(std::int32_t node) const {
    std::int32_t at = nodes[node].at;
    while ((node = nodes[node].up) != 0) at += nodes[node].addAt;
    return at;
}

std::int64_t MarkTree::GoneBefore(std::int32_t node) const {
    std::int64_t gone = nodes[node].gone;
    while ((node = nodes[node].up) != 0) gone += nodes[node].addGone;
    return gone;
}

// Those below the key, and the others.
void MarkTree::Split(std::int32_t root, std::int64_t key, std::int32_t& low, std::int32_t& high) {
    low = high = 0;
    std::int32_t lowEnd = 0, highEnd = 0; // what comes next hangs right of the one, or left of the other
    while (root) {
        GiveDown(root);
        const std::int32_t node = root;
        if (MarkKey(nodes[node].at, nodes[node].gravity) < key) {
            HangOrRoot(lowEnd, &Node::right, node, low);
            lowEnd = node;
            root = nodes[node].right;
        } else {
            HangOrRoot(highEnd, &Node::left, node, high);
            highEnd = node;
            root = nodes[node].left;
        }
    }
    if (lowEnd) nodes[lowEnd].right = 0;
    if (highEnd) nodes[highEnd].left = 0;
}

// All of `low` lie before all of `high`.
std::int32_t MarkTree::Join(std::int32_t low, std::int32_t high) {
    std::int32_t root = 0, end = 0;
    std::int32_t Node::*side = nullptr;
    while (low && high) {
        const bool takeLow = Height(low) > Height(high);
        const std::int32_t node = takeLow ? low : high;
        GiveDown(node);
        HangOrRoot(end, side, node, root);
        end = node;
        side = takeLow ? &Node::right : &Node::left;
        (takeLow ? low : high) = nodes[node].*side;
    }
    HangOrRoot(end, side, low ? low : high, root);
    return root;
}

std::int32_t MarkTree::FirstFrom(std::int32_t root, std::int64_t key) const {
    std::int32_t found = 0, add = 0;
    while (root) {
        const Node& n = nodes[root];
        const bool from = MarkKey(n.at + add, n.gravity) >= key;
        if (from) found = root;
        add += n.addAt;
        root = from ? n.left : n.right;
    }
    return found;
}

std::int32_t MarkTree::Neighbour(std::int32_t node, bool next) const {
    std::int32_t Node::*const ahead = next ? &Node::right : &Node::left;
    std::int32_t Node::*const back = next ? &Node::left : &Node::right;
    if (nodes[node].*ahead) {
        node = nodes[node].*ahead;
        while (nodes[node].*back) node = nodes[node].*back;
        return node;
    }
    std::int32_t up = nodes[node].up;
    while (up && nodes[up].*ahead == node) {
        node = up;
        up = nodes[node].up;
    }
    return up;
}

// ---- Changes ----

// The starts first: they look at the old places of the ends.
void MarkTree::Changed(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    auto& t = *static_cast<MarkTree*>(self);
    for (std::int32_t* root : {&t.marks, &t.ends}) {
        if (*root) t.Change(*root, at, oldLen, newLen);
    }
}

// Moves all nodes from the key on, which stay in their order. Where a node moves, all below it do, but for those on the
// left, which are looked at next: so nothing is touched beside the one way down.
void MarkTree::Shift(std::int32_t root, std::int64_t key, std::int32_t by, std::int64_t gone) {
    std::int32_t add = 0;
    while (root) {
        Node& n = nodes[root];
        const bool from = MarkKey(n.at + add, n.gravity) >= key;
        if (from) {
            Give(root, by, gone);
            Give(n.left, -by, -gone);
        }
        add += n.addAt;
        root = from ? n.left : n.right;
    }
}

void MarkTree::Change(std::int32_t& root, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    constexpr auto Before = VFileGravity::Before, After = VFileGravity::After;
    if (oldLen == 0) return Shift(root, MarkKey(at, After), newLen, 0);
    const std::int32_t end = at + oldLen, nearest = FirstFrom(root, MarkKey(at, Before));
    if (!nearest || ChangeFew(root, nearest, at, oldLen, newLen)) return;

    //   low | start: Before, After | inside | end: Before, After | high
    std::int32_t low, rest, startBefore, startAfter, inside, endBefore, high;
    Split(root, MarkKey(at, Before), low, rest);
    Split(rest, MarkKey(at, After), startBefore, rest);
    Split(rest, MarkKey(at, After) + 1, startAfter, rest);
    Split(rest, MarkKey(end, Before), inside, rest);
    Split(rest, MarkKey(end, After), endBefore, high);
    if (&root == &marks) {
        for (const std::int32_t part : {startBefore, startAfter, inside}) LoseAll(part, end);
    }
    std::int32_t insideBefore, insideAfter;
    Collapse(inside, at, newLen, insideBefore, insideAfter);
    Give(endBefore, newLen - oldLen, oldLen);
    Give(high, newLen - oldLen, oldLen);
    // Where the new run is empty, its two ends are one place.
    const std::int32_t first = Join(startBefore, insideBefore);
    root = newLen == 0 ? Join(Join(first, endBefore), startAfter) : Join(Join(first, startAfter), endBefore);
    root = Join(Join(low, root), Join(insideAfter, high));
}

// The same where only a few nodes, from `nearest` on, stand at the old bytes or in them, and all keep their order. Does
// nothing otherwise.
bool MarkTree::ChangeFew(std::int32_t root, std::int32_t nearest, std::int32_t at, std::int32_t oldLen,
                         std::int32_t newLen) {
    constexpr int Few = 16;
    const std::int32_t end = at + oldLen;
    const auto moved = [&](std::int32_t place, VFileGravity gravity) {
        if (place == at) return at;
        return place == end || gravity == VFileGravity::After ? at + newLen : at;
    };
    std::int64_t last = 0;
    int seen = 0, hit = 0; // nodes; those before the end
    for (std::int32_t node = nearest, place; node && (place = Place(node)) <= end; node = Neighbour(node, true)) {
        const std::int64_t key = MarkKey(moved(place, nodes[node].gravity), nodes[node].gravity);
        if (++seen > Few || key < last) return false;
        last = key;
        hit += place < end;
    }
    Shift(root, MarkKey(end, VFileGravity::Before), newLen - oldLen, oldLen);
    for (std::int32_t node = nearest; hit > 0; --hit, node = Neighbour(node, true)) {
        const std::int32_t place = Place(node);
        Node& n = nodes[node];
        if (n.kind != RangeEnd) Lose(n, place, end);
        n.gone += place - at;
        n.at += moved(place, n.gravity) - place;
    }
    return true;
}

// The bytes after this one, up to `end`, go.
void MarkTree::Lose(Node& n, std::int32_t place, std::int32_t end) const {
    if (n.kind == Mark) {
        n.lost = true;
    } else if (!n.lost) {
        const std::int32_t to = Place(n.mate);
        n.lost = place < to && to <= end;
    }
}

void MarkTree::LoseAll(std::int32_t root, std::int32_t end) {
    if (!root) return;
    GiveDown(root);
    Lose(nodes[root], nodes[root].at, end);
    LoseAll(nodes[root].left, end);
    LoseAll(nodes[root].right, end);
}

// Nodes whose neighbours on both sides have gone, to the ends of the new run.
void MarkTree::Collapse(std::int32_t root, std::int32_t at, std::int32_t newLen, std::int32_t& before,
                        std::int32_t& after) {
    before = after = 0;
    if (!root) return;
    GiveDown(root);
    Node& n = nodes[root];
    std::int32_t leftBefore, leftAfter, rightBefore, rightAfter;
    Collapse(n.left, at, newLen, leftBefore, leftAfter);
    Collapse(n.right, at, newLen, rightBefore, rightAfter);
    n.gone += n.at - at;
    const bool stays = n.gravity == VFileGravity::Before;
    n.at = stays ? at : at + newLen;
    Hang(root, &Node::left, stays ? leftBefore : leftAfter);
    Hang(root, &Node::right, stays ? rightBefore : rightAfter);
    n.up = 0;
    before = stays ? root : Join(leftBefore, rightBefore);
    after = stays ? Join(leftAfter, rightAfter) : root;
}

} // namespace vfile_internal
