// The swap file: whose it may be, that it is gone, transfers at an offset, directories.
#include "platform/swap_file.h"

#include "tests/platform/platform_test.h"

#include <tuple>

namespace {

TEST(SwapFile, IsPrivateAndHasNoNameAsSoonAsItIsOpen) {
    const TempDir dir;
    dir.Write("leftover", "old bytes");
    chmod(dir.File("leftover").c_str(), 0644);
    const mode_t mask = umask(0);
    for (const char* name : {"fresh", "leftover"}) {
        const FileHandle h = OpenSwapFile((dir.Path() + "\\" + name).c_str());
        ASSERT_NE(InvalidHandle, h) << name;
        EXPECT_EQ(0U, dir.Count() - (name[0] == 'f' ? 1 : 0)) << name;
        EXPECT_EQ(0600U, StateOf(h).st_mode & 07777U) << name;
        EXPECT_EQ(0, FileSize(h));
        EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
        CloseFile(h);
    }
    umask(mask);
}

TEST(SwapFile, WhatOthersMayHaveAnInterestInIsLeftAlone) {
    const TempDir dir;
    dir.Write("target", "target");
    dir.Write("linked", "linked");
    const std::string held = dir.Write("held", "held");
    ASSERT_EQ(0, link(dir.File("linked").c_str(), dir.File("linked2").c_str()));
    ASSERT_EQ(0, symlink("target", dir.File("symlink").c_str()));
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    ASSERT_EQ(0, mkdir(dir.File("directory").c_str(), 0700));
    const FileHandle holder = OpenAs(held);
    const std::size_t before = dir.Count();
    const std::pair<std::string, std::uint32_t> rows[] = {{"linked", 5}, {"symlink", 161}, {"dangling", 161},
                                                          {"fifo", 5},   {"directory", 5}, {"missing/swap.tmp", 3},
                                                          {"held", 32}};
    for (const auto& row : rows) {
        EXPECT_EQ(row.second, ErrorOf([&] { EXPECT_EQ(InvalidHandle, OpenSwapFile(dir.File(row.first).c_str())); }))
            << row.first;
    }
    if (geteuid() == 0) {
        dir.Write("foreign", "foreign");
        ASSERT_EQ(0, chown(dir.File("foreign").c_str(), 65534, 65534));
        EXPECT_EQ(5U, ErrorOf([&] { OpenSwapFile(dir.File("foreign").c_str()); }));
        EXPECT_EQ("foreign", dir.Read("foreign"));
        unlink(dir.File("foreign").c_str());
    }
    EXPECT_EQ(before, dir.Count());
    for (const char* name : {"target", "linked", "held"}) EXPECT_EQ(name, dir.Read(name));
    EXPECT_EQ(-1, access(dir.File("nowhere").c_str(), F_OK));
    CloseFile(holder);
}

TEST(SwapFile, TransfersTellShortFromFailedFromUnreachable) {
    const TempDir dir;
    const FileHandle h = OpenSwapFile(dir.File("swap").c_str());
    bool seekFailed = true;
    char buf[8] = "";
    EXPECT_TRUE(WriteAt(h, "abcd", 4, 0x7FFFFFFE, &seekFailed) == 4 && !seekFailed);
    EXPECT_EQ(3, ReadAt(h, buf, sizeof buf, 0x7FFFFFFF, &seekFailed)); // up to the end
    EXPECT_STREQ("bcd", buf);
    EXPECT_EQ(0, ReadAt(h, buf, 1, 0x80000002, &seekFailed));
    EXPECT_TRUE(ReadAt(h, buf, 1, -1, &seekFailed) == -1 && seekFailed);
    EXPECT_TRUE(WriteAt(h, buf, 1, -1, &seekFailed) == -1 && seekFailed);
    CloseFile(h);
    EXPECT_EQ(6U, ErrorOf([&] { EXPECT_TRUE(WriteAt(h, buf, 1, 0, &seekFailed) == -1 && !seekFailed); }));
}

TEST(SwapFile, LastResortIsTheFirstUsableDirectory) {
    const TempDir dir;
    const char* const path = dir.Path().c_str();
    const std::size_t size = dir.Path().size();
    const std::tuple<const char*, std::size_t, std::string> rows[] = {
        {path, 260, path},     {path, size + 1, path},        {path, size, "/var/tmp"},
        {"", 260, "/var/tmp"}, {"/no/such", 260, "/var/tmp"}, {nullptr, 260, "/var/tmp"}};
    const char* const old = Environment("TMPDIR");
    const std::string before = old ? old : "";
    for (const auto& [tmpdir, maxLength, expected] : rows) {
        tmpdir ? setenv("TMPDIR", tmpdir, 1) : unsetenv("TMPDIR");
        EXPECT_EQ(expected, FallbackTempDir(maxLength));
        EXPECT_EQ(tmpdir == path, DirectoryUsable(tmpdir));
    }
    old ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR");
    EXPECT_TRUE(DirectoryUsable((dir.Path() + "\\.\\").c_str()));
}

} // namespace
