// The swap file: whose it may be, that it is gone, transfers at an offset, directories.
#include "platform/swap_file.h"

#include "tests/platform/platform_test.h"

namespace {

TEST(SwapFile, IsPrivateAndHasNoNameAsSoonAsItIsOpen) {
    const TempDir dir;
    const mode_t mask = umask(0);
    for (const char* name : {"fresh", "leftover"}) {
        if (name[0] == 'l') chmod(dir.Write(name, "old bytes").c_str(), 0644);
        const FileHandle h = OpenSwapFile((dir.Path() + "\\" + name).c_str());
        ASSERT_NE(InvalidHandle, h) << name;
        EXPECT_EQ(0U, dir.Count()) << name;
        EXPECT_EQ(0600U, StateOf(h).st_mode & 07777U) << name;
        EXPECT_EQ(0, FileSize(h));
        EXPECT_EQ(FD_CLOEXEC, fcntl(DescriptorOf(h), F_GETFD));
        CloseFile(h);
    }
    umask(mask);
}

TEST(SwapFile, WhatOthersMayHaveAnInterestInIsLeftAlone) {
    const TempDir dir;
    for (const char* name : {"target", "linked", "held", "foreign"}) dir.Write(name, name);
    ASSERT_EQ(0, link(dir.File("linked").c_str(), dir.File("linked2").c_str()));
    ASSERT_EQ(0, symlink("target", dir.File("symlink").c_str()));
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    ASSERT_EQ(0, mkdir(dir.File("directory").c_str(), 0700));
    const FileHandle holder = OpenAs(dir.File("held"));
    const std::size_t before = dir.Count();
    for (const auto& [name, error] : {std::pair("linked", 5U),
                                      {"symlink", 161U},
                                      {"dangling", 161U},
                                      {"fifo", 5U},
                                      {"directory", 5U},
                                      {"missing/swap.tmp", 3U},
                                      {"held", 32U},
                                      {"foreign", 5U}}) {
        if (error == 5 && name[1] == 'o' && chown(dir.File(name).c_str(), 65534, 65534) != 0) continue; // not root
        SetLastError(0);
        EXPECT_EQ(InvalidHandle, OpenSwapFile(dir.File(name).c_str())) << name;
        EXPECT_EQ(error, GetLastError()) << name;
    }
    EXPECT_EQ(before, dir.Count());
    for (const char* name : {"target", "linked", "held", "foreign"}) EXPECT_EQ(name, dir.Read(name));
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
    const std::string path = dir.Path(), before = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "";
    for (const std::string& tmpdir : {path, std::string(), std::string("/no/such")}) {
        setenv("TMPDIR", tmpdir.c_str(), 1);
        EXPECT_EQ(tmpdir == path ? path : "/var/tmp", FallbackTempDir(path.size() + 1));
        EXPECT_STREQ("/var/tmp", FallbackTempDir(path.size()));
        EXPECT_EQ(tmpdir == path, DirectoryUsable(tmpdir.c_str()));
    }
    before.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", before.c_str(), 1);
    EXPECT_TRUE(!DirectoryUsable(nullptr) && DirectoryUsable((path + "\\.\\").c_str()));
}

} // namespace
