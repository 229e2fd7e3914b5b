// The change engine: in place and through a private chain, merging, refusals, hooks.
#include "support/vfile_support.h"

#include <gtest/gtest.h>

namespace {

// Builds an object whose blocks have these lengths, 0 ending the row: each block is closed by filling it up and
// cutting.
void Build(VFile& f, const std::vector<int>& lens) {
    for (std::size_t i = 0; i < lens.size(); ++i) Put(f, MaxLen, 0, Pattern(BlkSize, static_cast<int>(i)));
    for (std::size_t i = lens.size(); i-- > 0;) {
        f.ReplaceBuf(static_cast<std::int32_t>(i) * BlkSize + lens[i], BlkSize - lens[i], nullptr, 0);
    }
}

struct Case {
    const char* name;
    std::vector<int> before;
    int at, oldLen, n;
    const char* after;
};

} // namespace

TEST(Change, LayoutsAreThoseOfTheThresholds) {
    const Case cases[] = {
        {"nothing in nothing", {}, 0, 0, 0, "*[0]"},
        {"into an empty object", {}, 0, 0, 1024, "*1024"},
        {"one more than a block", {}, 0, 0, 1025, "1024 *1"},
        {"append to a full block", {1024}, 1024, 0, 1, "1024 *1"},
        {"insert past the block's room", {1000}, 500, 0, 600, "1024 *576"},
        {"the block behind fits", {1000, 448}, 500, 0, 600, "1024 *1024"},
        {"the block behind is one too long", {1000, 449}, 500, 0, 600, "1024 *576 449"},
        {"a byte into a full block", {1024}, 512, 0, 1, "513 *512"},
        {"a byte over a byte", {1024, 1024}, 100, 1, 1, "*1024 1024"},
        {"delete inside a block", {1024}, 100, 10, 0, "*1014"},
        {"delete a first block", {700, 300}, 0, 700, 0, "*300"},
        {"delete a last block", {700, 300}, 700, 300, 0, "*700"},
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
    for (const Case& c : cases) {
        VFile f;
        Build(f, c.before);
        std::string model = ContentOf(f);
        const std::string bytes = Pattern(c.n, 5);
        const std::size_t at = static_cast<std::size_t>(c.at);
        Put(f, c.at, c.oldLen, bytes);
        model.replace(at, static_cast<std::size_t>(c.oldLen), bytes);
        EXPECT_EQ(c.after, LayoutOf(f)) << c.name;
        EXPECT_TRUE(CheckVFile(f, stderr)) << c.name;
        EXPECT_TRUE(ContentOf(f) == model) << c.name;
        EXPECT_EQ(c.at + c.n, f.GetPos()) << c.name;
    }
}

TEST(Change, RefusalsComeInOrderAndChangeNothing) {
    Watched f;
    Put(f, 0, 0, "text");
    f.SetPos(1);
    f.seen.clear();
    struct Refusal {
        int at, oldLen;
        const char* src;
        int n;
        bool locked, readOnly;
        Res before, after;
    };
    const Refusal refusals[] = {
        {-1, 0, "x", 1, true, true, resNotFound, resNotFound},    {-1, 0, "x", 1, true, true, resDone, resCallError},
        {0, -1, "x", 1, true, true, resDone, resCallError},       {0, 0, "x", -1, true, true, resDone, resCallError},
        {0, SameLen, "x", -1, true, true, resDone, resCallError}, {0, 0, nullptr, 1, true, true, resDone, resCallError},
        {0, 0, "x", 1, true, true, resDone, resContextError},     {0, 0, "x", 1, false, true, resDone, resReadOnly},
    };
    for (const Refusal& r : refusals) {
        f.Lock(false);
        f.res = resDone;
        f.SetFlag(vfReadOnly, r.readOnly);
        f.Lock(r.locked);
        f.seen.clear();
        f.res = r.before;
        f.eof = true;
        f.ReplaceBuf(r.at, r.oldLen, r.src, r.n);
        EXPECT_EQ(r.after, f.res);
        EXPECT_TRUE(f.eof);
        EXPECT_EQ("", f.seen);
        EXPECT_EQ(1, f.GetPos());
        EXPECT_EQ("text", ContentOf(f));
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
}

TEST(Change, ARefusedChangeMovesOnlyTheCursor) {
    Watched f;
    f.refusal = resNotSupported;
    Put(f, 0, 0, "x");
    EXPECT_EQ("*0", LayoutOf(f)); // keeps the page it was given
    EXPECT_EQ(resNotSupported, f.res);
    EXPECT_TRUE(CheckVFile(f, stderr));
    f.refusal = resDone;
    f.SetPos(0);
    Put(f, 0, 0, Pattern(2000));
    for (const int n : {1, 3000}) {
        const std::string before = LayoutOf(f);
        f.refusal = 77;
        f.eof = true;
        Put(f, 500, 10, Pattern(n));
        EXPECT_EQ(77, f.res);
        EXPECT_EQ(500, f.GetPos());
        EXPECT_FALSE(f.eof);
        EXPECT_TRUE(ContentOf(f) == Pattern(2000));
        EXPECT_TRUE(CheckVFile(f, stderr));
        f.SetPos(0);
    }
}

TEST(Change, LengthEndsAtTheGreatestNumber) {
    class Long : public VFile {
      public:
        void Pretend(std::int32_t n) { len = n; }
    } f;
    Put(f, 0, 0, "abc");
    f.Pretend(MaxLen - 1);
    f.SetPos(0);
    f.ReplaceBuf(0, 0, "xy", 2);
    EXPECT_EQ(resTooLong, f.res);
    f.Pretend(3);
    f.SetPos(0);
    EXPECT_EQ("abc", ContentOf(f));
}
