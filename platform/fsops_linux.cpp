// The file system on Linux: questions, permissions, names. Copies stand in copy_linux.cpp.
#include "platform/fsops.h"

#include "platform/copy_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"
#include "platform/place_linux.h"
#include "platform/transfer_linux.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

// True if the file could be opened for reading. It is not: the opening of a pipe or device may wait, or be noticed at
// the other end, and the closing of an ordinary file would drop the record locks that the host itself has on it.
bool OpensForReading(const char* name) {
    struct stat st;
    return stat(name, &st) == 0 && !S_ISDIR(st.st_mode) && !S_ISSOCK(st.st_mode) &&
           faccessat(AT_FDCWD, name, R_OK, AT_EACCESS) == 0;
}

// True if `path` would lie in the directory `root`, at whatever depth.
bool LiesIn(int dir, const char* path, const struct stat& root) {
    char parent[PATH_MAX];
    ParentOf(parent, path);
    int fd = OpenRetriedAt(dir, parent, O_PATH | O_DIRECTORY, 0);
    struct stat here = {};
    bool inside = false;
    for (bool top = false; fd >= 0 && !inside && !top;) {
        struct stat st;
        if (fstat(fd, &st) != 0) break;
        inside = SameFile(st, root);
        top = SameFile(st, here);
        here = st;
        const int up = OpenRetriedAt(fd, "..", O_PATH | O_DIRECTORY, 0);
        close(fd);
        fd = up;
    }
    if (fd >= 0) close(fd);
    return inside;
}

// Moves a directory, or a file where there are no links: an empty one claims the name first.
bool MoveByClaim(int dir, const char* from, const char* to, bool directory) {
    struct stat claim;
    if (directory ? mkdirat(dir, to, 0700) != 0 : mknodat(dir, to, S_IFREG | 0600, 0) != 0) return false;
    const bool known = fstatat(dir, to, &claim, AT_SYMLINK_NOFOLLOW) == 0;
    if (known && renameat(dir, from, dir, to) == 0) return true;
    const ErrnoKept kept;
    if (directory || !known) {
        unlinkat(dir, to, directory ? AT_REMOVEDIR : 0);
    } else {
        RemoveSame(dir, to, claim, false);
    }
    return false;
}

// Moves where the file system can't do it in one step without replacing.
bool MoveInSteps(int dir, const char* from, const char* to) {
    struct stat st;
    if (fstatat(dir, from, &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (S_ISDIR(st.st_mode)) {
        errno = EINVAL;
        return !LiesIn(dir, to, st) && MoveByClaim(dir, from, to, true);
    }
    if (linkat(dir, from, dir, to, 0) != 0) {
        const bool noLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK;
        return noLinks && MoveByClaim(dir, from, to, false);
    }
    // What was linked may be another file already than the one of the look. What has the name now need not be what was
    // linked, and goes only if it is known to be.
    struct stat linked;
    const bool known = fstatat(dir, to, &linked, AT_SYMLINK_NOFOLLOW) == 0;
    if (known && RemoveSame(dir, from, linked, false)) return true;
    const ErrnoKept kept;
    if (known && SameFile(linked, st)) RemoveSame(dir, to, linked, false);
    return false;
}

// A link goes to another file system as what it is.
bool MoveLinkAcross(const char* from, const char* to) {
    struct stat st;
    struct stat made;
    char pointsAt[PATH_MAX];
    if (lstat(from, &st) != 0) return false;
    const ssize_t n = readlink(from, pointsAt, sizeof pointsAt - 1);
    if (n < 0) return false;
    pointsAt[n] = '\0';
    if (symlink(pointsAt, to) != 0) return false;
    const bool known = lstat(to, &made) == 0 && S_ISLNK(made.st_mode);
    if (known && RemoveSame(AT_FDCWD, from, st, false)) return true;
    const ErrnoKept kept;
    if (known) RemoveSame(AT_FDCWD, to, made, false);
    return false;
}

// What is missing is the directory that `to` lies in, or is to be; or else it is the source.
bool SetMoveError(const char* from, const char* to) {
    const int error = errno;
    struct stat st;
    SetErrorFromErrno(to);
    if (error == ENOENT && GetLastError() == ErrorPathNotFound) return false;
    const bool asksForDirectory = *to && to[std::strlen(to) - 1] == '/' && lstat(from, &st) == 0;
    errno = error == ENOENT && asksForDirectory ? ENOTDIR : error;
    SetErrorFromErrno(from);
    return false;
}

} // namespace

bool MoveNew(int dir, const char* from, const char* to) {
    if (renameat2(dir, from, dir, to, RENAME_NOREPLACE) == 0) return true;
    return (errno == EINVAL || errno == ENOSYS) && MoveInSteps(dir, from, to);
}

bool FullPath(char* path, std::size_t size, const char* name) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return false;
    if (!OpensForReading(systemName.Text())) {
        SetErrorFromErrno(systemName.Text());
        return false;
    }
    char parent[PATH_MAX];
    ParentOf(parent, systemName.Text());
    char resolved[PATH_MAX];
    if (!realpath(parent, resolved)) {
        SetErrorFromErrno(parent);
        return false;
    }
    const char* last = std::strrchr(systemName.Text(), '/');
    last = last ? last + 1 : systemName.Text();
    const char* between = resolved[1] == '\0' ? "" : "/"; // the root has its separator already
    if (std::strchr(resolved, '\\') || std::strlen(resolved) + std::strlen(between) + std::strlen(last) >= size) {
        SetLastError(ErrorInvalidName);
        return false;
    }
    std::snprintf(path, size, "%s%s%s", resolved, between, last);
    return true;
}

