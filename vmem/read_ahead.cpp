// Reading the swap file ahead.
#include "vmem/read_ahead.h"

#include "vmem/page.h"
#include "vmem/swap_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {
namespace {

constexpr int FirstWait = 3;          // misses in a row that let the file be read ahead
constexpr int LastWait = 1024;        // where that is never of use
constexpr int FirstSize = 3;          // pages of a first batch
constexpr int RunSkip = 8 * PageSize; // a run may pass over less than this: pages that are cached

} // namespace

const unsigned char* ReadAhead::PageAt(std::int32_t adr, const SwapFile& swap) {
    Run& run = RunOf(adr);
    run.next = std::int64_t{adr} + PageSize;
    if (run.misses < LastWait) ++run.misses;
    if (adr >= run.start && adr < run.end) {
        credit.CameDue();
        ++run.used;
    } else {
        credit.Due();
        Judge(run);
        if (run.misses < run.wait || !Fill(run, adr, swap)) return nullptr;
    }
    return run.bytes + (adr - run.start);
}

// The run that a miss goes on. If there is none, the one that has rested longer becomes a new one.
ReadAhead::Run& ReadAhead::RunOf(std::int32_t adr) {
    for (int i = 0; i < RunCount; ++i, last = 1 - last) {
        const Run& run = runs[last];
        if (run.next > 0 && adr >= run.next && adr - run.next < RunSkip) return runs[last];
    }
    last = 1 - last;
    runs[last] = {0, 0, FirstWait, FirstSize, 0, 0, 0, runs[last].bytes};
    return runs[last];
}

// What the batch that a run has left behind says about the next one.
void ReadAhead::Judge(Run& run) {
    const auto pages = static_cast<int>((run.end - run.start) / PageSize);
    run.start = run.end = 0;
    if (pages == 0) return;
    if (4 * run.used >= 3 * pages) {
        run.wait = FirstWait;
        run.size = std::min(2 * run.size, GatherPages);
    } else {
        run.wait = std::min(2 * run.wait, LastWait);
        run.size = FirstSize;
        run.misses = 0;
    }
}

// Reads a batch that begins with the page at `adr`. A whole one ends where a group does, so that the next begins there.
bool ReadAhead::Fill(Run& run, std::int32_t adr, const SwapFile& swap) {
    const int pages = std::min(run.size, credit.Pages() + 1);
    if (!run.bytes) run.bytes = static_cast<unsigned char*>(std::malloc(GroupSize));
    if (!run.bytes) return false;
    std::int64_t count = swap.Stretch(adr, std::int64_t{pages} * PageSize);
    const std::int64_t over = (adr + count) % GroupSize;
    if (pages == GatherPages && over < count) count -= over;
    if (count <= PageSize) return false; // a batch of one

    const std::int32_t moved = swap.ReadMore(adr, run.bytes, count);
    if (moved < PageSize) return false;
    run.start = adr;
    run.end = run.start + moved / PageSize * PageSize; // which may be 2 GiB
    run.used = 1;
    credit.Early(moved / PageSize - 1);
    return true;
}

void ReadAhead::Written(std::int64_t adr, const unsigned char* data) {
    if (!Holds(adr, adr + PageSize)) return;
    for (Run& run : runs) {
        if (adr >= run.start && adr < run.end) std::memcpy(run.bytes + (adr - run.start), data, PageSize);
    }
}

void ReadAhead::Forget(std::int64_t start, std::int64_t end) {
    for (Run& run : runs) {
        if (start < run.end && end > run.start) run.start = run.end = 0;
    }
}

void ReadAhead::Drop() {
    for (Run& run : runs) {
        std::free(run.bytes);
        run = Run{};
    }
}

} // namespace vfile_internal
