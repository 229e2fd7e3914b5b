// Open files: opening, transfers that go on, names.
#include "tests/platform/platform_test.h"

#include <atomic>
#include <csignal>
#include <pthread.h>
#include <sys/resource.h>
#include <thread>

namespace {

TEST(Files, OpeningMakesKeepsAndEmptiesAsAsked) {
    const TempDir dir;
    const struct {
        Disposition disposition;
        bool exists;
        std::string content;
    } rows[] = {{Disposition::OpenExisting, true, "old"}, {Disposition::OpenAlways, true, "old"},
                {Disposition::OpenAlways, false, ""},     {Disposition::CreateAlways, true, ""},
                {Disposition::CreateAlways, false, ""},   {Disposition::CreateNew, false, ""}};
    const mode_t mask = umask(027);
    for (const auto& row : rows) {
        unlink(dir.File("f").c_str());
        if (row.exists) dir.Write("f", "old");
        SetLastError(77);
        const FileHandle h = OpenAs(dir.File("f"), row.disposition);
        ASSERT_NE(InvalidHandle, h);
        EXPECT_EQ(77U, GetLastError()); // a success leaves it
        EXPECT_EQ(row.content, dir.Read("f"));
        EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
        struct stat st;
        fstat(DescriptorOf(h), &st);
        EXPECT_EQ(0640U, st.st_mode & 0777U);
        EXPECT_TRUE(CloseFile(h));
    }
    umask(mask);
}

TEST(Files, DevicesAndPipesAreTakenAsTheyAre) {
    const TempDir dir;
    const FileHandle null = OpenAs("/dev/null", Disposition::CreateAlways);
    const FileHandle again = OpenAs("/dev/null", Disposition::CreateAlways);
    EXPECT_NE(InvalidHandle, again);
    EXPECT_EQ(3, WriteFile(null, "abc", 3));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    const FileHandle fifo = OpenAs(dir.File("fifo"), Disposition::CreateAlways);
    EXPECT_EQ(3, WriteFile(fifo, "abc", 3));
    char buf[8];
    EXPECT_EQ(3, ReadFile(fifo, buf, sizeof buf)); // one read: what is there
    for (const FileHandle h : {null, again, fifo}) EXPECT_TRUE(CloseFile(h));
}

TEST(Files, BothSeparatorsReachTheSameFile) {
    const TempDir dir;
    mkdir(dir.File("sub").c_str(), 0700);
    const FileHandle h = OpenAs(dir.Path() + "\\sub/a\\..\\f", Disposition::CreateNew);
    EXPECT_EQ(InvalidHandle, h); // there is no sub/a
    const FileHandle made = OpenAs(dir.Path() + "\\sub\\f", Disposition::CreateNew);
    EXPECT_EQ(0, access(dir.File("sub/f").c_str(), F_OK));
    CloseFile(made);
}

TEST(Files, PositionSizeAndEnd) {
    const TempDir dir;
    const FileHandle h = OpenAs(dir.Write("f", "0123456789"));
    EXPECT_EQ(10, FileSize(h));
    EXPECT_EQ(7, SeekFile(h, -3, Origin::End));
    EXPECT_EQ(5, SeekFile(h, -2, Origin::Current));
    EXPECT_TRUE(SetEndOfFile(h));
    EXPECT_EQ(5, FileSize(h));
    EXPECT_EQ(6000000000, SeekFile(h, 6000000000, Origin::Begin));
    char b;
    EXPECT_EQ(0, ReadFile(h, &b, 1));
    EXPECT_TRUE(FlushFile(h));
    CloseFile(h);
}

std::atomic<int> interruptions{0};

// Lets a blocked transfer of the calling thread be interrupted again and again while `other` works the far end.
class Interrupter {
  public:
    explicit Interrupter(const std::function<void()>& other) {
        struct sigaction action {};
        action.sa_handler = [](int) { ++interruptions; }; // and no SA_RESTART
        sigaction(SIGUSR1, &action, &before);
        const pthread_t target = pthread_self();
        interruptions = 0;
        helper = std::thread([this, target, other] {
            while (interruptions < 5) Strike(target);
            other();
            while (!done) Strike(target);
        });
    }
    ~Interrupter() {
        done = true;
        helper.join();
        sigaction(SIGUSR1, &before, nullptr);
    }

  private:
    void Strike(pthread_t target) {
        usleep(2000);
        if (!done) pthread_kill(target, SIGUSR1);
    }
    std::atomic<bool> done{false};
    std::thread helper;
    struct sigaction before;
};

TEST(Files, TransfersGoOnAfterSignalsAndOnDescriptorsThatDontWait) {
    for (const int flags : {0, O_NONBLOCK}) {
        int ends[2];
        ASSERT_EQ(0, pipe2(ends, flags));
        char buf[8] = "";
        {
            const Interrupter interrupter([&] { EXPECT_EQ(3, write(ends[1], "abc", 3)); });
            EXPECT_EQ(3, ReadFile(HandleOf(ends[0]), buf, sizeof buf));
        }
        EXPECT_STREQ("abc", buf);

        const std::string much(1000000, 'm');
        std::string arrived;
        {
            const Interrupter interrupter([&] {
                char piece[4096];
                while (arrived.size() < much.size()) {
                    const ssize_t n = read(ends[0], piece, sizeof piece);
                    if (n == 0) break;
                    if (n > 0) arrived.append(piece, static_cast<std::size_t>(n));
                }
            });
            EXPECT_EQ(static_cast<int>(much.size()),
                      WriteFile(HandleOf(ends[1]), much.data(), static_cast<std::uint32_t>(much.size())));
            close(ends[1]);
        }
        EXPECT_TRUE(arrived == much);
        close(ends[0]);
    }
}

TEST(Files, WriteThatRunsOutOfRoomTellsWhatWentOut) {
    const TempDir dir;
    EXPECT_EQ("1000 then -1 for 112, 1000 bytes", InChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{1000, 1000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  const FileHandle h = OpenAs(dir.File("f"), Disposition::CreateNew);
                  const std::string bytes(1500, 'b');
                  const auto first = WriteFile(h, bytes.data(), 1500);
                  const auto second = WriteFile(h, bytes.data(), 1);
                  return std::to_string(first) + " then " + std::to_string(second) + " for " +
                         std::to_string(GetLastError()) + ", " + std::to_string(FileSize(h)) + " bytes";
              }));
}

} // namespace
