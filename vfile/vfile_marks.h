/// @file
/// VFileMarks: positions and ranges in a VFile that move with its bytes.
#pragma once

#include "vfile.h"

namespace vfile_internal {
class MarkTree;
}

/// A mark or range of a VFileMarks: a small number above 0, good until it is removed, and then given out again. 0
/// stands for none.
using VFileMark = std::int32_t;

/// Where a mark goes when bytes are inserted at its very place, or when the bytes on both sides of it give way.
enum class VFileGravity : unsigned char {
    Before, ///< It stays before the new bytes.
    After   ///< It moves past them.
};

/// What has become of the bytes at a mark, or in a range, since it was added or ClearLoss was called.
enum class VFileLoss : unsigned char {
    None,   ///< All are there.
    Partly, ///< Some bytes of the range have gone.
    Wholly  ///< The byte after the mark has gone; all bytes of the range have, by one change.
};

/// VFileMarks: marks between the bytes of a VFile, or of an object of a class derived from it, and ranges between two
/// of them. They belong to the host, and follow the bytes through every change, whatever operation makes it.
///
///     a change:      before  [ old bytes ]  behind      a mark there, or at an edge of the old bytes:
///                       |    |     |     |    |
///                       |    |   either  |    |         both neighbours are gone: to either end of the new bytes, by
///                       |    |    / \    |    |         its gravity
///                    before  [new bytes...]  behind     outside, and at the edges: it keeps its one neighbour
///
/// Where nothing gives way, both edges are one, and the gravity decides. A byte that is overwritten counts as gone, and
/// one that has gone does not come back: Undo brings new ones. A range holds the bytes from its start up to, and
/// without, its end; each of the two has its gravity. It never turns round: where its start comes to stand after its
/// end, it is empty, at its start.
///
/// **Ownership.** The marks belong to the object of this class, and go with it. When the content's object goes first,
/// they stay where they are. Several may follow one content. **Threads:** used, and destroyed, on the content's thread.
/// **Failures** are results in `res`; nothing halts. A change never fails because of a mark: it takes no memory.
/// **Cost.** With n marks and ranges, a change costs O(log n), and O(k log n) more if the bytes at k of them go; so do
/// adding, removing, asking and going to the next one. A mark takes 48 bytes, a range twice that, from the heap.
class VFILE_API VFileMarks {
  public:
    /// Follows `f`. Without memory, or with an `f` that belongs to another thread, `res` tells (resHeapOverflow,
    /// resContextError), and none can be added.
    explicit VFileMarks(VFile& f);

    /// The marks go with it.
    ~VFileMarks();

    VFileMarks(const VFileMarks&) = delete;
    VFileMarks& operator=(const VFileMarks&) = delete;

    /// The content's object, null if it is gone.
    VFile* Subject() const;

    /// @name Marks and ranges
    /// Positions beyond the end count as the end. Those that return a mark return 0 if it can't be made: a negative
    /// position, or a range that ends before its start (resCallError), no object (resContextError), no memory
    /// (resHeapOverflow). A mark that is none is resCallError for all others. `res` becomes resDone where all is well.
    /// @{

    /// A mark before the byte at `at`.
    VFileMark Add(std::int32_t at, VFileGravity gravity);

    /// The bytes from `from` up to, and without, `to`. As told by default, what is inserted at an edge stays outside.
    VFileMark AddRange(std::int32_t from, std::int32_t to, VFileGravity atStart = VFileGravity::After,
                       VFileGravity atEnd = VFileGravity::Before);

    /// Takes it away; false if it is none.
    bool Remove(VFileMark mark);

    /// Takes all away.
    void Clear();
    /// @}

    /// @name Questions
    /// They don't touch the content.
    /// @{
    std::int32_t Count() const;               ///< Marks and ranges.
    std::int32_t Start(VFileMark mark) const; ///< Where the mark is, or the range starts; -1 if it is none.
    std::int32_t End(VFileMark mark) const;   ///< Where the range ends; for a mark its place, -1 if it is none.
    VFileLoss Loss(VFileMark mark) const;     ///< What has become of its bytes; None if it is none.
    void ClearLoss(VFileMark mark);           ///< From now on, Loss tells of what happens later.
    /// @}

    /// @name In order
    /// By place, ranges by their start. At one place those of gravity Before come first; beyond that their order does
    /// not change. All return 0 if there is none. A host that goes through all of them may change the content on the
    /// way, and may remove what it has left behind.
    /// @{
    VFileMark From(std::int32_t at) const;    ///< The first one at `at` or after.
    VFileMark Next(VFileMark mark) const;     ///< The one after it.
    VFileMark Previous(VFileMark mark) const; ///< The one before it.
    /// @}

    /// Why the last operation that failed did; resDone after one that tells a result and did not.
    Res res;

  private:
    vfile_internal::MarkTree* tree; // null without memory
};
