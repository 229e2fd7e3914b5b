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
    const struct {
        Sharing first, second;
        bool opens;
    } rows[] = {{Sharing::None, Sharing::None, false},
                {Sharing::None, Sharing::All, false},
                {Sharing::All, Sharing::None, false},
                {Sharing::All, Sharing::All, true}};
    for (const auto& row : rows) {
        for (const Disposition disposition :
             {Disposition::OpenExisting, Disposition::OpenAlways, Disposition::CreateAlways}) {
            dir.Write("f", "content");
            const FileHandle first = OpenAs(name, Disposition::OpenExisting, Access::Read, row.first);
            SetLastError(0);
            const FileHandle second = OpenAs(name, disposition, Access::ReadWrite, row.second);
            EXPECT_EQ(row.opens, second != InvalidHandle);
            EXPECT_EQ(row.opens ? 0U : 32U, GetLastError());
            const bool emptied = row.opens && disposition == Disposition::CreateAlways;
            EXPECT_EQ(emptied ? "" : "content", dir.Read("f"));
            if (row.opens) CloseFile(second);
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

// Runs a child that does `act` with what it has inherited and lives on until `meanwhile` is over.
void WithChild(const std::function<void()>& act, const std::function<void()>& meanwhile) {
    int go[2], ready[2];
    ASSERT_EQ(0, pipe(go) + pipe(ready));
    const pid_t child = fork();
    char b = 0;
    if (child == 0) {
        close(go[1]);
        act();
        if (write(ready[1], "r", 1) != 1) _exit(1);
        _exit(read(go[0], &b, 1) == 0 ? 0 : 1);
    }
    close(ready[1]);
    EXPECT_EQ(1, read(ready[0], &b, 1));
    meanwhile();
    close(go[1]);
    int status;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    close(go[0]);
    close(ready[0]);
}

TEST(Sharing, CloseGivesTheLockBackThoughAForkedChildStillHasTheDescriptor) {
    const TempDir dir;
    const FileHandle h = OpenAs(dir.Write("f", ""));
    WithChild([] {},
              [&] {
                  CloseFile(h);
                  EXPECT_TRUE(Free(dir.File("f")));
              });
}

TEST(Sharing, ForkedChildThatClosesWhatItInheritedTakesNoLockAway) {
    const TempDir dir;
    const FileHandle h = OpenAs(dir.Write("f", ""));
    WithChild(
        [&] {
            CloseFile(h);
            const FileHandle own = OpenAs(dir.File("own"), Disposition::CreateNew);
            if (Free(dir.File("f")) || Free(dir.File("own"))) _exit(2);
            if (InChild([&] { // a child of the child: neither lock is its own
                    CloseFile(own);
                    return std::string(Free(dir.File("own")) ? "lost" : "held");
                }) != "held")
                _exit(3);
            CloseFile(own);
            if (!Free(dir.File("own"))) _exit(4);
        },
        [&] { EXPECT_FALSE(Free(dir.File("f"))); });
    CloseFile(h);
    EXPECT_TRUE(Free(dir.File("f")));
}

} // namespace
