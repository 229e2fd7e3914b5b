// The swap file: the byte at offset a is the byte of address a.
#include "vmem/vmem_internal.h"

#include "foundation/halt.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/swap_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace vfile_internal;

namespace {

constexpr unsigned NameTries = 1000;        // numbers 0 to 999
constexpr char NameTail[] = "~vmem999.tmp"; // the longest that is put behind the directory

const char SeekFailed[] = "seeking in swap file failed";
const char ReadFailed[] = "reading from swap file failed";
const char WriteFailed[] = "writing on swap file failed (disk full?)";

constexpr int GroupSize = GatherPages * VMem::PageSize; // of the file, for gathered writes

constexpr int RunFrom = 3;                  // misses in a row that let the file be read ahead
constexpr int RunSkip = 8 * VMem::PageSize; // a run may pass over less than this: pages that are cached

// Bytes that a directory may have, its last separator included.
constexpr std::size_t MaxDirLength = SwapPathSize - sizeof NameTail;

bool EndsInSeparator(const char* dir, std::size_t n) {
    return dir[n - 1] == '\\' || dir[n - 1] == '/';
}

// Copies a directory to `path` with a separator at its end; false, and nothing done, if it can't be used.
bool UseDirectory(char* path, const char* dir) {
    if (!platform::DirectoryUsable(dir)) return false;
    const std::size_t n = std::strlen(dir);
    const char* separator = EndsInSeparator(dir, n) ? "" : "\\";
    if (n + std::strlen(separator) > MaxDirLength) return false;
    std::snprintf(path, SwapPathSize, "%s%s", dir, separator);
    return true;
}

// Writes one piece of at most a page; NIL, or what failed.
const char* WritePiece(FileHandle file, const unsigned char* data, std::int32_t count, std::int64_t offset) {
    bool seekFailed = false;
    const std::int32_t moved = platform::WriteAt(file, data, static_cast<std::uint32_t>(count), offset, &seekFailed);
    return seekFailed ? SeekFailed : moved != count ? WriteFailed : nullptr;
}

} // namespace

FileHandle vfile_internal::CreateSwapFile(char* path, const char* dir) {
    if (!UseDirectory(path, dir) && !UseDirectory(path, platform::Environment("TMP")) &&
        !UseDirectory(path, platform::Environment("TEMP"))) {
        const char* last = platform::FallbackTempDir(MaxDirLength);
        std::snprintf(path, SwapPathSize, "%s%s", last, EndsInSeparator(last, std::strlen(last)) ? "" : "\\");
    }

    const std::size_t n = std::strlen(path);
    const unsigned start = platform::GetTickCount() % NameTries; // so that processes seldom try the same names
    for (unsigned i = 0; i < NameTries; ++i) {
        std::snprintf(path + n, SwapPathSize - n, "~vmem%u.tmp", (start + i) % NameTries);
        const FileHandle file = platform::OpenSwapFile(path);
        if (file != InvalidHandle) return file;
    }
    return InvalidHandle;
}

// Writes a dirty page to the swap file, which is made for the first one. False after a halt that came back: the page
// is dirty still.
bool VMem::FlushCachePtr(CacheDesc* p) {
    if (!p->dirty) return true;
    if (swapFile == InvalidHandle && !OpenSwap()) return false;
    if (!ExtendFile(p->adr)) return false;
    ForgetAhead(p->adr, std::int64_t{p->adr} + PageSize);
    if (const char* failure = WritePiece(swapFile, p->data, PageSize, p->adr)) {
        Halt("VMem", "FlushCachePtr", failure);
        return false;
    }
    if (fileSize == p->adr) fileSize += PageSize;
    p->dirty = false;
    return true;
}

// FlushCachePtr of a page that goes, by one transfer with its neighbours if it can be.
bool VMem::FlushVictim(CacheDesc* p) {
    if (p->dirty && maxCacheCount >= GatherFrom) WriteTogether(p);
    return FlushCachePtr(p); // by itself, if it is dirty still
}

// The page at `adr`, if it is dirty and among the last GatherPages of the list; else NIL. A page that is farther from
// the tail may well be changed again before it goes.
CacheDesc* VMem::GoesSoon(std::int64_t adr) const {
    CacheDesc* p = Lookup(static_cast<std::int32_t>(adr));
    return p && p->dirty && p->stamp - cacheTail->stamp < GatherPages ? p : nullptr;
}

// Writes the tail, and the pages beside it that go soon and lie in the same group, by one transfer. They stay where
// they are, clean; those that could not be written whole stay dirty. If the victim is among these, its own write finds
// out what is wrong: the pages before it lie inside the file, so they have taken no room from it.
void VMem::WriteTogether(const CacheDesc* victim) {
    const std::int64_t group = victim->adr - victim->adr % GroupSize;
    std::int64_t first = victim->adr;
    while (first > group && GoesSoon(first - PageSize)) first -= PageSize;
    if (swapFile == InvalidHandle || fileSize < first) return; // what comes before it can halt
    CacheDesc* pages[GatherPages];
    unsigned char* data[GatherPages];
    int n = 0;
    for (std::int64_t adr = first; adr < group + GroupSize; adr += PageSize, ++n) {
        pages[n] = GoesSoon(adr);
        if (!pages[n]) break;
        data[n] = pages[n]->data;
    }
    if (n == 1) return;

    ForgetAhead(first, first + n * PageSize);
    const std::uint32_t error = GetLastError();
    const std::int32_t moved = platform::WritePiecesAt(swapFile, data, n, PageSize, first);
    SetLastError(error); // a failure is the victim's to tell
    const int whole = moved > 0 ? moved / PageSize : 0;
    for (int i = 0; i < whole; ++i) pages[i]->dirty = false;
    if (fileSize < first + whole * PageSize) fileSize = first + whole * PageSize;
}

