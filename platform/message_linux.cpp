// Standard error takes the place of a message box.
#include "platform/message.h"

#include "platform/signal_guard_linux.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

constexpr int LongestWait = 5000; // milliseconds, for a turn and for a reader

class Deadline {
  public:
    Deadline() : end(Now() + LongestWait) {}
    int Left() const {
        const std::int64_t left = end - Now();
        return left > 0 ? static_cast<int>(left) : 0;
    }

  private:
    static std::int64_t Now() {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
    }
    std::int64_t end;
};

void Pause() {
    poll(nullptr, 0, 1);
}

// The process in which a thread has its turn. In a forked child the parent's turn counts for nothing.
std::atomic<pid_t> speaking{0};

// Waits for other threads to come to the end of theirs.
void TakeTurn() {
    const Deadline deadline;
    const pid_t own = getpid();
    pid_t holder = speaking;
    while ((holder == own || !speaking.compare_exchange_strong(holder, own)) && deadline.Left() > 0) {
        Pause();
        holder = speaking;
    }
}

// False if it is not to be had all away. What fits a pipe as one piece goes by one write.
bool Put(const char* text, std::size_t left) {
    const Deadline deadline;
    while (left > 0) {
        const int wait = deadline.Left();
        if (wait == 0) return false;
        pollfd p{STDERR_FILENO, POLLOUT, 0}; // before a descriptor that waits, too: nobody may ever read
        const int ready = poll(&p, 1, wait);
        if (ready == 0 || (ready < 0 && errno == EINTR)) continue; // refused (no files allowed): the write will tell
        const ssize_t moved = write(STDERR_FILENO, text, left < PIPE_BUF ? left : PIPE_BUF);
        if (moved > 0) {
            text += moved;
            left -= static_cast<std::size_t>(moved);
        } else if (errno == EAGAIN) {
            Pause(); // there is some room, but not enough
        } else if (errno != EINTR) {
            return false; // nobody is listening
        }
    }
    return true;
}

} // namespace

void ShowMessage(const char* caption, const char* text) {
    const SignalGuard guard;
    TakeTurn();
    char whole[PIPE_BUF];
    const int n = std::snprintf(whole, sizeof whole, "%s\n%s\n", caption, text);
    if (n >= 0 && n < static_cast<int>(sizeof whole)) {
        Put(whole, static_cast<std::size_t>(n));
    } else if (Put(caption, std::strlen(caption)) && Put("\n", 1) && Put(text, std::strlen(text))) {
        Put("\n", 1);
    }
    speaking = 0;
}

} // namespace vfile_internal::platform
