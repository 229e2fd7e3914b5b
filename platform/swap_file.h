// The swap file's share of the system: a private file that is removed however the process ends. Internal.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace vfile_internal::platform {

// Makes a file in the directory `dir` that never has a name, mode 0600, and opens it for reading and writing.
// InvalidHandle if that can't be done there, or the file system has no such files.
FileHandle OpenNamelessFile(const char* dir);

// The same by the name `name`: held exclusively, and unlinked as soon as it is open. A file of that name is removed
// before if it is left over: an ordinary file of this user under one name that nobody holds. InvalidHandle with "file
// exists" if anything else has the name, or has had a hand in it; with another error if no other name would serve.
FileHandle OpenSwapFile(const char* name);

// Reads or writes `count` bytes at `offset`; the number moved (less at the end of the file or on a full disk), or -1 if
// nothing was moved and the call failed. `*seekFailed` tells an offset that can't be reached from a failed transfer.
std::int32_t ReadAt(FileHandle handle, void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed);
std::int32_t WriteAt(FileHandle handle, const void* buf, std::uint32_t count, std::int64_t offset, bool* seekFailed);

// Writes n pieces of `size` bytes one after the other at `offset`, by one call of the system, which may take only the
// first of them: the number of bytes moved, -1 if it failed. Pieces that lie side by side in RAM cost as much as one.
std::int32_t WritePiecesAt(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size,
                           std::int64_t offset);

// True if `dir` is a directory in which this process may make files. Null and empty are not.
bool DirectoryUsable(const char* dir);

// The directories for temporary files, from number 0 on, whether usable or not: the environment's TMP, TEMP and TMPDIR,
// an empty text for one that is not set, then the system's own. Null after the last. The texts are the system's.
const char* TempDirectory(int n);

} // namespace vfile_internal::platform
