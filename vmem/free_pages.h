// The list of free pages: last in, first out. Internal.
#pragma once

#include <cstdint>

namespace vfile_internal {

// Free pages that follow each other on the list.
struct FreeRun {
    std::int32_t head;       // the page that is taken next, -1 if there is none
    std::int32_t count : 24; // pages
    std::int32_t step : 8; // 1 or -1: the page taken after it lies one below, one above; 0: its first bytes hold a link
};

// The list as a stack of runs. A page that is given back with its bytes goes to a linked run: its link, written by the
// caller, leads to the next page of the list, of whatever run. A page whose bytes are of no more use goes to a run that
// is told by its numbers, and is neither read nor written.
//
//     top        {8192, 3, 1}                     8192 -> 7168 -> 6144
//     chunks     {1024, 2, 0}                  -> 1024 -> (link) 20480     its link leads to the next run
//                {3072, 1, 1}                  -> 3072 -> nothing
//
//  - F1 Each run but an only one has a page, the counts of the runs add up to that of the list.
//  - F2 Above a run without links there is room for one more, so a linked page always finds its place.
//
// Memory: 8 bytes of heap for each run but one, taken by 4 KB. A deletion gives back runs of hundreds of pages; at
// worst, no two pages in order, it is 8 bytes for each free page, 16 MB for a space of 2 GiB.
class FreePages {
  public:
    FreePages() : top{-1, 0, 0}, chunk(nullptr), count(0) {}
    ~FreePages();
    FreePages(const FreePages&) = delete;
    FreePages& operator=(const FreePages&) = delete;

    std::int32_t Head() const { return top.head; }
    std::int32_t Count() const { return count; }
    bool Linked() const { return top.step == 0; } // the page at the head
    std::int32_t Next() const;                    // the page after the head, -1 if there is none; not for a linked head

    void PushLinked(std::int32_t adr); // a page that holds a link to the head
    bool Push(std::int32_t adr);       // a page that holds nothing; false if out of memory
    void Pop(std::int32_t next);       // `next` is the page after the head
    void Clear();

    // The run that is reached after so many others, null if there are not as many.
    const FreeRun* Run(std::int32_t i) const;

  private:
    struct Chunk;
    bool Reserve(int n);

    FreeRun top;
    Chunk* chunk; // the runs below top; may be without any
    std::int32_t count;
};

} // namespace vfile_internal
