// The platform layer where host files and the swap file alone don't show it: what refuses and why, transfers that go
// on, nobody at the far end, locks and forked children, the swap file's own ways, the numbers of threads.
#include "platform/file.h"
#include "platform/swap_file.h"
#include "platform/thread.h"
#include "support/test.h"

#include <set>

using namespace platform;

namespace {

FileHandle OpenAs(const std::string& name, Disposition disposition = Disposition::OpenExisting,
                  Access access = Access::ReadWrite, Sharing sharing = Sharing::None) {
    return OpenFile(name.c_str(), access, sharing, disposition, Pattern::Sequential);
}

struct stat StateOf(FileHandle handle) {
    struct stat st;
    EXPECT_EQ(0, fstat(DescriptorOf(handle), &st));
    return st;
}

// The last error that `act` leaves; 0 if it sets none.
std::uint32_t ErrorOf(const std::function<void()>& act) {
    SetLastError(0);
    act();
    return GetLastError();
}

TEST(Errors, RefusedOpensTellWhy) {
    const TempDir dir;
    const std::string in = dir.Path() + "/";
    dir.Write("file", "x");
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()));
    ASSERT_EQ(0, symlink("loop", dir.File("loop").c_str()));
    ASSERT_EQ(0, mknod(dir.File("socket").c_str(), S_IFSOCK | 0600, 0));
    const auto existing = Disposition::OpenExisting, fresh = Disposition::CreateNew, any = Disposition::CreateAlways;
    const std::tuple<std::uint32_t, Disposition, std::vector<std::string>> rows[] = {
        {2, existing, {in + "missing", in + "missing//", in + "dangling", "vfile-test-missing"}},
        {3, existing, {in + "no/missing", dir.Path() + "\\no\\missing", in + "file/missing", ""}},
        {5, existing, {dir.Path(), in}},
        {32, existing, {"/proc/self/exe"}}, // being run
        {55, existing, {in + "socket"}},
        {123, existing, {std::string(5000, 'n')}},
        {161, existing, {in + "loop"}},
        {3, fresh, {in + "no/missing"}},
        {80, fresh, {in + "file", in + "dangling", dir.Path()}},
        {123, fresh, {in + std::string(300, 'n')}},
        {3, any, {in + "no/such/missing"}},
        {5, any, {in}}};
    for (const auto& [error, disposition, names] : rows) {
        for (const std::string& name : names)
            EXPECT_EQ(error, ErrorOf([&] { EXPECT_EQ(InvalidHandle, OpenAs(name, disposition)); })) << name;
    }
    EXPECT_EQ(5U, ErrorOf([&] { EXPECT_EQ(InvalidHandle, OpenAs(dir.Path(), existing, Access::Read)); }));
    EXPECT_EQ(87U, ErrorOf([] { OpenSwapFile(nullptr); }));
    EXPECT_EQ(4U, dir.Count());
}

TEST(Errors, HandlesThatCantDoItTellWhy) {
    const TempDir dir;
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const FileHandle in = HandleOf(ends[0]), closed = HandleOf(ends[1]);
    const FileHandle readOnly = OpenAs(dir.Write("r", ""), Disposition::OpenExisting, Access::Read);
    CloseFile(closed);
    const auto truncate = [](FileHandle h) { return ErrorOf([=] { EXPECT_FALSE(SetEndOfFile(h)); }); };
    EXPECT_TRUE(truncate(closed) == 6 && truncate(readOnly) == 5 && truncate(in) == 50);
    EXPECT_EQ(6U, ErrorOf([=] { EXPECT_FALSE(FlushFile(closed) || FileSize(closed) != -1 || CloseFile(closed)); }));
    EXPECT_TRUE(FlushFile(in) && FileSize(in) == 0 && CloseFile(in) && CloseFile(readOnly));
}

TEST(Files, AreMadeByTheUmaskAndDevicesAreShared) {
    const TempDir dir;
    const mode_t mask = umask(027);
    SetLastError(77); // which a success leaves
    const FileHandle h = OpenAs(dir.File("f"), Disposition::CreateNew), null = OpenAs("/dev/null");
    umask(mask);
    EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
    EXPECT_EQ(0640U, StateOf(h).st_mode & 0777U);
    const FileHandle again = OpenAs("/dev/null", Disposition::CreateAlways); // a device is not locked
    EXPECT_TRUE(WriteFile(null, "abc", 3) == 3 && CloseFile(null) && CloseFile(again) && CloseFile(h));
    EXPECT_EQ(77U, GetLastError());
}

