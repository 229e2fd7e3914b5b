// The file system on Linux: questions, permissions, names. Copies stand in copy_linux.cpp.
#include "platform/fsops.h"

#include "platform/copy_linux.h"
#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// True if the file could be read. Only an ordinary file is opened for it: the opening of a pipe or device may wait, or
// be noticed at the other end.
bool OpensForReading(const char* name) {
    struct stat st;
    if (stat(name, &st) != 0) return false;
    if (!S_ISREG(st.st_mode)) {
        return !S_ISDIR(st.st_mode) && !S_ISSOCK(st.st_mode) && faccessat(AT_FDCWD, name, R_OK, AT_EACCESS) == 0;
    }
    const int fd = OpenRetried(name, O_RDONLY | O_NONBLOCK, 0);
    if (fd >= 0) close(fd);
    return fd >= 0;
}

// Moves where the file system can't do it in one step without replacing: by a second name, or, where there are none,
// by an empty file or directory that claims the name first.
bool MoveByClaim(const char* from, const char* to) {
    struct stat st;
    if (lstat(from, &st) != 0) return false;
    const bool directory = S_ISDIR(st.st_mode);
    if (!directory) {
        if (linkat(AT_FDCWD, from, AT_FDCWD, to, 0) == 0) {
            if (unlink(from) == 0) return true;
            const int error = errno;
            unlink(to);
            errno = error;
            return false;
        }
        if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS && errno != EMLINK) return false;
    }
    if (directory ? mkdir(to, 0700) != 0 : mknod(to, S_IFREG | 0600, 0) != 0) return false;
    if (rename(from, to) == 0) return true;
    const int error = errno;
    directory ? rmdir(to) : unlink(to);
    errno = error;
    return false;
}

// A link goes to another file system as what it is.
bool MoveLinkAcross(const char* from, const char* to) {
    char pointsAt[PATH_MAX];
    const ssize_t n = readlink(from, pointsAt, sizeof pointsAt - 1);
    if (n < 0) return false;
    pointsAt[n] = '\0';
    if (symlink(pointsAt, to) != 0) return false;
    if (unlink(from) == 0) return true;
    const int error = errno;
    unlink(to);
    errno = error;
    return false;
}

bool SetMoveError(const char* from, const char* to) {
    // What is missing may be either of the two.
    struct stat st;
    SetErrorFromErrno(errno == ENOENT && lstat(from, &st) == 0 ? to : from);
    return false;
}

} // namespace

bool MoveNew(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    return MoveByClaim(from, to);
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
    if (MoveNew(source.Text(), target.Text())) return true;
    if (errno != EXDEV) return SetMoveError(source.Text(), target.Text());

    struct stat st;
    if (lstat(source.Text(), &st) != 0) return SetMoveError(source.Text(), target.Text());
    if (S_ISREG(st.st_mode)) return MoveContentAcross(source.Text(), target.Text());
    if (S_ISLNK(st.st_mode)) {
        return MoveLinkAcross(source.Text(), target.Text()) || SetMoveError(source.Text(), target.Text());
    }
    SetLastError(lstat(target.Text(), &st) == 0 ? ErrorFileExists : ErrorAccessDenied);
    return false;
}

bool RemoveFile(const char* name) {
    const SystemName systemName(name);
    if (!systemName.Ok()) return false;
    if (unlink(systemName.Text()) == 0) return true;
    SetErrorFromErrno(systemName.Text());
    return false;
}

} // namespace platform
