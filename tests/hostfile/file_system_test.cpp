// HFile: the file system.
#include "hostfile/hfile.h"

#include "hostfile/faulty_calls.h"
#include "support/temp_dir.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

struct stat StateOf(const std::string& name) {
    struct stat st {};
    lstat(name.c_str(), &st);
    return st;
}

Res CopyRes(const std::string& from, const std::string& to, bool overwrite) {
    int res = -1;
    const bool done = HFile::Copy(from.c_str(), to.c_str(), res, overwrite);
    EXPECT_EQ(done, res == resDone);
    return res;
}

Res RenameRes(const std::string& from, const std::string& to) {
    int res = -1;
    const bool done = HFile::Rename(from.c_str(), to.c_str(), res);
    EXPECT_EQ(done, res == resDone);
    return res;
}

TEST(FileSystem, AttributesOfWhatIsThereAndWhatIsNot) {
    TempDir dir;
    const std::string f = dir.Write("f", "");
    const std::string fifo = dir.File("fifo");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    EXPECT_TRUE(HFile::Exists(f.c_str()) && HFile::Exists(dir.Path().c_str()) && HFile::Exists(fifo.c_str()));
    EXPECT_TRUE(HFile::IsDirectory((dir.Path() + "\\").c_str()));
    EXPECT_FALSE(HFile::IsDirectory(f.c_str()));
    for (const char* none : {"/nonexistent/x", "", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(HFile::Exists(none) || HFile::IsDirectory(none) || HFile::IsReadOnly(none) ||
                     HFile::SetReadOnly(none, true) || HFile::SetReadOnly(none, false));
    }
    EXPECT_FALSE(HFile::Exists(std::string(9000, 'x').c_str()));
    chmod(f.c_str(), 0675);
    for (const bool on : {true, true, false, false}) {
        EXPECT_TRUE(HFile::SetReadOnly(f.c_str(), on));
        EXPECT_EQ(on, HFile::IsReadOnly(f.c_str()));
        EXPECT_EQ(on ? 0475u : 0675u, StateOf(f).st_mode & 07777); // nobody else's permission has changed
    }
}

TEST(FileSystem, RemoveTakesFilesAndLinksButNoDirectories) {
    TempDir dir;
    const std::string f = dir.Write("f", "kept");
    std::filesystem::create_symlink("f", dir.File("link"));
    std::filesystem::create_directory(dir.File("sub"));
    int res = -1;
    EXPECT_TRUE(HFile::Remove(dir.File("link").c_str(), res));
    EXPECT_EQ("kept", dir.Read("f"));
    EXPECT_TRUE(HFile::Remove(f.c_str()));
    const std::pair<std::string, Res> rows[] = {
        {f, resNotFound}, {dir.File("none/x"), resIllegalPath}, {dir.File("sub"), resNoPermission}};
    for (const auto& [name, code] : rows) {
        EXPECT_FALSE(HFile::Remove(name.c_str(), res));
        EXPECT_EQ(code, res);
    }
    EXPECT_EQ(1u, dir.Count());
}

// Each way in which a file system can take part: with files that have no name yet and without, with and without a copy
// of its own.
class FileSystemWays : public testing::TestWithParam<int> {
  protected:
    FileSystemWays() {
        if (GetParam() & 1) faults.unnamedFile.error = EOPNOTSUPP;
        if (GetParam() & 2) faults.copyRange.error = EXDEV;
    }
    FaultScope scope;
    TempDir dir;
};
INSTANTIATE_TEST_SUITE_P(All, FileSystemWays, testing::Values(0, 1, 2, 3));

TEST_P(FileSystemWays, CopyKeepsContentHolesPermissionsAndTime) {
    const std::string from = dir.File("from");
    const std::string to = dir.File("to");
    const int fd = open(from.c_str(), O_RDWR | O_CREAT, 0600);
    const std::string data(100000, 'd');
    for (const off_t at : {off_t{1} << 20, off_t{3} << 30}) {
        ASSERT_EQ(ssize_t{100000}, pwrite(fd, data.data(), data.size(), at));
    }
    ASSERT_EQ(0, ftruncate(fd, off_t{4} << 30)); // ends in a hole
    const timespec times[2] = {{1000, 5}, {2000, 7}};
    futimens(fd, times);
    fchmod(fd, 0451);
    close(fd);
    dir.Write("to", "old");
    for (const char* other : {"to", "new"}) {
        ASSERT_EQ(resDone, CopyRes(from, dir.File(other), true));
        const struct stat st = StateOf(dir.File(other));
        EXPECT_EQ(off_t{4} << 30, st.st_size);
        EXPECT_LE(st.st_blocks, StateOf(from).st_blocks + 256);
        EXPECT_EQ(0451u, st.st_mode & 07777);
        EXPECT_EQ(2000, st.st_mtim.tv_sec);
        HFile f;
        ASSERT_TRUE(f.OpenSeqRead(dir.File(other).c_str()));
        std::string got(data.size() + 2, 'x');
        f.SetPos((1 << 20) - 1);
        f.ReadBytes(got.data(), static_cast<int>(got.size()));
        EXPECT_EQ('\0' + data + '\0', got);
    }
    EXPECT_EQ(3u, dir.Count());
    ASSERT_EQ(resDone, CopyRes("/proc/self/status", to, true)); // of a size that is known only by reading
    EXPECT_NE(std::string::npos, dir.Read("to").find("Name:"));
}

TEST_P(FileSystemWays, CopyFailsWithoutATrace) {
    const std::string from = dir.Write("from", std::string(200000, 'n'));
    dir.Write("to", "old");
    if (GetParam() & 2) { // writing stops in the middle
        faults.write = {ENOSPC, 3};
        EXPECT_EQ(resDiskFull, CopyRes(from, dir.File("to"), true));
        faults.write = {ENOSPC, 3};
        EXPECT_EQ(resDiskFull, CopyRes(from, dir.File("new"), false));
        faults.write = {};
    }
    EXPECT_EQ(0, InChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{100000, 100000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  return CopyRes(from, dir.File("to"), true) == resDiskFull ? 0 : 1;
              }));
    if (!(GetParam() & 1)) { // the complete copy can't be given a name
        faults.link.error = EACCES;
        EXPECT_EQ(resNoPermission, CopyRes(from, dir.File("to"), true));
        EXPECT_EQ(resNoPermission, CopyRes(from, dir.File("new"), false));
    }
    EXPECT_EQ("old", dir.Read("to"));
    EXPECT_EQ(2u, dir.Count());
}

