// Sharing: what an open excludes, for how long, and that a refused open changes nothing.
#include "tests/platform/platform_test.h"

namespace {

bool Free(const std::string& name) {
    const FileHandle h = OpenAs(name);
    if (h == InvalidHandle) return false;
    CloseFile(h);
    return true;
}

TEST(Sharing, ExclusiveExcludesAllAndSharedSharesWithShared) {
    const TempDir dir;
    const std::string name = dir.Write("f", "content");
    const Sharing none = Sharing::None, all = Sharing::All;
    for (const auto& [before, after] : {std::pair(none, none), {none, all}, {all, none}, {all, all}}) {
        const bool opens = before == all && after == all;
        for (const Disposition disposition :
             {Disposition::OpenExisting, Disposition::OpenAlways, Disposition::CreateAlways}) {
            dir.Write("f", "content");
            const FileHandle first = OpenAs(name, Disposition::OpenExisting, Access::Read, before);
            SetLastError(0);
            const FileHandle second = OpenAs(name, disposition, Access::ReadWrite, after);
            EXPECT_EQ(opens, second != InvalidHandle);
            EXPECT_EQ(opens ? 0U : 32U, GetLastError());
            const bool emptied = opens && disposition == Disposition::CreateAlways;
            EXPECT_EQ(emptied ? "" : "content", dir.Read("f"));
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
    dir.Write("f", "new");
    EXPECT_TRUE(Free(dir.File("f")));
    EXPECT_FALSE(Free(dir.File("g")));
    CloseFile(old);
}

// A child that does `act` with what it has inherited, and then lives on until `meanwhile` is over.
void WithChild(const std::function<void()>& act, const std::function<void()>& meanwhile) {
    int ready[2], go[2], status;
    char b = 0;
    ASSERT_EQ(0, pipe(ready) + pipe(go));
    const pid_t child = fork();
    if (child == 0) {
        act();
        _exit(write(ready[1], "r", 1) == 1 && read(go[0], &b, 1) == 1 ? 0 : 1);
    }
    close(ready[1]);
    EXPECT_EQ(1, read(ready[0], &b, 1));
    meanwhile();
    EXPECT_EQ(1, write(go[1], "g", 1));
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    for (const int fd : {ready[0], go[0], go[1]}) close(fd);
}

TEST(Sharing, LockIsTheParentsWhateverAForkedChildDoesWithTheDescriptor) {
    const TempDir dir;
    const std::string name = dir.Write("f", ""), other = dir.File("own");
    FileHandle h = OpenAs(name);
    WithChild([] {},
              [&] {
                  CloseFile(h); // though the child has it still
                  EXPECT_TRUE(Free(name));
              });
    h = OpenAs(name);
    WithChild(
        [&] {
            CloseFile(h);
            const FileHandle own = OpenAs(other, Disposition::CreateNew);
            if (Free(name) || Free(other)) _exit(2);
            const auto grandchild = [&] { return CloseFile(own), std::string(Free(other) ? "lost" : "held"); };
            if (InChild(grandchild) != "held") _exit(3);
            CloseFile(own);
            if (!Free(other)) _exit(4);
        },
        [&] { EXPECT_FALSE(Free(name)); });
    CloseFile(h);
    EXPECT_TRUE(Free(name));
}

} // namespace
