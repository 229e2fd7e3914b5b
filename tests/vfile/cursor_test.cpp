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
    EXPECT_EQ(0, f.ReadBytes(&b, 1));
    EXPECT_TRUE(f.eof);
    f.ReadPrevByte(b);
    EXPECT_TRUE(f.eof);
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

TEST(Cursor, EofFollowsReadsAndNotPositions) {
    VFile f;
    Put(f, 0, 0, "ab");
    unsigned char b;
    f.SetPos(2);
    EXPECT_TRUE(f.Eof() && !f.eof);
    f.SetPos(1);
    f.ReadByte(b);
    EXPECT_TRUE(f.Eof() && !f.eof && b == 'b');
    f.ReadByte(b);
    EXPECT_TRUE(f.eof && b == 0);
    f.ReadPrevByte(b);
    EXPECT_TRUE(!f.eof && b == 'b' && f.GetPos() == 1);
    char two[2];
    EXPECT_EQ(1, f.ReadBytes(two, 2));
    EXPECT_TRUE(f.eof);
    EXPECT_EQ(0, f.ReadBytes(two, -1));
    EXPECT_TRUE(f.eof && f.res == resCallError);
    f.SetPos(0);
    EXPECT_EQ(2, f.ReadBytes(two, 2)); // delivers its last byte, and has not run out
    EXPECT_FALSE(f.eof);
    f.res = resNotDone;
    EXPECT_EQ(0, f.ReadBytes(nullptr, 1));
    EXPECT_EQ(resCallError, f.res);
}

TEST(Cursor, ReadsCrossPartFullBlocksBothWays) {
    VFile f;
    std::string model;
    for (int i = 0; i < 40; ++i) { // a chain of uneven blocks
        const std::string piece = Pattern(700 + i * 13, i);
        const int at = i * 311 % (static_cast<int>(model.size()) + 1);
        Put(f, at, 0, piece);
        model.insert(static_cast<std::size_t>(at), piece);
        ASSERT_TRUE(CheckVFile(f, stderr));
    }
    std::string forward;
    std::string backward;
    unsigned char b;
    for (f.SetPos(0), f.ReadByte(b); !f.eof; f.ReadByte(b)) forward += static_cast<char>(b);
    for (f.SetPos(MaxLen), f.ReadPrevByte(b); !f.eof; f.ReadPrevByte(b)) backward.insert(0, 1, static_cast<char>(b));
    EXPECT_TRUE(forward == model);
    EXPECT_TRUE(backward == model);
    EXPECT_TRUE(ContentOf(f) == model);
    std::string bulk(model.size() + 10, '-');
    f.SetPos(0);
    EXPECT_EQ(static_cast<int>(model.size()), f.ReadBytes(bulk.data(), static_cast<int>(bulk.size())));
    EXPECT_TRUE(bulk == model + "----------");
}

TEST(Cursor, FlushKeepsPlaceAndContent) {
    VFile f;
    f.Flush(); // nothing there yet
    Put(f, 0, 0, "hello");
    f.SetPos(2);
    f.Flush();
    EXPECT_EQ(2, f.GetPos());
    EXPECT_EQ("hello", ContentOf(f));
    Put(f, 2, 1, "L");
    EXPECT_EQ("heLlo", ContentOf(f)); // seen though it stands only in the buffer
}

TEST(Cursor, OnlyTheOwnThreadMovesAndChanges) {
    const auto elsewhere = [](void (*act)(VFile&)) {
        VFile f;
        Put(f, 0, 0, Pattern(3000));
        std::thread(act, std::ref(f)).join();
    };
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.SetPos(1); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.Reset(); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.Flush(); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.InclFlag(1); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.ReplaceBuf(0, 0, "x", 1); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.ReplaceCh(0, 0, 'x', 2); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.ReplaceTxt(0, 0, f, 0, 1); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.ReplaceFile(0, 0, InvalidHandle, 1); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.WriteToFile(InvalidHandle, 1); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.Load("/nowhere/at/all", 0); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.WriteFile("/nowhere/at/all", true); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) { f.~VFile(); }));
    EXPECT_ASSERT_HALT("VFile", elsewhere([](VFile& f) {
                           VFile mine;
                           mine.ReplaceTxt(0, 0, f, 0, 1);
                       }));
    EXPECT_ASSERT_HALT("VMem", elsewhere([](VFile& f) { // a plain read reaches VMem when it leaves the buffer
                           char b[3000];
                           f.ReadBytes(b, 3000);
                           unsigned char c;
                           f.ReadPrevByte(c);
                       }));
}
