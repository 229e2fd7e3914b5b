// Writing where nobody reads any more: a failure, and no signal to the host.
#include "tests/platform/platform_test.h"

#include <csignal>
#include <pthread.h>
#include <sys/socket.h>

namespace {

volatile std::sig_atomic_t signals = 0;

// Writes where nobody reads.
void WriteInVain(bool toSocket = false) {
    int ends[2]; // written at [1]
    ASSERT_EQ(0, toSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends));
    close(ends[0]);
    EXPECT_EQ(109U, ErrorOf([&] { EXPECT_EQ(-1, WriteFile(HandleOf(ends[1]), "x", 1)); }));
    close(ends[1]);
}

TEST(Sigpipe, HostsHandlerAndMaskSeeNothing) {
    for (const auto handler : {SIG_DFL, SIG_IGN, sighandler_t([](int) { signals = signals + 1; })}) {
        const sighandler_t before = signal(SIGPIPE, handler);
        WriteInVain();
        WriteInVain(true);
        EXPECT_EQ(handler, signal(SIGPIPE, before));
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        EXPECT_EQ(0, sigismember(&mask, SIGPIPE));
    }
    EXPECT_EQ(0, signals);
}

TEST(Sigpipe, OneThatWaitsForTheHostStillDoes) {
    sigset_t pipeOnly, before;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeOnly, &before);
    const timespec noWait{0, 0};
    for (const bool waiting : {true, false}) {
        if (waiting) pthread_kill(pthread_self(), SIGPIPE);
        WriteInVain();
        EXPECT_EQ(waiting ? SIGPIPE : -1, sigtimedwait(&pipeOnly, nullptr, &noWait));
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace
