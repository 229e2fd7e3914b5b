// HFile: copies and renames on file systems that can't do everything, or have no room.
#include "hostfile/hostfile_support.h"
#include "support/faults.h"

#include <csignal>
#include <sys/resource.h>

namespace {

const std::string content(70000, 'n');

TEST(FileSystemWays, CopyKeepsContentHolesPermissionsAndTimeInEveryWay) {
    const TempDir dir;
    const std::string from = dir.File("from"), to = dir.File("to"), data(100000, 'd');
    const off_t size = off_t{4} << 30; // ends in a hole
    const int fd = open(from.c_str(), O_RDWR | O_CREAT, 0600);
    for (const off_t at : {off_t{1} << 20, off_t{3} << 30}) ASSERT_EQ(100000, pwrite(fd, data.data(), data.size(), at));
    ASSERT_EQ(0, ftruncate(fd, size));
    const timespec times[2] = {{1000, 5}, {2000, 7}};
    futimens(fd, times);
    fchmod(fd, 0451);
    close(fd);
    const auto copy = [&](bool replace, int refusedOpen, bool bySystem) {
        if (replace) dir.Write("to", "old");
        Faults::plainCopies = !bySystem;
        Faults::FailNth(Faults::Open, refusedOpen, EOPNOTSUPP); // the one that makes a file without a name, if not 0
        EXPECT_EQ(resDone, CopyRes(from, to, replace));
        EXPECT_EQ(refusedOpen > 0, Faults::Fired());
        Faults::Disarm();
        Faults::plainCopies = false;
    };
    for (const bool bySystem : {true, false}) {
        for (const auto& [replace, refusedOpen] : {std::pair{false, 0}, {true, 0}, {false, 2}, {true, 3}}) {
            SCOPED_TRACE(std::to_string(bySystem) + " " + std::to_string(refusedOpen));
            copy(replace, refusedOpen, bySystem);
            EXPECT_EQ(size, StateOf(to).st_size);
            EXPECT_LE(StateOf(to).st_blocks, StateOf(from).st_blocks + 256);
            EXPECT_EQ(0451u, StateOf(to).st_mode & 07777);
            EXPECT_EQ(2000, StateOf(to).st_mtim.tv_sec);
            for (const char* part : {" -i 1000000 -n 200000", " -i 3221200000 -n 200000"}) {
                EXPECT_EQ(0, std::system(("cmp -s " + from + " " + to + part).c_str()));
            }
            EXPECT_EQ(2u, dir.Count());
            fs::remove(to);
        }
    }
    ASSERT_EQ(resDone, CopyRes("/proc/self/status", to, true)); // its size is known only by reading
    EXPECT_NE(std::string::npos, dir.Read("to").find("Name:"));
}

TEST(FileSystemWays, FullDiskLeavesTheTargetAsItWas) {
    const TempDir dir;
    const std::string from = dir.Write("from", content), to = dir.Write("to", "old");
    for (const bool named : {false, true}) {
        EXPECT_EQ("15 15", halt_trap::TextOf([&] {
                      signal(SIGXFSZ, SIG_IGN);
                      const rlimit limit{50000, 50000};
                      setrlimit(RLIMIT_FSIZE, &limit);
                      if (named) Faults::FailNth(Faults::Open, 3, EOPNOTSUPP);
                      const Res first = CopyRes(from, to, true);
                      if (named) Faults::FailNth(Faults::Open, 2, EOPNOTSUPP);
                      const Res second = CopyRes(from, dir.File("new"), false);
                      halt_trap::SendHome((std::to_string(first) + " " + std::to_string(second)).c_str());
                  }));
    }
    EXPECT_EQ("old", dir.Read("to"));
    EXPECT_EQ(2u, dir.Count());
    HFile f;
    f.Create(dir.File("f").c_str(), false);
    Faults::DiskFullAfter(1000);
    f.WriteBytes(content.data(), 1500);
    Faults::Disarm();
    EXPECT_EQ(resDiskFull, f.res);
    EXPECT_EQ(1000, f.GetPos());
}

TEST(FileSystemWays, RenameNeverReplacesWithOrWithoutHelpOfTheSystem) {
    for (const bool helped : {true, false}) {
        const TempDir dir;
        const auto rename = [&](const std::string& from, const std::string& to) {
            Faults::FailNth(Faults::Other, helped ? 0 : 1, EINVAL); // the first call is the rename
            const Res res = RenameRes(dir.File(from), dir.File(to));
            Faults::Disarm();
            return res;
        };
        fs::create_directory(dir.File("sub"));
        dir.Write("sub/x", "x");
        dir.Write("f", content);
        dir.Write("other", "other");
        dir.Write("foreign", "");
        fs::permissions(dir.Path(), fs::perms(0777));
        fs::permissions(dir.File("foreign"), fs::perms(0600));
        const std::tuple<const char*, const char*, Res> rows[] = {
            {"f", "g", resDone},          {"sub", "dir", resDone},        {"g", "other", resAlreadyExists},
            {"g", "g", resAlreadyExists}, {"g", "dir", resAlreadyExists}, {"dir", "g", resAlreadyExists},
            {"f", "h", resNotFound},      {"g", "no/h", resIllegalPath},  {"dir", "dir/in", resCallError},
        };
        for (const auto& [from, to, res] : rows) EXPECT_EQ(res, rename(from, to)) << from << " " << to;
        // Who may not give a file a second name can give it another one.
        EXPECT_TRUE(AsPlainUser([&] { return rename("foreign", "f2") == resDone; }));
        EXPECT_FALSE(fs::exists(dir.File("dir/in")));
        EXPECT_EQ(content + "x" + "other", dir.Read("g") + dir.Read("dir/x") + dir.Read("other"));
        EXPECT_EQ(4u, dir.Count());
    }
}

TEST(FileSystemWays, RenameAcrossFileSystemsMovesFilesAndLinks) {
    const TempDir dir;
    const auto across = [&](const std::string& from, const std::string& to) {
        Faults::FailNth(Faults::Other, 1, EXDEV);
        const Res res = RenameRes(dir.File(from), dir.File(to));
        Faults::Disarm();
        return res;
    };
    dir.Write("f", content);
    dir.Write("other", "other");
    chmod(dir.File("f").c_str(), 04751);
    fs::create_symlink("f", dir.File("link"));
    fs::create_directory(dir.File("sub"));
    const std::tuple<const char*, const char*, Res> rows[] = {
        {"f", "other", resAlreadyExists},
        {"link", "other", resAlreadyExists},
        {"sub", "dir", resNoPermission},
        {"sub", "other", resAlreadyExists},
        {"f", "no/g", resIllegalPath},
        {"link", "link2", resDone},
        {"f", "g", resDone},
    };
    for (const auto& [from, to, res] : rows) EXPECT_EQ(res, across(from, to)) << from << " " << to;
    EXPECT_EQ(content, dir.Read("g"));
    EXPECT_EQ(04751u, StateOf(dir.File("g")).st_mode & 07777);
    EXPECT_TRUE(fs::is_symlink(dir.File("link2")));
    EXPECT_EQ(4u, dir.Count());
}

} // namespace
