// Copies of files on Linux.
//
// The new content is written to a draft: a file that has no name yet, where the file system can make one, else one with
// a name of its own beside the target. Only the complete draft gets the target's name, in one step. So a target that is
// seen is whole, and a process that is killed leaves nothing behind but, where a draft needs a name, that.
#include "platform/copy_linux.h"

#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/fsops.h"
#include "platform/name_linux.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::size_t PieceSize = 32768; // bytes moved at once where the system can't copy by itself
constexpr off_t OffsetMax = sizeof(off_t) > 4 ? static_cast<off_t>(INT64_MAX) : INT32_MAX;
constexpr int Tries = 100;   // for a free name, and for a target that others keep exchanging
constexpr int LinksMax = 40; // links on the way to a target, as the system has it

// An open descriptor with the lock it may hold. Gives both back, the lock by itself: a forked child may have the
// descriptor, too.
class Descriptor {
  public:
    Descriptor() : fd(-1), locked(false) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool Open(const char* name, int flags, mode_t mode) {
        fd = OpenRetried(name, flags, mode);
        return fd >= 0;
    }
    bool Lock(bool exclusive) { return TryLock(fd, exclusive, &locked); }
    bool Close() {
        if (fd < 0) return true;
        if (locked) flock(fd, LOCK_UN);
        locked = false;
        const bool done = close(fd) == 0 || errno == EINTR;
        fd = -1;
        return done;
    }
    int Number() const { return fd; }

  private:
    int fd;
    bool locked;
};

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A name in the directory of `target` that is most likely free.
bool DraftName(char* name, const char* target) {
    static std::atomic<unsigned> counter{0};
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    char parent[PATH_MAX];
    ParentOf(parent, target);
    const int n = std::snprintf(name, PATH_MAX, "%s/.~hf%x-%lx-%x.tmp", parent, static_cast<unsigned>(getpid()),
                                static_cast<unsigned long>(now.tv_nsec), counter.fetch_add(1));
    if (n < PATH_MAX) return true;
    errno = ENAMETOOLONG;
    return false;
}

