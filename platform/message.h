// The last words of a process. Internal.
#pragma once

namespace vfile_internal::platform {

// Shows a caption and a text to the user on standard error, and returns when they have been handed over: by one write
// if they have up to 4 KB, else in pieces. Messages of several threads come one after the other. Waits some seconds at
// most, for other threads and for a reader; what has not gone out then is lost.
void ShowMessage(const char* caption, const char* text);

} // namespace vfile_internal::platform
