// The swap file.
#include "vmem/swap_file.h"

#include "foundation/halt.h"
#include "foundation/result.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/swap_file.h"
#include "vmem/page.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vfile_internal {
namespace {

constexpr unsigned char FillByte = 0; // of the gaps

// The name is built in a buffer of this size, which is the longest name that the system takes.
constexpr std::size_t SwapPathSize = 4096;
constexpr unsigned NameTries = 1000;        // numbers 0 to 999
constexpr char NameTail[] = "~vmem999.tmp"; // the longest that is put behind the directory

// Bytes that a directory may have, a separator at its end included.
constexpr std::size_t MaxDirLength = SwapPathSize - sizeof NameTail;

const char SeekFailed[] = "seeking in swap file failed";
const char ReadFailed[] = "reading from swap file failed";
const char WriteFailed[] = "writing on swap file failed (disk full?)";

char* NewText(const char* s) {
    const std::size_t size = std::strlen(s) + 1;
    auto* text = static_cast<char*>(std::malloc(size));
    if (text) std::memcpy(text, s, size);
    return text;
}

bool EndsInSeparator(const char* dir, std::size_t n) {
    return dir[n - 1] == '\\' || dir[n - 1] == '/';
}

// Writes one piece of at most a page; NIL, or what failed.
const char* WritePiece(FileHandle file, const unsigned char* data, std::int32_t count, std::int64_t offset) {
    bool seekFailed = false;
    const std::int32_t moved = platform::WriteAt(file, data, static_cast<std::uint32_t>(count), offset, &seekFailed);
    return seekFailed ? SeekFailed : moved != count ? WriteFailed : nullptr;
}

// A swap file in one directory, preferably one that never has a name: in a directory that others can write to, they may
// have taken all names, or give it another one. `path` then is the directory.
FileHandle CreateIn(char* path, const char* dir) {
    if (!dir || !platform::DirectoryUsable(dir)) return InvalidHandle;
    const std::size_t dirLength = std::strlen(dir);
    const int n = std::snprintf(path, SwapPathSize, "%s%s", dir, EndsInSeparator(dir, dirLength) ? "" : "\\");
    const FileHandle nameless = platform::OpenNamelessFile(path);
    if (nameless != InvalidHandle) return nameless;

    const unsigned start = platform::GetTickCount() % NameTries; // so that processes seldom try the same names
    for (unsigned i = 0; i < NameTries; ++i) {
        std::snprintf(path + n, SwapPathSize - static_cast<std::size_t>(n), "~vmem%u.tmp", (start + i) % NameTries);
        const FileHandle file = platform::OpenSwapFile(path);
        if (file != InvalidHandle) return file;
        if (GetFileRes() != resAlreadyExists) break;
    }
    return InvalidHandle;
}

// A swap file in the first directory where that works of `dir` and the system's directories for temporary files. `path`
// is its full name then, or the directory, if it has none.
FileHandle CreateSwapFile(char* path, const char* dir) {
    if (dir && std::strlen(dir) >= MaxDirLength) return InvalidHandle; // who asks for a place is not sent to another
    FileHandle file = CreateIn(path, dir);
    const char* next;
    for (int i = 0; file == InvalidHandle && (next = platform::TempDirectory(i)) != nullptr; ++i) {
        if (std::strlen(next) < MaxDirLength) file = CreateIn(path, next);
    }
    return file;
}

} // namespace

SwapFile::~SwapFile() {
    Close();
    std::free(dir);
}

void SwapFile::SetDir(const char* text) {
    char* copy = text && *text ? NewText(text) : nullptr; // before the old text goes: it may be this one
    std::free(dir);
    dir = copy;
}

const char* SwapFile::Read(std::int32_t adr, unsigned char* data) const {
    bool seekFailed = false;
    const std::int32_t moved = platform::ReadAt(handle, data, PageSize, adr, &seekFailed);
    return seekFailed ? SeekFailed : moved != PageSize ? ReadFailed : nullptr;
}

std::int32_t SwapFile::ReadMore(std::int32_t adr, unsigned char* data, std::int64_t count) const {
    const std::uint32_t error = GetLastError();
    bool seekFailed = false;
    const std::int32_t moved = platform::ReadAt(handle, data, static_cast<std::uint32_t>(count), adr, &seekFailed);
    SetLastError(error);
    return moved;
}

bool SwapFile::Write(std::int32_t adr, const unsigned char* data) {
    if (handle == InvalidHandle && !Open()) return false;
    if (!Extend(adr)) return false;
    if (const char* failure = WritePiece(handle, data, PageSize, adr)) {
        Halt("VMem", "FlushCachePtr", failure);
        return false;
    }
    if (fileSize == adr) fileSize += PageSize;
    return true;
}

int SwapFile::WriteMore(std::int64_t adr, unsigned char* const* data, int n) {
    const std::uint32_t error = GetLastError();
    const std::int32_t moved = platform::WritePiecesAt(handle, data, n, PageSize, adr);
    SetLastError(error);
    const int whole = moved > 0 ? moved / PageSize : 0;
    if (fileSize < adr + whole * PageSize) fileSize = adr + whole * PageSize;
    return whole;
}

bool SwapFile::Open() {
    char path[SwapPathSize];
    handle = CreateSwapFile(path, dir);
    if (handle == InvalidHandle) {
        Halt("VMem", "FlushCachePtr", "swap file creation failed");
        return false;
    }
    name = NewText(path);
    return true;
}

// Makes the file reach `size`. Gaps arise because pages leave the cache in any order.
bool SwapFile::Extend(std::int32_t size) {
    if (fileSize >= size) return true;
    unsigned char fill[PageSize];
    std::memset(fill, FillByte, sizeof fill);
    while (fileSize < size) {
        const auto n = static_cast<std::int32_t>(size - fileSize < PageSize ? size - fileSize : PageSize);
        if (const char* failure = WritePiece(handle, fill, n, fileSize)) {
            Halt("VMem", "ExtendFile", failure);
            return false;
        }
        fileSize += n;
    }
    return true;
}

void SwapFile::Close() {
    if (handle != InvalidHandle) platform::CloseFile(handle); // the system then deletes it
    Abandon();
}

void SwapFile::Abandon() {
    handle = InvalidHandle;
    std::free(name);
    name = nullptr;
    fileSize = 0;
}

} // namespace vfile_internal
