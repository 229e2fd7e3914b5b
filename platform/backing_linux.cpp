// Files that are read where they lie, on Linux.
#include "platform/backing.h"

#include "platform/descriptor_linux.h"
#include "platform/name_linux.h"

#include <ctime>
#include <sys/file.h>
#include <sys/stat.h>

namespace vfile_internal::platform {
namespace {

// What the words of a stamp are.
enum { Device = 1, Number, Size, Seconds, Nanoseconds, ChangeSeconds, ChangeNanoseconds };

bool IsFileOf(const FileStamp& stamp, const struct stat& st) {
    return stamp.words[Device] == static_cast<std::int64_t>(st.st_dev) &&
           stamp.words[Number] == static_cast<std::int64_t>(st.st_ino);
}

} // namespace

bool GetBackingStamp(FileHandle handle, FileStamp& stamp) {
    constexpr std::int64_t Coarse = 2; // seconds: the longest unit in which a file system counts
    if (!GetFileStamp(handle, stamp)) return false;
    const bool whole = stamp.words[Nanoseconds] == 0 && stamp.words[ChangeNanoseconds] == 0;
    return !whole || std::time(nullptr) - stamp.words[ChangeSeconds] > Coarse;
}

std::int64_t SizeOf(const FileStamp& stamp) {
    return stamp.words[Size];
}

bool HasBytesOf(FileHandle handle, const FileStamp& stamp) {
    struct stat st;
    return fstat(DescriptorOf(handle), &st) == 0 && IsFileOf(stamp, st) && stamp.words[Size] == st.st_size &&
           stamp.words[Seconds] == st.st_mtim.tv_sec && stamp.words[Nanoseconds] == st.st_mtim.tv_nsec;
}

bool IsFileOf(const FileStamp& stamp, const char* name) {
    const SystemName systemName(name);
    struct stat st;
    return systemName.Ok() && stat(systemName.Text(), &st) == 0 && IsFileOf(stamp, st);
}

bool IsFileOf(const FileStamp& stamp, FileHandle handle) {
    struct stat st;
    return handle != InvalidHandle && fstat(DescriptorOf(handle), &st) == 0 && IsFileOf(stamp, st);
}

void LetGoOf(FileHandle handle) {
    if (MayUnlock(handle)) flock(DescriptorOf(handle), LOCK_UN);
}

void HoldAgain(FileHandle handle, Sharing sharing) {
    if (MayUnlock(handle)) flock(DescriptorOf(handle), (sharing == Sharing::None ? LOCK_EX : LOCK_SH) | LOCK_NB);
}

} // namespace vfile_internal::platform
