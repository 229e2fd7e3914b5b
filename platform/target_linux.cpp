// Files that are to be replaced, on Linux.
#include "platform/target_linux.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/syscall.h>

namespace vfile_internal::platform {
namespace {

constexpr int HoldTries = 100; // for a file that others keep exchanging

bool HasAttribute(int fd, std::uint64_t which) {
    struct statx st;
    return statx(fd, "", AT_EMPTY_PATH, 0, &st) == 0 && (st.stx_attributes_mask & st.stx_attributes & which) != 0;
}

bool MayActForOwners() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3];
    return syscall(SYS_capget, &header, data) == 0 && (data[0].effective & (1U << CAP_FOWNER)) != 0;
}

// Opens the file and holds it. Not waiting, should a pipe have come to the name in between. Where it can't be opened
// errno tells.
Target::Found OpenHeld(Descriptor& file, int dir, const char* name, int flags, bool forWriting) {
    using Found = Target::Found;
    const int all = flags | O_NONBLOCK;
    if (forWriting) {
        if (!file.OpenAt(dir, name, O_WRONLY | all)) return Found::Failed;
        return file.Lock(true) ? Found::Ordinary : Found::Held;
    }
    if (faccessat(dir, name, W_OK, AT_EACCESS) != 0) return Found::Failed;
    // One that may not be read; and some file systems lock only what is open for writing.
    if (!file.OpenAt(dir, name, O_RDONLY | all))
        return errno == EACCES ? OpenHeld(file, dir, name, flags, true) : Found::Failed;
    errno = 0;
    if (!file.Lock(true)) return Found::Held;
    if (errno == EBADF) return OpenHeld(file, dir, name, flags, true);
    if (!HasAttribute(file.Number(), STATX_ATTR_APPEND | STATX_ATTR_IMMUTABLE)) return Found::Ordinary;
    errno = EPERM;
    return Found::Failed;
}

bool SameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

bool LookInLaterTick(int fd, struct stat& st) {
    constexpr int MostTicks = 25; // of a clock that is right, it is one of some milliseconds
    for (int i = 0; i < MostTicks; ++i) {
        timespec now;
        if (fstat(fd, &st) != 0) return false;
        clock_gettime(CLOCK_REALTIME_COARSE, &now);
        const timespec& changed = st.st_ctim;
        if (changed.tv_sec < now.tv_sec || (changed.tv_sec == now.tv_sec && changed.tv_nsec < now.tv_nsec)) return true;
        const timespec aMoment{0, 1000000};
        nanosleep(&aMoment, nullptr);
    }
    return fstat(fd, &st) == 0;
}

bool Unchanged(const struct stat& a, const struct stat& b) {
    return SameFile(a, b) && a.st_mode == b.st_mode && a.st_uid == b.st_uid && a.st_gid == b.st_gid &&
           a.st_size == b.st_size && SameTime(a.st_mtim, b.st_mtim) && SameTime(a.st_ctim, b.st_ctim);
}

bool IsRefusal(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EBUSY:
    case EXDEV:
    case ENOENT:
    case EOPNOTSUPP:
    case ENAMETOOLONG:
        return true;
    default:
        return false;
    }
}

void Target::Close() {
    held.Close();
    place.dir.Close();
}

Target::Found Target::Hold(const char* fileName, bool forWriting, bool stamped) {
    std::strcpy(name, fileName);
    Found found = Found::Held;
    for (int i = 0; i < HoldTries; ++i) {
        if (TryHold(forWriting, stamped, found)) break;
        found = Found::Held;
    }
    return found;
}

// False: the name has gone to another file in between.
bool Target::TryHold(bool forWriting, bool stamped, Found& found) {
    held.Close();
    own = -1;
    struct stat st;
    found = Found::Failed;
    exists = stat(name, &st) == 0; // the system follows the links, or refuses to
    if (!exists && errno != ENOENT) return true;
    if (exists && S_ISDIR(st.st_mode)) return found = Found::Other, true;
    if (!FindPlace(place, name)) return true;
    if (!exists) {
        errno = ENOENT;
        found = place.inProc ? Found::Failed : Found::Nothing; // nothing can be made among the open files
        return true;
    }
    seen = st;
    own = OwnDescriptorAt(place, st);
    if (own >= 0 || !S_ISREG(st.st_mode)) return found = own >= 0 ? Found::OpenFile : Found::Other, true;
    found = OpenHeld(held, AT_FDCWD, name, 0, forWriting);
    if (found != Found::Ordinary) return found != Found::Failed || errno != ENOENT;
    found = Found::Failed;
    if (stamped ? !LookInLaterTick(held.Number(), seen) : fstat(held.Number(), &seen) != 0) return true;
    struct stat named;
    found = Found::Ordinary;
    return SameFile(st, seen) && S_ISREG(seen.st_mode) &&
           fstatat(Directory(), Leaf(), &named, place.isLink ? 0 : AT_SYMLINK_NOFOLLOW) == 0 && SameFile(named, seen);
}

int Target::WhyIrreplaceable() const {
    struct stat dir;
    if (place.isLink) return EOPNOTSUPP; // its name is not to be had
    if (HasAttribute(held.Number(), STATX_ATTR_MOUNT_ROOT)) return EBUSY;
    if (HasAttribute(Directory(), STATX_ATTR_APPEND)) return EPERM;
    const bool sticky = fstat(Directory(), &dir) == 0 && (dir.st_mode & S_ISVTX) != 0;
    const uid_t user = geteuid();
    return sticky && user != seen.st_uid && user != dir.st_uid && !MayActForOwners() ? EPERM : 0;
}

bool Target::IsUnchanged() const {
    struct stat st;
    const bool found = stat(name, &st) == 0;
    if (!exists) return !found && errno == ENOENT;
    if (!found || !Unchanged(st, seen)) return false; // the same file: so it is also what is held
    return (place.isLink || fstatat(Directory(), Leaf(), &st, AT_SYMLINK_NOFOLLOW) == 0) && SameFile(st, seen);
}

Target::Found Target::HoldPresent(bool forWriting) {
    if (place.isLink) return Found::Ordinary;
    struct stat now;
    if (fstatat(Directory(), Leaf(), &now, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT && !forWriting ? Found::Nothing : Found::Failed;
    if (!S_ISREG(now.st_mode)) return Found::Other;
    if (held.IsOpen() && SameFile(now, seen)) return Found::Ordinary;
    Descriptor present;
    const Found found = OpenHeld(present, Directory(), Leaf(), O_NOFOLLOW, forWriting);
    if (found != Found::Ordinary) return found;
    if (fstat(present.Number(), &seen) != 0) return Found::Failed;
    if (!S_ISREG(seen.st_mode)) return Found::Other;
    held.Take(present);
    exists = true;
    return Found::Ordinary;
}

bool Target::IsReached(const struct stat& made) const {
    struct stat reached;
    if (stat(name, &reached) == 0 && SameFile(reached, made)) return true;
    RemoveSame(Directory(), Leaf(), made, false);
    errno = EBUSY;
    return false;
}

} // namespace vfile_internal::platform
