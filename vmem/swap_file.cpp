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
    if (const char* failure = WritePiece(swapFile, p->data, PageSize, p->adr)) {
        Halt("VMem", "FlushCachePtr", failure);
        return false;
    }
    if (fileSize == p->adr) fileSize += PageSize;
    p->dirty = false;
    return true;
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
const char* VMem::LoadPage(unsigned char* data, std::int32_t adr) const {
    if (fileSize <= adr) {
        std::memset(data, 0, PageSize);
        return nullptr;
    }
    bool seekFailed = false;
    const std::int32_t moved = platform::ReadAt(swapFile, data, PageSize, adr, &seekFailed);
    return seekFailed ? SeekFailed : moved != PageSize ? ReadFailed : nullptr;
}

void VMem::CloseSwap() {
    if (swapFile != InvalidHandle) platform::CloseFile(swapFile); // the system then deletes it
    swapFile = InvalidHandle;
    std::free(swapName);
    swapName = nullptr;
    fileSize = 0;
}
