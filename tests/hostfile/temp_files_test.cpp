// HFile: backup extensions, temporary files.
#include "hostfile/hostfile_support.h"

#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {

TEST(TempFiles, BackupExtensionsFormOneSeries) {
    std::istringstream rows("=.~ .=.~ .txt=.~xt txt=~xt .a=.~ .a1=.~ .ab1=.~ .abc=.~bc .~=.~1 ~=~1 .~1=.~2 .~9=.~10 "
                            ".~10=.~11 .~19=.~20 .~98=.~99 .~99=- .~x=.~1 .~x1=.~1 .~xt=.~1t .~1t=.~2t .~9t=.~10 "
                            ".~9ab=.~10b .~123=.~133 .~993=- a=~ 1=~ .~\xB2=.~1");
    for (std::string row; rows >> row;) {
        const std::string input = row.substr(0, row.find('=')), next = row.substr(row.find('=') + 1);
        std::vector<char> ext(std::max<std::size_t>(5, input.size() + 3), 'z'); // no byte more than promised
        std::strcpy(ext.data(), input.c_str());
        EXPECT_EQ(next != "-", HFile::GetNextBackupExt(ext.data())) << row;
        EXPECT_EQ(next != "-" ? next : input, ext.data());
    }
    char ext[8] = ".txt";
    int steps = 0;
    while (HFile::GetNextBackupExt(ext)) ++steps;
    EXPECT_EQ(100, steps);
}

TEST(TempFiles, TempDirFollowsTheEnvironment) {
    const TempDir dir;
    const std::string at = dir.Path();
    std::string deep = at;
    for (int i = 0; i < 6; ++i) fs::create_directory(deep += "/" + std::string(50, 'd'));
    const struct {
        const char *tmp, *temp, *tmpdir;
        int size;
        std::string found;
    } rows[] = {
        {at.c_str(), "/", "/", 261, at + "\\"},
        {"/none", at.c_str(), "/", 261, at + "\\"},
        {"", nullptr, at.c_str(), 261, at + "\\"},
        {nullptr, nullptr, nullptr, 261, "/var/tmp\\"},
        {at.c_str(), nullptr, nullptr, 1, ""},
        {at.c_str(), nullptr, nullptr, 5, at.substr(0, 4)},
        {deep.c_str(), nullptr, nullptr, 261, deep.substr(0, 260)},
    };
    for (const auto& row : rows) {
        EXPECT_HALT(row.found, { // in a child, as the environment is the process's
            const std::pair<const char*, const char*> set[] = {
                {"TMP", row.tmp}, {"TEMP", row.temp}, {"TMPDIR", row.tmpdir}};
            for (const auto& [name, value] : set) value ? setenv(name, value, 1) : unsetenv(name);
            std::vector<char> found(static_cast<std::size_t>(row.size));
            HFile::GetTempDir(found.data(), row.size);
            halt_trap::SendHome(found.data());
        });
    }
    EXPECT_ASSERT_HALT("HFile", HFile::GetTempDir(nullptr, 5));
    EXPECT_ASSERT_HALT("HFile", char c; HFile::GetTempDir(&c, 0));
}

TEST(TempFiles, NamesAreBuiltFromTheirPartsAndTheFilesArePrivate) {
    const TempDir dir;
    const std::string at = dir.Path() + "\\", part(80, 'p');
    const std::tuple<const char*, const char*, std::string, std::string> rows[] = {
        {nullptr, nullptr, "~hf", ".tmp"},
        {"a", "tmp", "a", ".tmp"},
        {"", ".x", "", ".x"},
        {"b", "", "b", ""},
        {"c", ".", "c", "."},
        {part.c_str(), part.c_str(), part.substr(0, 63), "." + part.substr(0, 62)},
    };
    for (const auto& [prefix, ext, head, tail] : rows) {
        for (const bool seqWrite : {false, true}) {
            HFile f;
            std::vector<char> name(396);
            ASSERT_TRUE(HFile::CreateTempFile(f, name.data(), prefix, ext, dir.Path().c_str(), seqWrite));
            const std::string got = name.data();
            ASSERT_EQ(at + head, got.substr(0, at.size() + head.size()));
            const std::string number = got.substr(at.size() + head.size());
            EXPECT_EQ(std::to_string(std::stoi(number)) + tail, number);
            EXPECT_EQ(0600u, ModeOf(dir.File(got.substr(at.size()))));
            char c;
            f.ReadBytes(&c, 1);
            EXPECT_EQ(seqWrite ? resNoPermission : resDone, f.res);
            EXPECT_TRUE(HFile::Remove(name.data())); // the very file that the name says
        }
    }
    HFile files[50];
    for (HFile& f : files) { // many within one tick of the clock
        char name[396];
        ASSERT_TRUE(HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), true));
    }
    EXPECT_EQ(50u, dir.Count());
}

TEST(TempFiles, WhatNoOtherNumberMendsEndsAtOnce) {
    const TempDir dir;
    const std::pair<std::string, Res> rows[] = {{dir.File("none"), resIllegalPath},
                                                {dir.Write("f", ""), resIllegalPath},
                                                {std::string(300, 'd'), resIllegalName},
                                                {dir.Path(), resNoPermission}};
    chmod(dir.Path().c_str(), 0555);
    for (const auto& row : rows) {
        EXPECT_TRUE(AsPlainUser([&row] {
            HFile file;
            char name[396];
            return !HFile::CreateTempFile(file, name, nullptr, nullptr, row.first.c_str(), false) &&
                   file.res == row.second && !file.IsOpen() && std::string(name).find(row.first.substr(0, 260)) == 0;
        })) << row.first;
    }
    chmod(dir.Path().c_str(), 0755);
    EXPECT_ASSERT_HALT("HFile", HFile file; HFile::CreateTempFile(file, nullptr, "", "", "", false));
    EXPECT_ASSERT_HALT("HFile", HFile file(HandleOf(0)); char name[396];
                       HFile::CreateTempFile(file, name, "", "", "", false));
}

} // namespace
