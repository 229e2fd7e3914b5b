// The swap file on Linux.
#include "platform/swap_file.h"

#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace platform {
namespace {

// A file that stands in the way may be taken over only if nobody else can have an interest in it: an ordinary file of
// this user, under this name alone. What a live process holds is told by the lock.
bool MayTakeOver(int fd) {
    struct stat st;
    return fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == geteuid() && st.st_nlink == 1;
}

// Makes an open file the swap file: held, empty, and without a name. False with the last error set. The second look at
// a taken file is for one that another swap file has used up, name and all, before the lock was had.
bool Hold(int fd, const char* path, bool taken, bool* locked) {
    if (taken && !MayTakeOver(fd)) {
        SetLastError(ErrorAccessDenied);
        return false;
    }
    if (!TryLock(fd, true, locked)) return false;
    if (taken && (!*locked || !MayTakeOver(fd))) { // without locks, somebody may be making it this moment
        SetLastError(ErrorSharingViolation);
        return false;
    }
    if (taken && (fchmod(fd, 0600) != 0 || ftruncate(fd, 0) != 0)) {
        SetErrorFromErrno();
        return false;
    }
    if (unlink(path) == 0 || errno == ENOENT) return true;
    SetErrorFromErrno(); // a file that would outlive the process is none to keep contents in
    return false;
}

bool OffsetUnreachable(int error) {
    return error == EINVAL || error == EOVERFLOW || error == ESPIPE;
}

} // namespace

FileHandle OpenSwapFile(const char* name) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return InvalidHandle;
    const char* path = systemName.Text();

    // Non-blocking, so that a FIFO in the way is refused and not waited for; to an ordinary file it means nothing.
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK;
    bool taken = false;
    int fd = OpenRetried(path, flags | O_CREAT | O_EXCL, 0600);
    if (fd < 0 && errno == EEXIST) {
        fd = OpenRetried(path, flags, 0);
        taken = fd >= 0;
    }
    if (fd < 0) {
        SetErrorFromErrno(path);
        return InvalidHandle;
    }
    bool locked = false;
    if (!Hold(fd, path, taken, &locked)) {
        close(fd); // gives back a lock, too: nobody else has this descriptor
        return InvalidHandle;
    }
    return HandleOfOpened(fd, locked, true);
}

std::int32_t ReadAt(FileHandle handle, void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed) {
    const int fd = DescriptorOf(handle);
    char* to = static_cast<char*>(buf);
    std::uint32_t done = 0;
    *seekFailed = false;
    while (done < count) {
        const ssize_t got = pread(fd, to + done, count - done, static_cast<off_t>(offset + done));
        if (got == 0) break;
        if (got > 0) {
            done += static_cast<std::uint32_t>(got);
        } else if (errno != EINTR) {
            if (done > 0) break;
            *seekFailed = OffsetUnreachable(errno);
            SetErrorFromErrno();
            return -1;
        }
    }
    return static_cast<std::int32_t>(done);
}

std::int32_t WriteAt(FileHandle handle, const void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed) {
    const int fd = DescriptorOf(handle);
    const char* from = static_cast<const char*>(buf);
    std::uint32_t done = 0;
    *seekFailed = false;
    while (done < count) {
        const ssize_t moved = pwrite(fd, from + done, count - done, static_cast<off_t>(offset + done));
        if (moved == 0) break;
        if (moved > 0) {
            done += static_cast<std::uint32_t>(moved);
        } else if (errno != EINTR) {
            if (done > 0) break;
            *seekFailed = OffsetUnreachable(errno);
            SetErrorFromErrno();
            return -1;
        }
    }
    return static_cast<std::int32_t>(done);
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
    ssize_t moved;
    do {
        moved = pwritev(DescriptorOf(handle), runs, count, static_cast<off_t>(offset));
    } while (moved < 0 && errno == EINTR);
    if (moved < 0) SetErrorFromErrno();
    return static_cast<std::int32_t>(moved);
}

bool DirectoryUsable(const char* dir) {
    if (!dir || !*dir) return false;
    const SystemName name(dir);
    return name.Ok() && faccessat(AT_FDCWD, name.Text(), R_OK | W_OK, AT_EACCESS) == 0;
}

const char* FallbackTempDir(std::size_t maxLength) {
    const char* tmpdir = Environment("TMPDIR");
    if (DirectoryUsable(tmpdir) && std::strlen(tmpdir) < maxLength) return tmpdir;
    return DirectoryUsable("/var/tmp") ? "/var/tmp" : "/tmp";
}

const char* Environment(const char* variable) {
    return std::getenv(variable);
}

} // namespace platform
