// Where names lead on Linux.
#include "platform/place_linux.h"

#include "platform/draft_linux.h"
#include "platform/name_linux.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

namespace vfile_internal::platform {
namespace {

constexpr int LinksMax = 40; // as many as the system itself follows

bool LiesInProc(int dir) {
    struct statfs fs;
    return fstatfs(dir, &fs) == 0 && fs.f_type == PROC_SUPER_MAGIC;
}

bool WrittenSince(const struct stat& now, const struct stat& then) {
    return now.st_size != then.st_size || now.st_mtim.tv_sec != then.st_mtim.tv_sec ||
           now.st_mtim.tv_nsec != then.st_mtim.tv_nsec;
}

} // namespace

const char* OpenPlace(Descriptor& place, int dir, const char* path) {
    const char* separator = std::strrchr(path, '/');
    const char* name = separator ? separator + 1 : path;
    char parent[PATH_MAX];
    ParentOf(parent, path);
    if (name[0] != '\0') return place.OpenAt(dir, parent, O_PATH | O_DIRECTORY) ? name : nullptr;
    errno = ENOENT; // it asks for a directory that is missing
    return nullptr;
}

bool FindPlace(Place& place, const char* name) {
    char path[PATH_MAX];
    if (std::strlen(name) >= sizeof path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::strcpy(path, name);
    place.dir.Close();
    for (int i = 0; i <= LinksMax; ++i) {
        Descriptor dir;
        const char* leaf = OpenPlace(dir, place.dir.IsOpen() ? place.dir.Number() : AT_FDCWD, path);
        if (!leaf) return false;
        if (std::strlen(leaf) >= sizeof place.leaf) {
            errno = ENAMETOOLONG;
            return false;
        }
        std::strcpy(place.leaf, leaf);
        place.dir.Take(dir);
        place.inProc = LiesInProc(place.dir.Number());
        const ssize_t n = readlinkat(place.dir.Number(), place.leaf, path, sizeof path - 1);
        place.isLink = n >= 0;
        if (n < 0) return errno == EINVAL || errno == ENOENT; // no link: the name itself
        if (place.inProc) return true;
        path[n] = '\0';
    }
    errno = ELOOP;
    return false;
}

int OwnDescriptorAt(const Place& place, const struct stat& st) {
    const std::size_t digits = std::strspn(place.leaf, "0123456789");
    if (!place.isLink || digits == 0 || digits > 9 || place.leaf[digits] != '\0') return -1;
    const int number = std::atoi(place.leaf);
    struct stat own;
    return fstat(number, &own) == 0 && SameFile(own, st) ? number : -1;
}

bool IsNow(int dir, const char* name, const struct stat& file) {
    struct stat now;
    if (fstatat(dir, name, &now, AT_SYMLINK_NOFOLLOW) != 0) return false;
    errno = EBUSY;
    return SameFile(now, file);
}

// The name steps aside first. What another one has put in its place, or written, between the look and that step is then
// found out before it is too late.
bool RemoveSame(int dir, const char* path, const struct stat& file, bool unwritten) {
    Descriptor place;
    const char* name = OpenPlace(place, dir, path);
    const int at = place.Number();
    if (!name || !IsNow(at, name, file)) return false;
    char aside[DraftNameSize];
    DraftName(aside);
    bool moved = renameat2(at, name, at, aside, RENAME_NOREPLACE) == 0;
    if (!moved && (errno == EINVAL || errno == ENOSYS)) moved = renameat(at, name, at, aside) == 0;
    if (!moved) return false;
    struct stat now;
    const bool known = fstatat(at, aside, &now, AT_SYMLINK_NOFOLLOW) == 0;
    const bool same = known && SameFile(now, file) && !(unwritten && WrittenSince(now, file));
    if (same && unlinkat(at, aside, 0) == 0) return true;
    if (known && !same) errno = EBUSY;
    const ErrnoKept kept;
    if (renameat2(at, aside, at, name, RENAME_NOREPLACE) != 0 && linkat(at, aside, at, name, 0) == 0)
        unlinkat(at, aside, 0);
    return false;
}

} // namespace vfile_internal::platform
