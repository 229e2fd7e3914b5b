// Transfers, settings and the owner test of VMem.
#include "support/halt_trap.h"
#include "support/vmem_support.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

const char* const Above = "VMem, CheckAdr():\nillegal address (>max.address)";
const char* const Below = "VMem, CheckAdr():\nillegal address (<0)";

TEST(VMemTransfer, TestsComeInTheirOrder) {
    const char* noLength = "VMem, CheckAdr():\nlength of specified virt.memory must be >0";
    const struct {
        std::int32_t adr;
        std::int16_t len;
        const char* get;
        const char* set;
    } rows[] = {
        {-7, 0, "no halt", "no halt"},
        {-7, -1, noLength, noLength},
        {-1, 4, Below, Below},
        {INT32_MIN, 32767, Below, Below},
        {1, 3000, Above, Above},
        {INT32_MAX, 32767, Above, Above},
        {2999, 1, "VMem, Get():\nbuffer address must not be 0", "VMem, Set():\nbuffer address must not be 0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.adr) + ", " + std::to_string(row.len));
        std::int32_t adr;
        EXPECT_HALT(row.get, VMem m; m.Alloc(adr, 3000); m.Get(row.adr, nullptr, row.len));
        EXPECT_HALT(row.set, VMem m; m.Alloc(adr, 3000); m.Set(row.adr, nullptr, row.len));
    }
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

TEST(VMemTransfer, TypedFormsMoveTheirWidth) {
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

TEST(VMemTransfer, CopyBytesHalts) {
    const auto copy = [](std::int32_t dst, std::int32_t src, std::int16_t len) {
        VMem m;
        AllocPages(m, 4);
        m.CopyBytes(dst, src, len);
    };
    EXPECT_HALT("VMem, CopyBytes():\nlen must be >=0", copy(5, 5, -1));
    EXPECT_HALT("no halt", copy(-5, -9, 0); copy(-5, -5, 100));
    EXPECT_HALT(Below, copy(0, -1, 10));
    EXPECT_HALT(Above, copy(INT32_MAX - 5, 0, 2000));
}

TEST(VMemSettings, CacheSizesCountADescriptorPerPage) {
    const struct {
        std::int16_t kb, kept, full;
    } rows[] = {{4000, 4000, 3999}, {-5, 0, 1}, {1, 1, 1}, {2, 2, 1}, {4, 4, 3}, {32767, 32767, 32766}};
    VMem m;
    EXPECT_EQ(4000, m.GetMaxCacheSize());
    EXPECT_EQ(0, m.GetCacheSize());
    AllocPages(m, 32400);
    for (const auto& row : rows) {
        m.SetMaxCacheSize(row.kb);
        EXPECT_EQ(row.kept, m.GetMaxCacheSize());
        for (std::int32_t i = 0; i < 32400; ++i) ByteAt(m, i * 1024);
        EXPECT_EQ(row.full, m.GetCacheSize()) << row.kb;
    }
}

TEST(VMemSettings, TempDirIsCopiedAndSurvivesDeallocAll) {
    VMem m;
    EXPECT_EQ(nullptr, m.GetTempDir());
    m.SetTempDir(std::string("/somewhere").c_str());
    m.SetTempDir(m.GetTempDir());
    m.SetMaxCacheSize(77);
    m.DeallocAll();
    EXPECT_STREQ("/somewhere", m.GetTempDir());
    EXPECT_EQ(77, m.GetMaxCacheSize());
    m.SetTempDir("");
    EXPECT_EQ(nullptr, m.GetTempDir());
}

TEST(VMemOwner, EachOperationHaltsOnAnotherThread) {
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

} // namespace
