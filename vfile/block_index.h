// An index over the block chain: which block holds a position, in the time of a few cache misses. Internal.
//
//   inner  {ends 3020, 5068, ...}                           where each child ends, counted from the start of the node
//            |         '-----------.
//   leaf   {1024, 1334, 2358, 3020}   {1024, 2048} ...      the same of the blocks, and their descriptors
//
// A B+-tree keyed by nothing but the lengths: every operation names a block by the position at which it starts, so a
// descriptor needs no word of its own for the index. Nodes split in halves when full and join a neighbour when both are
// thin. Ends are scanned, and moved up or down, all 64 of a node at once, which the compiler makes vectors of:
// no branch is guessed wrong on the way to a block.
//
// I1 The leaves hold the blocks of the chain in its order, each with its length; that of the block resized last may
// lag. I2 A node's ends rise by the lengths of what is below each entry; its count is 1 to 64. Method: counted B-trees
// (Bayer and McCreight 1972, with sums in place of keys).
#pragma once

#include <cstdint>

namespace vfile_internal {

struct BlkDesc;
struct BlkRdr;
struct IndexNode;

class BlkIndex {
  public:
    static BlkIndex* Make(BlkDesc* first); // null if out of memory
    static void Dispose(BlkIndex*& index);

    // Sets rd to the block that holds position p, 0 to the sum of all lengths less 1. Leaves rd.ix alone.
    void Find(BlkRdr& rd, std::int32_t p) const;

    // The block that starts at `at` has grown by `delta`.
    void Adjust(std::int32_t at, std::int32_t delta);

    // Takes out the block that starts at `at`.
    void Erase(std::int32_t at);

    // Takes in a block that starts at `at`, in front of what started there. False if out of memory: the index is
    // then broken and must be disposed of.
    bool Insert(std::int32_t at, BlkDesc* blk);

    std::int32_t Count() const { return count; } // of blocks

    // Compares with the chain from `first` on, the block `lagging` being `lag` bytes longer than the index knows. The
    // number of the broken invariant, 0 if there is none.
    int Check(const BlkDesc* first, const BlkDesc* lagging, std::int32_t lag) const;

  private:
    IndexNode* root;
    int height; // levels of inner nodes above the leaves
    std::int32_t count;
};

} // namespace vfile_internal