bool NameExists(const char* name) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return false;
    if (faccessat(AT_FDCWD, systemName.Text(), F_OK, AT_EACCESS) == 0) return true;
    SetErrorFromErrno(systemName.Text());
    return false;
}

bool GetNameState(const char* name, NameState& state) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return false;
    struct stat st;
    if (stat(systemName.Text(), &st) != 0) {
        SetErrorFromErrno(systemName.Text());
        return false;
    }
    state.directory = S_ISDIR(st.st_mode);
    state.readOnly = (st.st_mode & S_IWUSR) == 0;
    return true;
}

bool SetNameReadOnly(const char* name, bool on) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return false;
    struct stat st;
    if (stat(systemName.Text(), &st) == 0) {
        const mode_t bits = st.st_mode & 07777;
        const mode_t wanted = on ? bits & ~mode_t{S_IWUSR} : bits | S_IWUSR;
        if (wanted == bits || chmod(systemName.Text(), wanted) == 0) return true;
    }
    SetErrorFromErrno(systemName.Text());
    return false;
}

bool MoveFile(const char* from, const char* to) {
    const SystemName source(from);
    if (!source.Ok()) return false;
    const SystemName target(to);
    if (!target.Ok()) return false;
    if (MoveNew(AT_FDCWD, source.Text(), target.Text())) return true;
    if (errno != EXDEV) return SetMoveError(source.Text(), target.Text());

    struct stat st;
    if (lstat(source.Text(), &st) != 0) return SetMoveError(source.Text(), target.Text());
    if (S_ISREG(st.st_mode)) return MoveContentAcross(source.Text(), target.Text());
    if (S_ISLNK(st.st_mode))
        return MoveLinkAcross(source.Text(), target.Text()) || SetMoveError(source.Text(), target.Text());
    SetLastError(lstat(target.Text(), &st) == 0 ? ErrorFileExists : ErrorAccessDenied);
    return false;
}

bool ReplaceName(const char* from, const char* to) {
    const SystemName source(from);
    if (!source.Ok()) return false;
    const SystemName target(to);
    if (!target.Ok()) return false;
    if (renameat(AT_FDCWD, source.Text(), AT_FDCWD, target.Text()) == 0) return true;
    if (errno == EXDEV) errno = EOPNOTSUPP;
    return SetMoveError(source.Text(), target.Text());
}

bool FlushDirectory(const char* dir) {
    const SystemName name(dir && !*dir ? "." : dir);
    if (!name.Ok()) return false;
    Descriptor names;
    if (names.OpenAt(AT_FDCWD, name.Text(), O_RDONLY | O_DIRECTORY) && FlushDescriptor(names.Number())) return true;
    if (errno == ENOENT) errno = ENOTDIR;
    SetErrorFromErrno();
    return false;
}

bool RemoveFile(const char* name) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return false;
    if (unlink(systemName.Text()) == 0) return true;
    SetErrorFromErrno(systemName.Text());
    return false;
}

} // namespace vfile_internal::platform
