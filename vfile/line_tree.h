// The chunks of a content, some thousand bytes each, with the number of line ends in each. Internal.
//
//   inner  {4 M bytes, 70000 ends}, {...}                         sums of what lies below each child
//             |              '-----------.
//   leaf   {4096, 70} {4100, 68} ...    {4096, 71} ...            chunks: bytes and line ends, 16 bits each
//
// A B+-tree keyed by nothing but the sums: every operation names a chunk by the position at which it starts. Knows
// nothing of the bytes themselves. A node has room for its entries and a few more, so that a chunk costs 4 bytes and
// little beyond.
//
// L1 A node's count is 1 to Fan, and not above its room; the root of an empty tree is null.
// L2 A child's sum is that of the chunks below it. A chunk has 1 to MostBytes bytes.
// Method: counted B-trees (Bayer and McCreight 1972, with sums in place of keys).
#pragma once

#include <cstdint>

namespace vfile_internal {

struct LineSum {
    std::int32_t bytes, ends;
};

// A chunk, and what lies before it.
struct LineChunk {
    LineSum before, self;
};

class LineTree {
  public:
    static constexpr std::int32_t MostBytes = 16383; // of a chunk

    LineTree() : root(nullptr), height(0), all(), way(), sought(nullptr) {}
    ~LineTree() { Clear(); }
    LineTree(const LineTree&) = delete;
    LineTree& operator=(const LineTree&) = delete;

    LineSum All() const { return all; }
    LineChunk OfByte(std::int32_t p) const; // the chunk that holds byte p, which is there
    LineChunk OfEnd(std::int32_t n) const;  // the chunk that holds the n-th line end, from 1 on

    // OfByte, and the way there is kept. Add gives that chunk so much more, or less, without making it empty; since
    // then nothing has been erased or inserted.
    LineChunk Seek(std::int32_t p);
    void Add(LineSum more);

    // Takes out the chunk that starts at `at`.
    void Erase(std::int32_t at);

    // Takes in a chunk that starts at `at`, in front of what started there. False if out of memory: some sums
    // are then wrong, and the tree has to be cleared.
    bool Insert(std::int32_t at, LineSum chunk);

    void Clear();

    std::int64_t Memory() const; // bytes of its nodes
    bool Check() const;          // L1 and L2

  private:
    static constexpr int MostLevels = 12; // a node that splits leaves two of 32 entries at least: far more than 2 GiB

    void* root;
    int height; // levels of inner nodes above the leaves
    LineSum all;
    LineSum* way[MostLevels + 1]; // of the last Seek: the sums that hold the chunk, by their height
    std::uint32_t* sought;        // and the chunk
};

} // namespace vfile_internal
