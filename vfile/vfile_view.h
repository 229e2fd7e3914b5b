/// @file
/// VFileView: looks at the bytes of a VFile where they lie, searches and compares ranges of them.
#pragma once

#include "vfile.h"

#include <type_traits>

/// What a visit calls for each run of bytes: `n` of them, at least one. False ends the visit.
using VFileVisitor = bool (*)(void* context, const unsigned char* bytes, std::int32_t n);

/// VFileView: the bytes of a VFile, or of an object of a class derived from it, for those who only look. Position,
/// `res`, `eof` and flags of the object are afterwards as they were before.
///
///     content    |.......x|xxxxxxxxxx|xxxxx|xxxx......|      Visit      1, 2, 3, 4
///     blocks         1         2        3       4            VisitBack  4, 3, 2, 1
///
/// A view of a `VFile&` has the bytes that the object's own reads give. Those that the class overrides are called: by
/// ReadByte, or ReadPrevByte going back, with one SetPos before the first, and all runs are of one byte then; Read
/// calls ReadBytes. A view of a `const VFile&` has the bytes that are stored, as the comparisons and a change that
/// takes its bytes from an object have, and calls nothing. For a class that overrides no read both are the same, and
/// runs are the blocks of the content, of 1024 bytes at most.
///
/// **Ranges** are cut to the content. MaxLen as a count, or as the end, reaches to the end of the content.
///
/// **Ownership.** A view refers to the object, which must outlive it, and holds nothing. It is as cheap to make as a
/// pointer, and may be copied. **Threads:** used on the object's thread.
/// **Failures** are results in `res`, which is resDone after an operation that had none: resCallError for a negative
/// number and for null with bytes to come, resContextError on a thread that the object does not belong to, resNotDone
/// where a read that the class overrides gave fewer bytes than there are. VMem halts as always.
/// **Cost.** The way to the first byte is that of SetPos; a run costs a few nanoseconds beside what its page may cost.
class VFILE_API VFileView {
  public:
    VFileView(VFile& f);       ///< Of the bytes that the object's reads give.
    VFileView(const VFile& f); ///< Of the bytes that are stored.

    /// The length of the content.
    std::int32_t Length() const;

    /// @name Visiting
    ///
    /// They call `visit` with `context` for each run of the `count` bytes from `from` on: from the first to the last,
    /// or from the last run to the first, with the bytes of a run in their order in any case. True if the visitor has
    /// seen them all, false if it has ended the visit, or if `res` says why not.
    ///
    /// The bytes are good until the visitor returns, whatever it does with other objects, with the thread's cache, or
    /// by views and const operations with this one; it may begin visits within visits. If it changes the content, they
    /// are good until then, and the visit ends after it with resContextError; so it does if the object goes. A visitor
    /// may throw: that passes through. The cache may hold a page more than its limit for each visit under way.
    /// @{
    bool Visit(std::int32_t from, std::int32_t count, VFileVisitor visit, void* context);     ///< forward
    bool VisitBack(std::int32_t from, std::int32_t count, VFileVisitor visit, void* context); ///< backward

    /// Forward, to whatever can be called with `(const unsigned char*, std::int32_t)` and returns a bool: a lambda.
    template <class Visitor>
    VFILE_LOCAL bool Visit(std::int32_t from, std::int32_t count, Visitor&& visit) {
        return Visit(from, count, Call<std::remove_reference_t<Visitor>>, Pointer(visit));
    }

    /// Backward, in the same way.
    template <class Visitor>
    VFILE_LOCAL bool VisitBack(std::int32_t from, std::int32_t count, Visitor&& visit) {
        return VisitBack(from, count, Call<std::remove_reference_t<Visitor>>, Pointer(visit));
    }
    /// @}

    /// Copies up to `n` bytes from `from` on to `dst`; returns how many there were.
    std::int32_t Read(std::int32_t from, void* dst, std::int32_t n);

    /// @name Search
    /// For `n` bytes at `bytes`, any of which may be zero, within the bytes from `from` up to, and without, `to`: the
    /// position of the first or the last place where all of them lie in that range; -1 if there is none, or if `res`
    /// says why. No bytes at all lie at the first and at the last place of any range. With `ignoreCase` ASCII letters
    /// match in both cases as in VFile::Find. Each byte is read once; nothing is allocated.
    /// @{
    std::int32_t Find(const void* bytes, std::int32_t n, std::int32_t from = 0, std::int32_t to = MaxLen,
                      bool ignoreCase = false); ///< the first one
    std::int32_t FindBack(const void* bytes, std::int32_t n, std::int32_t from = 0, std::int32_t to = MaxLen,
                          bool ignoreCase = false); ///< the last one
    /// @}

    /// @name Comparison
    /// Of the `count` bytes from `from` on with others: -1 if they are less, 0 if they are equal, 1 if they are
    /// greater, by the first byte that differs, taken as 0 to 255; of two ranges that begin alike, the shorter one is
    /// less. 0 also if `res` says why there is no answer. Reads up to the first difference.
    /// @{
    int Compare(std::int32_t from, std::int32_t count, const void* bytes, std::int32_t n); ///< with bytes of memory
    int Compare(std::int32_t from, std::int32_t count, const VFileView& other, std::int32_t fromOther,
                std::int32_t countOther); ///< with a range of another object, or of this one
    /// @}

    /// Why the last operation failed; resDone after one that did not.
    Res res;

  private:
    template <class Visitor>
    VFILE_LOCAL static bool Call(void* visit, const unsigned char* bytes, std::int32_t n) {
        return static_cast<bool>((*static_cast<Visitor*>(visit))(bytes, n));
    }
    template <class Visitor>
    VFILE_LOCAL static void* Pointer(Visitor& visit) {
        return const_cast<void*>(static_cast<const void*>(&visit));
    }
    bool Go(std::int32_t from, std::int32_t count, bool back, VFileVisitor visit, void* context);
    std::int32_t Search(const void* bytes, std::int32_t n, std::int32_t from, std::int32_t to, bool back, bool fold);

    VFile* own; // null in a view of what is stored
    const VFile* file;
};
