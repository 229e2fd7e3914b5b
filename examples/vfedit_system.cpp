// The system's calls as vfedit wants them.
#include "vfedit_system.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// For a transfer that failed: true if it is to be tried again.
bool MayGoOn(int fd, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN || (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0) return false;
    pollfd p{fd, events, 0};
    poll(&p, 1, -1); // whatever comes of it, the next try tells
    return true;
}

} // namespace

int OpenAt(int dir, const char* name, int flags, mode_t mode) {
    int fd;
    do {
        fd = openat(dir, name, flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0 || fd > STDERR_FILENO) return fd;
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(fd);
    errno = error;
    return moved;
}

int OpenFile(const char* name, int flags) {
    return OpenAt(AT_FDCWD, name, flags);
}

ssize_t ReadSome(int fd, void* buf, std::size_t count) {
    ssize_t got;
    do {
        got = read(fd, buf, count);
    } while (got < 0 && MayGoOn(fd, POLLIN));
    return got;
}

bool WriteAll(int fd, const void* buf, std::size_t count) {
    const char* from = static_cast<const char*>(buf);
    while (count > 0) {
        const ssize_t moved = write(fd, from, count);
        if (moved > 0) {
            from += moved;
            count -= static_cast<std::size_t>(moved);
        } else if (moved == 0) {
            errno = ENOSPC; // a device that takes no more
            return false;
        } else if (!MayGoOn(fd, POLLOUT)) {
            return false;
        }
    }
    return true;
}

bool Close(int fd) {
    return close(fd) == 0 || errno == EINTR; // an interrupted close has closed the descriptor
}

bool TryLock(int fd, bool exclusive) {
    int result;
    do {
        result = flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno != EWOULDBLOCK;
}

SignalsHeld::SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
}

SignalsHeld::~SignalsHeld() {
    sigprocmask(SIG_SETMASK, &before, nullptr);
}
