// What halts, and with which text; the typed forms, the settings and the owner test; where the swap file lies. Bytes,
// cache and allocator are followed step by step by the random test.
#include "support/halt_trap.h"
#include "support/temp_dir.h"
#include "support/vmem_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <thread>

namespace {

// Acts in a child, on an object with two pages and a block of 100 bytes, of which the first one is cached.
void ExpectHalt(const std::string& text, const std::function<void(VMem&)>& act) {
    EXPECT_HALT(text, VMem m; AllocPages(m, 2); std::int32_t adr; m.Alloc(adr, 100); ByteAt(m, adr); act(m));
}

TEST(VMemHalts, ArgumentsAreTestedInOrder) {
    const char* noLength = "VMem, CheckAdr():\nlength of specified virt.memory must be >0";
    const char* below = "VMem, CheckAdr():\nillegal address (<0)";
    const char* above = "VMem, CheckAdr():\nillegal address (>max.address)";
    const char* noPage = "VMem, DeallocPage():\naddress is not a page address";
    const struct {
        std::int32_t adr;
        std::int16_t len;
        const char* get;
        const char* set;
    } transfers[] = {
        {-7, 0, "no halt", "no halt"},
        {-7, -1, noLength, noLength},
        {-1, 4, below, below},
        {INT32_MIN, 32767, below, below},
        {101, 2048, above, above},
        {INT32_MAX, 32767, above, above},
        {2147, 1, "VMem, Get():\nbuffer address must not be 0", "VMem, Set():\nbuffer address must not be 0"},
    };
    for (const auto& row : transfers) {
        SCOPED_TRACE(std::to_string(row.adr) + ", " + std::to_string(row.len));
        ExpectHalt(row.get, [&](VMem& m) { m.Get(row.adr, nullptr, row.len); });
        ExpectHalt(row.set, [&](VMem& m) { m.Set(row.adr, nullptr, row.len); });
    }
    char buf[49];
    ExpectHalt("no halt", [&](VMem& m) { m.Get(2100, buf, 48); });
    ExpectHalt(above, [&](VMem& m) { m.Get(2100, buf, 49); });
    ExpectHalt("VMem, CopyBytes():\nlen must be >=0", [](VMem& m) { m.CopyBytes(5, 5, -1); });
    ExpectHalt("no halt", [](VMem& m) { m.CopyBytes(-5, -9, 0), m.CopyBytes(-5, -5, 9); });
    ExpectHalt(below, [](VMem& m) { m.CopyBytes(0, -1, 10); });
    ExpectHalt(above, [](VMem& m) { m.CopyBytes(INT32_MAX - 5, 0, 2000); });

    std::int32_t adr = 0;
    ExpectHalt("VMem, Alloc():\nlen must be >0", [&](VMem& m) { m.Alloc(adr, 0); });
    ExpectHalt("VMem, Dealloc0():\nlen must be >0", [&](VMem& m) { m.Dealloc(adr, -1); });
    ExpectHalt(below, [&](VMem& m) { m.DeallocPage(adr), m.Dealloc(adr, 1024); });
    ExpectHalt(noPage, [&](VMem& m) { m.DeallocPage(adr), m.DeallocPage(adr); });
    ExpectHalt(above, [&](VMem& m) { m.Dealloc(adr = 2145, 1); });
    ExpectHalt(above, [&](VMem& m) { m.DeallocPage(adr = 2048); });
    ExpectHalt(below, [&](VMem& m) { m.DeallocPage(adr = -1024); });
}

TEST(VMemHalts, SpaceEndsBelowTheGreatestAddress) {
    const auto takeAbove = [](std::int32_t top, std::int16_t len) {
        VMem m;
        std::int32_t adr;
        for (; top > 32767; top -= 32767) m.Alloc(adr, 32767);
        m.Alloc(adr, static_cast<std::int16_t>(top));
        len == 0 ? m.AllocPage(adr) : m.Alloc(adr, len);
        ByteAt(m, adr + std::max<int>(len, 1024) - 1);
    };
    EXPECT_HALT("no halt", takeAbove(INT32_MAX - 1100, 1100));
    EXPECT_HALT("VMem, Alloc():\nillegal address (>max.address)", takeAbove(INT32_MAX - 1100, 1101));
    EXPECT_HALT("no halt", takeAbove(INT32_MAX - 2047, 0));
    EXPECT_HALT("VMem, AllocPage():\nillegal address (>max.address)", takeAbove(INT32_MAX - 2046, 0));
}

TEST(VMemHalts, EachOperationOnAnotherThread) {
    std::int32_t adr = -1;
    const std::function<void(VMem&)> acts[] = {
        [&](VMem& m) { m.Get(-1, nullptr, 0); }, [&](VMem& m) { m.Set(-1, nullptr, 0); },
        [&](VMem& m) { m.CopyBytes(0, 0, 0); },  [&](VMem& m) { m.GetCacheSize(); },
        [&](VMem& m) { m.GetMaxCacheSize(); },   [&](VMem& m) { m.SetMaxCacheSize(-1); },
        [&](VMem& m) { m.GetTempDir(); },        [&](VMem& m) { m.SetTempDir(nullptr); },
        [&](VMem& m) { m.FlushCache(); },        [&](VMem& m) { m.ReleaseCache(); },
        [&](VMem& m) { m.Alloc(adr, 0); },       [&](VMem& m) { m.AllocPage(adr); },
        [&](VMem& m) { m.Dealloc(adr, 0); },     [&](VMem& m) { m.DeallocPage(adr); },
        [&](VMem& m) { m.DeallocAll(); },        [&](VMem& m) { m.~VMem(); },
    };
    for (const auto& act : acts) {
        SCOPED_TRACE(&act - acts);
        EXPECT_ASSERT_HALT("VMem", VMem& m = *new VMem; std::thread([&] { act(m); }).join());
    }
    VMem parents;
    EXPECT_ASSERT_HALT("VMem", parents.GetCacheSize());
    EXPECT_HALT("no halt", parents.WriteStatus());
}

// Leaves room for `bytes` in any file that the process writes.
void LimitFiles(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(VMemHalts, SwapFileFailures) {
    const auto write = [](rlim_t room) { return [=](VMem& m) { LimitFiles(room), m.Set(1024, 'x'), m.FlushCache(); }; };
    const auto readBack = [](off_t size) {
        return [=](VMem& m) {
            m.Set(0, 'x'), m.ReleaseCache();
            if (truncate(SwapFiles().at(0).first.c_str(), size) == 0) ByteAt(m, 0);
        };
    };
    ExpectHalt("no halt", write(2048));
    ExpectHalt("VMem, FlushCachePtr():\nwriting on swap file failed (disk full?)", write(2047));
    ExpectHalt("VMem, FlushCachePtr():\nwriting on swap file failed (disk full?)", write(1024));
    ExpectHalt("VMem, ExtendFile():\nwriting on swap file failed (disk full?)", write(1023));
    ExpectHalt("no halt", readBack(1024));
    ExpectHalt("VMem, FindPage():\nreading from swap file failed", readBack(1023));
}

int halts;

// A halt procedure that comes back is promised little, but no byte need be lost.
TEST(VMemHalts, PageThatCouldNotBeWrittenIsStillCached) {
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
    EXPECT_NE(std::string::npos, StateOf(m).find("\n  page 2048 dirty spare\n"));
    m.ReleaseCache();
    EXPECT_EQ('x', ByteAt(m, 2048));
    m.ReleaseCache();
    EXPECT_EQ(0, truncate(SwapFiles().at(0).first.c_str(), 0));
    ByteAt(m, 2048);
    DeinstallHaltProc();
    EXPECT_EQ(3, halts);
    EXPECT_EQ(0, m.GetCacheSize()) << "a page that could not be read is cached";
    EXPECT_TRUE(CheckVMem(m, false, stderr));
}

// What is written with the victim, or read ahead, shows in nothing but time: neither in when a disk is full, nor later
// in what is read.
TEST(VMemHalts, PagesThatGoTogetherFailAsAlone) {
    VMem m;
    AllocPages(m, 400);
    m.SetMaxCacheSize(260); // 256 pages
    for (int i = 0; i < 256; ++i) m.Set(i * 1024, i);
    halts = 0;
    InstallHaltProc([](const char*) { ++halts; });
    LimitFiles(40 * 1024 + 100);
    for (int i = 256; i < 400; ++i) ByteAt(m, i * 1024);
    LimitFiles(RLIM_INFINITY);
    DeinstallHaltProc();
    EXPECT_EQ(400 - 256 - 40, halts);
    EXPECT_NE(std::string::npos, StateOf(m).find(" fileSize 40960 "));
    EXPECT_TRUE(CheckVMem(m, true, stderr));
    for (int i = 0; i < 256; ++i) EXPECT_EQ(i, ByteAt(m, i * 1024));
}

TEST(VMem, PageThatIsWrittenAfterItWasReadAheadIsNew) {
    VMem m;
    AllocPages(m, 1000);
    m.SetMaxCacheSize(260);
    for (int i = 0; i < 1000; ++i) m.Set(i * 1024, 'a');
    m.ReleaseCache();
    for (int i = 140; i >= 120; --i) m.Set(i * 1024, 'b');
    for (int i = 999; i >= 789; --i) ByteAt(m, i * 1024);
    for (int i = 80; i < 141; ++i) EXPECT_EQ(i < 120 ? 'a' : 'b', ByteAt(m, i * 1024)) << i; // 103 fills the cache
}

// Stores across a page boundary, so that neither alignment nor width is taken for granted.
template <typename T>
void RoundTrip(T value, int width) {
    VMem m;
    AllocPages(m, 2);
    const std::string ground(32, '\x5A');
    m.Set(1008, ground.data(), 32);
    m.Set(1023, value);
    T back{};
    m.Get(1023, back);
    EXPECT_EQ(value, back);
    EXPECT_NE(0x5A, ByteAt(m, 1023 + width - 1)) << "not as wide as " << width;
    EXPECT_EQ(0x5A, ByteAt(m, 1023 + width)) << "wider than " << width;
}

TEST(VMem, TypedFormsMoveTheirWidth) {
    RoundTrip<char>('\x81', 1);
    RoundTrip<signed char>(-3, 1);
    RoundTrip<unsigned char>(200, 1);
    RoundTrip<short>(-30000, 2);
    RoundTrip<unsigned short>(60000, 2);
    RoundTrip<int>(-2000000000, 4);
    RoundTrip<unsigned int>(4000000000U, 4);
    RoundTrip<long>(-2000000000, sizeof(long));
    RoundTrip<unsigned long>(~0UL - 5, sizeof(long));
    RoundTrip<long long>(INT64_MIN + 7, 8);
    RoundTrip<unsigned long long>(UINT64_MAX - 7, 8);
    RoundTrip<float>(-1.5F, 4);
    RoundTrip<double>(-1.1, 8);
    RoundTrip<long double>(-1.25L, 8);
    RoundTrip<void*>(reinterpret_cast<void*>(UINTPTR_MAX - 9), sizeof(void*));
}

TEST(VMem, SettingsAreKept) {
    const struct {
        std::int16_t kb, kept, full;
    } rows[] = {{4000, 4000, 3999}, {-5, 0, 1}, {1, 1, 1}, {2, 2, 1}, {4, 4, 3}, {32767, 32767, 32766}};
    VMem m;
    EXPECT_EQ(4000, m.GetMaxCacheSize());
    AllocPages(m, 32400);
    for (const auto& row : rows) {
        m.SetMaxCacheSize(row.kb);
        for (std::int32_t i = 0; i < 32400; ++i) ByteAt(m, i * 1024);
        EXPECT_EQ(row.kept, m.GetMaxCacheSize());
        EXPECT_EQ(row.full, m.GetCacheSize()) << row.kb;
        EXPECT_TRUE(CheckVMem(m, false, stderr));
    }
    EXPECT_TRUE(SwapFiles().empty()) << "made for clean pages";
    EXPECT_EQ(nullptr, m.GetTempDir());
    m.SetTempDir(std::string("/somewhere").c_str());
    m.SetTempDir(m.GetTempDir());
    m.DeallocAll();
    EXPECT_STREQ("/somewhere", m.GetTempDir());
    EXPECT_EQ(32767, m.GetMaxCacheSize());
    m.SetTempDir("");
    EXPECT_EQ(nullptr, m.GetTempDir());
}

// The directory that the swap file comes to lie in.
std::string Chosen(const std::string& dir) {
    VMem m;
    m.SetTempDir(dir.c_str());
    AllocPages(m, 1);
    m.Set(0, 'x');
    m.FlushCache();
    const std::filesystem::path path = SwapFiles().at(0).second;
    EXPECT_FALSE(std::filesystem::exists(path));
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

TEST(VMem, SwapFileLiesInTheFirstUsableDirectory) {
    TempDir a;
    TempDir b;
    TempDir c;
    const std::string fits = OfLength(a, 254);
    std::string backslashes = a.Path() + "\\";
    std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
    const struct {
        std::string dir, tmp, temp, tmpdir, chosen;
    } rows[] = {
        {a.Path() + "/", b.Path(), "", "", a.Path()},
        {backslashes, "", "", "", a.Path()},
        {a.File("missing"), b.Path(), c.Path(), "", b.Path()},
        {"", a.File("missing"), c.Path(), "", c.Path()},
        {"", "", "", c.Path(), c.Path()},
        {fits, b.Path(), "", "", fits},
        {fits + "/", b.Path(), "", "", fits},
        {OfLength(a, 255), b.Path(), "", "", b.Path()},
        {OfLength(a, 3000), OfLength(b, 268), OfLength(c, 400), OfLength(c, 255), "/var/tmp"},
    };
    for (const auto& row : rows) {
        setenv("TMP", row.tmp.c_str(), 1);
        setenv("TEMP", row.temp.c_str(), 1);
        setenv("TMPDIR", row.tmpdir.c_str(), 1);
        EXPECT_EQ(row.chosen, Chosen(row.dir)) << &row - rows;
    }
    for (const char* name : {"TMP", "TEMP", "TMPDIR"}) unsetenv(name);

    for (int i = 0; i < 999; ++i) std::filesystem::create_directory(a.File("~vmem" + std::to_string(i) + ".tmp"));
    EXPECT_EQ(a.Path(), Chosen(a.Path()));
    std::filesystem::create_directory(a.File("~vmem999.tmp"));
    EXPECT_HALT("VMem, FlushCachePtr():\nswap file creation failed", Chosen(a.Path()));
}

} // namespace
