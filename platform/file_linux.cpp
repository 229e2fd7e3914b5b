// Open files on Linux.
#include "platform/file.h"

#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"
#include "platform/sigpipe_linux.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// A handle's low bits are the descriptor, the bits above tell how the layer came by it. Where pointers have 32 bits
// there is no room to number the processes, and a forked child that closes a locked file unlocks it.
constexpr bool Wide = sizeof(std::intptr_t) > 4;
constexpr unsigned DescriptorBits = Wide ? 31 : 28;
constexpr std::intptr_t DescriptorMask = (std::intptr_t{1} << DescriptorBits) - 1;
constexpr std::intptr_t LockedBit = std::intptr_t{1} << DescriptorBits;
constexpr std::intptr_t OrdinaryBit = LockedBit << 1;
constexpr unsigned GenerationShift = Wide ? DescriptorBits + 2 : 0;
constexpr std::intptr_t GenerationMask = Wide ? 0xFFFFFF : 0;

constexpr std::size_t TransferMax = 0x7FFFF000; // bytes that one call of the system moves at most
constexpr int RenameRetries = 100;              // how often a name may move to another file while it is being opened

std::atomic<std::intptr_t> forkGeneration{0};

bool SameFile(int descriptor, const char* name) {
    struct stat opened;
    struct stat named;
    return fstat(descriptor, &opened) == 0 && stat(name, &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// For a transfer that failed: true if it is to be tried again, after a signal, or once a descriptor that does not wait
// by itself is ready. One that waits, but only for so long (a socket that the host has set a limit), has timed out.
bool MayGoOn(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN) return false;
    if ((fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0) {
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

bool TruncateRetried(int descriptor, off_t size) {
    int result;
    do {
        result = ftruncate(descriptor, size);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// For a file that is new or is to begin anew. One that is empty is not cut to nothing: some file systems would take it
// for the replacement of an older content, and write the new one to the disk while the file is being closed.
bool MakeEmpty(int descriptor) {
    struct stat st; // now: before the lock somebody could still change its size
    if (fstat(descriptor, &st) != 0 || st.st_size > 0 || st.st_blocks > 0) return TruncateRetried(descriptor, 0);
    futimens(descriptor, nullptr); // it counts as changed
    return true;
}

int OpenFlags(Access access, Disposition disposition) {
    int flags = access == Access::Read ? O_RDONLY : access == Access::Write ? O_WRONLY : O_RDWR;
    if (disposition != Disposition::OpenExisting) flags |= O_CREAT;
    if (MakesNew(disposition)) flags |= O_EXCL;
    return flags;
}

enum class Outcome { Opened, Failed, Moved };

// One try. Moved: the name was given to another file between opening and locking, so the lock is on the wrong one.
Outcome TryOpen(const char* name, Access access, Sharing sharing, Disposition disposition, Pattern pattern,
                FileHandle& handle) {
    const unsigned mode = disposition == Disposition::CreatePrivate ? 0600 : 0666;
    const int fd = OpenRetried(name, OpenFlags(access, disposition), mode);
    if (fd < 0) {
        SetErrorFromErrno(name);
        return Outcome::Failed;
    }

    Outcome outcome = Outcome::Failed;
    bool locked = false;
    struct stat st;
    if (fstat(fd, &st) != 0) {
        SetErrorFromErrno();
    } else if (S_ISDIR(st.st_mode)) {
        SetLastError(ErrorAccessDenied);
    } else if (!S_ISREG(st.st_mode)) {
        outcome = Outcome::Opened;
    } else if (TryLock(fd, sharing == Sharing::None, &locked)) {
        if (locked && !MakesNew(disposition) && !SameFile(fd, name)) {
            outcome = Outcome::Moved;
        } else if (disposition == Disposition::CreateAlways && !MakeEmpty(fd)) {
            SetErrorFromErrno();
        } else {
            outcome = Outcome::Opened;
            posix_fadvise(fd, 0, 0, pattern == Pattern::Random ? POSIX_FADV_RANDOM : POSIX_FADV_SEQUENTIAL);
        }
    }
    if (outcome == Outcome::Opened) {
        handle = HandleOfOpened(fd, locked, S_ISREG(st.st_mode));
    } else {
        if (locked) flock(fd, LOCK_UN);
        close(fd);
    }
    return outcome;
}

} // namespace

int OpenRetried(const char* name, int flags, unsigned mode) {
    int fd;
    do {
        fd = open(name, flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool TryLock(int descriptor, bool exclusive, bool* locked) {
    int result;
    do {
        result = flock(descriptor, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    *locked = result == 0;
    if (result == 0 || errno != EWOULDBLOCK) return true; // any other failure: no locks to be had here
    SetLastError(ErrorSharingViolation);
    return false;
}

FileHandle HandleOfOpened(int descriptor, bool locked, bool ordinary) {
    std::intptr_t value = descriptor;
    if (locked) value |= LockedBit;
    if (ordinary) value |= OrdinaryBit;
    value |= (forkGeneration.load(std::memory_order_relaxed) & GenerationMask) << GenerationShift;
    return static_cast<FileHandle>(value);
}

bool HoldsLock(FileHandle handle) {
    const auto value = static_cast<std::intptr_t>(handle);
    const std::intptr_t generation = (value >> GenerationShift) & GenerationMask;
    return handle != InvalidHandle && (value & LockedBit) != 0 &&
           generation == (forkGeneration.load(std::memory_order_relaxed) & GenerationMask);
}

bool IsOrdinary(FileHandle handle) {
    return handle != InvalidHandle && (static_cast<std::intptr_t>(handle) & OrdinaryBit) != 0;
}

void ForgetInheritedLocks() {
    forkGeneration.fetch_add(1, std::memory_order_relaxed);
}

SystemName::SystemName(const char* name) : ok(false) {
    const std::size_t n = name ? strnlen(name, sizeof text) : 0;
    if (!name || n >= sizeof text) {
        text[0] = '\0';
        SetLastError(name ? ErrorInvalidName : ErrorInvalidParameter);
        return;
    }
    for (std::size_t i = 0; i < n; ++i) text[i] = name[i] == '\\' ? '/' : name[i];
    text[n] = '\0';
    ok = true;
}

SigpipeGuard::SigpipeGuard() : armed(false) {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    if (sigismember(&waiting, SIGPIPE) == 1) return; // blocked by the host, and one more changes nothing
    sigset_t pipeOnly;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    armed = pthread_sigmask(SIG_BLOCK, &pipeOnly, &oldMask) == 0;
    errno = 0; // EPIPE at the end then is of a write under this guard
}

SigpipeGuard::~SigpipeGuard() {
    if (!armed) return;
    const int error = errno;
    if (error == EPIPE) {
        sigset_t pipeOnly;
        sigemptyset(&pipeOnly);
        sigaddset(&pipeOnly, SIGPIPE);
        const timespec noWait{0, 0};
        while (sigtimedwait(&pipeOnly, nullptr, &noWait) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &oldMask, nullptr);
    errno = error;
}

FileHandle OpenFile(const char* name, Access access, Sharing sharing, Disposition disposition, Pattern pattern) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return InvalidHandle;
    for (int i = 0; i < RenameRetries; ++i) {
        FileHandle handle = InvalidHandle;
        const Outcome outcome = TryOpen(systemName.Text(), access, sharing, disposition, pattern, handle);
        if (outcome != Outcome::Moved) return handle;
    }
    SetLastError(ErrorSharingViolation);
    return InvalidHandle;
}

bool CloseFile(FileHandle handle) {
    const int fd = DescriptorOf(handle);
    if (HoldsLock(handle)) flock(fd, LOCK_UN);
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

std::int32_t WriteAll(int fd, const char* from, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const std::size_t want = count - done < TransferMax ? count - done : TransferMax;
        const ssize_t moved = write(fd, from + done, want);
        if (moved > 0) {
            done += static_cast<std::size_t>(moved);
        } else if (moved == 0) {
            break; // a device that takes no more
        } else if (!MayGoOn(fd, POLLOUT)) {
            SetTransferError(fd);
            if (done > 0) break;
            return -1;
        }
    }
    return static_cast<std::int32_t>(done);
}

} // namespace

std::int32_t WriteFile(FileHandle handle, const void* buf, std::uint32_t count) {
    const int fd = DescriptorOf(handle);
    const char* from = static_cast<const char*>(buf);
    if (IsOrdinary(handle)) return WriteAll(fd, from, count);
    const SigpipeGuard guard;
    return WriteAll(fd, from, count);
}

bool IsOrdinaryFile(FileHandle handle) {
    struct stat st;
    return IsOrdinary(handle) ||
           (handle != InvalidHandle && fstat(DescriptorOf(handle), &st) == 0 && S_ISREG(st.st_mode));
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
    const off_t at = lseek(fd, 0, SEEK_CUR);
    if (at >= 0 && TruncateRetried(fd, at)) return true;
    SetErrorFromErrno();
    if (at >= 0 && (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDONLY) SetLastError(ErrorAccessDenied);
    return false;
}

bool FlushFile(FileHandle handle) {
    int result;
    do {
        result = fsync(DescriptorOf(handle));
    } while (result != 0 && errno == EINTR);
    if (result == 0 || errno == EINVAL || errno == ENOTSUP) return true; // a pipe, socket or device keeps nothing back
    SetErrorFromErrno();
    return false;
}

} // namespace platform

FileHandle HandleOf(int descriptor) {
    return descriptor < 0 ? InvalidHandle : static_cast<FileHandle>(descriptor);
}

int DescriptorOf(FileHandle handle) {
    return handle == InvalidHandle ? -1
                                   : static_cast<int>(static_cast<std::intptr_t>(handle) & platform::DescriptorMask);
}
