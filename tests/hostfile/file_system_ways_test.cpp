// HFile: copies and renames on file systems that can't do everything. Disks that are full:
// fault/hostfile_fault_test.cpp.
#include "hostfile/hostfile_support.h"
#include "support/faults.h"

namespace {

TEST(FileSystemWays, CopyKeepsContentHolesPermissionsAndTimeInEveryWay) {
    const TempDir dir;
    const std::string from = dir.File("from"), to = dir.File("to"), data(100000, 'd');
    const int fd = open(from.c_str(), O_RDWR | O_CREAT, 0600);
    for (const off_t at : {off_t{1} << 20, off_t{3} << 30}) ASSERT_EQ(100000, pwrite(fd, data.data(), data.size(), at));
    ASSERT_EQ(0, ftruncate(fd, off_t{4} << 30)); // ends in a hole
    const timespec times[2] = {{1000, 5}, {2000, 7}};
    futimens(fd, times);
    fchmod(fd, 0451);
    close(fd);
    for (int way = 0; way < 8; ++way) {
        SCOPED_TRACE(way);
        const bool replace = way & 1, named = way & 2;
        if (replace) dir.Write("to", "old");
        Faults::plainCopies = way & 4;                                           // the system does not help
        Faults::FailNth(Faults::Open, !named ? 0 : replace ? 4 : 3, EOPNOTSUPP); // the one of a file without a name
        EXPECT_EQ(resDone, CopyRes(from, to, replace));
        EXPECT_EQ(named, Faults::Fired());
        Faults::Disarm();
        Faults::plainCopies = false;
        struct stat a, b;
        ASSERT_EQ(0, stat(from.c_str(), &a) + stat(to.c_str(), &b));
        EXPECT_TRUE(b.st_size == a.st_size && b.st_blocks <= a.st_blocks + 256 && b.st_mtim.tv_nsec == 7);
        EXPECT_EQ(0451u, ModeOf(to));
        for (const char* part : {"1000000", "3221200000"})
            EXPECT_EQ(0, std::system(("cd '" + dir.Path() + "' && cmp -s -n 200000 -i " + part + " from to").c_str()));
        EXPECT_EQ(2u, dir.Count());
        fs::remove(to);
    }
    ASSERT_EQ(resDone, CopyRes("/proc/self/status", to, true)); // its size is known only by reading
    EXPECT_NE(std::string::npos, dir.Read("to").find("Name:"));
}

TEST(FileSystemWays, RenameNeverReplacesWhateverHelpTheSystemIs) {
    for (const int refusal : {0, EINVAL, EXDEV}) {
        const TempDir dir;
        const auto rename = [&](const std::string& from, const std::string& to) {
            Faults::FailNth(Faults::Other, refusal ? 1 : 0, refusal); // the first call is the rename
            int res = -1;
            const bool done = HFile::Rename(dir.File(from).c_str(), dir.File(to).c_str(), res);
            Faults::Disarm();
            return done == (res == resDone) ? res : -1;
        };
        for (const char* name : {"f", "other"}) dir.Write(name, name);
        for (const char* name : {"sub", "sub2"}) fs::create_directory(dir.File(name));
        fs::create_symlink("f", dir.File("link"));
        chmod(dir.File("f").c_str(), 04751);
        // Each from and to, and what comes of it within the file system and to another one.
        std::istringstream rows("f g 0 0 link link2 0 0 sub dir 0 17 g other 6 6 g g 6 6 link2 other 6 6 sub2 g 6 6 "
                                "sub2 sub2/in 2 17 f h 14 14 g no/h 9 9 g new/ 9 9");
        const auto then = fs::last_write_time(dir.File("sub2")); // nothing is made in it for a moment
        Res within, across;
        for (std::string from, to; rows >> from >> to >> within >> across;)
            EXPECT_EQ(refusal == EXDEV ? across : within, rename(from, to)) << from << " " << to;
        EXPECT_EQ("f other", dir.Read("g") + " " + dir.Read("other"));
        EXPECT_EQ(04751u, ModeOf(dir.File("g")));
        EXPECT_TRUE(fs::is_symlink(dir.File("link2")));
        EXPECT_EQ(5u, dir.Count());
        EXPECT_EQ(then, fs::last_write_time(dir.File("sub2")));
    }
}

} // namespace
