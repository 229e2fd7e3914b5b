// What the system tells of threads and processes. Internal to the platform layer.
#pragma once

#include <sys/types.h>

namespace vfile_internal::platform {

// When a thread of this process started, in ticks of the system's since it was started itself; 0 if that can't be told.
unsigned long long StartOfThread(pid_t thread);

// True unless the process is certain to have ended from which this one was forked, or from which that one was, and so
// on. Where it has ended and its number is another process's by now, that does not count: it is younger.
bool AncestorLives(pid_t process);

} // namespace vfile_internal::platform
