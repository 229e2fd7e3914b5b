// The file system: what is there, and changes that don't need an open file. Internal.
//
// Every call that fails sets the thread's last error and returns false. Names may use '/' and '\'.
#pragma once

#include <cstddef>

namespace vfile_internal::platform {

// The absolute path of the file `name` in the system's own spelling: the directories resolved, the last component as it
// was given. False, and `path` untouched, if there is no such file, if it is a directory or may not be read, or if the
// path has no room in `size` bytes or could not be given back to the system as a name. Opens nothing.
bool FullPath(char* path, std::size_t size, const char* name);

bool NameExists(const char* name); // follows links, as all three

struct NameState {
    bool directory;
    bool readOnly; // the owner may not write it
};
bool GetNameState(const char* name, NameState& state);

// Gives or takes the owner's permission to write; the others stay. True without a change where it is so already.
bool SetNameReadOnly(const char* name, bool on);

// Makes `to` a copy of the ordinary file `from`: content, holes, permission bits less those of the umask, time of the
// last change. `to` comes up or is replaced all at once, when everything is written; on failure it is as it was, and
// nothing is left beside it. Only where it can't be replaced, or is no name of an ordinary file, it is written in
// place. `from` is held shared and an existing `to` exclusively, so both are refused with "sharing violation" if
// somebody else holds them against that, and so is a copy onto the same file. Without `overwrite` any `to` is "file
// exists", also one that comes up meanwhile. A link at `to` is followed. Nobody gets more access to the content than he
// had.
bool CopyFile(const char* from, const char* to, bool overwrite);

// Gives a file or directory another name, never one that exists. An ordinary file or a link can go to another file
// system, where it is copied and then removed here, if it still is the file that was copied ("sharing violation").
bool MoveFile(const char* from, const char* to);

// Gives a file or directory another name on the same file system, in place of what has that, in one step. Another file
// system is "not supported".
bool ReplaceName(const char* from, const char* to);

// Hands the names in a directory to the device. True where the file system can't do that.
bool FlushDirectory(const char* dir);

// Removes anything but a directory.
bool RemoveFile(const char* name);

} // namespace vfile_internal::platform
