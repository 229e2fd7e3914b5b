// HFile: file names, backup extensions, temporary files.
#include "hostfile/hostfile_support.h"

namespace {

TEST(FileNames, SplitAndBuildAreInversesAsFarAsNamesFit) {
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
    const std::string d(300, 'd'), path = "C:/" + d + "/" + d + "." + d;
    std::vector<char> dir(256), fname(256), ext(256), built(260); // watched by size
    HFile::SplitName(nullptr, dir.data(), fname.data(), ext.data(), path.c_str());
    EXPECT_EQ("/" + d.substr(0, 254), dir.data());
    HFile::BuildName(built.data(), "C", dir.data(), fname.data(), ext.data());
    EXPECT_EQ(("C:/" + d.substr(0, 254) + "\\" + d).substr(0, 259), built.data());
    HFile::BuildName(built.data(), nullptr, "a/b", "x", "txt");
    EXPECT_STREQ("a/b\\x.txt", built.data());
    for (const auto& [input, result, size] :
         {std::tuple{"", "", 261}, {"C:", "C:\\", 261}, {"a/", "a/", 261}, {"ab", "ab", 3}, {"ab", "ab\\", 4}}) {
        std::strcpy(dir.data(), input);
        HFile::CondAppendDirSep(dir.data(), size);
        EXPECT_STREQ(result, dir.data());
    }
    EXPECT_TRUE(HFile::EqualName("a\\B.TXT", "A\\b.txt") && !HFile::EqualName("a/b", "a\\b"));
}

std::string Full(std::string name) {
    name.resize(std::max<std::size_t>(name.size(), 260) + 1);
    HFile::GetFullName(name.data(), name.data()); // in place, and watched by size
    return name.c_str();
}

TEST_F(OnFiles, FullNamesOfThoseThatOpenOnly) {
    const auto old = fs::current_path();
    const std::string at = fs::canonical(dir.Path()).string(), longest = "sub/" + std::string(122 - at.size(), 'n');
    fs::current_path(at);
    fs::create_directory("sub");
    for (const auto& [to, name] : {std::pair{"sub", "way"}, {"../f", "sub/link"}}) fs::create_symlink(to, name);
    for (const std::string& name : {"f"s, longest, longest + "n"}) dir.Write(name, "");
    ASSERT_EQ(0, mkfifo("fifo", 0600)); // with nobody at its other end
    EXPECT_EQ("/dev/null", Full("/dev/null"));
    // The directories are resolved, the last component stays as given.
    for (const auto& [name, full] :
         {std::pair{".\\sub/../f"s, "f"s}, {"fifo", "fifo"}, {"way\\link", "sub/link"}, {longest, longest}}) {
        EXPECT_EQ(at + "/" + full, Full(name));
    }
    for (const std::string& none : {longest + "n", std::string(280, 'x'), "sub\\.."s, "f/"s})
        EXPECT_EQ(none, Full(none));
    fs::current_path(old);
}

TEST(FileNames, BackupExtensionsFormOneSeries) {
    std::istringstream rows("=.~ .txt=.~xt txt=~xt .a=.~ .a1=.~ .ab1=.~ .abc=.~bc .~=.~1 ~=~1 .~9=.~10 .~19=.~20 "
                            ".~98=.~99 .~99=- .~x=.~1 .~x1=.~1 .~xt=.~1t .~9t=.~10 .~9ab=.~10b .~123=.~133 .~993=- "
                            "a=~ 1=~ .~\xB2=.~1");
    for (std::string row; rows >> row;) {
        const std::string input = row.substr(0, row.find('=')), next = row.substr(row.find('=') + 1);
        std::vector<char> ext(std::max<std::size_t>(5, input.size() + 3), 'z'); // no byte more than promised
        std::strcpy(ext.data(), input.c_str());
        EXPECT_EQ(next != "-", HFile::GetNextBackupExt(ext.data())) << row;
        EXPECT_EQ(next != "-" ? next : input, ext.data());
    }
}

TEST_F(OnFiles, TempDirFollowsTheEnvironment) {
    const std::string at = dir.Path(), deep = at + std::string(300, '/');
    for (const char* name : {"TMP", "TEMP", "TMPDIR"}) unsetenv(name);
    // One after the other.
    for (const auto& [name, value, found] : {std::tuple{"TMP", ""s, "/var/tmp\\"s},
                                             {"TMPDIR", at, at + "\\"},
                                             {"TEMP", "/none", at + "\\"},
                                             {"TMP", deep, at + "\\"}, // not cut, which would be another
                                             {"TMP", "/dev/null", at + "\\"},
                                             {"TEMP", at + "/", at + "/"},
                                             {"TMP", at, at + "\\"}}) {
        setenv(name, value.c_str(), 1);
        HFile::GetTempDir(buf, 261);
        EXPECT_EQ(found, buf);
    }
    for (const char* name : {"TMP", "TEMP", "TMPDIR"}) unsetenv(name);
    HFile::GetTempDir(buf, 5);
    EXPECT_STREQ("/tmp", buf);
    EXPECT_ASSERT_HALT("HFile", HFile::GetTempDir(nullptr, 5));
    EXPECT_ASSERT_HALT("HFile", HFile::GetTempDir(buf, 0));
}

TEST_F(OnFiles, NamesAreBuiltFromTheirPartsAndTheFilesArePrivate) {
    const std::string at = dir.Path() + "\\", part(80, 'p');
    HFile files[40], *file = files; // many within one tick of the clock
    const mode_t mask = umask(0277);
    for (const auto& [prefix, ext, head, tail] :
         {std::tuple<const char*, const char*, std::string, std::string>{nullptr, nullptr, "~hf", ".tmp"},
          {"", "", "", ""},
          {"c", ".", "c", "."},
          {part.c_str(), part.c_str(), part.substr(0, 63), "." + part.substr(0, 62)}}) {
        for (const bool seqWrite : {false, true, false, true, false, true, false, true, false, true}) {
            std::vector<char> name(396);
            ASSERT_TRUE(HFile::CreateTempFile(*file, name.data(), prefix, ext, dir.Path().c_str(), seqWrite));
            const std::string got = name.data(), number = got.substr(at.size() + head.size());
            EXPECT_EQ(at + head + std::to_string(std::stoi(number)) + tail, got);
            EXPECT_EQ(0600u, ModeOf(dir.File(got.substr(at.size())))); // the very file that the name says
            file->ReadBytes(buf, 1);
            EXPECT_EQ(seqWrite ? resNoPermission : resDone, file++->res);
        }
    }
    umask(mask);
    EXPECT_EQ(40u, dir.Count());
    EXPECT_FALSE(HFile::CreateTempFile(f, buf, "", "", "/none/x", false) || f.res != resIllegalPath);
    const std::string full = dir.Path() + std::string(260 - dir.Path().size(), '/'),
                      deep = dir.Path() + "/" + std::string(260 - dir.Path().size(), 'x');
    EXPECT_TRUE(HFile::CreateTempFile(f, std::vector<char>(396).data(), "", "", full.c_str(), false));
    f.Close();
    EXPECT_FALSE(HFile::CreateTempFile(f, buf, "", "", deep.substr(0, 260).c_str(), false) || f.res != resIllegalName ||
                 *buf);
    EXPECT_ASSERT_HALT("HFile", HFile::CreateTempFile(f, nullptr, "", "", "", false));
    EXPECT_ASSERT_HALT("HFile", HFile open(HandleOf(0)); HFile::CreateTempFile(open, buf, "", "", "", false));
}

} // namespace
