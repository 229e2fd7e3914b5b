// Writing to a pipe or socket without a signal. Internal to the platform layer.
#pragma once

#include <csignal>

namespace platform {

// Keeps SIGPIPE from the host while it lives: the calling thread's mask blocks it, and one that a write has raised in
// between is taken away again. The host's handler and mask are as before afterwards, and a signal that was already
// waiting for the host still is.
class SigpipeGuard {
  public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

  private:
    sigset_t oldMask;
    bool armed;
};

} // namespace platform
