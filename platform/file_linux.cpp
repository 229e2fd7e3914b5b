// Open files on Linux.
#include "platform/file.h"

#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"
#include "platform/new_file_linux.h"
#include "platform/signal_guard_linux.h"
#include "platform/transfer_linux.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

constexpr std::size_t TransferMax = 0x7FFFF000; // bytes that one call of the system moves at most
constexpr int RenameRetries = 100;              // how often a name may move to another file while it is being opened

bool HasType(int descriptor, mode_t type) {
    struct stat st;
    return fstat(descriptor, &st) == 0 && (st.st_mode & S_IFMT) == type;
}

// For a transfer that failed: true if it is to be tried again, after a signal, or once a descriptor that does not wait
// by itself is ready. A socket that waits has a time limit of the host's, which is over. What else says so while it
// waits did not at the moment of the call: who shares the descriptor has changed it since.
bool MayGoOn(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN || HasType(descriptor, S_IFREG)) return false;
    if ((fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0 && HasType(descriptor, S_IFSOCK)) {
        errno = ETIMEDOUT;
        return false;
    }
    pollfd p{descriptor, events, 0};
    poll(&p, 1, -1); // whatever comes of it, the next try tells
    return true;
}

// Only a file that this very call makes.
bool MakesNew(Disposition disposition) {
    return disposition == Disposition::CreateNew || disposition == Disposition::CreatePrivate;
}

// For a transfer that failed: the system also calls a descriptor bad that is only not open for this direction.
void SetTransferError(int descriptor) {
    const int error = errno;
    if (error == EBADF && fcntl(descriptor, F_GETFD) >= 0) {
        SetLastError(ErrorAccessDenied);
        return;
    }
    errno = error;
    SetErrorFromErrno();
}

// For a file that is new or is to begin anew. One that is empty is not cut to nothing: some file systems would take it
// for the replacement of an older content, and write the new one to the disk while the file is being closed.
bool MakeEmpty(int descriptor) {
    struct stat st; // now: before the lock somebody could still change its size
    if (fstat(descriptor, &st) != 0 || st.st_size > 0 || st.st_blocks > 0) return Truncate(descriptor, 0);
    futimens(descriptor, nullptr); // it counts as changed
    return true;
}

int AccessFlags(Access access) {
    return access == Access::Read ? O_RDONLY : access == Access::Write ? O_WRONLY : O_RDWR;
}

void Advise(int descriptor, Pattern pattern) {
    posix_fadvise(descriptor, 0, 0, pattern == Pattern::Random ? POSIX_FADV_RANDOM : POSIX_FADV_SEQUENTIAL);
}

enum class Opening { Done, Failed, Moved };

// One try to open what is there, or to let the system make a file. Moved: the name was given to another file between
// opening and locking, so the lock is on the wrong one.
Opening TryOpen(const char* name, Access access, Sharing sharing, Disposition disposition, Pattern pattern,
                FileHandle& handle) {
    const unsigned mode = disposition == Disposition::CreatePrivate ? 0600 : 0666;
    const int making = disposition == Disposition::OpenExisting ? 0
                       : MakesNew(disposition)                  ? O_CREAT | O_EXCL
                                                                : O_CREAT;
    const int fd = OpenRetried(name, AccessFlags(access) | making, mode);
    if (fd < 0) {
        SetErrorFromErrno(name);
        return Opening::Failed;
    }

    Opening opening = Opening::Failed;
    bool locked = false;
    struct stat st;
    struct stat named;
    if (fstat(fd, &st) != 0) {
        SetErrorFromErrno();
        if (MakesNew(disposition)) unlink(name);
    } else if (S_ISDIR(st.st_mode)) {
        SetLastError(ErrorAccessDenied);
    } else if (!S_ISREG(st.st_mode)) {
        opening = Opening::Done;
    } else if (TryLock(fd, sharing == Sharing::None, &locked)) {
        if (locked && !MakesNew(disposition) && (stat(name, &named) != 0 || !SameFile(st, named))) {
            opening = Opening::Moved;
        } else if (disposition == Disposition::CreateAlways && !MakeEmpty(fd)) {
            SetErrorFromErrno();
        } else {
            opening = Opening::Done;
            if (disposition == Disposition::CreatePrivate) fchmod(fd, 0600); // whatever the umask
            Advise(fd, pattern);
        }
    }
    if (opening == Opening::Done) {
        handle = HandleOfOpened(fd, locked, S_ISREG(st.st_mode));
    } else {
        if (locked) flock(fd, LOCK_UN);
        close(fd);
    }
    return opening;
}

// True if a file is to be made: nothing has the name, not even a link that leads nowhere, which the system follows.
bool IsFree(const char* name) {
    const std::size_t n = std::strlen(name);
    struct stat st;
    return n > 0 && name[n - 1] != '/' && lstat(name, &st) != 0 && errno == ENOENT;
}

