// Open files: the calls below VMem's swap file, below HFile, and below VFile's loading and saving. Internal.
//
// Every call that fails sets the thread's last error and says so by its result (InvalidHandle, -1, false). Interrupted
// calls are taken up again. Names may use '/' and '\'; a name longer than the system takes is an invalid name.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace vfile_internal::platform {

enum class Access { Read, Write, ReadWrite };

// None excludes every other handle for the life of this one, All shares with everybody who shares. Kept by advisory
// locks on ordinary files among users of this library, also within one process; a file system without locks is taken
// as it is.
enum class Sharing { None, All };

enum class Disposition {
    OpenExisting,  // fails if there is no such file
    CreateNew,     // fails if there is one
    CreatePrivate, // the same, and the file is for this user alone: mode 0600
    CreateAlways,  // empties an existing ordinary file, once it is held
    OpenAlways,    // takes an existing file as it is, else makes one
};

// What the system is told about the accesses to come.
enum class Pattern { Sequential, Random };

enum class Origin { Begin, Current, End };

// Opens or makes a file. The handle is not passed on to programs that the host starts. A directory is refused with
// "access denied", a name that somebody holds exclusively with "sharing violation"; a refused open changes nothing.
// Other new files get mode 0666 less the host's umask.
FileHandle OpenFile(const char* name, Access access, Sharing sharing, Disposition disposition, Pattern pattern);

// Closes the handle and gives its lock back. The handle must not be used again, whatever the result.
bool CloseFile(FileHandle handle);

// One read at the file position: the number of bytes, 0 at the end, -1 on failure. A non-blocking descriptor is
// waited for; a time limit that the host has set for a socket is a failure of the network.
std::int32_t ReadFile(FileHandle handle, void* buf, std::uint32_t count);

// True if a read would not wait: there are bytes, the end, or a failure to tell.
bool ReadsAtOnce(FileHandle handle);

// Writes until all is written: the number of bytes that went out. If they are fewer, `failed` says whether an error
// stopped it, which then is the last error, or the device took no more. Never raises a signal for a pipe or socket
// whose other end is gone.
std::int32_t WriteFile(FileHandle handle, const void* buf, std::uint32_t count, bool& failed);

// True if the handle is that of an ordinary file: its transfers may be of any size, and never wait.
bool IsOrdinaryFile(FileHandle handle);

// Moves the file position; the new position, or -1.
std::int64_t SeekFile(FileHandle handle, std::int64_t offset, Origin origin);

// The size in bytes, or -1. Pipes, sockets and devices have size 0.
std::int64_t FileSize(FileHandle handle);

// Makes the file position the end of the file.
bool SetEndOfFile(FileHandle handle);

// Hands all data of the file to the device.
bool FlushFile(FileHandle handle);

} // namespace vfile_internal::platform
