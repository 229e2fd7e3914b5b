// The platform layer where host files and the swap file alone don't show it: what refuses and why, standard
// descriptors, limits, locks and forked children, the swap file's own ways, the numbers of threads.
#include "platform/dirs.h"
#include "platform/file.h"
#include "platform/fsops.h"
#include "platform/swap_file.h"
#include "platform/thread.h"
#include "support/test.h"

#include <atomic>
#include <set>
#include <spawn.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>

using namespace vfile_internal::platform;

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

TEST(Errors, RefusedOpensTellWhy) {
    const TempDir dir;
    dir.Write("file", "x");
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()) + symlink("loop", dir.File("loop").c_str()));
    ASSERT_EQ(0, mknod(dir.File("socket").c_str(), S_IFSOCK | 0600, 0));
    std::filesystem::copy_file("/bin/sleep", dir.File("sleep")); // a program of the user's own, whoever that is
    pid_t running;
    const std::string program = dir.File("sleep"), seconds = "100";
    char* const args[] = {const_cast<char*>(program.c_str()), const_cast<char*>(seconds.c_str()), nullptr};
    ASSERT_EQ(0, posix_spawn(&running, args[0], nullptr, nullptr, args, environ));
    // The error and the names; '@' is the directory, '0' one that is too long for it.
    const std::pair<Disposition, const char*> rows[] = {
        {Disposition::OpenExisting, "2 @/missing @/missing// @/dangling vfile-test-missing 3 @/no/missing "
                                    "@\\no\\missing @/file/missing = 5 @ @/ 32 @/sleep 55 @/socket 123 0 161 @/loop"},
        {Disposition::CreateNew, "3 @/no/missing 80 @/file @/dangling @ 123 @/0"},
        {Disposition::CreateAlways, "3 @/no/such/missing 5 @/"}};
    for (const auto& [disposition, words] : rows) {
        std::istringstream names(words);
        std::uint32_t error = 0;
        for (std::string name; names >> name;) {
            if (name != "0" && name.find_first_not_of("0123456789") == std::string::npos) {
                error = static_cast<std::uint32_t>(std::stoul(name));
                continue;
            }
            if (name.back() == '0')
                name = name.substr(0, name.size() - 1) + std::string(name[0] == '@' ? 300 : 5000, 'n');
            if (name[0] == '@') name = dir.Path() + name.substr(1);
            if (name == "=") name = "";
            SetLastError(0);
            EXPECT_TRUE(OpenAs(name, disposition) == InvalidHandle && GetLastError() == error) << name;
        }
    }
    EXPECT_TRUE(OpenAs(dir.Path(), Disposition::OpenExisting, Access::Read) == InvalidHandle && GetLastError() == 5);
    EXPECT_TRUE(OpenSwapFile(nullptr) == InvalidHandle && GetLastError() == 87);
    EXPECT_EQ(5U, dir.Count());
    EXPECT_TRUE(kill(running, SIGKILL) == 0 && waitpid(running, nullptr, 0) == running);
}

TEST(Files, AreNeverOneOfTheStandardThree) {
    const TempDir dir;
    const std::string old = dir.Write("old", "");
    EXPECT_EQ("-1 -1 -1 open", InChild([&] {
                  for (int fd = 0; fd < 3; ++fd) close(fd);
                  const bool open = OpenAs(dir.File("new"), Disposition::CreateNew) != InvalidHandle &&
                                    OpenAs(old) != InvalidHandle && OpenSearch("/") != NoSearch &&
                                    OpenSwapFile(dir.File("swap").c_str()) != InvalidHandle;
                  std::string told;
                  for (int fd = 0; fd < 3; ++fd) told += std::to_string(fcntl(fd, F_GETFD)) + " ";
                  return told + (open ? "open" : "refused");
              }));
    // Nor does anything stay there, in the children of forks either, when several threads open files at once.
    EXPECT_EQ("0 0", InChild([&] {
                  for (int fd = 0; fd < 3; ++fd) close(fd);
                  const auto taken = [] { return 3 + fcntl(0, F_GETFD) + fcntl(1, F_GETFD) + fcntl(2, F_GETFD); };
                  std::atomic<bool> stop{false};
                  const auto work = [&](const char* name) {
                      while (!stop) CloseFile(OpenAs(dir.File(name), Disposition::CreateAlways));
                  };
                  std::thread one(work, "one"), two(work, "two");
                  int inChildren = 0;
                  for (int i = 0, status = 0; i < 300; ++i) {
                      const pid_t child = fork();
                      if (child == 0) _exit(taken());
                      if (waitpid(child, &status, 0) == child) inChildren += status;
                  }
                  stop = true, one.join(), two.join();
                  return std::to_string(inChildren) + " " + std::to_string(taken());
              }));
}

