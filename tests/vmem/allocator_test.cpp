// The allocator: where a block comes from, what is left, and what halts. Its lists are followed by the random test.
#include "support/halt_trap.h"
#include "support/vmem_support.h"

#include <gtest/gtest.h>

namespace {

std::int32_t Take(VMem& m, int len) {
    std::int32_t adr = -7;
    m.Alloc(adr, static_cast<std::int16_t>(len));
    return adr;
}

std::int32_t TakePage(VMem& m) {
    std::int32_t adr = -7;
    m.AllocPage(adr);
    return adr;
}

std::string FreeOf(const VMem& m) {
    const std::string state = StateOf(m);
    const auto at = state.find("free: ") + 6;
    return state.substr(at, state.find('\n', at) - at);
}

std::string Lists(const char* mixed, const char* four, const char* five) {
    return std::string("page 0@-1 mixed ") + mixed + " 4 " + four + " 5 " + five + " 1024 0@-1";
}

TEST(Allocator, AllocPageAlignsAndKeepsTheGap) {
    const struct {
        int top;
        std::int32_t page;
        std::string free;
    } rows[] = {
        {0, 0, Lists("0@-1", "0@-1", "0@-1")},         {5, 1024, Lists("1@5", "0@-1", "0@-1")},
        {1018, 1024, Lists("1@1018", "0@-1", "0@-1")}, {1019, 1024, Lists("0@-1", "0@-1", "1@1019")},
        {1020, 1024, Lists("0@-1", "1@1020", "0@-1")}, {1021, 2048, Lists("1@1021", "0@-1", "0@-1")},
        {1023, 2048, Lists("1@1023", "0@-1", "0@-1")}, {1024, 1024, Lists("0@-1", "0@-1", "0@-1")},
    };
    for (const auto& row : rows) {
        VMem m;
        if (row.top > 0) Take(m, row.top);
        EXPECT_EQ(row.page, TakePage(m)) << row.top;
        EXPECT_EQ(row.free, FreeOf(m)) << row.top;
        EXPECT_EQ(row.page + 1024, Take(m, 32000)) << row.top;
        EXPECT_TRUE(CheckVMem(m, true, stderr));
    }
}

TEST(Allocator, MixedBlockIsTakenWholeOrWithARestOfFour) {
    const struct {
        int len;
        std::int32_t adr;
        std::string free;
    } rows[] = {{100, 924, Lists("0@-1", "0@-1", "0@-1")},  {96, 924, Lists("0@-1", "1@1020", "0@-1")},
                {97, 2048, Lists("1@924", "0@-1", "0@-1")}, {101, 2048, Lists("1@924", "0@-1", "0@-1")},
                {94, 924, Lists("1@1018", "0@-1", "0@-1")}, {1, 924, Lists("1@928", "0@-1", "0@-1")}};
    for (const auto& row : rows) {
        VMem m;
        Take(m, 924);
        TakePage(m);
        EXPECT_EQ(row.adr, Take(m, row.len)) << row.len;
        EXPECT_EQ(row.free, FreeOf(m)) << row.len;
    }
}

TEST(Allocator, WrongArgumentsHalt) {
    const char* page = "VMem, DeallocPage():\naddress is not a page address";
    const char* below = "VMem, CheckAdr():\nillegal address (<0)";
    const char* above = "VMem, CheckAdr():\nillegal address (>max.address)";
    const auto free = [](std::int32_t adr, std::int16_t len) {
        VMem m;
        AllocPages(m, 2);
        m.Dealloc(adr, len);
        m.Dealloc(adr, 10); // with the -1 that the first has left
    };
    const auto freePage = [](std::int32_t adr) {
        VMem m;
        AllocPages(m, 2);
        m.DeallocPage(adr);
    };
    for (const int len : {0, -32768}) {
        EXPECT_HALT("VMem, Alloc():\nlen must be >0", VMem m; Take(m, len));
        EXPECT_HALT("VMem, Dealloc0():\nlen must be >0", free(0, static_cast<std::int16_t>(len)));
    }
    EXPECT_HALT(below, free(0, 100));
    EXPECT_HALT(above, free(2045, 1));
    EXPECT_HALT(above, free(INT32_MAX, 32767));
    EXPECT_HALT(page, freePage(-1));
    EXPECT_HALT(below, freePage(-1024));
    EXPECT_HALT(above, freePage(2048));
}

TEST(Allocator, SpaceEndsBelowTheGreatestAddress) {
    const auto takeAbove = [](std::int32_t top, int len) {
        VMem m;
        for (std::int64_t at = 0; at < top; at += 32767)
            Take(m, static_cast<int>(std::min<std::int64_t>(32767, top - at)));
        const std::int32_t adr = len == 0 ? TakePage(m) : Take(m, len);
        ByteAt(m, adr + std::max(len, 1024) - 1);
    };
    EXPECT_HALT("no halt", takeAbove(INT32_MAX - 1100, 1100));
    EXPECT_HALT("VMem, Alloc():\nillegal address (>max.address)", takeAbove(INT32_MAX - 1100, 1101));
    EXPECT_HALT("no halt", takeAbove(INT32_MAX - 2047, 0));
    EXPECT_HALT("VMem, AllocPage():\nillegal address (>max.address)", takeAbove(INT32_MAX - 2046, 0));
    EXPECT_HALT("VMem, AllocPage():\nillegal address (>max.address)", takeAbove(INT32_MAX - 1, 0));
}

} // namespace
