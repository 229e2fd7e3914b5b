// The virtual memory that a content lies in has room for 2 GiB of blocks, and a block takes as much of it when it is
// half empty. Changes inside a content leave such blocks. This keeps an upper bound of what is unused in them, and
// writes the parts that were changed anew over themselves, into full blocks, before the space would run out.
#pragma once

#include "foundation/result.h"
#include "vfile/vfile.h"

#include <cstdint>

class Trace;

// What the virtual memory can hold: one block of the content is one of its pages, and the last page would end at 2 GiB,
// one byte beyond the last address.
constexpr std::int32_t ContentMax = 2147482624;

// All changes of the content have to go through here.
class Space {
  public:
    // `most`: the bytes of all blocks. The content is empty.
    explicit Space(VFile& c, std::int32_t most = ContentMax) : content(c), limit(most) {}
    Space(const Space&) = delete;
    Space& operator=(const Space&) = delete;

    // VFile::ReplaceBuf. Ends in the content's result, or resTooLong, with nothing changed, if there is no room. All of
    // the space can be used by what is appended to full blocks; changes inside leave the last kilobytes free.
    Res Change(std::int32_t at, std::int32_t oldLen, const void* bytes, int n);

    // Leaves as much of the space as the content takes to a copy of it. False if that is too much.
    bool LeaveForCopy();

    bool HasChanged() const { return changed; }
    void ForgetChanges() { changed = false; }
    Trace* trace = nullptr; // is told of each change

    // Could so many bytes be put in at this place?
    bool Fits(std::int32_t at, std::int64_t more) const;

  private:
    // Where changes were; none at all while `to` is below `from`.
    struct Stretch {
        std::int32_t from = 0;
        std::int32_t to = -1;
        void Take(const Stretch& s);
        void Move(std::int32_t at, std::int32_t grown);
    };

    Res ChangeWithin(std::int32_t at, std::int32_t oldLen, const void* bytes, int n);
    bool Roomy(int n) const;
    void ChangeTight(std::int32_t at, std::int32_t oldLen, const unsigned char* bytes, int n);
    void Note(std::int32_t at, std::int32_t oldLen, int n);
    void PackNearby(bool dense);
    void MakeRoom(int n);
    void Pack(const Stretch& stretch);

    VFile& content;
    bool changed = false;
    std::int32_t limit;
    std::int64_t unused = 0; // at most, in all blocks but the last; 0: they are full
    std::int64_t before = 0; // of it, what was there before the changes in `nearby`
    Stretch nearby;          // the latest changes
    int count = 0;           // of them, those that let the content grow
    Stretch others;          // all other changes since all was packed
    std::int32_t end = -1;   // after an insertion of several blocks: the next one here goes on in them
};