// By each way that writes, with the signal free, and with one waiting that the host has blocked.
TEST(Files, SizeLimitIsAFullDiskAndNoSignal) {
    static int signals;
    const TempDir dir;
    char bytes[3000] = "";
    const std::string from = dir.Write("from", std::string(3000, 'x')), to = dir.File("to");
    unsigned char* const pieces[] = {reinterpret_cast<unsigned char*>(bytes)};
    bool failed;
    const std::function<void(FileHandle)> acts[] = {
        [&](FileHandle h) { EXPECT_EQ(2048, WriteFile(h, bytes, 3000, failed)); },
        [&](FileHandle h) { EXPECT_EQ(2048, WriteFile(HandleOf(DescriptorOf(h)), bytes, 3000, failed)); },
        [&](FileHandle h) { EXPECT_EQ(-1, WriteAt(h, bytes, 1, 2048, &failed)); },
        [&](FileHandle h) { EXPECT_EQ(-1, WritePiecesAt(h, pieces, 1, 1, 2048)); },
        [&](FileHandle h) { EXPECT_FALSE(lseek(DescriptorOf(h), 4096, SEEK_SET) != 4096 || SetEndOfFile(h)); },
        [&](FileHandle) { EXPECT_FALSE(CopyFile(from.c_str(), to.c_str(), true)); }};
    for (const auto& act : acts) {
        for (const bool blocked : {false, true}) {
            EXPECT_EQ(blocked ? "112 0 1 passed" : "112 0 0 passed", InChild([&] {
                          const FileHandle h = OpenAs(dir.File("f"), Disposition::CreateAlways);
                          const rlimit limit{2048, RLIM_INFINITY};
                          setrlimit(RLIMIT_FSIZE, &limit);
                          signal(SIGXFSZ, [](int) { ++signals; });
                          sigset_t set;
                          sigemptyset(&set);
                          sigaddset(&set, SIGXFSZ);
                          if (blocked) pthread_sigmask(SIG_BLOCK, &set, nullptr), raise(SIGXFSZ);
                          act(h);
                          std::string told = std::to_string(GetLastError()) + " " + std::to_string(signals) + " ";
                          pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
                          return told + std::to_string(signals) + (testing::Test::HasFailure() ? " failed" : " passed");
                      }))
                << &act - acts;
        }
    }
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
    EXPECT_EQ("held free ", InChild([&] { // the opener ends: now its heirs close
                  h = OpenAs(name);
                  const pid_t opener = getpid(), sibling = fork();
                  if (sibling == 0) pause();
                  if (fork() != 0) _exit(0);
                  while (getppid() == opener) usleep(1000);
                  const std::string before = state(name);
                  CloseFile(h);
                  const std::string after = state(name);
                  kill(sibling, SIGKILL);
                  return before + after;
              }));
}

TEST(SwapFile, IsPrivateAndHasNoNameAsSoonAsItIsOpen) {
    const TempDir dir;
    const mode_t mask = umask(0277);
    const FileHandle readers = OpenAs(dir.Write("leftover", "old bytes"), Disposition::OpenExisting, Access::Read);
    const ino_t old = StateOf(readers).st_ino;
    flock(DescriptorOf(readers), LOCK_UN);
    for (const char* name : {"fresh", "leftover", ""}) {
        const FileHandle h =
            *name ? OpenSwapFile((dir.Path() + "\\" + name).c_str()) : OpenNamelessFile(dir.Path().c_str());
        ASSERT_NE(InvalidHandle, h) << name;
        EXPECT_EQ(name[0] == 'f' ? 1U : 0U, dir.Count()) << name;
        const struct stat st = StateOf(h);
        EXPECT_TRUE((st.st_mode & 07777) == 0600 && st.st_nlink == 0 && st.st_size == 0 && st.st_ino != old) << name;
        EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
        CloseFile(h);
    }
    CloseFile(readers); // which can't see what the swap file held
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
    for (const char* name :
         {"linked", "symlink", "dangling", "fifo", "directory", "held", "foreign", "missing/swap.tmp"}) {
        if (name[1] == 'o' && chown(dir.File(name).c_str(), geteuid() + 1, getegid()) != 0) continue; // not root
        SetLastError(0);
        EXPECT_EQ(InvalidHandle, OpenSwapFile(dir.File(name).c_str())) << name;
        EXPECT_EQ(name[0] == 'm' ? 3U : 80U, GetLastError()) << name; // whether another name may serve
    }
    EXPECT_EQ(before, dir.Count());
    for (const char* name : {"target", "linked", "held", "foreign"}) EXPECT_EQ(name, dir.Read(name));
    CloseFile(holder);
}

} // namespace
