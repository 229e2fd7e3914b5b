// Who may do what with a file that is made or written in place of another one. Internal to the platform layer. All
// leave the reason of a failure in errno.
#pragma once

#include <cstddef>
#include <sys/stat.h>

namespace vfile_internal::platform {

// A copy: what the source `in` gives, as far as the system gives it to the new file `out` here. `made` is its state.
bool LimitCopy(int out, const struct stat& made, int in, const struct stat& source);

// A copy that is written in place: the target keeps its owner and what he may do. If the permissions are not the
// process's to change, nobody may be able to read it who could not read the source.
bool LimitTarget(int out, const struct stat& target, int in, const struct stat& source);

// A move: the owner and all that only he may give, and extended attributes, where the process may give them. Nobody
// gets more access otherwise.
bool GiveForMove(int out, const struct stat& made, int in, const struct stat& source);

enum class Given { Done, Failed, Attribute };

// A new content for the file `old`: owner, mode, access control list and extended attributes, or nothing will do.
// Attribute: the one of which the name then stands in `attribute` (XATTR_NAME_MAX + 1 bytes) can't be had. Where the
// process may not give the group, neither the old group nor the new one can do more than both could; `*narrowed` tells
// if that is less than before.
Given GiveForReplacement(int out, int old, char* attribute, bool* narrowed);

} // namespace vfile_internal::platform
