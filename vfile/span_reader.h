// A cursor over a content that gives runs of bytes where they lie. Internal; for the sources of VFile alone.
//
//     object      | page ....xxxxxxx | buffer xxxxxxxxxxx | page xxxx |      Next: what is left of a block
//                            ^ cursor                                        Take: goes over as much of it as was used
//
// It moves the object's own position, as ReadByte and ReadPrevByte would, or one of its own beside the object, which
// then stays as it is in every respect. On the object's own road a read that the class overrides is called, once for
// each Next, and what it gave is the run. So who goes over the runs makes the right calls for every class.
#pragma once

#include "vfile/content.h"
#include "vfile/overrides.h"

#include <algorithm>
#include <cstring>

namespace vfile_internal {

// Goes to the block that holds the byte at the cursor, or the one before it. False, and at the edge of the content, if
// there is none.
// A run may have been parted since the cursor came to it: its place then lies after what is left of it.
inline bool EnterAhead(BlkRdr& rd) {
    while (rd.ix >= rd.ptr->len) {
        if (!rd.ptr->next) return false;
        rd.start += rd.ptr->len;
        rd.ix -= rd.ptr->len;
        rd.ptr = rd.ptr->next;
    }
    return true;
}

inline bool EnterBefore(BlkRdr& rd) {
    while (rd.ix > rd.ptr->len) {
        rd.start += rd.ptr->len;
        rd.ix -= rd.ptr->len;
        rd.ptr = rd.ptr->next;
    }
    while (rd.ix < 1) {
        if (!rd.ptr->prev) return false;
        rd.ptr = rd.ptr->prev;
        rd.start -= rd.ptr->len;
        rd.ix = rd.ptr->len;
    }
    return true;
}

// How many bytes of the block lie in the page of the byte at the cursor, from there on; of the byte before it, up to
// there.
inline std::int32_t BytesAhead(const BlkRdr& rd) {
    return std::min<std::int32_t>(rd.ptr->len - rd.ix, BlkSize - (rd.ix & (BlkSize - 1)));
}

inline std::int32_t BytesBefore(const BlkRdr& rd) {
    return ((rd.ix - 1) & (BlkSize - 1)) + 1;
}

// At least one byte. Good until the next call of VMem or of the object.
struct Span {
    const unsigned char* bytes;
    std::size_t size;
};

class SpanReader {
  public:
    enum class Way {
        Ahead, // as ReadByte goes, or by its calls
        Back,  // as ReadPrevByte goes, or by its calls: a run ends at the position, and is used from its end
    };

    // With the object's own position.
    SpanReader(VFile& file, Way way)
        : content(Content::Of(file)), own(&file), beside(), at(&content.cur), back(way == Way::Back),
          calls(Overrides(file, back ? &VFile::ReadPrevByte : &VFile::ReadByte)), inBlock(false), byte(0) {}

    // From p, or from the end if that lies before it, with a position beside the object's. It sees what stands only in
    // the object's buffer, and is good until the next change.
    SpanReader(const VFile& file, std::int32_t p, Way way = Way::Ahead);

    SpanReader(const SpanReader&) = delete;
    SpanReader& operator=(const SpanReader&) = delete;

    // The next bytes. After the end it is a single 0, with the object's `eof` set, which else is cleared. Beside an
    // object there must be more.
    Span Next() {
        if (calls) return Call();
        inBlock = back ? EnterBefore(*at) : EnterAhead(*at);
        if (own) own->eof = !inBlock;
        if (!inBlock) return End();
        const std::int32_t n = back ? BytesBefore(*at) : BytesAhead(*at);
        return {content.BytesOf(at->ptr, back ? at->ix - n : at->ix, n), static_cast<std::size_t>(n)};
    }

    // Goes over n bytes of that run, as many as have been used.
    void Take(std::size_t n) {
        if (!inBlock) return; // a call has moved on by itself, and after the end there is nothing
        const int k = back ? -static_cast<int>(n) : static_cast<int>(n);
        at->ix += k;
        if (own) own->pos += k;
    }

    // One byte, as the read gives it: 0 after the end.
    unsigned char Byte() {
        const Span s = Next();
        const unsigned char c = s.bytes[back ? s.size - 1 : 0];
        Take(1);
        return c;
    }

    // Copies the next n bytes, which are there.
    void Read(void* dst, std::int32_t n);

  private:
    Span Call();
    Span End();

    Content& content;
    VFile* own;         // null beside the object
    BlkRdr beside;      // the cursor then
    BlkRdr* at;         // the cursor
    bool back;          // runs end at the cursor
    bool calls;         // the read is overridden
    bool inBlock;       // the last run lies in a block
    unsigned char byte; // else it is this
};

} // namespace vfile_internal
