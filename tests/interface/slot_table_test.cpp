// The slot table and the notices of process start and end; mostly in child processes, which the table then belongs to.
#include "vfile/slot_table.h"

#include "support/halt_trap.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>
#include <sstream>
#include <thread>

namespace {

// What `act` writes in a child.
std::string Told(const std::function<void(std::ostream&)>& act) {
    return halt_trap::TextOf([&] {
        std::ostringstream out;
        act(out);
        halt_trap::SendHome(out.str().c_str());
    });
}

// The next `n` numbers, "-" for none.
std::string Taken(int n) {
    std::string numbers;
    for (; n > 0; --n) {
        const std::uint32_t slot = TlsSlotAlloc();
        numbers += slot == NoSlot ? "- " : std::to_string(slot) + " ";
    }
    return numbers;
}

void Free(std::initializer_list<std::uint32_t> slots) {
    for (const std::uint32_t slot : slots) TlsSlotFree(slot);
}

TEST(SlotTable, FreedNumbersComeBackOnlyWhenAllHaveBeenOut) {
    std::string rest;
    for (int i = 8; i < 64; ++i) rest += std::to_string(i) + " ";
    EXPECT_EQ("4 5 6 |7 |7 |7 |" + rest + "5 6 - |30 - ", Told([](std::ostream& out) {
                  out << Taken(3) << '|'; // 0 to 3 are VFile's
                  Free({5});
                  out << Taken(1) << '|';
                  Free({7});
                  out << Taken(1) << '|';
                  Free({6, 7}); // lowers the mark by one, over 7 but not over 6
                  out << Taken(1) << '|' << Taken(56 + 3) << '|';
                  Free({30});
                  out << Taken(2);
              }));
}

TEST(SlotTable, EndOfTheProcessPartTakesAllAndAFreshStartCountsFromZero) {
    EXPECT_EQ("1 0 - 000 |10 0 1 2 |2 |0 |1 |11 works", Told([](std::ostream& out) {
                  out << DllMain(nullptr, 0, nullptr) << ' ' << TlsProcessLive() << ' ' << Taken(1) << TlsSlotFree(0)
                      << TlsSlotSet(0, 1) << TlsThreadReady() << " |";
                  out << TlsProcessInit() << TlsProcessInit() << ' ' << Taken(3) << '|';
                  Free({2});
                  out << Taken(1) << '|';
                  Free({1, 0, 2}); // the last that was in use
                  out << Taken(1) << '|';
                  out << TlsProcessDone() << " |";
                  out << DllMain(nullptr, 1, nullptr) << DllMain(nullptr, 4, nullptr);
                  VFile f;
                  Put(f, 0, 0, " works");
                  out << ContentOf(f);
              }));
}

TEST(SlotTable, WithoutSlotsEverythingHalts) {
    void (*const calls[])() = {[] { VFile::GetTempDir(); },
                               [] { VFile::SetMaxCacheSize(1); },
                               [] { VFile f; },
                               [] { VFile::TLS_InitializeThread(); },
                               [] { VFile::TLS_UninitializeThread(); },
                               [] { VFile::TLS_UninitializeProcess(); },
                               [] { DllMain(nullptr, 0, nullptr); }};
    for (const auto call : calls) EXPECT_ASSERT_HALT("VFile", DllMain(nullptr, 0, nullptr); call());
    EXPECT_ASSERT_HALT("VFile", Taken(60); VFile::TLS_UninitializeProcess(); Taken(4); VFile::TLS_InitializeProcess());
}

TEST(SlotTable, WordsAreTheThreadsOwn) {
    const std::uint32_t slot = TlsSlotAlloc();
    EXPECT_TRUE(TlsSlotSet(slot, ~TlsWord{0}));
    std::thread([slot] {
        EXPECT_EQ(0U, TlsSlotGet(slot));
        EXPECT_TRUE(TlsSlotSet(slot, 5));
    }).join();
    EXPECT_EQ(~TlsWord{0}, TlsSlotGet(slot));
    for (const std::uint32_t none : {SlotCount, NoSlot}) {
        EXPECT_FALSE(TlsSlotSet(none, 1));
        EXPECT_EQ(0U, TlsSlotGet(none));
        EXPECT_FALSE(TlsSlotFree(none));
    }
    EXPECT_TRUE(TlsSlotFree(slot));
}

} // namespace
