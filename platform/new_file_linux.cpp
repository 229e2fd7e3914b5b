// New files on Linux: made without a name, or where the file system can't do that by one of their own beside the later
// one.
#include "platform/new_file_linux.h"

#include "platform/draft_linux.h"
#include "platform/name_linux.h"
#include "platform/place_linux.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

// Gives the open file, which has none or the name `draft`, a name that is free. errno tells.
bool GiveName(int fd, const char* draft, const char* name) {
    if (draft[0]) return MoveNew(AT_FDCWD, draft, name);
    if (linkat(fd, "", AT_FDCWD, name, AT_EMPTY_PATH) == 0) return true;
    if (errno == EEXIST) return false;
    char open[64]; // older systems allow it only to a privileged process; the list of open files serves all
    std::snprintf(open, sizeof open, "/proc/self/fd/%d", fd);
    return linkat(AT_FDCWD, open, AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
}

// One try, in the directory `parent`, with a name of its own if `draft` is not empty.
Making MakeIn(const char* parent, const char* draft, const char* name, int access, bool forUserAlone, bool exclusive,
              int* fd, bool* locked) {
    const unsigned mode = forUserAlone ? 0600 : 0666;
    const int made =
        draft[0] ? OpenRetried(draft, access | O_CREAT | O_EXCL, mode) : OpenRetried(parent, access | O_TMPFILE, mode);
    if (made < 0) return Making::Unable;
    Making making = Making::Unable;
    if (!TryLock(made, exclusive, locked)) {
        making = Making::Refused;
    } else if ((!forUserAlone || fchmod(made, 0600) == 0) && GiveName(made, draft, name)) {
        *fd = made;
        return Making::Done;
    } else if (errno == EEXIST) {
        making = Making::Taken;
    }
    const ErrnoKept kept;
    if (draft[0]) unlink(draft);
    close(made); // gives back the lock, too: nobody else has this descriptor
    return making;
}

} // namespace

Making MakeLocked(const char* name, int access, bool forUserAlone, bool exclusive, int* fd, bool* locked) {
    char parent[PATH_MAX];
    ParentOf(parent, name);
    const Making making = MakeIn(parent, "", name, access, forUserAlone, exclusive, fd, locked);
    if (making != Making::Unable) return making;

    char own[DraftNameSize];
    DraftName(own);
    char draft[PATH_MAX];
    errno = ENAMETOOLONG;
    if (std::snprintf(draft, sizeof draft, "%s/%s", parent, own) >= PATH_MAX) return Making::Unable;
    return MakeIn(parent, draft, name, access, forUserAlone, exclusive, fd, locked);
}

} // namespace vfile_internal::platform
