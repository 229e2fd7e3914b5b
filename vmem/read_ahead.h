// Reading the swap file ahead of misses that run upward. Internal.
#pragma once

#include "vmem/credit.h"

#include <cstdint>

namespace vfile_internal {

class SwapFile;

// The bytes of pages that are likely to be missed next. They are no cached pages: each is copied when its miss comes,
// and what is written to the file in between is written to them, too.
//
// Misses that go upward, also past a few pages, make a run; there are two, for two contents that are read side by side.
// From its third miss on a run reads some pages ahead, twice as many each time that they were of use, up to a group.
// If more than a quarter of them was not, the run reads page by page for a while, each time twice as long. What the
// account of early pages does not cover is not read: over any 147 or more misses that read, less than twice the bytes.
class ReadAhead {
  public:
    struct Batch {
        std::int64_t start, end; // addresses, none if they are equal
        const unsigned char* bytes;
    };
    static constexpr int RunCount = 2;

    ReadAhead() : runs{}, last(0) {}
    ~ReadAhead() { Drop(); }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // The bytes of a page that the file has and the cache has not. Null if the page must be read by itself, also where
    // reading ahead failed: it then has the failures of its own read.
    const unsigned char* PageAt(std::int32_t adr, const SwapFile& swap);

    // True if any of these addresses has been read ahead.
    bool Holds(std::int64_t start, std::int64_t end) const {
        return (start < runs[0].end && end > runs[0].start) || (start < runs[1].end && end > runs[1].start);
    }

    // The page has been written to the file.
    void Written(std::int64_t adr, const unsigned char* data);

    // What the file has there is not known.
    void Forget(std::int64_t start, std::int64_t end);

    // Gives the buffers back, and with them all that was read ahead.
    void Drop();

    Batch BatchOf(int i) const { return {runs[i].start, runs[i].end, runs[i].bytes}; }

  private:
    struct Run {
        std::int64_t next;       // the page after the last miss, 0 if there was none
        int misses;              // since the last batch that was not of use
        int wait;                // misses before the first batch
        int size;                // pages of the next batch
        int used;                // pages of the last one that were missed
        std::int64_t start, end; // addresses that `bytes` holds
        unsigned char* bytes;    // of a group, null until they are needed
    };
    Run& RunOf(std::int32_t adr);
    static void Judge(Run& run);
    bool Fill(Run& run, std::int32_t adr, const SwapFile& swap);

    Run runs[RunCount];
    int last; // which of them had the last miss
    Credit credit;
};

} // namespace vfile_internal
