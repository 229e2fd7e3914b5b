// Moving of contents between file systems. Internal to the platform layer.
#pragma once

namespace vfile_internal::platform {

// Moves an ordinary file to another file system: a copy, with the owner where the process may give it, and the removal
// of `from`. Names are in the system's spelling. Sets the last error.
bool MoveContentAcross(const char* from, const char* to);

} // namespace vfile_internal::platform
