// What copying and moving of files share. Internal to the platform layer.
//
// Names are in the system's spelling. Calls that say so leave the reason of a failure in errno only.
#pragma once

namespace platform {

// The directory that `name` lies in, "." for a name alone; `parent` has PATH_MAX bytes.
void ParentOf(char* parent, const char* name);

// Gives `from` the name `to` on the same file system, never one that exists. errno tells.
bool MoveNew(const char* from, const char* to);

// Moves an ordinary file to another file system: a copy, with the owner where the process may give it, and the removal
// of `from`. Sets the last error.
bool MoveContentAcross(const char* from, const char* to);

} // namespace platform
