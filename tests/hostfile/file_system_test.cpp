// HFile: the file system. Ways that not every file system has: file_system_ways_test.cpp.
#include "hostfile/hostfile_support.h"

#include <sstream>

namespace {

TEST(FileSystem, AttributesOfWhatIsThereAndWhatIsNot) {
    const TempDir dir;
    const std::string f = dir.Write("f", ""), fifo = dir.File("fifo"), longName(9000, 'x');
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    for (const std::string& name : {f, dir.Path() + "\\", fifo}) {
        EXPECT_TRUE(HFile::Exists(name.c_str()));
        EXPECT_EQ(name.back() == '\\', HFile::IsDirectory(name.c_str()));
    }
    for (const char* none : {"/nonexistent/x", "", longName.c_str(), static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(HFile::Exists(none) || HFile::IsDirectory(none) || HFile::IsReadOnly(none) ||
                     HFile::SetReadOnly(none, true) || HFile::SetReadOnly(none, false));
    }
    chmod(f.c_str(), 0675);
    for (const bool on : {true, true, false, false}) {
        EXPECT_TRUE(HFile::SetReadOnly(f.c_str(), on));
        EXPECT_EQ(on, HFile::IsReadOnly(f.c_str()));
        EXPECT_EQ(on ? 0475u : 0675u, ModeOf(f)); // nobody else's permission has changed
    }
}

TEST(FileSystem, RemoveTakesFilesAndLinksButNoDirectories) {
    const TempDir dir;
    dir.Write("f", "kept");
    fs::create_symlink("f", dir.File("link"));
    fs::create_directory(dir.File("sub"));
    EXPECT_TRUE(HFile::Remove(dir.File("link").c_str()));
    EXPECT_EQ("kept", dir.Read("f"));
    for (const auto& [name, code] :
         {std::pair{"f", resDone}, {"f", resNotFound}, {"no/x", resIllegalPath}, {"sub", resNoPermission}}) {
        int res = -1;
        EXPECT_EQ(code == resDone, HFile::Remove(dir.File(name).c_str(), res));
        EXPECT_EQ(code, res);
    }
}

TEST(FileSystem, CopyFollowsLinksAndRefusesWithTheReason) {
    const TempDir dir;
    dir.Write("from", "content");
    dir.Write("held", "held");
    dir.Write("there", "old");
    fs::create_directory(dir.File("sub"));
    fs::create_hard_link(dir.File("from"), dir.File("hard"));
    for (const auto& [name, to] :
         {std::pair{"soft", "from"}, {"loop", "loop"}, {"to-there", "there"}, {"to-missing", "missing"}}) {
        fs::create_symlink(to, dir.File(name));
    }
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600)); // which nothing here may wait for
    HFile reader, writer;
    ASSERT_TRUE(reader.OpenSeqRead(dir.File("held").c_str()));
    ASSERT_TRUE(writer.Create(dir.File("written").c_str(), false));
    const std::size_t before = dir.Count();
    const std::tuple<Res, bool, std::string> rows[] = {
        // what comes of it, `overwrite`, and each from and to
        {resNotFound, false, "none new"},
        {resIllegalPath, false, "no/x new"},
        {resIllegalPath, true, "from no/new from loop"},
        {resIllegalName, true, "from " + std::string(9000, 'x')},
        {resAlreadyExists, false, "from held from from from to-missing"},
        {resNoPermission, false, "written new"},
        {resNoPermission, true,
         "from held sub new from sub fifo new from fifo from sub\\..\\from from hard from soft soft from"}};
    for (const auto& [res, overwrite, names] : rows) {
        std::istringstream pairs(names);
        for (std::string from, to; pairs >> from >> to;) {
            EXPECT_EQ(res, CopyRes(dir.File(from), dir.File(to), overwrite)) << from << " " << to;
        }
    }
    EXPECT_EQ(before, dir.Count());
    for (const std::string name : {"there", "missing"}) {
        EXPECT_EQ(resDone, CopyRes(dir.File("from"), dir.File("to-" + name), true));
        EXPECT_TRUE(fs::is_symlink(dir.File("to-" + name)));
        EXPECT_EQ("content", dir.Read(name));
    }
    EXPECT_EQ(resDone, CopyRes(dir.File("held"), dir.File("new"), false)); // shared with the reader
    reader.Close();
    chmod(dir.Path().c_str(), 0777);
    chmod(dir.File("held").c_str(), 0444);
    EXPECT_TRUE(AsPlainUser([&] { return CopyRes(dir.File("from"), dir.File("held"), true) == resNoPermission; }));
    EXPECT_EQ("content held", dir.Read("from") + " " + dir.Read("held")); // though its directory may be written
}

} // namespace
