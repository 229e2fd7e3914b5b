// The making of files that are held before they can be seen. Internal to the platform layer.
#pragma once

namespace vfile_internal::platform {

enum class Making {
    Done,
    Taken,   // something has the name
    Refused, // the last error tells
    Unable,  // neither way works here: errno tells, and the file system may still know how to make a file at once
};

// Makes an ordinary file, opens it for `access` (O_RDWR or O_WRONLY), locks it, and only then gives it the name `name`,
// in the system's spelling. So who makes a new file always gets it, and until then there is nothing to take back. The
// mode is 0666 less the umask, or 0600 if `forUserAlone`. `*fd` and `*locked` are set if it is done.
Making MakeLocked(const char* name, int access, bool forUserAlone, bool exclusive, int* fd, bool* locked);

} // namespace vfile_internal::platform
