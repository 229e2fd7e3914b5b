// HFile: file names.
#include "hostfile/hostfile_support.h"

#include <cstring>

namespace {

TEST(FileNames, SplitAndBuildAreInverses) {
    const std::string d(300, 'd');
    const std::array<std::string, 5> rows[] = {
        {"C:\\a\\b.txt", "C:", "\\a\\", "b", ".txt"},
        {"C:\\a\\b\\", "C:", "\\a\\b\\", "", ""},
        {"C:\\a.b\\c", "C:", "\\a.b\\", "c", ""},
        {"a/b.c.d", "", "a/", "b.c", ".d"},
        {"C:x", "C:", "", "x", ""},
        {".profile", "", "", "", ".profile"},
        {"x.", "", "", "x", "."},
        {"..", "", "", ".", "."},
        {"", "", "", "", ""},
        {"C:/" + d + "/" + d + "." + d, "C:", "/" + d.substr(0, 254), d.substr(0, 255), "." + d.substr(0, 254)}, // cut
    };
    for (const auto& [path, drive, dir, fname, ext] : rows) {
        SCOPED_TRACE(path);
        std::vector<char> a(3), b(256), c(256), e(256), built(260), dir2(261), name2(261),
            own(path.size() + 1); // watched
        HFile::SplitName(a.data(), b.data(), c.data(), e.data(), path.c_str());
        EXPECT_EQ((std::array<std::string, 4>{drive, dir, fname, ext}),
                  (std::array<std::string, 4>{a.data(), b.data(), c.data(), e.data()}));
        HFile::BuildName(built.data(), a.data(), b.data(), c.data(), e.data());
        EXPECT_EQ((drive + dir + (path.size() > 260 ? "\\" : "") + fname + ext).substr(0, 259), built.data());
        HFile::SplitName(dir2.data(), name2.data(), path.c_str());
        EXPECT_EQ(path.size() > 260 ? "C:/" + d.substr(0, 257) : drive + dir, dir2.data());
        std::strcpy(own.data(), path.c_str());
        HFile::SplitName(built.data(), own.data(), own.data()); // into the name's own buffer
        EXPECT_STREQ(name2.data(), own.data());
        HFile::SplitName(nullptr, nullptr, nullptr, nullptr, path.c_str());
        if (path.size() > 260) continue;
        HFile::BuildName(dir2.data(), dir2.data(), name2.data());
        EXPECT_EQ(path, dir2.data());
    }
    char built[261];
    HFile::BuildName(built, "C", "a/b", "x", "txt");
    EXPECT_STREQ("C:a/b\\x.txt", built);
    HFile::BuildName(built, nullptr, "", "x", nullptr);
    EXPECT_STREQ("x", built);
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
    fs::current_path(at);
    fs::create_directories("back\\slash");
    fs::create_directory("sub");
    fs::create_directory_symlink("sub", "way");
    fs::create_symlink("../f", "sub/link");
    fs::create_symlink("none", "dangling");
    const std::string longest = "sub/" + std::string(260 - at.size() - 5, 'n');
    for (const std::string& name : {std::string("f"), std::string("back\\slash/f"), longest, longest + "n"})
        dir.Write(name, "");
    ASSERT_EQ(0, mkfifo("fifo", 0600)); // with nobody at its other end
    const std::pair<std::string, std::string> rows[] = {
        {"f", at + "/f"},
        {".\\sub/../f", at + "/f"},
        {"fifo", at + "/fifo"},
        {"/dev/null", "/dev/null"},
        {"way\\link", at + "/sub/link"}, // the directories resolved, the last component as given
        {longest, at + "/" + longest},
    };
    for (const auto& [name, full] : rows) EXPECT_EQ(full, Full(name));
    for (const std::string& name :
         {longest + "n", std::string(280, 'x'), std::string("sub\\.."), std::string("dangling"), std::string("f/")}) {
        EXPECT_EQ(name, Full(name));
    }
    fs::current_path("back\\slash");
    EXPECT_EQ("f", Full("f")); // its path could not be given back
    fs::current_path(at);
    chmod(".", 0755);
    chmod("f", 0);
    EXPECT_TRUE(AsPlainUser([] { return Full("f") == "f" && HFile::Exists("f"); }));
    fs::current_path(old);
}

} // namespace
