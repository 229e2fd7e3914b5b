// What the loader's part of the layer asks of the threads' part. Internal to the platform layer.
#pragma once

namespace platform {

// Gives the only thread of a forked child a number of its own and finds the lock free.
void RenewThreadInForkedChild();

} // namespace platform
