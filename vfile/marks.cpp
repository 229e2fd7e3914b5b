// Marks that follow the bytes of a content: a treap by place, in which a change moves all that lies behind it by one
// number at the top of each subtree.
//
//                  40, +3                    a node's place is `at` and what the nodes above it have still to give:
//                 /      \                   the left one here is at 13, its child at 13 + 5 + ... once the +3 above
//             10, +5      60                 comes down, and so on
//                 \                          .
//                  12
//
// Marks and the starts of ranges are in one tree, the ends of ranges in another: so the first one is in the order in
// which a host goes through them, and an end costs nothing to those who have none. The heights are random by the number
// of the node, mixed, so the same calls build the same trees.
#include "vfile/vfile_marks.h"

#include "foundation/from_heap.h"
#include "platform/thread.h"
#include "vfile/vfile_observer.h"

#include <algorithm>
#include <cstdlib>

namespace vfile_internal {

namespace {

enum Kind : unsigned char { Free, Mark, RangeStart, RangeEnd };

struct Node {
    std::int32_t up, left, right; // nodes, 0 for none; of a free one, `up` is the next free one
    std::int32_t mate;            // of a range, its other end
    std::int32_t at, addAt;       // the place; what all nodes below still have to get
    std::int64_t gone, addGone;   // bytes before the place that have gone so far, and the same for those below
    Kind kind;
    VFileGravity gravity;
    bool lost; // the byte behind the mark, or all of the range
};

// The order in the tree: by place, and there by gravity.
std::int64_t Key(std::int32_t at, VFileGravity gravity) {
    return std::int64_t{at} * 2 + static_cast<int>(gravity);
}

// No two nodes have the same.
std::uint32_t Height(std::int32_t node) {
    auto v = static_cast<std::uint32_t>(node);
    v = (v ^ v >> 16) * 0x7FEB352Du;
    v = (v ^ v >> 15) * 0x846CA68Bu;
    return v ^ v >> 16;
}

} // namespace

class MarkTree : public FromHeap {
  public:
    explicit MarkTree(VFile& f);
    ~MarkTree();

    VFile* Subject() const { return watch.subject; }
    bool Reserve(int count); // memory for so many more
    std::int32_t Add(std::int32_t at, Kind kind, VFileGravity gravity);
    void Remove(std::int32_t node);
    void Clear();
    bool Holds(std::int32_t node) const { // for the host
        return node > 0 && node < used && (nodes[node].kind == Mark || nodes[node].kind == RangeStart);
    }
    Node& At(std::int32_t node) const { return nodes[node]; }
    std::int32_t Place(std::int32_t node) const;
    std::int64_t GoneBefore(std::int32_t node) const;
    std::int32_t FirstFrom(std::int32_t root, std::int64_t key) const;
    std::int32_t Neighbour(std::int32_t node, bool next) const;

    std::int32_t marks, ends; // the roots
    std::int32_t count;       // marks and ranges

