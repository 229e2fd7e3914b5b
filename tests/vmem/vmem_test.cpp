// What halts, and with which text; the typed forms, the settings and the owner test; where the swap file lies. Bytes,
// cache and allocator are followed step by step by the random test.
#include "support/vmem_support.h"
#include "vmem/free_pages.h"

#include <malloc.h>

namespace {

using Acts = std::vector<std::pair<std::string, std::function<void(VMem&)>>>; // each with the text of its halt

// Acts in a child, on an object with two pages and a block of 100 bytes, of which the first one is cached.
void ExpectHalts(const Acts& acts) {
    for (const auto& row : acts) {
        SCOPED_TRACE(row.first);
        EXPECT_HALT(row.first, VMem m; AllocPages(m, 2); std::int32_t adr; m.Alloc(adr, 100); ByteAt(m, adr);
                    row.second(m));
    }
}

TEST(VMemHalts, ArgumentsAreTestedInOrder) {
    const std::string noLength = "VMem, CheckAdr():\nlength of specified virt.memory must be >0";
    const std::string below = "VMem, CheckAdr():\nillegal address (<0)";
    const std::string above = "VMem, CheckAdr():\nillegal address (>max.address)";
    for (const bool set : {false, true}) {
        const auto move = [=](std::int64_t adr, long len) {
            return [=](VMem& m) { set ? m.Set(adr, nullptr, len) : m.Get(adr, nullptr, len); };
        };
        ExpectHalts({{"no halt", move(-7, 0)},
                     {noLength, move(-7, -1)},
                     {noLength, move(0, 65540)},
                     {below, move(-(1LL << 32), 4)},
                     {above, move(1LL << 32, 4)},
                     {below, move(-1, 4)},
                     {below, move(INT32_MIN, 32767)},
                     {above, move(2100, 49)},
                     {above, move(101, 2048)},
                     {above, move(INT32_MAX, 32767)},
                     {set ? "VMem, Set():\nbuffer address must not be 0" : "VMem, Get():\nbuffer address must not be 0",
                      move(2100, 48)}});
    }
    std::int32_t adr = 0;
    ExpectHalts({{"VMem, CopyBytes():\nlen must be >=0", [](VMem& m) { m.CopyBytes(5, 5, -1); }},
                 {"VMem, CopyBytes():\nlen must be >=0", [](VMem& m) { m.CopyBytes(0, 5, 65537U); }},
                 {"no halt", [](VMem& m) { m.CopyBytes(-5, -9, 0), m.CopyBytes(-5, -5, 9); }},
                 {below, [](VMem& m) { m.CopyBytes(0, -1, 10); }},
                 {above, [](VMem& m) { m.CopyBytes(INT32_MAX - 5, 0, 2000); }},
                 {"VMem, Alloc():\nlen must be >0", [&](VMem& m) { m.Alloc(adr, 0); }},
                 {"VMem, Alloc():\nlen must be >0", [&](VMem& m) { m.Alloc(adr, 70000); }},
                 {"VMem, Dealloc0():\nlen must be >0", [&](VMem& m) { m.Dealloc(adr, -1); }},
                 {"VMem, Dealloc0():\nlen must be >0", [&](VMem& m) { m.Dealloc(adr = 2048, 65536L + 100); }},
                 {below, [&](VMem& m) { m.DeallocPage(adr), m.Dealloc(adr, 1024); }},
                 {"VMem, DeallocPage():\naddress is not a page address",
                  [&](VMem& m) { m.DeallocPage(adr), m.DeallocPage(adr); }},
                 {above, [&](VMem& m) { m.Dealloc(adr = 2145, 1); }},
                 {above, [&](VMem& m) { m.DeallocPage(adr = 2048); }},
                 {below, [&](VMem& m) { m.DeallocPage(adr = -1024); }}});
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
        [&](VMem& m) { m.Get(-1, nullptr, 0); },
        [&](VMem& m) { m.Set(-1, nullptr, 0); },
        [&](VMem& m) { m.CopyBytes(0, 0, 0); },
        [&](VMem& m) { m.GetCacheSize(); },
        [&](VMem& m) { m.GetMaxCacheSize(); },
        [&](VMem& m) { m.SetMaxCacheSize(-1); },
        [&](VMem& m) { m.SetCacheLimit(1); },
        [&](VMem& m) { m.GetCacheLimit(); },
        [&](VMem& m) { m.GetCacheUse(); },
        [&](VMem& m) { m.GetTempDir(); },
        [&](VMem& m) { m.SetTempDir(nullptr); },
        [&](VMem& m) { m.FlushCache(); },
        [&](VMem& m) { m.ReleaseCache(); },
        [&](VMem& m) { m.Alloc(adr, 0); },
        [&](VMem& m) { m.AllocPage(adr); },
        [&](VMem& m) { m.Dealloc(adr, 0); },
        [&](VMem& m) { m.DeallocPage(adr); },
        [&](VMem& m) { m.DeallocAll(); },
        [&](VMem& m) { m.~VMem(); },
        [&](VMem& m) { m.GetSpaceUsed(); },
        [&](VMem& m) { m.GetSpaceFree(); },
        [&](VMem& m) { m.GetSwapFileSize(); },
    };
    for (const auto& act : acts) {
        SCOPED_TRACE(&act - acts);
        EXPECT_ASSERT_HALT("VMem", VMem& m = *new VMem; std::thread([&] { act(m); }).join());
    }
    VMem parents;
    EXPECT_ASSERT_HALT("VMem", parents.GetCacheSize());
    EXPECT_HALT("no halt", parents.WriteStatus());
}