class Draft {
  public:
    Draft() { name[0] = '\0'; }
    ~Draft() {
        if (name[0]) unlink(name);
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    bool Create(const char* target);
    bool Publish(const char* target, bool replace);
    int Number() const { return file.Number(); }

  private:
    bool LinkTo(const char* to) const;
    bool TakeName(const char* target);

    Descriptor file;
    char name[PATH_MAX]; // empty while the file has none
};

// Makes the file, empty and for this user alone. All members here leave the reason of a failure in errno.
bool Draft::Create(const char* target) {
    char parent[PATH_MAX];
    ParentOf(parent, target);
    // A file without a name can get one later only through the list of open files.
    if (access("/proc/self/fd", X_OK) == 0 && file.Open(parent, O_TMPFILE | O_RDWR, 0600)) return true;
    for (int i = 0; i < Tries; ++i) {
        char candidate[PATH_MAX];
        if (!DraftName(candidate, target)) return false;
        if (file.Open(candidate, O_RDWR | O_CREAT | O_EXCL, 0600)) {
            std::strcpy(name, candidate);
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool Draft::LinkTo(const char* to) const {
    char open[64];
    std::snprintf(open, sizeof open, "/proc/self/fd/%d", file.Number());
    return linkat(AT_FDCWD, open, AT_FDCWD, to, AT_SYMLINK_FOLLOW) == 0;
}

bool Draft::TakeName(const char* target) {
    for (int i = 0; i < Tries; ++i) {
        char candidate[PATH_MAX];
        if (!DraftName(candidate, target)) return false;
        if (LinkTo(candidate)) {
            std::strcpy(name, candidate);
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

// Gives the file the target's name, in place of the target if `replace`, else only if the name is free.
bool Draft::Publish(const char* target, bool replace) {
    if (!name[0]) {
        if (!replace) return LinkTo(target);
        if (!TakeName(target)) return false; // a link replaces nothing, but a name can
    }
    if (!file.Close()) return false; // a file system across a network may tell of a full disk only now
    if (replace ? rename(name, target) != 0 : !MoveNew(name, target)) return false;
    name[0] = '\0';
    return true;
}

bool WriteAll(int fd, const char* from, std::size_t count, off_t at) {
    while (count > 0) {
        const ssize_t moved = pwrite(fd, from, count, at);
        if (moved < 0 && errno == EINTR) continue;
        if (moved == 0) errno = ENOSPC;
        if (moved <= 0) return false;
        from += moved;
        at += moved;
        count -= static_cast<std::size_t>(moved);
    }
    return true;
}

// Copies the bytes from `at` up to `end`, or up to the end of the source if that comes first; `at` is then behind them.
bool CopyBytes(int out, int in, off_t& at, off_t end) {
    while (at < end) {
        char piece[PieceSize];
        const off_t rest = end - at;
        const auto want = rest < off_t{PieceSize} ? static_cast<std::size_t>(rest) : PieceSize;
        const ssize_t got = pread(in, piece, want, at);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 || !WriteAll(out, piece, static_cast<std::size_t>(got), at)) return false;
        if (got == 0) break;
        at += got;
    }
    return true;
}

// The same by the system itself, as long as it likes to: some file systems share the blocks instead.
bool CopyRange(int out, int in, off_t& at, off_t end) {
    while (at < end) {
        off_t inAt = at;
        off_t outAt = at;
        const off_t rest = end - at < SSIZE_MAX ? end - at : SSIZE_MAX;
        const ssize_t moved = copy_file_range(in, &inAt, out, &outAt, static_cast<std::size_t>(rest), 0);
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) break; // whatever the reason, the plain way goes on or tells it
        at += moved;
    }
    return CopyBytes(out, in, at, end);
}

// Copies a content of `size` bytes without its holes, and what lies behind it, as of a file that has no size of its
// own.
bool CopyContent(int out, int in, off_t size) {
    off_t at = 0;
    while (at < size) {
        const off_t data = lseek(in, at, SEEK_DATA);
        if (data < 0 && errno == ENXIO) break; // nothing but a hole to the end
        off_t end = data < 0 ? size : lseek(in, data, SEEK_HOLE);
        if (data >= 0) at = data;
        if (end < at || end > size) end = size;
        if (!CopyRange(out, in, at, end)) return false;
        if (at < end) size = at; // the source has become shorter
    }
    int result;
    do {
        result = ftruncate(out, size);
    } while (result != 0 && errno == EINTR);
    if (result != 0) return false;
    at = size;
    return CopyBytes(out, in, at, OffsetMax);
}

// The permission bits, the time of the last change and, for a move, the owner. Special bits go only to the same owner.
bool CopyState(int out, const struct stat& st, bool move) {
    mode_t bits = st.st_mode & 0777;
    if (move && fchown(out, st.st_uid, st.st_gid) == 0) bits = st.st_mode & 07777;
    const timespec times[2] = {{0, UTIME_OMIT}, st.st_mtim};
    futimens(out, times);
    return fchmod(out, bits) == 0 || errno == EPERM; // of the process's own file: the file system has no such bits
}

// Opens an ordinary file that nobody holds alone, and holds it shared. Sets the last error.
bool OpenSource(Descriptor& in, struct stat& st, const char* name) {
    if (stat(name, &st) != 0) {
        SetErrorFromErrno(name);
        return false;
    }
    // Not waiting, should a pipe take the name's place meanwhile.
    if (S_ISREG(st.st_mode)) {
        if (!in.Open(name, O_RDONLY | O_NONBLOCK, 0) || fstat(in.Number(), &st) != 0) {
            SetErrorFromErrno(name);
            return false;
        }
    }
    if (!S_ISREG(st.st_mode)) {
        SetLastError(ErrorAccessDenied);
        return false;
    }
    return in.Lock(false);
}

// The name of the file that `name` leads to over links, whether it exists or not. errno tells.
bool FollowLinks(char* path, const char* name) {
    std::snprintf(path, PATH_MAX, "%s", name);
    for (int i = 0; i < LinksMax; ++i) {
        char pointsAt[PATH_MAX];
        const ssize_t n = readlink(path, pointsAt, sizeof pointsAt - 1);
        if (n < 0) return true; // no link, or nothing there, which the next call will tell
        pointsAt[n] = '\0';
        char parent[PATH_MAX];
        ParentOf(parent, path);
        char next[PATH_MAX];
        const int length = pointsAt[0] == '/' ? std::snprintf(next, sizeof next, "%s", pointsAt)
                                              : std::snprintf(next, sizeof next, "%s/%s", parent, pointsAt);
        if (length >= PATH_MAX) {
            errno = ENAMETOOLONG;
            return false;
        }
        std::strcpy(path, next);
    }
    errno = ELOOP;
    return false;
}

enum class Outcome { Done, Failed, Moved };

Outcome Fail(const char* name) {
    SetErrorFromErrno(name);
    return Outcome::Failed;
}

Outcome Refuse(std::uint32_t error) {
    SetLastError(error);
    return Outcome::Failed;
}

// Holds the file that is to be replaced, if there is one (`exists`). Moved: the name has gone to another file
// meanwhile.
Outcome HoldTarget(Descriptor& held, bool& exists, const char* target, const struct stat& source) {
    struct stat st;
    exists = stat(target, &st) == 0;
    if (!exists) return errno == ENOENT ? Outcome::Done : Fail(target);
    if (!S_ISREG(st.st_mode)) return Refuse(ErrorAccessDenied);
    if (SameFile(st, source)) return Refuse(ErrorSharingViolation);
    if (!held.Open(target, O_WRONLY | O_NONBLOCK, 0)) return errno == ENOENT ? Outcome::Moved : Fail(target);
    if (!held.Lock(true)) return Outcome::Failed;
    struct stat opened;
    struct stat named;
    const bool stays = fstat(held.Number(), &opened) == 0 && stat(target, &named) == 0 && SameFile(opened, named);
    return stays && SameFile(opened, st) ? Outcome::Done : Outcome::Moved;
}

Outcome CopyOnce(const Descriptor& in, const struct stat& source, const char* target, bool overwrite, bool move) {
    Descriptor held;
    bool exists = false;
    if (overwrite) {
        const Outcome outcome = HoldTarget(held, exists, target, source);
        if (outcome != Outcome::Done) return outcome;
    } else {
        struct stat st;
        if (lstat(target, &st) == 0) return Refuse(ErrorFileExists); // told before the work, not only behind it
    }
    Draft draft;
    if (!draft.Create(target) || !CopyContent(draft.Number(), in.Number(), source.st_size) ||
        !CopyState(draft.Number(), source, move)) {
        return Fail(target);
    }
    if (draft.Publish(target, exists)) return Outcome::Done;
    return errno == EEXIST && overwrite ? Outcome::Moved : Fail(target);
}

} // namespace

void ParentOf(char* parent, const char* name) {
    std::size_t n = std::strlen(name);
    while (n > 0 && name[n - 1] != '/') --n;
    while (n > 1 && name[n - 1] == '/') --n;
    std::snprintf(parent, PATH_MAX, "%.*s", static_cast<int>(n), n > 0 ? name : "");
    if (n == 0) std::snprintf(parent, PATH_MAX, ".");
}

bool CopyFile(const char* from, const char* to, bool overwrite) {
    const SystemName source(from);
    if (!source.Ok()) return false;
    const SystemName target(to);
    if (!target.Ok()) return false;
    Descriptor in;
    struct stat st;
    if (!OpenSource(in, st, source.Text())) return false;
    for (int i = 0; i < Tries; ++i) {
        char path[PATH_MAX];
        if (!overwrite) {
            std::strcpy(path, target.Text());
        } else if (!FollowLinks(path, target.Text())) {
            SetErrorFromErrno(target.Text());
            return false;
        }
        const Outcome outcome = CopyOnce(in, st, path, overwrite, false);
        if (outcome != Outcome::Moved) return outcome == Outcome::Done;
    }
    SetLastError(ErrorSharingViolation);
    return false;
}

bool MoveContentAcross(const char* from, const char* to) {
    Descriptor in;
    struct stat st;
    if (!OpenSource(in, st, from)) return false;
    if (CopyOnce(in, st, to, false, true) != Outcome::Done) return false;
    if (unlink(from) == 0) return true;
    SetErrorFromErrno(from);
    unlink(to);
    return false;
}

} // namespace platform
