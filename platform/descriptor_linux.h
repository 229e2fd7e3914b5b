// Descriptors, and what the layer itself keeps in a handle beside one. Internal to the platform layer.
#pragma once

#include "platform/platform.h"

#include <cerrno>
#include <cstddef>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace vfile_internal::platform {

// Makes a call of the system, and makes it again as long as a signal interrupts it.
template <class Call>
auto Retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

// Moves `count` bytes by as many calls as it takes: call(done, left) moves some of those that are left. How many came
// over, fewer at the end or after a failure, of which errno tells; -1 if the first one failed.
template <class Call>
ssize_t MoveAll(std::size_t count, Call call) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t moved = Retried([&] { return call(done, count - done); });
        if (moved < 0 && done == 0) return -1;
        if (moved <= 0) break;
        done += static_cast<std::size_t>(moved);
    }
    return static_cast<ssize_t>(done);
}

// What a call on the way out does to errno is nobody's concern: leaves it, at the end of a block, as it was.
class ErrnoKept {
  public:
    ErrnoKept() : error(errno) {}
    ~ErrnoKept() { errno = error; }
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;

  private:
    const int error;
};

// Makes the handle of a file that the layer has opened. `locked` says that it holds a lock, which CloseFile gives back
// itself: a forked child may still have the descriptor, and would keep the lock. `ordinary` says that writing to it
// can't raise a signal.
FileHandle HandleOfOpened(int descriptor, bool locked, bool ordinary);

// True if the handle's lock is this process's to give back: taken by it, or by one that it was forked from and that is
// no more.
bool MayUnlock(FileHandle handle);
bool IsOrdinary(FileHandle handle);

// open(2) with the flags that every open of the layer wants, taken up again when a signal interrupts it. The descriptor
// is never one of the three standard ones, which a host may have closed and yet write to: nothing in this layer opens
// anything by another way.
int OpenRetried(const char* name, int flags, unsigned mode);
int OpenRetriedAt(int dir, const char* name, int flags, unsigned mode); // a relative name is looked up in `dir`

bool SameFile(const struct stat& a, const struct stat& b);
bool SameFile(int descriptor, const char* name); // true if `name` means the open file

// Takes the whole-file lock without waiting. True if it is held or the file system knows no locks; `*locked` tells
// which. False, with the last error set, if somebody else holds it.
bool TryLock(int descriptor, bool exclusive, bool* locked);

// An open descriptor with the lock it may hold. Gives both back, the lock by itself: a forked child may have the
// descriptor, too, and gives back nothing but that. Leaves errno alone then.
class Descriptor {
  public:
    Descriptor() : fd(-1), locked(false), locker(0) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool OpenAt(int dir, const char* name, int flags, unsigned mode = 0);
    bool Lock(bool exclusive) {
        locker = getpid();
        return TryLock(fd, exclusive, &locked);
    }
    void Close();
    void Take(Descriptor& other); // which is closed then
    bool IsOpen() const { return fd >= 0; }
    int Number() const { return fd; }

  private:
    int fd;
    bool locked;
    pid_t locker;
};

} // namespace vfile_internal::platform