TEST(Files, TransfersGoOnAfterSignalsAndOnDescriptorsThatDontWait) {
    struct sigaction action = {};
    action.sa_handler = [](int) {}; // and no SA_RESTART
    sigaction(SIGUSR1, &action, nullptr);
    for (const int flags : {0, O_NONBLOCK}) {
        int ends[2];
        ASSERT_EQ(0, pipe2(ends, flags));
        char buf[8] = "", piece[4096];
        const std::string much(1000000, 'm');
        std::string arrived;
        std::thread farEnd([&, target = pthread_self()] {
            for (int i = 0; i < 12;
                 ++i, usleep(2000)) { // five times for the one that reads, then for the one that writes
                pthread_kill(target, SIGUSR1);
                if (i == 5 && write(ends[1], "abc", 3) != 3) _exit(1);
            }
            while (arrived.size() < much.size()) {
                const ssize_t n = read(ends[0], piece, sizeof piece);
                if (n > 0) arrived.append(piece, static_cast<std::size_t>(n));
            }
        });
        EXPECT_EQ(3, ReadFile(HandleOf(ends[0]), buf, sizeof buf)); // one read: what is there
        EXPECT_EQ(1000000, WriteFile(HandleOf(ends[1]), much.data(), 1000000));
        farEnd.join();
        EXPECT_TRUE(buf == std::string("abc") && arrived == much);
        close(ends[0]);
        close(ends[1]);
    }
    signal(SIGUSR1, SIG_DFL);
}

TEST(ThreadIds, DifferForLiveAndPastThreadsAndInAForkedChild) {
    std::set<std::uint32_t> ids = {0, CurrentThreadId()};
    for (int round = 0; round < 40; ++round) std::thread([&] { ids.insert(CurrentThreadId()); }).join();
    ids.insert(static_cast<std::uint32_t>(std::stoul(InChild([] { return std::to_string(CurrentThreadId()); }))));
    EXPECT_EQ(43U, ids.size());
}

bool Free(const std::string& name) {
    const FileHandle h = OpenAs(name);
    return h != InvalidHandle && CloseFile(h);
}

TEST(Sharing, LockIsTheParentsWhateverAForkedChildDoesWithTheDescriptor) {
    const TempDir dir;
    const std::string name = dir.Write("f", ""), other = dir.File("own");
    FileHandle h = OpenAs(name);
    const pid_t idle = fork();
    if (idle == 0) pause();
    CloseFile(h); // though the child has it still
    EXPECT_TRUE(Free(name));
    kill(idle, SIGKILL);
    waitpid(idle, nullptr, 0);

    h = OpenAs(name);
    const auto state = [](const std::string& of) { return std::string(Free(of) ? "free " : "held "); };
    EXPECT_EQ("held held held free ", InChild([&] {
                  CloseFile(h);
                  const FileHandle own = OpenAs(other, Disposition::CreateNew);
                  std::string told = state(name) + state(other);
                  told += InChild([&] { return CloseFile(own), state(other); });
                  CloseFile(own);
                  return told + state(other);
              }));
    EXPECT_FALSE(Free(name));
    CloseFile(h);
    EXPECT_TRUE(Free(name));
}

TEST(SwapFile, IsPrivateAndHasNoNameAsSoonAsItIsOpen) {
    const TempDir dir;
    const mode_t mask = umask(0);
    for (const char* name : {"fresh", "leftover"}) {
        if (name[0] == 'l') chmod(dir.Write(name, "old bytes").c_str(), 0644);
        const FileHandle h = OpenSwapFile((dir.Path() + "\\" + name).c_str());
        ASSERT_NE(InvalidHandle, h) << name;
        EXPECT_EQ(0U, dir.Count()) << name;
        EXPECT_EQ(0600U, StateOf(h).st_mode & 07777U) << name;
        EXPECT_EQ(0, FileSize(h));
        EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
        CloseFile(h);
    }
    umask(mask);
}

TEST(SwapFile, WhatOthersMayHaveAnInterestInIsLeftAlone) {
    const TempDir dir;
    for (const char* name : {"target", "linked", "held", "foreign"}) dir.Write(name, name);
    ASSERT_EQ(0, link(dir.File("linked").c_str(), dir.File("linked2").c_str()));
    ASSERT_EQ(0, symlink("target", dir.File("symlink").c_str()));
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    ASSERT_EQ(0, mkdir(dir.File("directory").c_str(), 0700));
    const FileHandle holder = OpenAs(dir.File("held"));
    const std::size_t before = dir.Count();
    for (const auto& [name, error] : {std::pair("linked", 5U),
                                      {"symlink", 161U},
                                      {"dangling", 161U},
                                      {"fifo", 5U},
                                      {"directory", 5U},
                                      {"missing/swap.tmp", 3U},
                                      {"held", 32U},
                                      {"foreign", 5U}}) {
        if (error == 5 && name[1] == 'o' && chown(dir.File(name).c_str(), 65534, 65534) != 0) continue; // not root
        SetLastError(0);
        EXPECT_EQ(InvalidHandle, OpenSwapFile(dir.File(name).c_str())) << name;
        EXPECT_EQ(error, GetLastError()) << name;
    }
    EXPECT_EQ(before, dir.Count());
    for (const char* name : {"target", "linked", "held", "foreign"}) EXPECT_EQ(name, dir.Read(name));
    CloseFile(holder);
}

} // namespace
