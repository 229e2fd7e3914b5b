// HFile: backup extensions, temporary files.
#include "hostfile/hfile.h"

#include "hostfile/faulty_calls.h"
#include "support/halt_trap.h"
#include "support/temp_dir.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

TEST(TempFiles, BackupExtensionsOfTheTable) {
    const struct {
        const char *input, *output;
        bool more;
    } rows[] = {
        {"", ".~", true},       {".", ".~", true},        {".txt", ".~xt", true},   {"txt", "~xt", true},
        {".a", ".~", true},     {".a1", ".~", true},      {".ab1", ".~", true},     {".abc", ".~bc", true},
        {".~", ".~1", true},    {"~", "~1", true},        {".~1", ".~2", true},     {".~9", ".~10", true},
        {".~10", ".~11", true}, {".~19", ".~20", true},   {".~98", ".~99", true},   {".~99", ".~99", false},
        {".~x", ".~1", true},   {".~x1", ".~1", true},    {".~xt", ".~1t", true},   {".~1t", ".~2t", true},
        {".~9t", ".~10", true}, {".~9ab", ".~10b", true}, {".~123", ".~133", true}, {".~993", ".~993", false},
        {"a", "~", true},       {"1", "~", true},         {".~\xB2", ".~1", true},
    };
    for (const auto& row : rows) {
        std::vector<char> ext(std::max<std::size_t>(5, std::strlen(row.input) + 3)); // no byte more than promised
        std::strcpy(ext.data(), row.input);
        EXPECT_EQ(row.more, HFile::GetNextBackupExt(ext.data())) << row.input;
        EXPECT_STREQ(row.output, ext.data()) << row.input;
    }
    for (const char* start : {"", ".txt"}) {
        char ext[8];
        std::strcpy(ext, start);
        int steps = 0;
        while (HFile::GetNextBackupExt(ext)) ++steps;
        EXPECT_EQ(100, steps) << start;
    }
}

std::string TempDirOf(const char* tmp, const char* temp, const char* tmpdir, int size = 261) {
    const std::pair<const char*, const char*> variables[] = {{"TMP", tmp}, {"TEMP", temp}, {"TMPDIR", tmpdir}};
    std::string old[3];
    for (int i = 0; i < 3; ++i) {
        const char* value = std::getenv(variables[i].first);
        old[i] = value ? value : "";
        variables[i].second ? setenv(variables[i].first, variables[i].second, 1) : unsetenv(variables[i].first);
    }
    std::vector<char> dir(static_cast<std::size_t>(size));
    HFile::GetTempDir(dir.data(), size);
    for (int i = 0; i < 3; ++i) {
        old[i].empty() ? unsetenv(variables[i].first) : setenv(variables[i].first, old[i].c_str(), 1);
    }
    return dir.data();
}

TEST(TempFiles, TempDirFollowsTheEnvironment) {
    TempDir dir;
    const std::string a = dir.Path();
    EXPECT_EQ(a + "\\", TempDirOf(a.c_str(), "/", "/"));
    EXPECT_EQ(a + "\\", TempDirOf("/nonexistent", a.c_str(), "/"));
    EXPECT_EQ(a + "\\", TempDirOf("", nullptr, a.c_str()));
    EXPECT_EQ("/var/tmp\\", TempDirOf(nullptr, nullptr, nullptr));
    EXPECT_EQ("", TempDirOf(a.c_str(), nullptr, nullptr, 1));
    EXPECT_EQ(a.substr(0, 4), TempDirOf(a.c_str(), nullptr, nullptr, 5));
    std::string longDir = a;
    for (int i = 0; i < 6; ++i) std::filesystem::create_directory(longDir += "/" + std::string(50, 'd'));
    EXPECT_EQ(longDir.substr(0, 260), TempDirOf(longDir.c_str(), nullptr, nullptr));
    EXPECT_ASSERT_HALT("HFile", HFile::GetTempDir(nullptr, 5));
    EXPECT_ASSERT_HALT("HFile", char c; HFile::GetTempDir(&c, 0));
}

TEST(TempFiles, NamesAreBuiltFromTheirPartsAndTheFilesAreMine) {
    TempDir dir;
    const std::string at = dir.Path() + "\\";
    const std::string longPart(80, 'p');
    const struct {
        const char *prefix, *ext;
        std::string head, tail;
    } rows[] = {
        {nullptr, nullptr, at + "~hf", ".tmp"},
        {"a", "tmp", at + "a", ".tmp"},
        {"", ".x", at, ".x"},
        {"b", "", at + "b", ""},
        {"c", ".", at + "c", "."},
        {longPart.c_str(), longPart.c_str(), at + longPart.substr(0, 63), "." + longPart.substr(0, 62)},
    };
    for (const auto& row : rows) {
        for (const bool seqWrite : {false, true}) {
            HFile f;
            char name[396];
            ASSERT_TRUE(HFile::CreateTempFile(f, name, row.prefix, row.ext, dir.Path().c_str(), seqWrite));
            const std::string got = name;
            ASSERT_EQ(row.head, got.substr(0, row.head.size()));
            ASSERT_EQ(row.tail, got.substr(got.size() - row.tail.size()));
            const std::string number = got.substr(row.head.size(), got.size() - row.head.size() - row.tail.size());
            EXPECT_EQ(std::to_string(std::stoi(number)), number);
            struct stat st;
            ASSERT_EQ(0, fstat(DescriptorOf(f.handle), &st));
            EXPECT_EQ(0600u, st.st_mode & 07777);
            f << "x";
            f.Reset();
            char c;
            f.ReadChar(c);
            EXPECT_EQ(seqWrite ? resNoPermission : resDone, f.res);
            f.Close();
            EXPECT_TRUE(HFile::Remove(name)); // the very file that the name says
        }
    }
    EXPECT_EQ(0u, dir.Count());
}

TEST(TempFiles, TakenNamesAreSkipped) {
    TempDir dir;
    HFile files[50];
    for (HFile& f : files) { // many within one tick of the clock
        char name[396];
        ASSERT_TRUE(HFile::CreateTempFile(f, name, nullptr, nullptr, dir.Path().c_str(), true));
    }
    EXPECT_EQ(50u, dir.Count());
}

TEST(TempFiles, WhatNoOtherNumberMendsEndsAtOnce) {
    TempDir dir;
    const std::string f = dir.Write("f", "");
    const std::pair<std::string, Res> rows[] = {
        {dir.File("none"), resIllegalPath}, {f, resIllegalPath}, {std::string(300, 'd'), resIllegalName}};
    for (const auto& [where, code] : rows) {
        HFile file;
        char name[396];
        EXPECT_FALSE(HFile::CreateTempFile(file, name, nullptr, nullptr, where.c_str(), false));
        EXPECT_EQ(code, file.res);
        EXPECT_FALSE(file.IsOpen());
        EXPECT_EQ(where.substr(0, 260), std::string(name).substr(0, std::min<std::size_t>(260, where.size())));
    }
    chmod(dir.Path().c_str(), 0555);
    EXPECT_EQ(0, InChild(
                     [&] {
                         HFile file;
                         char name[396];
                         HFile::CreateTempFile(file, name, nullptr, nullptr, dir.Path().c_str(), false);
                         return file.res == resNoPermission ? 0 : 1;
                     },
                     true));
    EXPECT_ASSERT_HALT("HFile", HFile file; HFile::CreateTempFile(file, nullptr, "", "", "", false));
    EXPECT_ASSERT_HALT("HFile", HFile file(HandleOf(0)); char name[396];
                       HFile::CreateTempFile(file, name, "", "", "", false));
}

} // namespace
