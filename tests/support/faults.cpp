#include "tests/support/faults.h"

#include "support/test.h"
#include "vfile/vfile.h"

#include <cstdarg>
#include <dirent.h>
#include <numeric>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unordered_set>
#include <vector>

namespace {

thread_local Faults::Order order;

// Whether the failure came up; a child says so to its parent.
bool* const fired =
    static_cast<bool*>(mmap(nullptr, sizeof(bool), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

std::unordered_set<void*>* live = nullptr; // what the library has on the heap, while somebody wants to know

bool Fails(Faults::Kind kind) {
    const bool meant = order.kind == kind || (order.kind == Faults::System && kind != Faults::Heap);
    if (!meant || order.left == 0 || --order.left > 0) return false;
    if (order.lasting) order.left = 1;
    *fired = true;
    if (order.act) return std::exchange(order, {}).act(), false;
    errno = kind == Faults::Heap ? ENOMEM : order.error;
    return true;
}

// Follows a block that comes from the heap or goes back there; what the set itself does there does not count.
void* Track(void* p, bool comes) {
    const auto all = std::exchange(live, nullptr);
    if (all && p && comes) all->insert(p);
    if (all && p && !comes) all->erase(p);
    live = all;
    return p;
}

// What of `count` bytes still has room; -1 with errno set if none has. A halt's way home is open, whatever fails.
ssize_t Room(int fd, std::size_t count) {
    if (fd == halt_trap::pipeEnd) return static_cast<ssize_t>(count);
    if (Fails(Faults::Write)) return -1;
    if (order.room < 0 || count == 0) return static_cast<ssize_t>(count);
    if (order.room < static_cast<int>(count)) *fired = true;
    const int part = std::min(order.room, static_cast<int>(count));
    order.room -= part;
    errno = ENOSPC;
    return part > 0 ? part : -1;
}

} // namespace

// A wrapped call: __wrap_X is what the objects call, __real_X what they would have called.
#define WRAPPED(type, name, parameters)                                                                                \
    extern "C" type __real_##name parameters;                                                                          \
    extern "C" type __wrap_##name parameters;                                                                          \
    type __wrap_##name parameters
#define FAILING(kind, type, failure, name, parameters, arguments)                                                      \
    WRAPPED(type, name, parameters) {                                                                                  \
        return Fails(Faults::kind) ? failure : __real_##name arguments;                                                \
    }
#define ALLOCATING(name, parameters, arguments)                                                                        \
    WRAPPED(void*, name, parameters) {                                                                                 \
        return Fails(Faults::Heap) ? nullptr : Track(__real_##name arguments, true);                                   \
    }
#define WRITING(name, parameters, arguments)                                                                           \
    WRAPPED(ssize_t, name, parameters) {                                                                               \
        const ssize_t room = Room(fd, n);                                                                              \
        return room < 0 ? -1 : __real_##name arguments;                                                                \
    }

ALLOCATING(malloc, (std::size_t n), (n))
ALLOCATING(calloc, (std::size_t n, std::size_t m), (n, m))
ALLOCATING(realloc, (void* p, std::size_t n), (Track(p, false), n))
WRAPPED(void, free, (void* p)) {
    __real_free(Track(p, false));
}

// The mode is there only with O_CREAT or O_TMPFILE; passing it on is harmless.
WRAPPED(int, openat, (int dir, const char* name, int flags, ...)) {
    va_list rest;
    va_start(rest, flags);
    const unsigned mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, unsigned) : 0;
    va_end(rest);
    return Fails(Faults::Open) ? -1 : __real_openat(dir, name, flags, mode);
}
WRAPPED(int, close, (int fd)) { // a directory's has nothing to lose
    const bool counts = !(fcntl(fd, F_GETFL) & O_PATH);
    const int result = __real_close(fd);
    return counts && Fails(Faults::Close) ? -1 : result;
}
WRITING(write, (int fd, const void* buf, std::size_t n), (fd, buf, static_cast<std::size_t>(room)))
WRITING(pwrite, (int fd, const void* buf, std::size_t n, off_t at), (fd, buf, static_cast<std::size_t>(room), at))
WRAPPED(ssize_t, pwritev, (int fd, const iovec* runs, int count, off_t at)) { // those that have room, and a part
    std::vector<iovec> all(runs, runs + count);
    ssize_t room = Room(fd, std::accumulate(runs, runs + count, std::size_t{0},
                                            [](std::size_t sum, const iovec& run) { return sum + run.iov_len; }));
    if (room < 0) return -1;
    for (iovec& run : all) {
        run.iov_len = std::min(run.iov_len, static_cast<std::size_t>(room));
        room -= static_cast<ssize_t>(run.iov_len);
    }
    return __real_pwritev(fd, all.data(), count, at);
}
FAILING(Read, ssize_t, -1, read, (int fd, void* buf, std::size_t n), (fd, buf, n))
FAILING(Read, ssize_t, -1, pread, (int fd, void* buf, std::size_t n, off_t at), (fd, buf, n, at))
WRAPPED(int, flock, (int fd, int operation)) { // giving back can't fail
    return !(operation & LOCK_UN) && Fails(Faults::Lock) ? -1 : __real_flock(fd, operation);
}
FAILING(Other, off_t, -1, lseek, (int fd, off_t at, int whence), (fd, at, whence))
FAILING(Other, int, -1, ftruncate, (int fd, off_t size), (fd, size))
FAILING(Flush, int, -1, fsync, (int fd), (fd))
FAILING(Other, int, -1, stat, (const char* name, struct stat* st), (name, st))
FAILING(Other, int, -1, lstat, (const char* name, struct stat* st), (name, st))
FAILING(Other, int, -1, fstat, (int fd, struct stat* st), (fd, st))
FAILING(Other, int, -1, access, (const char* name, int mode), (name, mode))
FAILING(Other, int, -1, faccessat, (int dir, const char* name, int mode, int flags), (dir, name, mode, flags))
FAILING(Other, char*, nullptr, realpath, (const char* name, char* path), (name, path))
FAILING(Other, ssize_t, -1, readlink, (const char* name, char* to, std::size_t n), (name, to, n))
FAILING(Other, int, -1, unlink, (const char* name), (name))
FAILING(Other, int, -1, unlinkat, (int dir, const char* name, int flags), (dir, name, flags))
FAILING(Other, int, -1, fstatat, (int dir, const char* name, struct stat* st, int flags), (dir, name, st, flags))
FAILING(Other, int, -1, mkdirat, (int dir, const char* name, mode_t mode), (dir, name, mode))
FAILING(Other, int, -1, mknodat, (int dir, const char* name, mode_t mode, dev_t device), (dir, name, mode, device))
FAILING(Other, int, -1, renameat, (int d1, const char* from, int d2, const char* to), (d1, from, d2, to))
FAILING(Other, ssize_t, -1, fgetxattr, (int fd, const char* name, void* value, std::size_t n), (fd, name, value, n))
FAILING(Other, ssize_t, -1, flistxattr, (int fd, char* names, std::size_t n), (fd, names, n))
FAILING(Other, int, -1, fsetxattr, (int fd, const char* name, const void* value, std::size_t n, int flags),
        (fd, name, value, n, flags))
FAILING(Other, int, -1, fremovexattr, (int fd, const char* name), (fd, name))
FAILING(Other, ssize_t, -1, readlinkat, (int dir, const char* name, char* to, std::size_t n), (dir, name, to, n))
FAILING(Other, int, -1, fallocate, (int fd, int mode, off_t at, off_t n), (fd, mode, at, n))
FAILING(Other, int, -1, symlink, (const char* to, const char* name), (to, name))
WRAPPED(int, renameat2, (int d1, const char* from, int d2, const char* to, unsigned flags)) {
    if (Fails(Faults::Other)) return -1;
    if (Faults::plainMoves) errno = EINVAL;
    return Faults::plainMoves ? -1 : __real_renameat2(d1, from, d2, to, flags);
}
FAILING(Other, int, -1, linkat, (int d1, const char* from, int d2, const char* to, int flags),
        (d1, from, d2, to, flags))
FAILING(Other, DIR*, nullptr, fdopendir, (int fd), (fd))
FAILING(Other, dirent*, nullptr, readdir, (DIR * dir), (dir))
FAILING(Other, int, -1, chmod, (const char* name, mode_t mode), (name, mode))
FAILING(Other, int, -1, fchmod, (int fd, mode_t mode), (fd, mode))
FAILING(Other, int, -1, fchown, (int fd, uid_t user, gid_t group), (fd, user, group))
FAILING(Other, int, -1, futimens, (int fd, const timespec* times), (fd, times))

WRAPPED(ssize_t, copy_file_range, (int in, off64_t* inAt, int out, off64_t* outAt, std::size_t n, unsigned flags)) {
    if (!Fails(Faults::Other) && !Faults::plainCopies) return __real_copy_file_range(in, inAt, out, outAt, n, flags);
    if (Faults::plainCopies) errno = ENOSYS;
    return -1;
}

void Faults::Give(const Order& o) {
    order = o;
    *fired = false;
}

void Faults::Disarm() {
    order = {};
}

bool Faults::Fired() {
    return *fired;
}

namespace {

// One run, in the child: sends its outcome home like a halt.
void RunOnce(Faults::Kind kind, int n, int error, bool lasting, const std::function<std::string(const Arm&)>& run) {
    const auto count = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto descriptors = count();
    live = new std::unordered_set<void*>;
    VFile_InitializeThread();
    std::string outcome = run([&](const std::function<void()>& act) {
        Faults::FailNth(kind, n, error, lasting);
        act();
        Faults::Disarm();
        return Faults::Fired();
    });
    VFile_UninitializeThread();
    if (!live->empty() || count() != descriptors) outcome += " LEAK";
    halt_trap::SendHome(outcome.c_str());
}

} // namespace

std::set<std::string> ForEachFault(Faults::Kind kind, int error, const std::function<std::string(const Arm&)>& run,
                                   bool lasting) {
    std::set<std::string> outcomes;
    for (int n = 1; n <= 5000; ++n) {
        *fired = false;
        const std::string outcome = halt_trap::TextOf([&] { RunOnce(kind, n, error, lasting, run); });
        if (!*fired) {
            EXPECT_EQ("done", outcome) << "with nothing failing";
            return outcomes;
        }
        outcomes.insert(outcome);
    }
    ADD_FAILURE() << "each run meets its failure: does something try again without end?";
    return outcomes;
}
