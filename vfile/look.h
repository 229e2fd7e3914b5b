// A walk over a range of a content that leaves the object as it was. Internal; for the sources of VFile alone.
//
//     Look  --own cursor-->  blocks: the page is lent while a host looks; what lies in the object's buffer is copied
//           --or calls--->   ReadByte, ReadPrevByte of a class that overrides them
#pragma once

#include "vfile/span_reader.h"
#include "vfile/vfile_observer.h"

#include <optional>

namespace vfile_internal {

// The position of an object, put back at the end without a call, with `res` and `eof`.
class KeptPlace {
  public:
    explicit KeptPlace(VFile& f);
    ~KeptPlace();
    KeptPlace(const KeptPlace&) = delete;
    KeptPlace& operator=(const KeptPlace&) = delete;
    void Forget() { file = nullptr; }

  private:
    VFile* file;
    std::int32_t pos;
    Res res;
    bool eof;
};

// Gives the runs of the range, which lies within the content, from one end to the other. By a cursor of its own over
// the blocks, or, if `object` is given and its class overrides the read, by calls of that.
class Look {
  public:
    Look(VFile* object, const VFile& f, std::int32_t from, std::int32_t count, bool backward);
    ~Look();
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;

    std::int32_t Left() const { return left; } // bytes still to come

    // The next run, within the range. Empty where the object gave none. Good until the next call of VMem or of the
    // object; with Hold before, until TakeBack, the next change or the object's end.
    Span Next();
    void Take(std::size_t n); // goes over so many bytes of it, at most all

    // From now on what Next gives is for a host, which may do what it likes until TakeBack.
    void Hold();
    void TakeBack();
    bool Disturbed() const { return disturbed; } // the content has changed, or is gone: the walk ends here

  private:
    Span ByCall();

    Content& content;
    const VFile& file;
    std::optional<KeptPlace> place; // of an object whose reads are called
    VFile* own;                     // that one, else null
    BlkRdr rd;
    std::int32_t at; // between what has been used and what comes
    std::int32_t left;
    bool back;
    bool placed; // the object has been brought to its first place
    bool disturbed;
    bool wasAsking;    // the content
    std::int32_t lent; // address of the page that is held, -1 if none is
    Observer watch;    // attached: a host looks
    unsigned char room[BlkSize];
};

} // namespace vfile_internal
