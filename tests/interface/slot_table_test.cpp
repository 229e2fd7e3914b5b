// The slot table and the notices of process start and end; mostly in child processes, which the table then belongs to.
#include "vfile/slot_table.h"

#include "support/vfile_support.h"

using namespace vfile_internal;

namespace {

// The next `n` numbers, "-" for none, after `freed` have been given back.
std::string Taken(int n, std::initializer_list<std::uint32_t> freed = {}) {
    for (const std::uint32_t slot : freed) TlsSlotFree(slot);
    std::string numbers;
    for (; n > 0; --n) {
        const std::uint32_t slot = TlsSlotAlloc();
        numbers += slot == NoSlot ? "- " : std::to_string(slot) + " ";
    }
    return numbers + "|";
}

TEST(SlotTable, FreedNumbersComeBackOnlyWhenAllHaveBeenOut) {
    std::string rest;
    for (int i = 8; i < 64; ++i) rest += std::to_string(i) + " ";
    EXPECT_EQ("4 5 6 |7 |7 |7 |" + rest + "5 6 - |30 - |", InChild([] { // 0 to 3 are VFile's
                  std::string told = Taken(3);
                  told += Taken(1, {5}), told += Taken(1, {7});
                  told += Taken(1, {6, 7}); // lowers the mark by one, over 7 but not over 6
                  return told += Taken(56 + 3), told += Taken(2, {30});
              }));
}

TEST(SlotTable, EndOfTheProcessPartTakesAllAndAFreshStartCountsFromZero) {
    EXPECT_EQ("0 1 2 |2 |0 |works", InChild([] {
                  if (!DllMain(nullptr, 0, nullptr) || TlsProcessLive() || Taken(1) != "- |") _exit(1);
                  if (TlsSlotFree(0) || TlsSlotSet(0, 1) || TlsThreadReady()) _exit(2);
                  if (!TlsProcessInit() || TlsProcessInit()) _exit(3);
                  std::string told = Taken(3);
                  told += Taken(1, {2}), told += Taken(1, {1, 0, 2}); // the last that was in use
                  if (!TlsProcessDone() || !DllMain(nullptr, 1, nullptr) || !DllMain(nullptr, 4, nullptr)) _exit(4);
                  return told + ContentOf(VFile("works"));
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

TEST(SlotTable, WordsAreTheThreadsOwnAndThoseOutsideRefused) {
    const std::uint32_t slot = TlsSlotAlloc();
    EXPECT_TRUE(TlsSlotSet(slot, ~TlsWord{0}));
    std::thread([slot] { EXPECT_TRUE(TlsSlotGet(slot) == 0 && TlsSlotSet(slot, 5)); }).join();
    EXPECT_TRUE(TlsSlotGet(slot) == ~TlsWord{0} && TlsSlotFree(slot));
    for (const auto no : {SlotCount, NoSlot}) EXPECT_FALSE(TlsSlotSet(no, 1) || TlsSlotGet(no) != 0 || TlsSlotFree(no));
}

} // namespace