TEST_P(FileSystemWays, CopyThroughLinksReplacesWhatTheyNameOrMakesIt) {
    const std::string from = dir.Write("from", "new");
    std::filesystem::create_directory(dir.File("sub"));
    dir.Write("sub/there", "old");
    for (const char* name : {"there", "missing"}) {
        const std::string link = dir.File(std::string("to-") + name);
        std::filesystem::create_symlink(std::string("sub/") + name, link);
        EXPECT_EQ(resAlreadyExists, CopyRes(from, link, false));
        EXPECT_EQ(resDone, CopyRes(from, link, true));
        EXPECT_TRUE(std::filesystem::is_symlink(link));
        EXPECT_EQ("new", dir.Read(std::string("sub/") + name));
    }
    std::filesystem::create_symlink("loop", dir.File("loop"));
    EXPECT_EQ(resIllegalPath, CopyRes(from, dir.File("loop"), true));
}

TEST(FileSystem, CopyRefusesWithTheReason) {
    TempDir dir;
    const std::string from = dir.Write("from", "content");
    const std::string held = dir.Write("held", "held");
    std::filesystem::create_directory(dir.File("sub"));
    std::filesystem::create_hard_link(from, dir.File("hard"));
    std::filesystem::create_symlink("from", dir.File("soft"));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    HFile reader;
    ASSERT_TRUE(reader.OpenSeqRead(held.c_str()));
    const struct {
        std::string from, to;
        bool overwrite;
        Res res;
    } rows[] = {
        {dir.File("none"), dir.File("new"), false, resNotFound},
        {dir.File("no/x"), dir.File("new"), false, resIllegalPath},
        {from, dir.File("no/new"), true, resIllegalPath},
        {from, held, false, resAlreadyExists},
        {from, held, true, resNoPermission},
        {dir.File("sub"), dir.File("new"), true, resNoPermission},
        {from, dir.File("sub"), true, resNoPermission},
        {dir.File("fifo"), dir.File("new"), true, resNoPermission}, // and none of the two waits
        {from, dir.File("fifo"), true, resNoPermission},
        {from, from, true, resNoPermission},
        {from, from, false, resAlreadyExists},
        {from, dir.Path() + "\\sub\\..\\from", true, resNoPermission},
        {from, dir.File("hard"), true, resNoPermission},
        {from, dir.File("soft"), true, resNoPermission},
        {dir.File("soft"), from, true, resNoPermission},
        {from, std::string(9000, 'x'), true, resIllegalName},
    };
    for (const auto& row : rows) EXPECT_EQ(row.res, CopyRes(row.from, row.to, row.overwrite)) << row.to;
    EXPECT_EQ(resDone, CopyRes(held, dir.File("read"), false)); // shared with the reader
    reader.Close();
    ASSERT_TRUE(reader.Open(held.c_str()));
    EXPECT_EQ(resNoPermission, CopyRes(held, dir.File("new"), false));
    EXPECT_EQ("content", dir.Read("from"));
    EXPECT_EQ(7u, dir.Count());

    chmod(held.c_str(), 0444);
    reader.Close();
    chmod(dir.Path().c_str(), 0777);
    const int refused = InChild([&] { return CopyRes(from, held, true) == resNoPermission ? 0 : 1; }, true);
    EXPECT_EQ(0, refused); // not writable, though its directory is
    EXPECT_EQ("held", dir.Read("held"));
}

