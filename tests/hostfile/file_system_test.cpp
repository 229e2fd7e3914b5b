// HFile: the file system. Ways that not every file system has: file_system_ways_test.cpp.
#include "hostfile/hostfile_support.h"

namespace {

TEST(FileSystem, AttributesOfWhatIsThereAndWhatIsNot) {
    const TempDir dir;
    const std::string f = dir.Write("f", "");
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    for (const std::string& name : {f, dir.Path() + "\\", dir.File("fifo")}) {
        EXPECT_TRUE(HFile::Exists(name.c_str()));
        EXPECT_EQ(name.back() == '\\', HFile::IsDirectory(name.c_str()));
    }
    const std::string longName(9000, 'x');
    for (const char* none : {"/nonexistent/x", "", longName.c_str(), static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(HFile::Exists(none) || HFile::IsDirectory(none) || HFile::IsReadOnly(none) ||
                     HFile::SetReadOnly(none, true) || HFile::SetReadOnly(none, false));
    }
    chmod(f.c_str(), 0675);
    for (const bool on : {true, true, false, false}) {
        EXPECT_TRUE(HFile::SetReadOnly(f.c_str(), on));
        EXPECT_EQ(on, HFile::IsReadOnly(f.c_str()));
        EXPECT_EQ(on ? 0475u : 0675u, StateOf(f).st_mode & 07777); // nobody else's permission has changed
    }
}

TEST(FileSystem, RemoveTakesFilesAndLinksButNoDirectories) {
    const TempDir dir;
    dir.Write("f", "kept");
    fs::create_symlink("f", dir.File("link"));
    fs::create_directory(dir.File("sub"));
    EXPECT_TRUE(HFile::Remove(dir.File("link").c_str()));
    EXPECT_EQ("kept", dir.Read("f"));
    const std::pair<const char*, Res> rows[] = {
        {"f", resDone}, {"f", resNotFound}, {"none/x", resIllegalPath}, {"sub", resNoPermission}};
    for (const auto& [name, code] : rows) {
        int res = -1;
        EXPECT_EQ(code == resDone, HFile::Remove(dir.File(name).c_str(), res));
        EXPECT_EQ(code, res);
    }
}

TEST(FileSystem, CopyRefusesWithTheReason) {
    const TempDir dir;
    dir.Write("from", "content");
    dir.Write("held", "held");
    fs::create_directory(dir.File("sub"));
    fs::create_hard_link(dir.File("from"), dir.File("hard"));
    fs::create_symlink("from", dir.File("soft"));
    fs::create_symlink("loop", dir.File("loop"));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600)); // which nothing here may wait for
    HFile reader, writer;
    ASSERT_TRUE(reader.OpenSeqRead(dir.File("held").c_str()));
    ASSERT_TRUE(writer.Create(dir.File("written").c_str(), false));
    const struct {
        std::string from, to;
        bool overwrite;
        Res res;
    } rows[] = {
        {"none", "new", false, resNotFound},
        {"no/x", "new", false, resIllegalPath},
        {"from", "no/new", true, resIllegalPath},
        {"from", "loop", true, resIllegalPath},
        {"from", std::string(9000, 'x'), true, resIllegalName},
        {"from", "held", false, resAlreadyExists},
        {"from", "held", true, resNoPermission},
        {"written", "new", false, resNoPermission},
        {"sub", "new", true, resNoPermission},
        {"from", "sub", true, resNoPermission},
        {"fifo", "new", true, resNoPermission},
        {"from", "fifo", true, resNoPermission},
        {"from", "from", false, resAlreadyExists},
        {"from", "sub\\..\\from", true, resNoPermission},
        {"from", "hard", true, resNoPermission},
        {"from", "soft", true, resNoPermission},
        {"soft", "from", true, resNoPermission},
        {"from", "soft", false, resAlreadyExists},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.res, CopyRes(dir.File(row.from), dir.File(row.to), row.overwrite)) << row.from << " " << row.to;
    }
    EXPECT_EQ(8u, dir.Count());
    EXPECT_EQ(resDone, CopyRes(dir.File("held"), dir.File("new"), false)); // shared with the reader
    reader.Close();
    fs::permissions(dir.Path(), fs::perms(0777));
    fs::permissions(dir.File("held"), fs::perms(0444));
    EXPECT_TRUE(AsPlainUser([&] { return CopyRes(dir.File("from"), dir.File("held"), true) == resNoPermission; }));
    EXPECT_EQ("content", dir.Read("from")); // the target may not be written, though its directory may
    EXPECT_EQ("held", dir.Read("held"));
}

TEST(FileSystem, CopyThroughLinksReplacesWhatTheyNameOrMakesIt) {
    const TempDir dir;
    dir.Write("from", "new");
    dir.Write("there", "old");
    for (const char* name : {"there", "missing"}) {
        const std::string link = dir.File(std::string("to-") + name);
        fs::create_symlink(name, link);
        EXPECT_EQ(resAlreadyExists, CopyRes(dir.File("from"), link, false));
        EXPECT_EQ(resDone, CopyRes(dir.File("from"), link, true));
        EXPECT_TRUE(fs::is_symlink(link));
        EXPECT_EQ("new", dir.Read(name));
    }
}

} // namespace
