// Descriptors and handles on Linux.
#include "platform/descriptor_linux.h"

#include "platform/error.h"
#include "platform/process_linux.h"
#include "platform/stand_ins_linux.h"

#include <atomic>
#include <fcntl.h>
#include <sys/file.h>

namespace platform = vfile_internal::platform;

namespace vfile_internal::platform {
namespace {

// A handle's low bits are the descriptor, the bits above tell how the layer came by it, and which process took the
// lock. Where pointers have 32 bits, there is room for a place in a list only, which a forked child takes over.
constexpr bool Wide = sizeof(std::intptr_t) > 4;
constexpr unsigned DescriptorBits = Wide ? 31 : 24;
constexpr std::intptr_t DescriptorMask = (std::intptr_t{1} << DescriptorBits) - 1;
constexpr std::intptr_t LockedBit = std::intptr_t{1} << DescriptorBits;
constexpr std::intptr_t OrdinaryBit = LockedBit << 1;
constexpr unsigned OpenerShift = DescriptorBits + 2;
constexpr std::intptr_t OpenerMask = Wide ? 0xFFFFFF : 0x1F; // the system's numbers have 22 bits at most
std::atomic<pid_t> openers[Wide ? 1 : OpenerMask];

// The process that took a lock, as a handle keeps it: its number, or a place in the list of all that did. 0: there is
// no room.
std::intptr_t NoteOpener() {
    const pid_t own = getpid();
    if (Wide) return own;
    for (std::intptr_t i = 1; i <= OpenerMask; ++i) {
        pid_t process = 0; // of this place
        if (openers[i - 1].compare_exchange_strong(process, own) || process == own) return i;
    }
    return 0;
}

pid_t OpenerOf(std::intptr_t handle) {
    const std::intptr_t noted = (handle >> OpenerShift) & OpenerMask;
    return Wide ? static_cast<pid_t>(noted) : noted == 0 ? 0 : openers[noted - 1].load();
}

} // namespace

int OpenRetried(const char* name, int flags, unsigned mode) {
    return OpenRetriedAt(AT_FDCWD, name, flags, mode);
}

int OpenRetriedAt(int dir, const char* name, int flags, unsigned mode) {
    const StandIns standIns;
    const int fd = Retried([&] { return openat(dir, name, flags | O_CLOEXEC | O_NOCTTY, mode); });
    if (fd < 0 || fd > STDERR_FILENO) return fd; // a low one only where the host closed its own just now

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
    if (locked) value |= NoteOpener() << OpenerShift;
    return static_cast<FileHandle>(value);
}

bool MayUnlock(FileHandle handle) {
    const auto value = static_cast<std::intptr_t>(handle);
    if (handle == InvalidHandle || (value & LockedBit) == 0) return false;
    const pid_t opener = OpenerOf(value);
    return opener == getpid() || (opener != 0 && !AncestorLives(opener));
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
