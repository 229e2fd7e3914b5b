// Which pages are cached, and in which order they go.
#include "support/vmem_support.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int32_t A = 0, B = 1024, C = 2048, D = 3072;
constexpr std::int32_t SlotOfA = 4016 * 1024; // the next page with the slot of A, and the one after
constexpr std::int32_t SlotOfA2 = 2 * SlotOfA;

TEST(PageCache, OrderFollowsTheSlowRoad) {
    const struct {
        const char* what;
        std::int16_t kb;
        std::vector<std::int32_t> touched;
        std::int16_t kbThen;
        const char* pages;
    } rows[] = {
        {"a hit on the slot lets the page age", 4, {A, B, C, A, D}, 4, "3072 spare, 2048, 1024"},
        {"without its slot a page goes to the head", 4, {A, SlotOfA, B, A}, 4, "0 spare, 1024, 4112384 no slot"},
        {"and has its slot again then", 4, {A, SlotOfA, A, B, A}, 4, "1024, 0 spare, 4112384 no slot"},
        {"a victim leaves another page's slot alone", 3, {A, SlotOfA, B, SlotOfA, C}, 3, "2048, 1024 spare"},
        {"three of a slot", 4, {A, SlotOfA, SlotOfA2, SlotOfA}, 4, "4112384, 8224768 no slot, 0 no slot spare"},
        {"one page at 0", 0, {A, B, B, C}, 2, "2048 spare"},
        {"a smaller limit drops from the head", 4, {A, B, C}, 3, "1024, 0 spare"},
        {"and no page inherits a slot", 4, {A, B, SlotOfA}, 3, "1024, 0 no slot spare"},
    };
    for (const auto& row : rows) {
        VMem m;
        AllocPages(m, 2 * 4016 + 1);
        m.SetMaxCacheSize(row.kb);
        for (const std::int32_t adr : row.touched) ByteAt(m, adr);
        m.SetMaxCacheSize(row.kbThen);
        EXPECT_EQ(row.pages, PagesOf(m)) << row.what;
        EXPECT_TRUE(CheckVMem(m, true, stderr));
    }
}

TEST(PageCache, SpareServesAnEmptyCacheUntilDeallocAll) {
    VMem m;
    AllocPages(m, 2);
    m.Set(A, 'a');
    m.Set(B, 'b');
    m.ReleaseCache();
    EXPECT_EQ("", PagesOf(m));
    EXPECT_EQ('b', ByteAt(m, B));
    EXPECT_EQ('a', ByteAt(m, A));
    EXPECT_EQ("0, 1024 spare", PagesOf(m));
    m.DeallocAll();
    AllocPages(m, 1);
    EXPECT_EQ(0, ByteAt(m, A)) << "dropped bytes have come back";
    EXPECT_EQ("0", PagesOf(m));
}

} // namespace
