// Writing without a signal, on Linux.
#include "platform/signal_guard_linux.h"

#include "platform/descriptor_linux.h"

#include <cerrno>
#include <climits>
#include <ctime>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vfile_internal::platform {

SignalGuard::SignalGuard(bool needed) : armed(false), raised(true) {
    if (!needed) return;
    sigemptyset(&own);
    sigaddset(&own, SIGPIPE);
    sigaddset(&own, SIGXFSZ);
    armed = pthread_sigmask(SIG_BLOCK, &own, &oldMask) == 0;
    if (sigismember(&oldMask, SIGPIPE) == 0 && sigismember(&oldMask, SIGXFSZ) == 0) return;

    sigset_t waiting; // of the host's, which one more of the same changes nothing about
    sigemptyset(&waiting);
    sigpending(&waiting);
    if (sigismember(&waiting, SIGPIPE) == 1) sigdelset(&own, SIGPIPE);
    if (sigismember(&waiting, SIGXFSZ) == 1) sigdelset(&own, SIGXFSZ);
}

SignalGuard::~SignalGuard() {
    if (!armed) return;
    const ErrnoKept kept;
    const timespec noWait{0, 0};
    while (raised && (sigtimedwait(&own, nullptr, &noWait) > 0 || errno == EINTR)) {
    }
    pthread_sigmask(SIG_SETMASK, &oldMask, nullptr);
}

bool SizeIsLimited() {
    rlimit limit;
#if defined(SYS_getrlimit) && ULONG_MAX > 0xFFFFFFFF
    const bool told = syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) == 0; // at half the cost of the library's way
#else
    const bool told = getrlimit(RLIMIT_FSIZE, &limit) == 0;
#endif
    return !told || limit.rlim_cur != RLIM_INFINITY;
}

SignalsHeld::SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
}

SignalsHeld::~SignalsHeld() {
    const ErrnoKept kept;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace vfile_internal::platform
