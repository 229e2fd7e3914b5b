// The swap file: when it is made, what is in it, where it lies, and what its failures do.
#include "support/halt_trap.h"
#include "support/temp_dir.h"
#include "support/vmem_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

std::string SwapContent() {
    std::ifstream in(SwapFiles().at(0).first, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(SwapFile, HoldsWhatWasPushedOutAtItsAddress) {
    VMem m;
    m.SetMaxCacheSize(2);
    AllocPages(m, 12);
    for (const std::int32_t adr : {0, 1024, 11264}) ByteAt(m, adr);
    EXPECT_TRUE(SwapFiles().empty()) << "made for clean pages";

    for (const std::int32_t adr : {0, 1024, 2048}) m.Set(adr + 1023, static_cast<char>('a' + adr / 1024));
    ASSERT_EQ(1U, SwapFiles().size());
    std::string expected(2048, '\0');
    expected[1023] = 'a';
    expected[2047] = 'b';
    EXPECT_TRUE(SwapContent() == expected) << "two pages are out, the third is cached";
    m.Set(10240, 'z');
    m.FlushCache();
    expected.resize(11264);
    expected[3071] = 'c';
    expected[10240] = 'z';
    EXPECT_TRUE(SwapContent() == expected) << "gaps are zeros";
    m.DeallocAll();
    EXPECT_TRUE(SwapFiles().empty());
}

TEST(SwapFile, IsPrivateAndLeavesNothing) {
    TempDir dir;
    VMem a;
    VMem b;
    for (VMem* m : {&a, &b}) {
        m->SetTempDir(dir.Path().c_str());
        AllocPages(*m, 1);
        m->Set(0, 'x');
        m->ReleaseCache();
    }
    ASSERT_EQ(2U, SwapFiles().size());
    struct stat st[2];
    for (int i = 0; i < 2; ++i) ASSERT_EQ(0, stat(SwapFiles()[static_cast<std::size_t>(i)].first.c_str(), &st[i]));
    EXPECT_NE(st[0].st_ino, st[1].st_ino);
    EXPECT_EQ(0600U, st[0].st_mode & 07777U);
    EXPECT_EQ(0U, dir.Count());
}

// The directory that the swap file comes to lie in.
std::string Chosen(const std::string& dir) {
    VMem m;
    m.SetTempDir(dir.c_str());
    AllocPages(m, 1);
    m.Set(0, 'x');
    m.FlushCache();
    const std::filesystem::path path = SwapFiles().at(0).second;
    int number = -1;
    std::sscanf(path.filename().c_str(), "~vmem%3d", &number);
    return path.filename() == "~vmem" + std::to_string(number) + ".tmp" ? path.parent_path() : path;
}

// A directory below `dir` whose text has `n` bytes.
std::string OfLength(const TempDir& dir, std::size_t n) {
    std::string path = dir.Path();
    while (path.size() < n) path += "/" + std::string(std::min<std::size_t>(n - path.size() - 1, 200), 'd');
    std::filesystem::create_directories(path);
    return path;
}

TEST(SwapFile, LiesInTheFirstUsableDirectory) {
    TempDir own;
    TempDir tmp;
    TempDir temp;
    const std::string fits = OfLength(own, 254);
    std::string backslashes = own.Path() + "\\";
    std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
    const struct {
        std::string dir, tmp, temp, tmpdir, chosen;
    } rows[] = {
        {own.Path(), tmp.Path(), "", "", own.Path()},
        {own.Path() + "/", "", "", "", own.Path()},
        {backslashes, "", "", "", own.Path()},
        {own.File("missing"), tmp.Path(), temp.Path(), "", tmp.Path()},
        {"", own.File("missing"), temp.Path(), "", temp.Path()},
        {"", "", "", temp.Path(), temp.Path()},
        {"", "", "", "", "/var/tmp"},
        {fits, tmp.Path(), "", "", fits},
        {fits + "/", tmp.Path(), "", "", fits},
        {OfLength(own, 255), tmp.Path(), "", "", tmp.Path()},
        {OfLength(own, 3000), OfLength(tmp, 268), OfLength(temp, 400), OfLength(temp, 255), "/var/tmp"},
    };
    for (const auto& row : rows) {
        setenv("TMP", row.tmp.c_str(), 1);
        setenv("TEMP", row.temp.c_str(), 1);
        setenv("TMPDIR", row.tmpdir.c_str(), 1);
        EXPECT_EQ(row.chosen, Chosen(row.dir)) << &row - rows;
    }
    for (const char* name : {"TMP", "TEMP", "TMPDIR"}) unsetenv(name);
}

TEST(SwapFile, TriesEachOfAThousandNames) {
    TempDir dir;
    for (int i = 0; i < 999; ++i) std::filesystem::create_directory(dir.File("~vmem" + std::to_string(i) + ".tmp"));
    EXPECT_EQ(dir.Path(), Chosen(dir.Path()));
    std::filesystem::create_directory(dir.File("~vmem999.tmp"));
    EXPECT_HALT("VMem, FlushCachePtr():\nswap file creation failed", Chosen(dir.Path()));
}

// Leaves room for `bytes` in any file that the process writes.
void LimitFiles(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(SwapFailure, HaltsToTheLetter) {
    const auto writeWithRoom = [](rlim_t room) {
        LimitFiles(room);
        VMem m;
        AllocPages(m, 5);
        m.Set(4096, 'x');
        m.FlushCache();
    };
    EXPECT_HALT("no halt", writeWithRoom(5120));
    EXPECT_HALT("VMem, FlushCachePtr():\nwriting on swap file failed (disk full?)", writeWithRoom(5119));
    EXPECT_HALT("VMem, FlushCachePtr():\nwriting on swap file failed (disk full?)", writeWithRoom(4096));
    EXPECT_HALT("VMem, ExtendFile():\nwriting on swap file failed (disk full?)", writeWithRoom(4095));
    const auto readBackFrom = [](off_t size) {
        VMem m;
        AllocPages(m, 1);
        m.Set(0, 'x');
        m.ReleaseCache();
        if (truncate(SwapFiles().at(0).first.c_str(), size) == 0) ByteAt(m, 0);
    };
    EXPECT_HALT("no halt", readBackFrom(1024));
    EXPECT_HALT("VMem, FindPage():\nreading from swap file failed", readBackFrom(1023));
}

int halts;

// A halt procedure that comes back is promised little, but no byte need be lost.
TEST(SwapFailure, PageThatCouldNotBeWrittenIsStillCached) {
    VMem m;
    AllocPages(m, 3);
    m.SetMaxCacheSize(2);
    m.Set(2048, 'x');
    InstallHaltProc([](const char*) { ++halts; });
    LimitFiles(2048);
    ByteAt(m, 0);
    m.ReleaseCache();
    LimitFiles(RLIM_INFINITY);
    EXPECT_EQ(2, halts);
    EXPECT_EQ("2048 dirty spare", PagesOf(m));
    m.ReleaseCache();
    EXPECT_EQ(0, truncate(SwapFiles().at(0).first.c_str(), 0));
    ByteAt(m, 2048);
    DeinstallHaltProc();
    EXPECT_EQ(3, halts);
    EXPECT_EQ("", PagesOf(m)) << "a page that could not be read is cached";
    EXPECT_TRUE(CheckVMem(m, false, stderr));
}

} // namespace
