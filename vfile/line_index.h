// The line ends of an object's content, counted once and then followed through every change. Internal.
//
//     content   |  chunk   |  chunk   | chunk |  chunk   |        of some thousand bytes, in a LineTree
//                      CR LF    ^ hot                             a pair is never on both sides of a border
//
// An observer of the object, made by the first question. A change inside of a chunk looks at the old bytes, the new
// ones and the two beside them; any other looks through the chunks that it touches anew. The chunk of the last change
// is kept beside the tree, which learns of it when another one is needed: typing costs no way through the tree.
// Whenever memory has run out, and when most of the content is new, the index goes, and the next question makes it
// anew.
//
// L3 The chunks cover the content, no pair of CR and LF lies on two of them, and each has the number of its line ends;
//    the hot one's differs from the tree's by `lag`.
#pragma once

#include "foundation/from_heap.h"
#include "platform/meter.h"
#include "vfile/line_tree.h"
#include "vfile/vfile_observer.h"

namespace vfile_internal {

class LineIndex : public FromHeap {
  public:
    static LineIndex* Of(const VFile& f); // null if the object has none
    // Makes it if need be. Null if out of memory, or if the host has stopped it, of which `outcome` tells.
    static LineIndex* ToAsk(VFile& f, Res& outcome);

    std::int32_t Ends() const;               // of lines, in all of the content
    std::int32_t EndsBefore(std::int32_t p); // those that lie before p, which is a place in the content
    std::int32_t Behind(std::int32_t n);     // the place after the n-th, 1 to Ends()

    std::int64_t Memory() const { return tree.Memory(); }

  private:
    friend class VFileCheck;

    explicit LineIndex(VFile& f);
    ~LineIndex();

    static void Before(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void After(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void Gone(void* self);

    std::int32_t BehindFromEnd(const LineChunk& chunk, std::int32_t later) const;
    bool Warm(std::int32_t at, std::int32_t n);
    void Settle();
    std::int32_t EndsAround(std::int32_t at, std::int32_t n) const;
    std::int32_t EndsInGap(std::int32_t at, std::int32_t n) const;
    unsigned char ByteAt(std::int32_t p) const;
    bool PairAt(std::int32_t p) const;
    bool ChangeFew(std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    bool ChangeHot(std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    void JoinHot();
    bool Recount(std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    bool CountFrom(std::int32_t from, std::int32_t to, platform::Meter& work);

    Observer watch;
    LineTree tree;
    LineChunk hot;        // the chunk of the last change; of no bytes if there is none
    LineSum lag;          // what it has and the tree does not know
    std::int32_t oldEnds; // around the bytes that the change will take away
    std::uint32_t owner;  // the thread
};

} // namespace vfile_internal