  private:
    static void Changed(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void Gone(void*) {}

    void Hang(std::int32_t parent, std::int32_t Node::*side, std::int32_t child);
    void HangOrRoot(std::int32_t parent, std::int32_t Node::*side, std::int32_t child, std::int32_t& root);
    void Give(std::int32_t node, std::int32_t at, std::int64_t gone);
    void GiveDown(std::int32_t node);
    void Split(std::int32_t root, std::int64_t key, std::int32_t& low, std::int32_t& high);
    std::int32_t Join(std::int32_t low, std::int32_t high);
    void Shift(std::int32_t root, std::int64_t key, std::int32_t by, std::int64_t gone);
    void Change(std::int32_t& root, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    bool ChangeFew(std::int32_t root, std::int32_t nearest, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    void Lose(Node& n, std::int32_t place, std::int32_t end) const;
    void LoseAll(std::int32_t root, std::int32_t end);
    void Collapse(std::int32_t root, std::int32_t at, std::int32_t newLen, std::int32_t& before, std::int32_t& after);

    Node* nodes; // [0] stands for none
    std::int32_t used, room, free;
    Observer watch;
    std::uint32_t owner; // the thread
};

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

// Behind those of the same place and gravity. There is memory.
std::int32_t MarkTree::Add(std::int32_t at, Kind kind, VFileGravity gravity) {
    std::int32_t node = free;
    if (node) {
        free = nodes[node].up;
    } else {
        node = used++;
    }
    nodes[node] = {0, 0, 0, 0, at, 0, 0, 0, kind, gravity, false};
    std::int32_t& root = kind == RangeEnd ? ends : marks;
    std::int32_t low, high;
    Split(root, Key(at, gravity) + 1, low, high);
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
        if (Key(nodes[node].at, nodes[node].gravity) < key) {
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
        const bool from = Key(n.at + add, n.gravity) >= key;
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
        const bool from = Key(n.at + add, n.gravity) >= key;
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
    if (oldLen == 0) return Shift(root, Key(at, After), newLen, 0);
    const std::int32_t end = at + oldLen, nearest = FirstFrom(root, Key(at, Before));
    if (!nearest || ChangeFew(root, nearest, at, oldLen, newLen)) return;

    //   low | start: Before, After | inside | end: Before, After | high
    std::int32_t low, rest, startBefore, startAfter, inside, endBefore, high;
    Split(root, Key(at, Before), low, rest);
    Split(rest, Key(at, After), startBefore, rest);
    Split(rest, Key(at, After) + 1, startAfter, rest);
    Split(rest, Key(end, Before), inside, rest);
    Split(rest, Key(end, After), endBefore, high);
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
        const std::int64_t key = Key(moved(place, nodes[node].gravity), nodes[node].gravity);
        if (++seen > Few || key < last) return false;
        last = key;
        hit += place < end;
    }
    Shift(root, Key(end, VFileGravity::Before), newLen - oldLen, oldLen);
    for (std::int32_t node = nearest; hit > 0; --hit, node = Neighbour(node, true)) {
        const std::int32_t place = Place(node);
        Node& n = nodes[node];
        if (n.kind != RangeEnd) Lose(n, place, end);
        n.gone += place - at;
        n.at += moved(place, n.gravity) - place;
    }
    return true;
}

// The bytes behind this one, up to `end`, go.
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

using vfile_internal::MarkTree;

VFileMarks::VFileMarks(VFile& f) : res(resDone), tree(nullptr) {
    if (!vfile_internal::Observed::OnOwnerThread(f)) {
        res = resContextError;
        return;
    }
    tree = new (std::nothrow) MarkTree(f);
    if (!tree) res = resHeapOverflow;
}

VFileMarks::~VFileMarks() {
    delete tree;
}

VFile* VFileMarks::Subject() const {
    return tree ? tree->Subject() : nullptr;
}

VFileMark VFileMarks::Add(std::int32_t at, VFileGravity gravity) {
    VFile* f = Subject();
    res = !f ? resContextError : at < 0 ? resCallError : tree->Reserve(1) ? resDone : resHeapOverflow;
    if (res != resDone) return 0;
    return tree->Add(std::min<std::int32_t>(at, f->Length()), vfile_internal::Mark, gravity);
}

VFileMark VFileMarks::AddRange(std::int32_t from, std::int32_t to, VFileGravity atStart, VFileGravity atEnd) {
    VFile* f = Subject();
    const bool bad = from < 0 || to < from;
    res = !f ? resContextError : bad ? resCallError : tree->Reserve(2) ? resDone : resHeapOverflow;
    if (res != resDone) return 0;
    const std::int32_t mark = tree->Add(std::min<std::int32_t>(from, f->Length()), vfile_internal::RangeStart, atStart);
    const std::int32_t end = tree->Add(std::min<std::int32_t>(to, f->Length()), vfile_internal::RangeEnd, atEnd);
    tree->At(mark).mate = end;
    tree->At(end).mate = mark;
    return mark;
}

bool VFileMarks::Remove(VFileMark mark) {
    res = tree && tree->Holds(mark) ? resDone : resCallError;
    if (res == resDone) tree->Remove(mark);
    return res == resDone;
}

void VFileMarks::Clear() {
    if (tree) tree->Clear();
}

std::int32_t VFileMarks::Count() const {
    return tree ? tree->count : 0;
}

std::int32_t VFileMarks::Start(VFileMark mark) const {
    return tree && tree->Holds(mark) ? tree->Place(mark) : -1;
}

std::int32_t VFileMarks::End(VFileMark mark) const {
    const std::int32_t start = Start(mark);
    if (start < 0 || tree->At(mark).mate == 0) return start;
    return std::max<std::int32_t>(start, tree->Place(tree->At(mark).mate));
}

VFileLoss VFileMarks::Loss(VFileMark mark) const {
    if (!tree || !tree->Holds(mark)) return VFileLoss::None;
    const auto& n = tree->At(mark);
    if (n.lost) return VFileLoss::Wholly;
    const bool some = n.mate != 0 && tree->GoneBefore(n.mate) > tree->GoneBefore(mark);
    return some ? VFileLoss::Partly : VFileLoss::None;
}

void VFileMarks::ClearLoss(VFileMark mark) {
    res = tree && tree->Holds(mark) ? resDone : resCallError;
    if (res != resDone) return;
    auto& n = tree->At(mark);
    n.lost = false;
    if (n.mate != 0) tree->At(n.mate).gone += tree->GoneBefore(mark) - tree->GoneBefore(n.mate);
}

VFileMark VFileMarks::From(std::int32_t at) const {
    return tree ? tree->FirstFrom(tree->marks, vfile_internal::Key(at, VFileGravity::Before)) : 0;
}

VFileMark VFileMarks::Next(VFileMark mark) const {
    return tree && tree->Holds(mark) ? tree->Neighbour(mark, true) : 0;
}

VFileMark VFileMarks::Previous(VFileMark mark) const {
    return tree && tree->Holds(mark) ? tree->Neighbour(mark, false) : 0;
}
