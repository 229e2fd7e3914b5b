// Sharing: what an open excludes, for how long, and that a refused open changes nothing.
#include "tests/platform/platform_test.h"

#include <csignal>

namespace {

bool Free(const std::string& name) {
    const FileHandle h = OpenAs(name);
    return h != InvalidHandle && CloseFile(h);
}

TEST(Sharing, ExclusiveExcludesAllAndSharedSharesWithShared) {
    const TempDir dir;
    const std::string name = dir.File("f");
    const Sharing none = Sharing::None, all = Sharing::All;
    for (const auto& [before, after] : {std::pair(none, none), {none, all}, {all, none}, {all, all}}) {
        const bool opens = before == all && after == all;
        for (const auto disposition : {Disposition::OpenExisting, Disposition::OpenAlways, Disposition::CreateAlways}) {
            dir.Write("f", "content");
            const FileHandle first = OpenAs(name, Disposition::OpenExisting, Access::Read, before);
            SetLastError(0);
            const FileHandle second = OpenAs(name, disposition, Access::ReadWrite, after);
            EXPECT_EQ(opens, second != InvalidHandle);
            EXPECT_EQ(opens ? 0U : 32U, GetLastError());
            EXPECT_EQ(opens && disposition == Disposition::CreateAlways ? "" : "content", dir.Read("f"));
            if (opens) CloseFile(second);
            CloseFile(first);
            EXPECT_TRUE(Free(name));
        }
    }
}

TEST(Sharing, LockFollowsTheFileAndNotItsName) {
    const TempDir dir;
    const FileHandle old = OpenAs(dir.Write("f", "old"));
    rename(dir.File("f").c_str(), dir.File("g").c_str());
    EXPECT_TRUE(Free(dir.Write("f", "new")));
    EXPECT_FALSE(Free(dir.File("g")));
    CloseFile(old);
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

} // namespace
