// Changes from a repeated byte, from another object, from files.
#include "hostfile/hfile.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

TEST(ReplaceCh, WorksInChunksEachWithItsHooks) {
    Watched f;
    Put(f, 0, 0, Pattern(4000));
    f.seen.clear();
    f.ReplaceCh(500, 3000, 'z', 3000);
    EXPECT_EQ("pre 500 3000 1024 4000; post 500 3000 1024 2024; pre 1524 0 1024 2024; post 1524 0 1024 3048; "
              "pre 2548 0 952 3048; post 2548 0 952 4000; ",
              f.seen);
    EXPECT_EQ(3500, f.GetPos());
    EXPECT_TRUE(ContentOf(f) == Pattern(4000).replace(500, 3000, 3000, 'z'));
    f.ReplaceCh(0, 2, 'y', 0);
    EXPECT_EQ(3998, f.Length());
    f.ReplaceCh(3997, SameLen, 'y', 1);
    f.ReplaceCh(3990, SameLen, 'x', 10);
    EXPECT_EQ(4000, f.Length());
    f.ReplaceCh(0, 0, 'x', -1);
    EXPECT_EQ(resCallError, f.res);
}

TEST(ReplaceTxt, TakesTheClampedRange) {
    VFile src;
    Put(src, 0, 0, Pattern(5000));
    struct Case {
        int at, oldLen, from, count, taken, cut;
    };
    const Case cases[] = {
        {10, 0, 0, 20, 20, 0},         {10, 0, 4990, MaxLen, 10, 0},   {10, 5, 6000, 3, 0, 5},
        {10, SameLen, 6000, 3, 0, 0},  {10, SameLen, 4995, 50, 5, 5},  {10, SameLen, 0, MaxLen, 5000, 1990},
        {2500, 1, 100, 3000, 3000, 0}, {1000, 500, 1020, 10, 10, 500},
    };
    for (const Case& c : cases) {
        VFile f;
        Put(f, 0, 0, Pattern(2000, 3));
        src.SetPos(1234);
        src.eof = true;
        f.ReplaceTxt(c.at, c.oldLen, src, c.from, c.count);
        std::string model = Pattern(2000, 3);
        const int at = c.at > 2000 ? 2000 : c.at;
        model.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(c.cut),
                      Pattern(5000).substr(c.from > 5000 ? 5000 : static_cast<std::size_t>(c.from),
                                           static_cast<std::size_t>(c.taken)));
        EXPECT_TRUE(ContentOf(f) == model) << c.at << " " << c.from;
        EXPECT_EQ(at + c.taken, f.GetPos());
        EXPECT_TRUE(CheckVFile(f, stderr));
        EXPECT_EQ(1234, src.GetPos());
        EXPECT_TRUE(src.eof);
    }
    VFile f;
    f.ReplaceTxt(0, 0, src, -1, 0);
    EXPECT_EQ(resCallError, f.res);
}

TEST(ReplaceTxt, AnObjectCanBeItsOwnSource) {
    for (const int n : {10, 600, 1024, 3000}) {
        for (const int at : {0, n / 3, n}) {
            VFile f;
            std::string model = Pattern(n);
            Put(f, 0, 0, model);
            Put(f, n / 2, 1, "!"); // stands only in the buffer
            model[static_cast<std::size_t>(n / 2)] = '!';
            f.ReplaceTxt(at, n / 4, f, n / 5, n);
            const std::string run = model.substr(static_cast<std::size_t>(n / 5));
            model.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(n / 4), run);
            EXPECT_TRUE(ContentOf(f) == model) << n << " at " << at;
            EXPECT_TRUE(CheckVFile(f, stderr));
        }
    }
}

class FromFile : public testing::TestWithParam<bool> { // true: through an HFile, else through its bare handle
  protected:
    void Replace(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t count) {
        if (GetParam()) {
            f.ReplaceFile(at, oldLen, file, count);
        } else {
            f.ReplaceFile(at, oldLen, file.handle, count);
        }
    }
    TempDir dir;
    HFile file;
};
INSTANTIATE_TEST_SUITE_P(BothForms, FromFile, testing::Bool());

TEST_P(FromFile, LaysABlockForEachRead) {
    file.Open(dir.Write("f", Pattern(3000)).c_str());
    VFile f;
    Replace(f, 0, 0, MaxLen);
    EXPECT_EQ("1024 1024 *952", LayoutOf(f));
    EXPECT_TRUE(ContentOf(f) == Pattern(3000));
    EXPECT_EQ(3000, f.GetPos());
    file.SetPos(2990);
    Replace(f, 1500, SameLen, MaxLen); // overwrites what was really read
    EXPECT_TRUE(ContentOf(f) == Pattern(3000).replace(1500, 10, Pattern(3000).substr(2990)));
    EXPECT_TRUE(CheckVFile(f, stderr));
    Replace(f, 0, 100, 0);
    EXPECT_EQ(2900, f.Length());
    Replace(f, 2000, 0, MaxLen); // at the end of the source: only moves
    EXPECT_EQ(2000, f.GetPos());
    EXPECT_EQ(resDone, f.res);
}

TEST_P(FromFile, FailuresLeaveTheContentAndFreeTheStaged) {
    file.Open(dir.Write("f", Pattern(50)).c_str());
    Watched f;
    Put(f, 0, 0, "text");
    f.SetPos(1);
    Replace(f, 0, 4, 100);
    EXPECT_EQ(resNotDone, f.res);
    EXPECT_EQ(1, f.GetPos());
    EXPECT_EQ(50, file.GetPos()); // those bytes are gone from the source
    f.SetPos(1);
    Replace(f, 0, 4, -1);
    EXPECT_EQ(resCallError, f.res);
    f.SetPos(1);
    file.SetPos(0);
    f.refusal = resNotSupported;
    Replace(f, 2, 1, MaxLen);
    EXPECT_EQ(resNotSupported, f.res);
    EXPECT_EQ(2, f.GetPos());
    f.SetPos(3);
    Replace(f, 2, 1, 0); // a pure deletion is refused just the same
    EXPECT_EQ(resNotSupported, f.res);
    f.SetPos(3);
    f.InclFlag(vfReadOnly);
    file.Close();
    Replace(f, 0, 0, MaxLen);
    EXPECT_EQ(resCallError, f.res); // a closed source is told before the flag
    EXPECT_EQ("text", ContentOf(f));
    EXPECT_TRUE(CheckVFile(f, stderr));
}

TEST_P(FromFile, ReadErrorsArriveAsResults) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    file.handle = HandleOf(ends[1]); // can't be read
    VFile f;
    Put(f, 0, 0, "text");
    Replace(f, 0, 4, MaxLen);
    EXPECT_EQ(resNoPermission, f.res);
    EXPECT_EQ("text", ContentOf(f));
    if (GetParam()) {
        file.res = 99; // of no table
        f.SetPos(0);
        Replace(f, 0, 4, MaxLen);
        EXPECT_EQ(resNotDone, f.res);
    }
}

TEST(ReplaceFile, PipesGiveShortBlocks) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_EQ(5, write(ends[1], "hello", 5));
    close(ends[1]);
    VFile f;
    f.ReplaceFile(0, 0, HandleOf(ends[0]), MaxLen);
    close(ends[0]);
    EXPECT_EQ("hello", ContentOf(f));
}