TEST(FileSystem, RenameNeverReplaces) {
    for (const int error : {0, EINVAL}) { // with and without help of the system
        for (const int linkError : {0, EPERM}) {
            SCOPED_TRACE(error);
            FaultScope scope;
            faults.renameNoReplace.error = error;
            faults.link.error = linkError;
            TempDir dir;
            const std::string f = dir.Write("f", "content");
            const std::string sub = dir.File("sub");
            std::filesystem::create_directory(sub);
            dir.Write("sub/x", "x");
            dir.Write("other", "other");
            EXPECT_EQ(resDone, RenameRes(f, dir.File("g")));
            EXPECT_EQ("content", dir.Read("g"));
            EXPECT_EQ(resDone, RenameRes(sub, dir.File("dir")));
            EXPECT_EQ("x", dir.Read("dir/x"));
            const struct {
                std::string from, to;
                Res res;
            } rows[] = {
                {dir.File("g"), dir.File("other"), resAlreadyExists},
                {dir.File("g"), dir.File("g"), resAlreadyExists},
                {dir.File("g"), dir.File("dir"), resAlreadyExists},
                {f, dir.File("h"), resNotFound},
                {dir.File("g"), dir.File("no/h"), resIllegalPath},
                {dir.File("dir"), dir.File("dir/in"), resCallError},
            };
            for (const auto& row : rows) EXPECT_EQ(row.res, RenameRes(row.from, row.to)) << row.to;
            EXPECT_EQ("other", dir.Read("other"));
            EXPECT_EQ(3u, dir.Count());
        }
    }
}

TEST(FileSystem, RenameAcrossFileSystemsMovesAll) {
    FaultScope scope;
    TempDir dir;
    const std::string f = dir.Write("f", "content");
    chmod(f.c_str(), 04751);
    std::filesystem::create_symlink("f", dir.File("link"));
    std::filesystem::create_directory(dir.File("sub"));
    dir.Write("other", "other");
    const auto across = [](const std::string& from, const std::string& to) {
        faults.renameNoReplace.error = EXDEV;
        return RenameRes(from, to);
    };
    EXPECT_EQ(resAlreadyExists, across(f, dir.File("other")));
    EXPECT_EQ(resNoPermission, across(dir.File("sub"), dir.File("sub2")));
    EXPECT_EQ(resIllegalPath, across(f, dir.File("no/g")));
    faults.unlink = {EACCES, 0, 1}; // the old one can't be removed, so the new one must not stay
    EXPECT_EQ(resNoPermission, across(f, dir.File("g")));
    EXPECT_EQ(4u, dir.Count());
    EXPECT_EQ(resDone, across(f, dir.File("g")));
    EXPECT_EQ("content", dir.Read("g"));
    EXPECT_EQ(04751u, StateOf(dir.File("g")).st_mode & 07777);
    EXPECT_EQ(resDone, across(dir.File("link"), dir.File("link2")));
    EXPECT_TRUE(std::filesystem::is_symlink(dir.File("link2")));
    EXPECT_EQ(4u, dir.Count());
}

} // namespace
