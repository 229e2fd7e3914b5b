// HFile: file names.
#include "hostfile/hfile.h"

#include "hostfile/faulty_calls.h"
#include "support/temp_dir.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

TEST(FileNames, SplitAndBuildAreInverses) {
    const struct {
        const char *path, *drive, *dir, *fname, *ext;
    } rows[] = {
        {"C:\\a\\b.txt", "C:", "\\a\\", "b", ".txt"},
        {"C:\\a\\b\\", "C:", "\\a\\b\\", "", ""},
        {"C:\\a.b\\c", "C:", "\\a.b\\", "c", ""},
        {"a/b.c.d", "", "a/", "b.c", ".d"},
        {"C:x", "C:", "", "x", ""},
        {".profile", "", "", "", ".profile"},
        {"x.", "", "", "x", "."},
        {"..", "", "", ".", "."},
        {"/", "", "/", "", ""},
        {"", "", "", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        char drive[3], dir[261], fname[256], ext[256], path[261], name[261];
        HFile::SplitName(drive, dir, fname, ext, row.path);
        EXPECT_STREQ(row.drive, drive);
        EXPECT_STREQ(row.dir, dir);
        EXPECT_STREQ(row.fname, fname);
        EXPECT_STREQ(row.ext, ext);
        HFile::BuildName(path, drive, dir, fname, ext);
        EXPECT_STREQ(row.path, path);
        HFile::SplitName(dir, name, row.path);
        HFile::BuildName(path, dir, name);
        EXPECT_STREQ(row.path, path);
        HFile::SplitName(path, name, path); // into the name's own buffer, first as dir, then as name
        EXPECT_STREQ(dir, path);
        std::strcpy(path, row.path);
        HFile::SplitName(dir, path, path);
        EXPECT_STREQ(name, path);
        HFile::SplitName(nullptr, nullptr, nullptr, nullptr, row.path);
    }
}

TEST(FileNames, BuildPutsInWhatIsMissing) {
    char path[261];
    HFile::BuildName(path, "C", "a/b", "x", "txt");
    EXPECT_STREQ("C:a/b\\x.txt", path);
    HFile::BuildName(path, nullptr, "", "x", nullptr);
    EXPECT_STREQ("x", path);
    HFile::BuildName(path, "a", "b"); // a plain joining
    EXPECT_STREQ("ab", path);
}

TEST(FileNames, OverlongPartsAreCutAtTheBuffersTheyAreMadeFor) {
    const std::string path = "C:/" + std::string(300, 'd') + "/" + std::string(300, 'f') + "." + std::string(300, 'e');
    std::vector<char> drive(3), dir(256), fname(256), ext(256), built(260), dir3(261), name3(261); // watched by size
    HFile::SplitName(drive.data(), dir.data(), fname.data(), ext.data(), path.c_str());
    EXPECT_EQ("/" + std::string(254, 'd'), dir.data());
    EXPECT_EQ(std::string(255, 'f'), fname.data());
    HFile::BuildName(built.data(), drive.data(), dir.data(), fname.data(), ext.data());
    EXPECT_EQ(259u, std::strlen(built.data()));
    HFile::SplitName(dir3.data(), name3.data(), path.c_str());
    EXPECT_EQ(260u, std::strlen(dir3.data()));
    EXPECT_EQ(std::string(260, 'f'), name3.data());
}

TEST(FileNames, SeparatorsAndEquality) {
    const struct {
        const char *dir, *result;
        int size;
    } rows[] = {{"", "", 261},   {"C:", "C:\\", 261}, {"a/b", "a/b\\", 261}, {"a/", "a/", 261},
                {"ab", "ab", 3}, {"ab", "ab\\", 4},   {"ab", "ab", -5}};
    for (const auto& row : rows) {
        char dir[261];
        std::strcpy(dir, row.dir);
        HFile::CondAppendDirSep(dir, row.size);
        EXPECT_STREQ(row.result, dir);
    }
    EXPECT_TRUE(HFile::IsDirSep('\\') && HFile::IsDirSep('/'));
    EXPECT_FALSE(HFile::IsDirSep(':') || HFile::IsDirSep('\0'));
    EXPECT_TRUE(HFile::EqualName("a\\B.TXT", "A\\b.txt"));
    EXPECT_FALSE(HFile::EqualName("a/b", "a\\b"));
}

std::string Full(const std::string& name) {
    char full[300];
    HFile::GetFullName(full, name.c_str());
    return full;
}

TEST(FileNames, FullNameOfAFileThatOpensAndNothingElse) {
    TempDir dir;
    const auto old = std::filesystem::current_path();
    const std::string real = std::filesystem::canonical(dir.Path()).string();
    std::filesystem::current_path(dir.Path());
    std::filesystem::create_directory("sub");
    std::filesystem::create_directory("back\\slash");
    dir.Write("f", "");
    dir.Write("back\\slash/f", "");
    std::filesystem::create_symlink("sub", "way");
    std::filesystem::create_symlink("../f", "sub/link");
    std::filesystem::create_symlink("none", "dangling");
    ASSERT_EQ(0, mkfifo("fifo", 0600)); // with nobody at its other end
    const struct {
        std::string name, full;
    } rows[] = {
        {"f", real + "/f"},
        {".\\sub/../f", real + "/f"},
        {"way\\link", real + "/sub/link"}, // directories resolved, the last component as given
        {"fifo", real + "/fifo"},
        {"none", "none"},
        {"dangling", "dangling"},
        {"sub", "sub"},
        {"sub\\..", "sub\\.."},
        {"f/", "f/"},
        {"", ""},
        {"/dev/null", "/dev/null"},
        {std::string(280, 'x'), std::string(280, 'x')},
    };
    for (const auto& row : rows) EXPECT_EQ(row.full, Full(row.name));
    std::filesystem::current_path("back\\slash");
    EXPECT_EQ("f", Full("f")); // its path could not be given back
    std::filesystem::current_path(dir.Path());
    char inPlace[261] = "f";
    HFile::GetFullName(inPlace, inPlace);
    EXPECT_EQ(real + "/f", inPlace);

    chmod("f", 0);
    chmod(dir.Path().c_str(), 0755);
    EXPECT_EQ(0, InChild([] { return Full("f") == "f" && HFile::Exists("f") ? 0 : 1; }, true));

    // The longest path that a buffer takes, and one byte more.
    const std::string deep(255 - 200, 'd');
    const std::size_t room = 260 - real.size() - 1;
    for (const std::size_t n : {room, room + 1}) {
        std::filesystem::create_directory(deep);
        const std::string name = deep + "/" + std::string(n - deep.size() - 1, 'n');
        dir.Write(name, "");
        EXPECT_EQ(n == room ? real + "/" + name : name, Full(name));
    }
    std::filesystem::current_path(old);
}

} // namespace
