// An ordinary file whose bytes are read where they lie, long after it was opened. Internal.
#pragma once

#include "platform/file.h"
#include "platform/replace.h"

namespace vfile_internal::platform {

// Takes the stamp of an open ordinary file, as GetFileStamp does. False also where the file system notes times so
// coarsely that a change to come might bear that of the last one.
bool GetBackingStamp(FileHandle handle, FileStamp& stamp);

std::int64_t SizeOf(const FileStamp& stamp); // of the file

// True while size and time of the last change of the content are those of the stamp. A new name or another owner is no
// change. Who writes by a shared mapping changes the time only when the system comes to see it.
bool HasBytesOf(FileHandle handle, const FileStamp& stamp);

// True if this is the file of the stamp, whatever it holds by now.
bool IsFileOf(const FileStamp& stamp, const char* name);
bool IsFileOf(const FileStamp& stamp, FileHandle handle);

// Gives the lock of an open file back before its time, and takes it again if it can be had.
void LetGoOf(FileHandle handle);
void HoldAgain(FileHandle handle, Sharing sharing);

} // namespace vfile_internal::platform
