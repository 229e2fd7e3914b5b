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
    const std::string at = dir.Path(), deep = at + std::string(300, '/');
    const char* const here = at.c_str();
    const std::tuple<const char*, const char*, const char*, std::size_t, std::string> rows[] = {
        {here, "/", "/", 261, at + "\\"},
        {"/none", here, "/", 261, at + "\\"},
        {"", nullptr, here, 261, at + "\\"},
        {nullptr, nullptr, nullptr, 261, "/var/tmp\\"},
        {here, "", "", 5, at.substr(0, 4)},
        {deep.c_str(), "", "", 261, deep.substr(0, 260)},
        {here, "", "", 1, ""}};
    for (const auto& row : rows) {
        EXPECT_HALT(std::get<4>(row), { // in a child, as the environment is the process's
            const auto& [tmp, temp, tmpdir, size, found] = row;
            for (const auto& [name, value] : {std::pair{"TMP", tmp}, {"TEMP", temp}, {"TMPDIR", tmpdir}}) {
                value ? setenv(name, value, 1) : unsetenv(name);
            }
            std::vector<char> buf(size);
            HFile::GetTempDir(buf.data(), static_cast<int>(size));
            halt_trap::SendHome(buf.data());
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
        {part.c_str(), part.c_str(), part.substr(0, 63), "." + part.substr(0, 62)}};
    HFile files[sizeof rows / sizeof *rows][10]; // many within one tick of the clock
    bool seqWrite = false;
    for (auto& same : files) {
        const auto& [prefix, ext, head, tail] = rows[&same - files];
        for (HFile& f : same) {
            std::vector<char> name(396);
            ASSERT_TRUE(HFile::CreateTempFile(f, name.data(), prefix, ext, dir.Path().c_str(), seqWrite = !seqWrite));
            const std::string got = name.data();
            ASSERT_EQ(at + head, got.substr(0, at.size() + head.size()));
            const std::string number = got.substr(at.size() + head.size());
            EXPECT_EQ(std::to_string(std::stoi(number)) + tail, number);
            EXPECT_EQ(0600u, ModeOf(dir.File(got.substr(at.size())))); // the very file that the name says
            char c;
            f.ReadBytes(&c, 1);
            EXPECT_EQ(seqWrite ? resNoPermission : resDone, f.res);
        }
    }
    EXPECT_EQ(10 * sizeof rows / sizeof *rows, dir.Count());
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
    EXPECT_ASSERT_HALT("HFile", HFile f(HandleOf(0)); char n[396]; HFile::CreateTempFile(f, n, "", "", "", false));
}

} // namespace
