// Open files: opening, transfers that go on, nobody at the far end. And the numbers of threads.
#include "platform/thread.h"
#include "tests/platform/platform_test.h"

#include <atomic>
#include <csignal>
#include <pthread.h>
#include <set>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

namespace {

TEST(Files, OpeningMakesKeepsAndEmptiesAsAsked) {
    const TempDir dir;
    const mode_t mask = umask(027);
    SetLastError(77); // which a success leaves
    for (const auto& [disposition, kept] : {std::pair(Disposition::CreateNew, ""),
                                            {Disposition::OpenExisting, "old"},
                                            {Disposition::OpenAlways, "old"},
                                            {Disposition::CreateAlways, ""}}) {
        const FileHandle h = OpenAs(dir.File("f"), disposition);
        EXPECT_EQ(kept, dir.Read("f"));
        EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
        EXPECT_EQ(0640U, StateOf(h).st_mode & 0777U);
        EXPECT_TRUE(CloseFile(h) && GetLastError() == 77);
        dir.Write("f", "old");
    }
    umask(mask);
    const FileHandle null = OpenAs("/dev/null", Disposition::CreateAlways);
    const FileHandle again = OpenAs("/dev/null", Disposition::CreateAlways); // a device is not locked
    EXPECT_TRUE(WriteFile(null, "abc", 3) == 3 && CloseFile(null) && CloseFile(again));
}

// What `act` returns while its blocked transfer is interrupted again and again; from the fifth time on `other` works
// the far end.
std::int32_t Interrupted(const std::function<std::int32_t()>& act, const std::function<void()>& other) {
    static std::atomic<int> interruptions;
    interruptions = 0;
    struct sigaction action {
    }, before;
    action.sa_handler = [](int) { ++interruptions; }; // and no SA_RESTART
    sigaction(SIGUSR1, &action, &before);
    std::atomic<bool> done{false};
    std::thread helper([&, target = pthread_self()] {
        for (bool worked = false; !done; usleep(2000)) {
            pthread_kill(target, SIGUSR1);
            if (interruptions >= 5 && !worked) other(), worked = true;
        }
    });
    const std::int32_t result = act();
    done = true;
    helper.join();
    sigaction(SIGUSR1, &before, nullptr);
    return result;
}

TEST(Files, TransfersGoOnAfterSignalsAndOnDescriptorsThatDontWait) {
    for (const int flags : {0, O_NONBLOCK}) {
        int ends[2];
        ASSERT_EQ(0, pipe2(ends, flags));
        char buf[8] = "";
        EXPECT_EQ(3,
                  Interrupted([&] { return ReadFile(HandleOf(ends[0]), buf, sizeof buf); }, // one read: what is there
                              [&] { EXPECT_EQ(3, write(ends[1], "abc", 3)); }));
        EXPECT_STREQ("abc", buf);
        const std::string much(1000000, 'm');
        std::string arrived;
        const auto drain = [&] {
            for (char piece[4096]; arrived.size() < much.size();) {
                const ssize_t n = read(ends[0], piece, sizeof piece);
                if (n > 0) arrived.append(piece, static_cast<std::size_t>(n));
            }
        };
        EXPECT_EQ(1000000, Interrupted([&] { return WriteFile(HandleOf(ends[1]), much.data(), 1000000); }, drain));
        EXPECT_TRUE(arrived == much);
        close(ends[0]);
        close(ends[1]);
    }
}

TEST(Files, WriteThatRunsOutOfRoomTellsWhatWentOut) {
    const TempDir dir;
    EXPECT_EQ("1000 -1 112 1000", InChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{1000, 1000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  const FileHandle h = OpenAs(dir.File("f"), Disposition::CreateNew);
                  std::string told = std::to_string(WriteFile(h, std::string(1500, 'b').data(), 1500));
                  told += " " + std::to_string(WriteFile(h, "b", 1)) + " " + std::to_string(GetLastError());
                  return told + " " + std::to_string(FileSize(h));
              }));
}

volatile std::sig_atomic_t signals = 0;

TEST(Files, WriteWhereNobodyReadsFailsWithoutASignal) {
    const auto writeInVain = [](bool toSocket) {
        int ends[2];
        ASSERT_EQ(0, toSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends));
        close(ends[0]);
        EXPECT_EQ(109U, ErrorOf([&] { EXPECT_EQ(-1, WriteFile(HandleOf(ends[1]), "x", 1)); }));
        close(ends[1]);
    };
    sigset_t pipeOnly, mask;
    for (const auto handler : {SIG_DFL, SIG_IGN, sighandler_t([](int) { signals = signals + 1; })}) {
        const sighandler_t before = signal(SIGPIPE, handler);
        for (const bool toSocket : {false, true}) writeInVain(toSocket);
        EXPECT_EQ(handler, signal(SIGPIPE, before));
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        EXPECT_EQ(0, sigismember(&mask, SIGPIPE));
    }
    EXPECT_EQ(0, signals);
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeOnly, &mask);
    const timespec noWait{0, 0};
    for (const bool waiting : {true, false}) { // one that waits for the host still does
        if (waiting) pthread_kill(pthread_self(), SIGPIPE);
        writeInVain(false);
        EXPECT_EQ(waiting ? SIGPIPE : -1, sigtimedwait(&pipeOnly, nullptr, &noWait));
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

TEST(ThreadIds, DifferForLiveAndPastThreadsAndInAForkedChild) {
    std::set<std::uint32_t> ids = {0, CurrentThreadId()};
    for (int round = 0; round < 20; ++round) {
        std::uint32_t a = 0, b = 0;
        std::thread([&] { std::thread([&] { b = CurrentThreadId(); }).join(), a = CurrentThreadId(); }).join();
        ids.insert({a, b});
    }
    ids.insert(static_cast<std::uint32_t>(std::stoul(InChild([] { return std::to_string(CurrentThreadId()); }))));
    EXPECT_EQ(43U, ids.size());
}

} // namespace
