// An index over the block chain: which block holds a position, in the time of a few cache misses. Internal.
//
//   inner  {sum 3020, sum 2048, ...}                        sums of the lengths below each child
//             |          '------------.
//   leaf   {1024, 310, 1024, 662}   {1024, 1024} ...        the blocks' lengths and descriptors, in the chain's order
//
// A B+-tree keyed by nothing but the lengths: every operation names a block by the position at which it starts, so a
// descriptor needs no word of its own for the index. Nodes split in halves when full and join a neighbour when both are
// thin. The chain stands without it: it is made when a search has to go far, given up when the heap has no room for a
// node, and made again when next needed.
//
// I1 The leaves hold the blocks of the chain in its order, each with its length (the current block's may lag: the
//    object knows by how much).
// I2 A child's sum is that of the lengths below it, and a node's count is 1 to Fan.
// Method: counted B-trees (Bayer and McCreight 1972, with sums in place of keys).
#pragma once

#include <cstdint>

struct BlkDesc;
struct BlkRdr;

namespace vfile_internal {

class BlkIndex {
  public:
    static BlkIndex* Make(const BlkDesc* first); // NIL if the heap has no room
    static void Dispose(BlkIndex*& index);

    // Sets rd to the block that holds position p, 0 to the sum of all lengths less 1. Leaves rd.ix alone.
    void Find(BlkRdr& rd, std::int32_t p) const;

    // The block that starts at `at` has grown by `delta`.
    void Adjust(std::int32_t at, std::int32_t delta);

    // Takes out the block that starts at `at`.
    void Erase(std::int32_t at);

    // Takes in a block that starts at `at`, in front of what started there. False if the heap has no room: the index is
    // then broken and must be disposed of.
    bool Insert(std::int32_t at, BlkDesc* blk);

    std::int32_t Count() const { return count; } // of blocks

    // Compares with the chain from `first` on, the block `current` being `lag` bytes longer than the index knows. The
    // number of the broken invariant, 0 if there is none.
    int Check(const BlkDesc* first, const BlkDesc* current, std::int32_t lag) const;

  private:
    void* root;
    int height; // levels of inner nodes above the leaves
    std::int32_t count;
};

} // namespace vfile_internal
