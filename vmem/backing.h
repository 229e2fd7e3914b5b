// Files that give pages their first bytes. Internal.
#pragma once

#include "foundation/from_heap.h"
#include "platform/backing.h"

#include <cstdint>

namespace vfile_internal {

// A file that is open for reading, and the range of pages that have its bytes until they are written or dropped:
//
//     file        0          1024       2048   2300
//     space   ... | 8192     | 9216     | 10240 000| ...     zeros after its end
//     left            0          1          0                page 9216 lies in the swap file by now, or is free
//
// The file stays open, and held as it was opened, as long as a page comes from it. What comes in is looked at in the
// file's state after the read: bytes that could be those of another content are not given.
class Backing : public FromHeap {
  public:
    // Takes the handle over if it works; null if out of memory.
    static Backing* Make(FileHandle handle, const platform::FileStamp& stamp, platform::Sharing sharing);
    ~Backing();
    Backing(const Backing&) = delete;
    Backing& operator=(const Backing&) = delete;

    std::int32_t PageCount() const; // of its range
    std::int64_t Start() const { return start; }
    std::int64_t End() const { return end; }
    bool Gives(std::int64_t adr) const { return adr >= start && adr < end && (left[Word(adr)] & Bit(adr)) == 0; }

    // One page that it gives; null, or what failed.
    const char* Read(std::int64_t adr, unsigned char* data) const;

    // `count` bytes of whole pages that it gives: how many came, 0 if the file is not what it was. No error is left.
    std::int32_t ReadMore(std::int64_t adr, unsigned char* data, std::int64_t count) const;

    bool IsIntact() const { return platform::HasBytesOf(handle, stamp); }
    template <class File>
    bool IsOf(File nameOrHandle) const {
        return platform::IsFileOf(stamp, nameOrHandle);
    }
    std::int32_t Giving() const { return giving; } // pages
    void LetGo() { platform::LetGoOf(handle); }
    void GiveUp() { handle = InvalidHandle; } // it is its former owner's again
    void HoldAgain() { platform::HoldAgain(handle, sharing); }

    Backing* next;

  private:
    friend class Backings;
    friend class VMemCheck;
    Backing(FileHandle h, const platform::FileStamp& s, platform::Sharing share, std::uint64_t* none);
    std::size_t Word(std::int64_t adr) const { return static_cast<std::size_t>((adr - start) >> 16); }
    std::uint64_t Bit(std::int64_t adr) const { return std::uint64_t{1} << ((adr - start) >> 10 & 63); }

    FileHandle handle;
    platform::FileStamp stamp; // of the file when it was taken
    platform::Sharing sharing;
    std::int64_t size;       // of the file
    std::int64_t start, end; // page addresses; none while they are equal
    std::int32_t giving;     // pages that come from the file still
    std::uint64_t* left;     // a bit for each page that does not any more
};

// All of a space.
//
//  - C10 A page that comes from a file lies in the used space, and comes from one alone. `giving` is the number of bits
//    that are 0, and above 0. (Pages that have left can be handed out again, and then lie in a second range, too.)
class Backings {
  public:
    Backings() : first(nullptr), recent(nullptr) {}
    ~Backings() { Drop(); }
    Backings(const Backings&) = delete;
    Backings& operator=(const Backings&) = delete;

    Backing* First() const { return first; }
    void Add(Backing* file, std::int32_t adr);
    bool Covers(std::int64_t adr, std::int64_t& end) const; // by any range, whose end it gives

    // The one that gives this page its bytes, null if there is none.
    Backing* Of(std::int64_t adr) const { return first ? Find(adr) : nullptr; }

    // The page does not come from a file any more. One that gives no page is closed. False if it did not before.
    bool Leave(std::int64_t adr);

    void Drop();    // closes all
    void Abandon(); // without touching the files: they are a parent process's

  private:
    Backing* Find(std::int64_t adr) const;

    Backing* first;
    mutable Backing* recent; // the one that was found last, null if it is gone
};

} // namespace vfile_internal