// What may be given for a length, and for an address or a size alike.
enum Size : unsigned char { Small = 100 };
enum class Strict { Small = 100 };
template <class... T>
constexpr bool taken = (std::is_convertible_v<T, VMem::Length> && ...);
template <class... T>
constexpr bool refused = (!std::is_convertible_v<T, VMem::Length> && ...);
static_assert(taken<char, short, unsigned, long, std::uint64_t, wchar_t, Size, std::integral_constant<int, 5>>);
static_assert(refused<bool, float, double, long double, void*, std::nullptr_t, Strict>);

// Stores across a page boundary, so that neither alignment nor width is taken for granted.
template <typename... T>
void RoundTrips(int width, T... values) {
    const auto roundTrip = [width](auto value) {
        VMem m;
        AllocPages(m, 2);
        m.Set(1008, std::string(32, '\x5A').data(), 32);
        m.Set(1023, value);
        decltype(value) back{};
        m.Get(1023, back);
        EXPECT_EQ(value, back);
        EXPECT_TRUE(ByteAt(m, 1023 + width - 1) != 0x5A && ByteAt(m, 1023 + width) == 0x5A)
            << "not as wide as " << width;
    };
    (roundTrip(values), ...);
}

TEST(VMem, TypedFormsMoveTheirWidth) {
    RoundTrips<char, signed char, unsigned char, bool>(1, '\x81', -3, 200, true);
    RoundTrips<short, unsigned short, char16_t>(2, -30000, 60000, u'\x1234');
    RoundTrips<int, unsigned int, float, char32_t>(4, -2000000000, 4000000000U, -1.5F, U'\x12345');
    RoundTrips<long, unsigned long, void*>(sizeof(long), -2000000000, ~0UL - 5, reinterpret_cast<void*>(~9UL));
    RoundTrips<long long, unsigned long long>(8, INT64_MIN + 7, UINT64_MAX - 7);
    RoundTrips<double, long double>(8, -1.1, -1.25L);
}

