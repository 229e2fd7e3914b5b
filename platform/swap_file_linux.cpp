// The swap file on Linux.
#include "platform/swap_file.h"

#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"
#include "platform/signal_guard_linux.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

// True if nobody else can have an interest in the file: an ordinary one of this user, under this name alone. What a
// live process holds is told by the lock.
bool IsLeftOver(int fd, const char* path) {
    struct stat st;
    return fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == geteuid() && st.st_nlink == 1 &&
           SameFile(fd, path);
}

// Removes the file that stands in the way if it is left over from a process that is no more. It is not used again: who
// has it open could read what is written to it. The second look, under the lock, is for a file that was in the making.
bool RemoveLeftOver(const char* path) {
    // Non-blocking, so that a FIFO is refused and not waited for; to an ordinary file it means nothing.
    const int fd = OpenRetried(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0);
    if (fd < 0) return false;
    bool locked = false;
    const bool removed =
        IsLeftOver(fd, path) && TryLock(fd, true, &locked) && locked && IsLeftOver(fd, path) && unlink(path) == 0;
    close(fd); // gives back the lock, too: nobody else has this descriptor
    return removed;
}

// Takes the name of a new file away, under the lock that keeps it from being taken for a left-over one. A file that has
// got another name meanwhile would outlive the process, and is none to keep contents in.
bool LoseName(int fd, const char* path, bool* locked) {
    if (TryLock(fd, true, locked) && SameFile(fd, path)) {
        struct stat st;
        if ((unlink(path) != 0 && errno != ENOENT) || fstat(fd, &st) != 0 || fchmod(fd, 0600) != 0) {
            SetErrorFromErrno();
            return false;
        }
        if (st.st_nlink == 0) return true;
    }
    SetLastError(ErrorFileExists);
    return false;
}

off_t OffsetOf(std::int64_t offset, std::size_t done) {
    return static_cast<off_t>(offset + static_cast<std::int64_t>(done));
}

// What a transfer has moved; the reason where that is -1.
std::int32_t Told(ssize_t moved, bool* seekFailed) {
    *seekFailed = moved < 0 && (errno == EINVAL || errno == EOVERFLOW || errno == ESPIPE);
    if (moved < 0) SetErrorFromErrno();
    return static_cast<std::int32_t>(moved);
}

} // namespace

FileHandle OpenNamelessFile(const char* dir) {
    const SystemName name(dir);
    if (!name.Ok()) return InvalidHandle;
    const int fd = OpenRetried(name.Text(), O_TMPFILE | O_EXCL | O_RDWR, 0600);
    if (fd >= 0 && fchmod(fd, 0600) == 0) return HandleOfOpened(fd, false, true); // whatever the umask
    SetErrorFromErrno(name.Text());
    if (fd >= 0) close(fd);
    return InvalidHandle;
}

FileHandle OpenSwapFile(const char* name) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return InvalidHandle;
    const char* path = systemName.Text();
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL;
    int fd = OpenRetried(path, flags, 0600);
    if (fd < 0 && errno == EEXIST) {
        fd = RemoveLeftOver(path) ? OpenRetried(path, flags, 0600) : -1;
        errno = fd < 0 ? EEXIST : 0;
    }
    if (fd < 0) {
        SetErrorFromErrno(path);
        return InvalidHandle;
    }
    bool locked = false;
    if (LoseName(fd, path, &locked)) return HandleOfOpened(fd, locked, true);
    close(fd);
    return InvalidHandle;
}

std::int32_t ReadAt(FileHandle handle, void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed) {
    char* to = static_cast<char*>(buf);
    return Told(MoveAll(count,
                        [&](std::size_t done, std::size_t left) {
                            return pread(DescriptorOf(handle), to + done, left, OffsetOf(offset, done));
                        }),
                seekFailed);
}

std::int32_t WriteAt(FileHandle handle, const void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed) {
    const SignalGuard guard(SizeIsLimited());
    const char* from = static_cast<const char*>(buf);
    return Told(MoveAll(count,
                        [&](std::size_t done, std::size_t left) {
                            return pwrite(DescriptorOf(handle), from + done, left, OffsetOf(offset, done));
                        }),
                seekFailed);
}

std::int32_t WritePiecesAt(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size,
                           std::int64_t offset) {
    constexpr int MostRuns = 64;
    iovec runs[MostRuns];
    int count = 0;
    for (int i = 0; i < n && count < MostRuns; ++i) {
        if (i > 0 && pieces[i] == pieces[i - 1] + size) {
            runs[count - 1].iov_len += size;
        } else {
            runs[count++] = {pieces[i], size};
        }
    }
    const SignalGuard guard(SizeIsLimited());
    const ssize_t moved =
        Retried([&] { return pwritev(DescriptorOf(handle), runs, count, static_cast<off_t>(offset)); });
    if (moved < 0) SetErrorFromErrno();
    return static_cast<std::int32_t>(moved);
}

bool DirectoryUsable(const char* dir) {
    if (!dir || !*dir) return false;
    const SystemName name(dir);
    struct stat st;
    return name.Ok() && stat(name.Text(), &st) == 0 && S_ISDIR(st.st_mode) &&
           faccessat(AT_FDCWD, name.Text(), W_OK | X_OK, AT_EACCESS) == 0;
}

const char* TempDirectory(int n) {
    constexpr const char* Variables[] = {"TMP", "TEMP", "TMPDIR"};
    if (n < 3) {
        const char* value = std::getenv(Variables[n]);
        return value ? value : "";
    }
    return n == 3 ? "/var/tmp" : n == 4 ? "/tmp" : nullptr;
}

} // namespace vfile_internal::platform
