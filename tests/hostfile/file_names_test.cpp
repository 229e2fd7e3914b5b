// HFile: file names.
#include "hostfile/hostfile_support.h"

#include <cstring>
#include <sstream>

namespace {

TEST(FileNames, SplitAndBuildAreInverses) {
    const std::string d(300, 'd');
    for (const std::string row : {"C:|\\a\\|b|.txt", "C:|\\a\\b\\||", "C:|\\a.b\\|c|", "|a/|b.c|.d", "C:||x|",
                                  "|||.profile", "||x|.", "||.|.", "|||"}) { // the parts; all together the name
        std::string path, part[4];
        std::istringstream parts(row);
        for (std::string& p : part) std::getline(parts, p, '|'), path += p;
        char drive[3], dir[256], fname[256], ext[256], own[261], name[261];
        HFile::SplitName(drive, dir, fname, ext, path.c_str());
        EXPECT_EQ(row, std::string(drive) + "|" + dir + "|" + fname + "|" + ext);
        HFile::BuildName(own, drive, dir, fname, ext);
        EXPECT_EQ(path, own);
        HFile::SplitName(own, name, own); // into the name's own buffer
        EXPECT_EQ(part[0] + part[1], own);
        HFile::BuildName(own, own, name);
        EXPECT_EQ(path, own);
    }
    const std::string path = "C:/" + d + "/" + d + "." + d;
    std::vector<char> dir(256), fname(256), ext(256), built(260), dir3(261), name3(261); // watched by size
    HFile::SplitName(nullptr, dir.data(), fname.data(), ext.data(), path.c_str());
    EXPECT_EQ("/" + d.substr(0, 254), dir.data());
    HFile::BuildName(built.data(), "C", dir.data(), fname.data(), ext.data());
    EXPECT_EQ(("C:/" + d.substr(0, 254) + "\\" + d).substr(0, 259), built.data());
    HFile::SplitName(dir3.data(), name3.data(), path.c_str());
    EXPECT_EQ("C:/" + d.substr(0, 257) + d.substr(0, 260), std::string(dir3.data()) + name3.data());
    HFile::BuildName(built.data(), "C", "a/b", "x", "txt");
    EXPECT_STREQ("C:a/b\\x.txt", built.data());
    HFile::BuildName(built.data(), nullptr, "", "x", nullptr);
    EXPECT_STREQ("x", built.data());
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
        {longest, at + "/" + longest}};
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