TEST(VMem, SettingsAreKept) {
    const std::tuple<std::int64_t, int, int> rows[] = {
        {4000, 4000, 3999}, {-5, 0, 1},           {1, 1, 1}, {2, 2, 1}, {4, 4, 3}, {1LL << 32, 32767, 32766},
        {-40000, 0, 1},     {40000, 32767, 32766}};
    VMem m;
    EXPECT_EQ(4000, m.GetMaxCacheSize());
    AllocPages(m, 32400);
    for (const auto& [kb, kept, full] : rows) {
        m.SetMaxCacheSize(kb);
        for (std::int32_t i = 0; i < 32400; ++i) ByteAt(m, i * 1024);
        EXPECT_TRUE(m.GetMaxCacheSize() == kept && m.GetCacheSize() == full && CheckVMem(m, false, stderr)) << kb;
    }
    m.SetCacheLimit(INT32_MAX); // all pages, and the older settings tell what they can
    for (std::int32_t i = 0; i < 32400; ++i) ByteAt(m, i * 1024);
    EXPECT_TRUE(m.GetCacheLimit() == INT32_MAX && m.GetCacheUse() == 32400 * 1036 / 1024 && CheckVMem(m, true, stderr));
    EXPECT_TRUE(m.GetMaxCacheSize() == 32767 && m.GetCacheSize() == 32767);
    m.SetMaxCacheSize(INT32_MAX);
    EXPECT_TRUE(m.GetCacheLimit() == 32767 && m.GetCacheUse() == 32766);
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

TEST(VMem, TellsWhereItStands) {
    VMem m;
    AllocPages(m, 3);
    std::int32_t adr[] = {0, -1, -1};
    m.Alloc(adr[1], 100);
    m.AllocPage(adr[2]);
    m.Dealloc(adr[0], 1024), m.Dealloc(adr[1], 100);
    EXPECT_TRUE(m.GetSpaceUsed() == 5120 && m.GetSpaceFree() == 2048 && m.GetSwapFileSize() == 0);
    m.FlushCache();
    EXPECT_EQ(4096, m.GetSwapFileSize());
}

// The directory that the swap file comes to lie in.
std::string Chosen(const std::string& dir) {
    VMem m;
    m.SetTempDir(dir.c_str());
    AllocPages(m, 1);
    m.Set(0, 'x');
    m.FlushCache();
    return std::filesystem::path(SwapFiles().at(0).second).parent_path();
}

// A directory below `dir` whose text has `n` bytes.
std::string OfLength(const TempDir& dir, std::size_t n) {
    std::string path = dir.Path();
    while (path.size() < n) path += "/" + std::string(std::min<std::size_t>(n - path.size() - 1, 200), 'd');
    std::filesystem::create_directories(path);
    return path;
}

// Also where the pages that are left came from the heap with many others.
TEST(VMem, SmallerLimitGivesMemoryBack) {
    constexpr int Count = 6000;
    const auto used = [] {
        const auto info = mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    VMem m;
    m.SetMaxCacheSize(32000);
    AllocPages(m, Count);
    for (int i = 0; i < Count; ++i) m.Set(i * 7919 % Count * VMem::PageSize + 5, i);
    for (int i = 0; i + 4016 < Count; ++i) { // two of one slot: both go to the front, and first
        for (const int page : {i, i + 4016, i}) ByteAt(m, page * VMem::PageSize);
    }
    const auto before = used();
    for (const int kb : {2000, 100, 0}) {
        m.SetMaxCacheSize(static_cast<std::int16_t>(kb));
        EXPECT_LE(used(), before / 6000 * static_cast<std::size_t>(kb + 200)) << kb; // which counts nothing under ASan
        EXPECT_TRUE(CheckVMem(m, true, stderr));
    }
    for (int i = 0, value; i < Count; ++i) {
        m.Get(i * 7919 % Count * VMem::PageSize + 5, value);
        EXPECT_EQ(i, value);
    }
}

// Enough runs for several pieces of heap; linked pages tell their own next one.
TEST(FreePages, LastInIsFirstOut) {
    std::mt19937 rng(7);
    vfile_internal::FreePages list;
    std::vector<std::int32_t> should{-1};
    for (int round = 0, page = 0; round < 20000; ++round) {
        if (should.size() > 1 && rng() % 100 < (round < 10000 ? 30U : 70U)) {
            const std::int32_t next = should[should.size() - 2];
            EXPECT_TRUE(list.Linked() || list.Next() == next);
            list.Pop(next);
            should.pop_back();
        } else {
            const int step[] = {1, 1, -1, 5};
            page += step[rng() % 4];
            const std::int32_t adr = page * 1024;
            rng() % 4 == 0 ? list.PushLinked(adr) : static_cast<void>(list.Push(adr));
            should.push_back(adr);
        }
        ASSERT_TRUE(list.Head() == should.back() && list.Count() == static_cast<int>(should.size()) - 1) << round;
    }
}

TEST(VMem, SwapFileLiesInTheFirstUsableDirectory) {
    const TempDir a, b, c;
    const std::string file = a.Write("file", ""), deep = OfLength(a, 3000), tooLong(5000, 'd');
    std::string backslashes = a.Path() + "\\";
    std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
    const std::array<std::string, 5> rows[] = {
        // the setting, the three of the environment, what is chosen
        {a.Path() + "/", b.Path(), "", "", a.Path()},
        {backslashes, "", "", "", a.Path()},
        {a.File("missing"), b.Path(), c.Path(), "", b.Path()},
        {"", a.File("missing"), c.Path(), "", c.Path()},
        {"", "", "", c.Path(), c.Path()},
        {file, "/dev/null", "/proc", c.Path(), c.Path()}, // no directory, or one in which nothing can be made
        {deep, b.Path(), "", "", deep},
        {"", tooLong, "", b.Path(), b.Path()},
        {"", tooLong, tooLong, tooLong, "/var/tmp"},
    };
    const char* const names[] = {"TMP", "TEMP", "TMPDIR"};
    for (const auto& row : rows) {
        for (int i = 0; i < 3; ++i) setenv(names[i], row[static_cast<std::size_t>(i) + 1].c_str(), 1);
        EXPECT_EQ(row[4], Chosen(row[0])) << &row - rows;
    }
    for (const char* name : names) unsetenv(name);

    for (int i = 0; i < 1000; ++i) std::filesystem::create_directory(b.File("~vmem" + std::to_string(i) + ".tmp"));
    EXPECT_EQ(b.Path(), Chosen(b.Path())); // needs no name
    EXPECT_HALT("VMem, FlushCachePtr():\nswap file creation failed", Chosen(tooLong));
}

} // namespace
