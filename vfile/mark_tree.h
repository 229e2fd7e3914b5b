// Marks that follow the bytes of a content: a treap by place, in which a change moves all that lies after it by one
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
#pragma once

#include "foundation/from_heap.h"
#include "vfile/vfile_marks.h"
#include "vfile/vfile_observer.h"

namespace vfile_internal {

enum MarkKind : unsigned char { Free, Mark, RangeStart, RangeEnd };

struct MarkNode {
    std::int32_t up, left, right; // nodes, 0 for none; of a free one, `up` is the next free one
    std::int32_t mate;            // of a range, its other end
    std::int32_t at, addAt;       // the place; what all nodes below still have to get
    std::int64_t gone, addGone;   // bytes before the place that have gone so far, and the same for those below
    MarkKind kind;
    VFileGravity gravity;
    bool lost; // the byte after the mark, or all of the range
};

// The order in the tree: by place, and there by gravity.
inline std::int64_t MarkKey(std::int32_t at, VFileGravity gravity) {
    return std::int64_t{at} * 2 + static_cast<int>(gravity);
}

class MarkTree : public FromHeap {
  public:
    using Node = MarkNode;
    explicit MarkTree(VFile& f);
    ~MarkTree();

    VFile* Subject() const { return watch.subject; }
    bool Reserve(int count); // memory for so many more
    std::int32_t Add(std::int32_t at, MarkKind kind, VFileGravity gravity);
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

} // namespace vfile_internal