// One try to make a file or, as the disposition says, to open one that is there. Moved: it has come or gone meanwhile.
Opening TryCreate(const char* name, Access access, Sharing sharing, Disposition disposition, Pattern pattern,
                  FileHandle& handle) {
    if (IsFree(name)) {
        int fd;
        bool locked;
        switch (MakeLocked(name, AccessFlags(access), disposition == Disposition::CreatePrivate,
                           sharing == Sharing::None, &fd, &locked)) {
        case Making::Done:
            Advise(fd, pattern);
            handle = HandleOfOpened(fd, locked, true);
            return Opening::Done;
        case Making::Taken:
            return Opening::Moved;
        case Making::Refused:
            return Opening::Failed;
        case Making::Unable:
            break;
        }
    }
    return TryOpen(name, access, sharing, disposition, pattern, handle);
}

} // namespace

FileHandle OpenFile(const char* name, Access access, Sharing sharing, Disposition disposition, Pattern pattern) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return InvalidHandle;
    for (int i = 0; i < RenameRetries; ++i) {
        FileHandle handle = InvalidHandle;
        const Opening opening = (disposition == Disposition::OpenExisting ? TryOpen : TryCreate)(
            systemName.Text(), access, sharing, disposition, pattern, handle);
        if (opening != Opening::Moved) return handle;
    }
    SetLastError(ErrorSharingViolation);
    return InvalidHandle;
}

bool CloseFile(FileHandle handle) {
    const int fd = DescriptorOf(handle);
    if (MayUnlock(handle)) flock(fd, LOCK_UN);
    if (close(fd) == 0 || errno == EINTR) return true; // an interrupted close has closed the descriptor
    SetErrorFromErrno();
    return false;
}

std::int32_t ReadFile(FileHandle handle, void* buf, std::uint32_t count) {
    const int fd = DescriptorOf(handle);
    char* to = static_cast<char*>(buf);
    std::size_t done = 0;
    for (;;) {
        const std::size_t want = count - done < TransferMax ? count - done : TransferMax;
        const ssize_t got = read(fd, to + done, want);
        if (got >= 0) {
            done += static_cast<std::size_t>(got);
            if (static_cast<std::size_t>(got) == TransferMax && done < count)
                continue; // the system cut it, not the file
            return static_cast<std::int32_t>(done);
        }
        if (!MayGoOn(fd, POLLIN)) {
            if (done > 0) return static_cast<std::int32_t>(done);
            SetTransferError(fd);
            return -1;
        }
    }
}

bool ReadsAtOnce(FileHandle handle) {
    pollfd p{DescriptorOf(handle), POLLIN, 0};
    return poll(&p, 1, 0) > 0;
}

namespace {

std::int32_t WriteAll(int fd, const char* from, std::size_t count, bool& failed) {
    failed = false;
    const ssize_t done = MoveAll(count, [&](std::size_t at, std::size_t left) {
        ssize_t moved;
        do {
            moved = write(fd, from + at, left < TransferMax ? left : TransferMax);
        } while (moved < 0 && MayGoOn(fd, POLLOUT));
        failed = moved < 0;
        if (failed) SetTransferError(fd);
        return moved; // 0: a device that takes no more
    });
    return done < 0 ? 0 : static_cast<std::int32_t>(done);
}

} // namespace

std::int32_t WriteFile(FileHandle handle, const void* buf, std::uint32_t count, bool& failed) {
    const int fd = DescriptorOf(handle);
    const char* from = static_cast<const char*>(buf);
    SignalGuard guard(!IsOrdinaryFile(handle) || SizeIsLimited());
    const std::int32_t written = WriteAll(fd, from, count, failed);
    if (!failed) guard.NothingRaised();
    return written;
}

bool IsOrdinaryFile(FileHandle handle) {
    return IsOrdinary(handle) || (handle != InvalidHandle && HasType(DescriptorOf(handle), S_IFREG));
}

std::int64_t SeekFile(FileHandle handle, std::int64_t offset, Origin origin) {
    const int whence = origin == Origin::Begin ? SEEK_SET : origin == Origin::Current ? SEEK_CUR : SEEK_END;
    const off_t at = lseek(DescriptorOf(handle), static_cast<off_t>(offset), whence);
    if (at < 0) SetErrorFromErrno();
    return at;
}

std::int64_t FileSize(FileHandle handle) {
    struct stat st;
    if (fstat(DescriptorOf(handle), &st) == 0) return S_ISREG(st.st_mode) ? st.st_size : 0;
    SetErrorFromErrno();
    return -1;
}

bool SetEndOfFile(FileHandle handle) {
    const int fd = DescriptorOf(handle);
    const SignalGuard guard; // the position may lie past the end
    const off_t at = lseek(fd, 0, SEEK_CUR);
    if (at >= 0 && Truncate(fd, at)) return true;
    SetErrorFromErrno();
    if (at >= 0 && (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDONLY) SetLastError(ErrorAccessDenied);
    return false;
}

bool FlushFile(FileHandle handle) {
    if (FlushDescriptor(DescriptorOf(handle))) return true;
    SetErrorFromErrno();
    return false;
}

} // namespace vfile_internal::platform
