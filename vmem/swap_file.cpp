// The swap file.
#include "vmem/swap_file.h"

#include "foundation/halt.h"
#include "foundation/result.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/swap_file.h"
#include "vmem/page.h"

#include <algorithm>
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

// Writes one piece of at most a page; null, or what failed.
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

// A few pages, so it is looked at page by page where there are backings.
std::int64_t SwapFile::Stretch(std::int64_t adr, std::int64_t count) const {
    const Backing* from = backings.Of(adr);
    if (!from) count = std::min(count, fileSize - adr);
    if (!backings.First()) return count;
    std::int64_t n = PageSize;
    while (n < count && backings.Of(adr + n) == from) n += PageSize;
    return n;
}

const char* SwapFile::Read(std::int32_t adr, unsigned char* data) const {
    if (const Backing* from = backings.Of(adr)) return from->Read(adr, data);
    bool seekFailed = false;
    const std::int32_t moved = platform::ReadAt(handle, data, PageSize, adr, &seekFailed);
    return seekFailed ? SeekFailed : moved != PageSize ? ReadFailed : nullptr;
}

std::int32_t SwapFile::ReadMore(std::int32_t adr, unsigned char* data, std::int64_t count) const {
    if (const Backing* from = backings.Of(adr)) return from->ReadMore(adr, data, count);
    const std::uint32_t error = GetLastError();
    bool seekFailed = false;
    const std::int32_t moved = platform::ReadAt(handle, data, static_cast<std::uint32_t>(count), adr, &seekFailed);
    SetLastError(error);
    return moved;
}

bool SwapFile::Write(std::int32_t adr, const unsigned char* data) {
    const Failure failure = Put(adr, data);
    if (failure.text) Halt("VMem", failure.operation, failure.text);
    return !failure.text;
}

SwapFile::Failure SwapFile::Put(std::int32_t adr, const unsigned char* data) {
    Failure failure = handle == InvalidHandle ? Open() : Failure{};
    if (!failure.text) failure = Extend(adr);
    if (!failure.text) failure = {"FlushCachePtr", WritePiece(handle, data, PageSize, adr)};
    if (failure.text) return failure;
    if (fileSize < adr + PageSize) fileSize = std::int64_t{adr} + PageSize;
    backings.Leave(adr);
    return failure;
}

int SwapFile::WriteMore(std::int64_t adr, unsigned char* const* data, int n) {
    const std::uint32_t error = GetLastError();
    const std::int32_t moved = platform::WritePiecesAt(handle, data, n, PageSize, adr);
    SetLastError(error);
    const int whole = moved > 0 ? moved / PageSize : 0;
    if (fileSize < adr + whole * PageSize) fileSize = adr + whole * PageSize;
    for (int i = 0; i < whole; ++i) backings.Leave(adr + i * PageSize);
    return whole;
}

bool SwapFile::BringIn(Backing& file) {
    unsigned char one[PageSize];
    auto* many = static_cast<unsigned char*>(std::malloc(GroupSize)); // without it, page by page
    bool good = true;
    std::int64_t adr = file.Start();
    for (std::int32_t rest = file.Giving(); rest > 0 && good;) { // then it is gone
        if (!file.Gives(adr)) {
            adr += PageSize;
            continue;
        }
        const std::int64_t size = Stretch(adr, std::min<std::int64_t>(GroupSize, file.End() - adr));
        int n = many && Reaches(adr) && file.ReadMore(adr, many, size) == size ? WritePages(adr, many, size) : 0;
        if (n == 0) {
            good = !file.Read(adr, one) && !Put(static_cast<std::int32_t>(adr), one).text;
            n = 1;
        }
        rest -= n;
        adr += n * PageSize;
    }
    std::free(many);
    return good;
}

// WriteMore of pages that lie side by side.
int SwapFile::WritePages(std::int64_t adr, unsigned char* data, std::int64_t size) {
    unsigned char* pages[GatherPages];
    const auto n = static_cast<int>(size / PageSize);
    for (int i = 0; i < n; ++i) pages[i] = data + i * PageSize;
    return WriteMore(adr, pages, n);
}

SwapFile::Failure SwapFile::Open() {
    char path[SwapPathSize];
    handle = CreateSwapFile(path, dir);
    if (handle == InvalidHandle) return {"FlushCachePtr", "swap file creation failed"};
    name = NewText(path);
    return {};
}

// Makes the file reach `size`. Gaps arise because pages leave the cache in any order. What a backing covers is left a
// hole: each page of it takes its room when it is written.
SwapFile::Failure SwapFile::Extend(std::int32_t size) {
    if (fileSize >= size) return {};
    unsigned char fill[PageSize];
    std::memset(fill, FillByte, sizeof fill);
    for (std::int64_t at = fileSize, behind; at < size;) {
        if (backings.Covers(at, behind)) {
            at = behind;
            continue;
        }
        const auto n = static_cast<std::int32_t>(size - at < PageSize ? size - at : PageSize);
        if (const char* failure = WritePiece(handle, fill, n, at)) return {"ExtendFile", failure};
        fileSize = at += n;
    }
    return {};
}

void SwapFile::Close() {
    if (handle != InvalidHandle) platform::CloseFile(handle); // the system then deletes it
    backings.Drop();
    Abandon();
}

void SwapFile::Abandon() {
    handle = InvalidHandle;
    std::free(name);
    name = nullptr;
    fileSize = 0;
    backings.Abandon();
}

} // namespace vfile_internal
