// What the loader's part of the layer asks of the threads' part. Internal to the platform layer.
#pragma once

namespace vfile_internal::platform {

// Gives the only thread of a forked child a number of its own and finds the lock free.
void RenewThreadInForkedChild();

// No thread gets an end notice from now on. Threads keep their values. False if there were none to stop.
bool StopEndNotices();

} // namespace vfile_internal::platform