bool VMem::OpenSwap() {
    char path[SwapPathSize];
    swapFile = CreateSwapFile(path, tempDir);
    if (swapFile == InvalidHandle) {
        Halt("VMem", "FlushCachePtr", "swap file creation failed");
        return false;
    }
    const std::size_t size = std::strlen(path) + 1;
    swapName = static_cast<char*>(std::malloc(size));
    if (swapName) std::memcpy(swapName, path, size);
    return true;
}

// Makes the file reach `size`. Gaps arise because pages leave the cache in any order.
bool VMem::ExtendFile(std::int32_t size) {
    if (fileSize >= size) return true;
    unsigned char fill[PageSize];
    std::memset(fill, FillByte, sizeof fill);
    while (fileSize < size) {
        const auto n = static_cast<std::int32_t>(size - fileSize < PageSize ? size - fileSize : PageSize);
        if (const char* failure = WritePiece(swapFile, fill, n, fileSize)) {
            Halt("VMem", "ExtendFile", failure);
            return false;
        }
        fileSize += n;
    }
    return true;
}

// Fills a page's bytes; NIL, or what failed. A page that the file does not have was never written and reads as zeros.
const char* VMem::LoadPage(unsigned char* data, std::int32_t adr) {
    if (fileSize <= adr) {
        std::memset(data, 0, PageSize);
        return nullptr;
    }
    if (LoadAhead(data, adr)) return nullptr;
    bool seekFailed = false;
    const std::int32_t moved = platform::ReadAt(swapFile, data, PageSize, adr, &seekFailed);
    return seekFailed ? SeekFailed : moved != PageSize ? ReadFailed : nullptr;
}

// Fills a page's bytes if it goes on a run of misses: from what was read ahead, or by reading ahead as many pages as
// the run has had, so that no more is read in vain than was of use. False if it must be read by itself, also where
// reading ahead failed: it then has the failures of its own read.
bool VMem::LoadAhead(unsigned char* data, std::int32_t adr) {
    if (maxCacheCount < GatherFrom) return false;
    Run& run = RunOf(adr);
    run.next = std::int64_t{adr} + PageSize;
    if (run.length < AheadPages) ++run.length;
    if (adr < run.start || adr >= run.end) {
        run.start = run.end = adr;
        if (run.length < RunFrom) return false;
        if (!run.pages) run.pages = static_cast<unsigned char*>(std::malloc(AheadPages * PageSize));
        if (!run.pages) return false;
        std::int64_t count = std::int64_t{run.length} * PageSize;
        if (count > fileSize - adr) count = fileSize - adr;
        const std::int64_t over = (adr + count) % GroupSize;
        if (run.length == AheadPages && over < count) count -= over; // the next one begins where a group does
        const std::uint32_t error = GetLastError();
        bool seekFailed = false;
        const std::int32_t moved =
            platform::ReadAt(swapFile, run.pages, static_cast<std::uint32_t>(count), adr, &seekFailed);
        SetLastError(error); // nobody asked for these pages
        if (moved < PageSize) return false;
        run.end += moved / PageSize * PageSize;
    }
    std::memcpy(data, run.pages + (adr - run.start), PageSize);
    for (int i = 0; i < PageSize; i += 64) __builtin_prefetch(cacheTail->data + i, 1); // of the next victim
    return true;
}

// The run that a miss goes on. If there is none, the one that has rested longer becomes a new one.
VMem::Run& VMem::RunOf(std::int32_t adr) {
    for (int i = 0; i < RunCount; ++i, lastRun = 1 - lastRun) {
        const Run& run = runs[lastRun];
        if (run.length > 0 && adr >= run.next && adr - run.next < RunSkip) return runs[lastRun];
    }
    lastRun = 1 - lastRun;
    Run& run = runs[lastRun];
    run.length = 0;
    run.start = run.end = 0;
    return run;
}

// The bytes of these addresses change in the file.
void VMem::ForgetAhead(std::int64_t start, std::int64_t end) {
    for (Run& run : runs) {
        if (start < run.end && end > run.start) run.end = run.start;
    }
}

// The buffers go, and with them all that was read ahead.
void VMem::DropBuffers() {
    for (Run& run : runs) {
        std::free(run.pages);
        run = Run{};
    }
}

void VMem::CloseSwap() {
    DropBuffers();
    if (swapFile != InvalidHandle) platform::CloseFile(swapFile); // the system then deletes it
    swapFile = InvalidHandle;
    std::free(swapName);
    swapName = nullptr;
    fileSize = 0;
}
