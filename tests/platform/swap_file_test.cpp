// The swap file: whose it may be, that it is gone, transfers at an offset, directories.
#include "platform/swap_file.h"

#include "tests/platform/platform_test.h"

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
        struct stat st;
        fstat(DescriptorOf(h), &st);
        EXPECT_EQ(0600U, st.st_mode & 07777U) << name;
        EXPECT_EQ(0, st.st_size);
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
    const struct {
        std::string name;
        std::uint32_t error;
    } rows[] = {{"linked", 5},    {"symlink", 161},        {"dangling", 161}, {"fifo", 5},
                {"directory", 5}, {"missing/swap.tmp", 3}, {"held", 32}};
    for (const auto& row : rows) {
        EXPECT_EQ(row.error, ErrorOf([&] { EXPECT_EQ(InvalidHandle, OpenSwapFile(dir.File(row.name).c_str())); }))
            << row.name;
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
    EXPECT_EQ(4, WriteAt(h, "abcd", 4, 0x7FFFFFFE, &seekFailed));
    EXPECT_FALSE(seekFailed);
    char buf[8] = "";
    EXPECT_EQ(3, ReadAt(h, buf, sizeof buf, 0x7FFFFFFF, &seekFailed)); // up to the end
    EXPECT_STREQ("bcd", buf);
    EXPECT_EQ(0, ReadAt(h, buf, 1, 0x80000002, &seekFailed));
    EXPECT_EQ(-1, ReadAt(h, buf, 1, -1, &seekFailed));
    EXPECT_TRUE(seekFailed);
    EXPECT_EQ(-1, WriteAt(h, buf, 1, -1, &seekFailed));
    EXPECT_TRUE(seekFailed);
    CloseFile(h);
    EXPECT_EQ(6U, ErrorOf([&] { EXPECT_EQ(-1, WriteAt(h, buf, 1, 0, &seekFailed)); }));
    EXPECT_FALSE(seekFailed);
}

TEST(SwapFile, LastResortIsTheFirstUsableDirectory) {
    const TempDir dir;
    const struct {
        const char* tmpdir;
        std::size_t maxLength;
        std::string expected;
    } rows[] = {{dir.Path().c_str(), 260, dir.Path()},
                {dir.Path().c_str(), dir.Path().size() + 1, dir.Path()},
                {dir.Path().c_str(), dir.Path().size(), "/var/tmp"},
                {"", 260, "/var/tmp"},
                {"/no/such", 260, "/var/tmp"},
                {nullptr, 260, "/var/tmp"}};
    const char* const old = Environment("TMPDIR");
    const std::string before = old ? old : "";
    for (const auto& row : rows) {
        row.tmpdir ? setenv("TMPDIR", row.tmpdir, 1) : unsetenv("TMPDIR");
        EXPECT_EQ(row.expected, FallbackTempDir(row.maxLength));
    }
    old ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR");
    EXPECT_TRUE(DirectoryUsable((dir.Path() + "\\.\\").c_str()));
    for (const char* none : {static_cast<const char*>(nullptr), "", "/no/such"}) EXPECT_FALSE(DirectoryUsable(none));
}

} // namespace
