// The swap file's share of the system: a private file that is gone whatever way the process ends. Internal.
#pragma once

#include "platform/platform.h"

#include <cstddef>
#include <cstdint>

namespace platform {

// Makes and opens the swap file `name` for reading and writing: mode 0600, held exclusively, never through a symbolic
// link, and unlinked as soon as it is open. A file of that name is taken over, emptied, only if it is an ordinary file
// of this user under one name that nobody holds. InvalidHandle if it can't be had.
FileHandle OpenSwapFile(const char* name);

// Reads or writes `count` bytes at `offset`; the number moved (less at the end of the file or on a full disk), or -1 if
// nothing was moved and the call failed. `*seekFailed` tells an offset that can't be reached from a failed transfer.
std::int32_t ReadAt(FileHandle handle, void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed);
std::int32_t WriteAt(FileHandle handle, const void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed);

// Writes n pieces of `size` bytes one behind the other at `offset`, by one call of the system, which may take only the
// first of them: the number of bytes moved, -1 if it failed. Pieces that lie side by side in RAM cost as much as one.
std::int32_t WritePiecesAt(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size,
                           std::int64_t offset);

// True if `dir` can be read and written by this process. NIL and empty are not.
bool DirectoryUsable(const char* dir);

// The directory of last resort for temporary files, behind those that a host has set: the variable TMPDIR if it is
// usable and shorter than `maxLength`, then /var/tmp, then /tmp. The last is not tested.
const char* FallbackTempDir(std::size_t maxLength);

// The value of an environment variable, NIL if it is not set. The text is the system's.
const char* Environment(const char* variable);

} // namespace platform
