// Where names lead. Internal to the platform layer.
//
// Names are in the system's spelling, and those with a `dir` are looked up there (AT_FDCWD: the current directory). All
// leave the reason of a failure in errno.
#pragma once

#include "platform/descriptor_linux.h"

#include <climits>
#include <linux/limits.h>

namespace vfile_internal::platform {

// A directory, and a name in it that is no symbolic link.
struct Place {
    Descriptor dir;          // for searching only
    char leaf[NAME_MAX + 1]; // as the last part of a name
    bool inProc = false;     // the directory is one of the system's own, as that of open files
    bool isLink = false;     // there, a link to a file of which no text tells where it lies
};

// Follows symbolic links to the last name, also to one that does not exist yet. The text of links is all that it looks
// at: whether they may be followed is to be asked of the system, by a call with the name itself.
bool FindPlace(Place& place, const char* name);

// The open file of this process that a place such as /proc/self/fd/1 means, if that is the file `st`; else -1.
int OwnDescriptorAt(const Place& place, const struct stat& st);

// Opens the directory that `path` lies in, which may be one for searching only. Returns the name there, or null.
const char* OpenPlace(Descriptor& place, int dir, const char* path);

// True if the name is, links not followed, that of the file. EBUSY: it is that of another one.
bool IsNow(int dir, const char* name, const struct stat& file);

// Removes the name if it is that of the file (no directory), and never that of another one; with `unwritten` only if
// nobody has written to the file since `file` was told. EBUSY as above.
bool RemoveSame(int dir, const char* name, const struct stat& file, bool unwritten);

// Gives `from` the name `to` on the same file system, never one that exists; both are looked up in `dir`.
bool MoveNew(int dir, const char* from, const char* to);

} // namespace vfile_internal::platform
