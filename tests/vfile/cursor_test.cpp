// Positions, reads, the block buffer.
#include "support/halt_trap.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>
#include <thread>

TEST(Cursor, NewObjectIsEmptyWithoutAPage) {
    VFile f;
    EXPECT_EQ("*[0]", LayoutOf(f));
    EXPECT_TRUE(f.Eof() && f.Bof());
    EXPECT_EQ(0, f.Length() + f.GetPos() + f.GetFlags() + f.Type() + f.res);
    EXPECT_EQ(10, f.base);
    unsigned char b = 9;
    f.ReadByte(b);
    EXPECT_TRUE(f.eof && b == 0);
    EXPECT_EQ(0, f.ReadBytes(nullptr, 0)); // asks for nothing, and gets it
    EXPECT_FALSE(f.eof);
    EXPECT_EQ(0, f.ReadBytes(nullptr, 1));
    EXPECT_EQ(0, f.ReadBytes(&b, -1));
    EXPECT_TRUE(!f.eof && f.res == resCallError);
}

TEST(Cursor, PositionsAreClampedRefusedAndSummed) {
    VFile f;
    Put(f, 0, 0, Pattern(3000));
    struct Case {
        int from, offset, origin, pos;
        Res res;
    };
    constexpr int Max = MaxLen, Lowest = SameLen;
    const Case cases[] = {
        {5, 7, 0, 7, resDone},           {5, 7, 1, 12, resDone},          {5, -6, 1, 5, resCallError},
        {5, -1, 2, 2999, resDone},       {5, 0, 2, 3000, resDone},        {5, -3001, 2, 5, resCallError},
        {5, Max, 0, 3000, resDone},      {5, Max, 1, 3000, resDone},      {5, Max, 2, 3000, resDone},
        {5, Lowest, 1, 5, resCallError}, {5, Lowest, 2, 5, resCallError}, {5, 0, 3, 5, resCallError},
        {5, 0, -1, 5, resCallError},
    };
    for (const Case& c : cases) {
        f.SetPos(c.from);
        f.eof = true;
        f.SetPos(c.offset, c.origin);
        EXPECT_EQ(c.pos, f.GetPos()) << c.offset << " from " << c.origin;
        EXPECT_EQ(c.res, f.res);
        EXPECT_EQ(c.res != resDone, f.eof); // a refusal leaves it alone
    }
    f.Reset();
    EXPECT_EQ(resDone, f.res);
    EXPECT_TRUE(f.Bof());
}

TEST(Cursor, OnlyTheOwnThreadMovesAndChanges) {
    const auto elsewhere = [](void (*act)(VFile&)) {
        VFile f;
        Put(f, 0, 0, Pattern(3000));
        std::thread(act, std::ref(f)).join();
    };
    void (*const acts[])(VFile&) = {
        [](VFile& f) { f.SetPos(1); },
        [](VFile& f) { f.Flush(); },
        [](VFile& f) { f.InclFlag(1); },
        [](VFile& f) { f.ReplaceBuf(0, 0, "x", 1); },
        [](VFile& f) { f.ReplaceCh(0, 0, 'x', 2); },
        [](VFile& f) { f.ReplaceTxt(0, 0, f, 0, 1); },
        [](VFile& f) { f.ReplaceFile(0, 0, InvalidHandle, 1); },
        [](VFile& f) { f.WriteToFile(InvalidHandle, 1); },
        [](VFile& f) { f.ReadFile("/nowhere/at/all", 0); },
        [](VFile& f) { f.WriteFile("/nowhere/at/all", true); },
        [](VFile& f) { f.~VFile(); },
        [](VFile& f) { VFile().ReplaceTxt(0, 0, f, 0, 1); },
    };
    for (const auto act : acts) EXPECT_ASSERT_HALT("VFile", elsewhere(act));
    EXPECT_ASSERT_HALT("VMem", elsewhere([](VFile& f) { // a plain read reaches VMem when it leaves the buffer
                           char b[3000];
                           f.ReadBytes(b, 3000);
                           unsigned char c;
                           f.ReadPrevByte(c);
                       }));
}
