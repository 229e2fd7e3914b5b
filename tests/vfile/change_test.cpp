// The change engine: in place and through a private chain, merging, refusals, hooks; changes from a repeated byte and
// from files. What the content then is, the random test follows.
#include "support/vfile_support.h"
#include "vfile/content.h"

namespace {

TEST(Check, SeesABufferThatIsNotThePage) {
    VFile f("abc");
    unsigned char c;
    f.Flush();
    f.SetPos(0);
    f.ReadByte(c);
    EXPECT_TRUE(CheckVFile(f, stderr));
    vfile_internal::Content::Of(f).buf[2] ^= 1;
    EXPECT_FALSE(CheckVFile(f, nullptr));
}

// Builds an object whose blocks have these lengths: each block is closed by filling it up and cutting.
void Build(VFile& f, const std::vector<int>& lens) {
    for (std::size_t i = 0; i < lens.size(); ++i) Put(f, MaxLen, 0, Pattern(BlkSize, static_cast<int>(i)));
    for (int i = static_cast<int>(lens.size()); i-- > 0;) {
        const int n = lens[static_cast<std::size_t>(i)];
        f.ReplaceBuf(i * BlkSize + n, BlkSize - n, nullptr, 0);
    }
}

TEST(Change, LayoutsAreThoseOfTheThresholds) {
    const std::tuple<const char*, std::vector<int>, int, int, int, const char*> cases[] = {
        {"nothing in nothing", {}, 0, 0, 0, "*[0]"},
        {"one more than a block", {}, 0, 0, 1025, "1024 *1"},
        {"append to a full block", {1024}, 1024, 0, 1, "1024 *1"},
        {"insert past the block's room", {1000}, 500, 0, 600, "1024 *576"},
        {"the block behind fits", {1000, 448}, 500, 0, 600, "1024 *1024"},
        {"the block behind is one too long", {1000, 449}, 500, 0, 600, "1024 *576 449"},
        {"a byte into a full block", {1024}, 512, 0, 1, "513 *512"},
        {"a byte over a byte", {1024, 1024}, 100, 1, 1, "*1024 1024"},
        {"delete a first block", {700, 300}, 0, 700, 0, "*300"},
        {"delete everything", {700, 300}, 0, 1000, 0, "*[0]"},
        {"truncate", {1024, 1024, 1024}, 1500, MaxLen, 0, "1024 *476"},
        {"cut over whole blocks into a later one", {1024, 1024, 1024, 1024}, 1000, 2100, 0, "1000 *996"},
        {"at a border with room in front", {1000, 500}, 1000, 0, 5, "1005 *500"},
        {"over a byte behind such a border", {1000, 500}, 1000, 1, 1, "1001 *499"},
        {"a remainder joins the last new block", {1024, 1024}, 1000, 500, 200, "1024 *724"},
        {"a remainder too long for it", {1024, 1024}, 1000, 40, 1030, "1024 1006 *1008"},
        {"fill a block to the brim", {1000}, 500, 0, 24, "*1024"},
        {"new tail block takes the block behind", {1024, 500}, 1000, 0, 24, "1024 *524"},
    };
    for (const auto& [name, before, at, oldLen, n, after] : cases) {
        VFile f;
        Build(f, before);
        const std::string content = Replaced(ContentOf(f), at, oldLen, Pattern(n, 5));
        Put(f, at, oldLen, Pattern(n, 5));
        EXPECT_EQ(after, LayoutOf(f)) << name;
        EXPECT_TRUE(CheckVFile(f, stderr) && ContentOf(f) == content && f.GetPos() == at + n) << name;
    }
}

TEST(Change, RefusalsComeInOrderAndChangeNothing) {
    Watched f;
    Put(f, 0, 0, "text");
    f.SetPos(1);
    const std::tuple<int, int, const char*, int, bool, Res, Res> refusals[] = {
        {-1, 0, "x", 1, true, resNotFound, resNotFound},    {-1, 0, "x", 1, true, resDone, resCallError},
        {0, -1, "x", 1, true, resDone, resCallError},       {0, 0, "x", -1, true, resDone, resCallError},
        {0, SameLen, "x", -1, true, resDone, resCallError}, {0, 0, nullptr, 1, true, resDone, resCallError},
        {0, 0, "x", 1, true, resDone, resContextError},     {0, 0, "x", 1, false, resDone, resReadOnly},
    };
    f.InclFlag(vfReadOnly);
    for (const auto& [at, oldLen, src, n, locked, before, after] : refusals) {
        f.Lock(locked);
        f.seen = "";
        f.res = before;
        f.eof = true;
        f.ReplaceBuf(at, oldLen, src, n);
        EXPECT_EQ(after, f.res);
        EXPECT_TRUE(f.eof && f.seen.empty() && f.GetPos() == 1 && ContentOf(f) == "text");
    }
}

TEST(Change, HooksSeeTheClampedChangeOnBothRoads) {
    Watched f;
    Put(f, 9, 9, "ab");
    Put(f, 0, 0, Pattern(1500));
    f.ReplaceBuf(1501, MaxLen, nullptr, 0);
    f.ReplaceBuf(0, 0, nullptr, 0); // nothing happens, and no hook runs
    EXPECT_EQ("pre 0 0 2 0; post 0 0 2 2; pre 0 0 1500 2; post 0 0 1500 1502; pre 1501 1 0 1502; post 1501 1 0 1501; ",
              f.seen);
    EXPECT_EQ(0, f.GetPos());
    Put(f, 0, MaxLen, Pattern(4000));
    f.seen = "";
    f.ReplaceCh(500, 3000, 'z', 3000); // works in chunks
    EXPECT_EQ("pre 500 3000 1024 4000; post 500 3000 1024 2024; pre 1524 0 1024 2024; post 1524 0 1024 3048; "
              "pre 2548 0 952 3048; post 2548 0 952 4000; ",
              f.seen);
    f.ReplaceCh(0, 0, 'x', -1);
    EXPECT_TRUE(f.res == resCallError && ContentOf(f) == Pattern(4000).replace(500, 3000, 3000, 'z'));
}

TEST(Change, ARefusedChangeMovesOnlyTheCursor) {
    Watched f;
    f.refusal = 77;
    Put(f, 0, 0, "x");
    EXPECT_EQ("*0", LayoutOf(f)); // keeps the page it was given
    EXPECT_TRUE(f.res == 77 && CheckVFile(f, stderr));
    f.refusal = resDone;
    f.SetPos(0);
    Put(f, 0, 0, Pattern(2000));
    f.refusal = 77;
    for (const int n : {1, 3000}) {
        f.SetPos(0);
        f.eof = true;
        Put(f, 500, 10, Pattern(n));
        EXPECT_TRUE(f.res == 77 && f.GetPos() == 500 && !f.eof && ContentOf(f) == Pattern(2000));
        EXPECT_TRUE(CheckVFile(f, stderr));
    }
}

TEST(Change, WhatPostChangeLeavesIsCleared) {
    const VFile src(Pattern(3000).c_str());
    const auto all = [&](auto f) {
        f.leaves = resNotDone;
        const std::function<void()> acts[] = {
            [&] { Put(f, 0, 0, "place"); }, [&] { Put(f, 2, 1, Pattern(3000)); }, [&] { f.ReplaceCh(0, 9, 'x', 2000); },
            [&] { f.ReplaceTxt(5, 5, src, 0, 2000); }, [&] { f.ReplaceBuf(0, MaxLen, nullptr, 0); }};
        for (const auto& act : acts) {
            act();
            EXPECT_TRUE(f.res == resDone && !f.eof) << &act - acts;
        }
    };
    all(Watched());
    all(CallRecorder());
}

TEST(Change, LengthEndsAtTheGreatestNumber) {
    struct Long : VFile {
        void Pretend(std::int32_t n) { len = n; }
    } f;
    Put(f, 0, 0, "abc");
    f.Pretend(MaxLen - 1);
    f.SetPos(0);
    f.ReplaceBuf(0, 0, "xy", 2);
    EXPECT_EQ(resTooLong, f.res);
    f.Pretend(3);
    EXPECT_EQ("abc", ContentOf(f));
}

class FromFile : public testing::TestWithParam<bool> { // true: through an HFile, else through its bare handle
  protected:
    Res Replace(std::int32_t at, std::int32_t oldLen, std::int32_t count) {
        GetParam() ? f.ReplaceFile(at, oldLen, file, count) : f.ReplaceFile(at, oldLen, file.handle, count);
        return f.res;
    }
    TempDir dir;
    HFile file;
    Watched f;
};
INSTANTIATE_TEST_SUITE_P(BothForms, FromFile, testing::Bool());

TEST_P(FromFile, LaysABlockForEachRead) {
    file.Open(dir.Write("f", Pattern(3000)).c_str());
    Replace(0, 0, MaxLen);
    EXPECT_EQ("1024 1024 *952", LayoutOf(f));
    file.SetPos(2990);
    Replace(1500, SameLen, MaxLen); // overwrites what was really read
    EXPECT_TRUE(ContentOf(f) == Replaced(Pattern(3000), 1500, 10, Pattern(3000).substr(2990)));
    EXPECT_TRUE(CheckVFile(f, stderr));
    Replace(0, 100, 0);
    EXPECT_EQ(2900, f.Length());
    EXPECT_TRUE(Replace(2000, 0, MaxLen) == resDone && f.GetPos() == 2000); // at the end of the source: only moves
}

TEST_P(FromFile, FailuresLeaveTheContentAndFreeTheStaged) {
    file.Open(dir.Write("f", Pattern(50)).c_str());
    Put(f, 0, 0, "text");
    f.SetPos(1);
    EXPECT_TRUE(Replace(0, 4, 100) == resNotDone && f.GetPos() == 1);
    EXPECT_EQ(50, file.GetPos()); // those bytes are gone from the source
    f.SetPos(1);
    EXPECT_EQ(resCallError, Replace(0, 4, -1));
    f.SetPos(1);
    file.SetPos(0);
    f.refusal = 77;
    EXPECT_TRUE(Replace(2, 1, MaxLen) == 77 && f.GetPos() == 2);
    f.SetPos(3);
    EXPECT_EQ(77, Replace(2, 1, 0)); // a pure deletion is refused just the same
    f.SetPos(3);
    f.InclFlag(vfReadOnly);
    file.Close();
    EXPECT_EQ(resCallError, Replace(0, 0, MaxLen)); // a closed source is told before the flag
    EXPECT_TRUE(ContentOf(f) == "text" && CheckVFile(f, stderr));
}

TEST_P(FromFile, ReadErrorsArriveAsResults) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    file.handle = HandleOf(ends[1]); // can't be read
    Put(f, 0, 0, "text");
    EXPECT_TRUE(Replace(0, 4, MaxLen) == resNoPermission && ContentOf(f) == "text");
    f.SetPos(0);
    file.res = 99; // of no table, and known to the HFile only
    EXPECT_EQ(GetParam() ? resNotDone : resNoPermission, Replace(0, 4, MaxLen));
}

} // namespace
