// Writing without a signal. Internal to the platform layer.
#pragma once

#include <csignal>

namespace vfile_internal::platform {

// Keeps from the host the signals that a write raises: SIGPIPE where nobody reads any more, SIGXFSZ where a file would
// grow past the process's limit. While it lives the calling thread's mask blocks them; at its end those that were
// raised in between are taken away, and handlers, mask and what was already waiting for the host are as before.
class SignalGuard {
  public:
    explicit SignalGuard(bool needed = true); // one that is not needed does nothing
    ~SignalGuard();
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

    // After writes that were all done whole: there is nothing to take away. Saves a call of the system.
    void NothingRaised() { raised = false; }

  private:
    sigset_t oldMask;
    sigset_t own; // those that can't be the host's
    bool armed;
    bool raised;
};

// Holds every signal of the calling thread back while it lives.
class SignalsHeld {
  public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before;
};

// True if the process has a limit for the size of files; without one no write to an ordinary file raises a signal. The
// answer is of this moment, as the host may set one at any time. Costs one of the cheapest calls of the system.
bool SizeIsLimited();

} // namespace vfile_internal::platform
