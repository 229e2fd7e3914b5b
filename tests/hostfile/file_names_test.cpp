// HFile: file names.
#include "hostfile/hostfile_support.h"

#include <cstring>

namespace {

TEST(FileNames, SplitAndBuildAreInverses) {
    using Row = std::array<const char*, 5>;
    const Row rows[] = {
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
    for (const auto& [path, drive, dir, fname, ext] : rows) {
        SCOPED_TRACE(path);
        char drive1[3], dir1[256], fname1[256], ext1[256], path1[261], name1[261], dir2[261];
        HFile::SplitName(drive1, dir1, fname1, ext1, path);
        EXPECT_EQ((std::array<std::string, 4>{drive, dir, fname, ext}),
                  (std::array<std::string, 4>{drive1, dir1, fname1, ext1}));
        HFile::BuildName(path1, drive1, dir1, fname1, ext1);
        EXPECT_STREQ(path, path1);
        HFile::SplitName(dir2, name1, path);
        HFile::BuildName(path1, dir2, name1);
        EXPECT_STREQ(path, path1);
        HFile::SplitName(dir2, path1, path1); // into the name's own buffer
        EXPECT_STREQ(name1, path1);
        std::strcpy(path1, path);
        HFile::SplitName(path1, name1, path1);
        EXPECT_STREQ(dir2, path1);
        HFile::SplitName(nullptr, nullptr, nullptr, nullptr, path);
    }
    char built[261];
    HFile::BuildName(built, "C", "a/b", "x", "txt");
    EXPECT_STREQ("C:a/b\\x.txt", built);
    HFile::BuildName(built, nullptr, "", "x", nullptr);
    EXPECT_STREQ("x", built);
}

TEST(FileNames, OverlongPartsAreCutAtTheBuffersTheyAreMadeFor) {
    const std::string path = "C:/" + std::string(300, 'd') + "/" + std::string(300, 'f') + "." + std::string(300, 'e');
    std::vector<char> drive(3), dir(256), fname(256), ext(256), built(260), dir3(261), name3(261); // watched by size
    HFile::SplitName(drive.data(), dir.data(), fname.data(), ext.data(), path.c_str());
    EXPECT_EQ("/" + std::string(254, 'd'), dir.data());
    HFile::BuildName(built.data(), drive.data(), dir.data(), fname.data(), ext.data());
    EXPECT_EQ(259u, std::strlen(built.data()));
    HFile::SplitName(dir3.data(), name3.data(), path.c_str());
    EXPECT_EQ(260u, std::strlen(dir3.data()));
    EXPECT_EQ(std::string(260, 'f'), name3.data());
}

TEST(FileNames, SeparatorsAndEquality) {
    const std::tuple<const char*, const char*, int> rows[] = {{"", "", 261},         {"C:", "C:\\", 261},
                                                              {"a/b", "a/b\\", 261}, {"a/", "a/", 261},
                                                              {"ab", "ab", 3},       {"ab", "ab\\", 4}};
    for (const auto& [input, result, size] : rows) {
        char dir[261];
        std::strcpy(dir, input);
        HFile::CondAppendDirSep(dir, size);
        EXPECT_STREQ(result, dir);
    }
    EXPECT_TRUE(HFile::IsDirSep('\\') && HFile::IsDirSep('/') && !HFile::IsDirSep(':') && !HFile::IsDirSep('\0'));
    EXPECT_TRUE(HFile::EqualName("a\\B.TXT", "A\\b.txt") && !HFile::EqualName("a/b", "a\\b"));
}

std::string Full(std::string name) {
    name.resize(std::max<std::size_t>(name.size(), 260) + 1);
    HFile::GetFullName(name.data(), name.data()); // in place, and watched by size
    return name.c_str();
}

TEST(FileNames, FullNameOfAFileThatOpensAndOfNothingElse) {
    const TempDir dir;
    const auto old = fs::current_path();
    const std::string at = fs::canonical(dir.Path()).string();
    fs::create_directories(dir.File("back\\slash/sub"));
    fs::create_directory(dir.File("sub"));
    fs::create_directory_symlink("sub", dir.File("way"));
    fs::create_symlink("../f", dir.File("sub/link"));
    fs::create_symlink("none", dir.File("dangling"));
    dir.Write("f", "");
    dir.Write("back\\slash/f", "");
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600)); // with nobody at its other end
    fs::current_path(at);
    const std::pair<std::string, std::string> rows[] = {
        {"f", at + "/f"},
        {".\\sub/../f", at + "/f"},
        {"fifo", at + "/fifo"},
        {"/dev/null", "/dev/null"},
        {"way\\link", at + "/sub/link"}, // the directories resolved, the last component as given
        {"none", ""},
        {"dangling", ""},
        {"sub", ""},
        {"sub\\..", ""},
        {"f/", ""},
        {std::string(280, 'x'), ""},
    };
    for (const auto& [name, full] : rows) EXPECT_EQ(full.empty() ? name : full, Full(name));
    const std::string longest = "sub/" + std::string(260 - at.size() - 5, 'n');
    for (const std::string& name : {longest, longest + "n"}) {
        dir.Write(name, "");
        EXPECT_EQ(name == longest ? at + "/" + name : name, Full(name));
    }
    fs::current_path("back\\slash");
    EXPECT_EQ("f", Full("f")); // its path could not be given back
    fs::current_path(at);
    fs::permissions(at, fs::perms(0755));
    fs::permissions("f", fs::perms(0));
    EXPECT_TRUE(AsPlainUser([] { return Full("f") == "f" && HFile::Exists("f"); }));
    fs::current_path(old);
}

} // namespace
