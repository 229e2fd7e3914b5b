// Descriptors and handles on Linux.
#include "platform/descriptor_linux.h"

#include "platform/error.h"
#include "platform/process_linux.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>

namespace platform = vfile_internal::platform;

namespace vfile_internal::platform {
namespace {

// A handle's low bits are the descriptor, the bits above tell how the layer came by it, and which process took the
// lock. Where pointers have 32 bits there is no room for that, and a forked child that closes a locked file unlocks it.
constexpr bool Wide = sizeof(std::intptr_t) > 4;
constexpr unsigned DescriptorBits = Wide ? 31 : 28;
constexpr std::intptr_t DescriptorMask = (std::intptr_t{1} << DescriptorBits) - 1;
constexpr std::intptr_t LockedBit = std::intptr_t{1} << DescriptorBits;
constexpr std::intptr_t OrdinaryBit = LockedBit << 1;
constexpr unsigned OpenerShift = Wide ? DescriptorBits + 2 : 0;
constexpr std::intptr_t OpenerMask = Wide ? 0xFFFFFF : 0; // the system's numbers have 22 bits at most

// Stands in for the standard descriptors that the host has closed: another thread may write to their numbers just when
// a file is being opened, and nobody can write to this.
class StandIns {
  public:
    StandIns() {
        bool missing = false;
        for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) missing = missing || fcntl(fd, F_GETFD) < 0;
        while (missing && count <= STDERR_FILENO) {
            const int fd = open("/", O_PATH | O_CLOEXEC);
            missing = fd >= 0 && fd <= STDERR_FILENO;
            if (missing) taken[count++] = fd;
            if (fd > STDERR_FILENO) close(fd);
        }
    }
    ~StandIns() {
        const ErrnoKept kept;
        while (count > 0) close(taken[--count]);
    }
    StandIns(const StandIns&) = delete;
    StandIns& operator=(const StandIns&) = delete;

  private:
    int taken[STDERR_FILENO + 1];
    int count = 0;
};

} // namespace

int OpenRetried(const char* name, int flags, unsigned mode) {
    return OpenRetriedAt(AT_FDCWD, name, flags, mode);
}

int OpenRetriedAt(int dir, const char* name, int flags, unsigned mode) {
    const StandIns standIns;
    const int fd = Retried([&] { return openat(dir, name, flags | O_CLOEXEC | O_NOCTTY, mode); });
    if (fd < 0 || fd > STDERR_FILENO) return fd; // a low one only where another thread's stand-ins went away just now

    const int above = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(fd);
    if (above >= 0) return above;
    if ((flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) unlinkat(dir, name, 0); // made here
    errno = EMFILE;
    return -1;
}

bool SameFile(int descriptor, const char* name) {
    struct stat opened;
    struct stat named;
    return fstat(descriptor, &opened) == 0 && stat(name, &named) == 0 && SameFile(opened, named);
}

bool TryLock(int descriptor, bool exclusive, bool* locked) {
    const int result = Retried([&] { return flock(descriptor, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB); });
    *locked = result == 0;
    if (result == 0 || errno != EWOULDBLOCK) return true; // any other failure: no locks to be had here
    SetLastError(ErrorSharingViolation);
    return false;
}

FileHandle HandleOfOpened(int descriptor, bool locked, bool ordinary) {
    std::intptr_t value = descriptor;
    if (locked) value |= LockedBit;
    if (ordinary) value |= OrdinaryBit;
    if (locked) value |= (getpid() & OpenerMask) << OpenerShift;
    return static_cast<FileHandle>(value);
}

bool MayUnlock(FileHandle handle) {
    const auto value = static_cast<std::intptr_t>(handle);
    if (handle == InvalidHandle || (value & LockedBit) == 0) return false;
    const std::intptr_t opener = (value >> OpenerShift) & OpenerMask;
    return opener == (getpid() & OpenerMask) || !AncestorLives(static_cast<pid_t>(opener));
}

bool IsOrdinary(FileHandle handle) {
    return handle != InvalidHandle && (static_cast<std::intptr_t>(handle) & OrdinaryBit) != 0;
}

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

Descriptor::~Descriptor() {
    Close();
}

void Descriptor::Close() {
    const ErrnoKept kept;
    if (locked && locker == getpid()) flock(fd, LOCK_UN);
    if (fd >= 0) close(fd);
    fd = -1;
    locked = false;
}

bool Descriptor::OpenAt(int dir, const char* name, int flags, unsigned mode) {
    Close();
    fd = OpenRetriedAt(dir, name, flags, mode);
    return fd >= 0;
}

void Descriptor::Take(Descriptor& other) {
    Close();
    fd = other.fd;
    locked = other.locked;
    locker = other.locker;
    other.fd = -1;
    other.locked = false;
}

} // namespace vfile_internal::platform

FileHandle HandleOf(int descriptor) {
    return descriptor < 0 ? InvalidHandle : static_cast<FileHandle>(descriptor);
}

int DescriptorOf(FileHandle handle) {
    return handle == InvalidHandle ? -1
                                   : static_cast<int>(static_cast<std::intptr_t>(handle) & platform::DescriptorMask);
}
