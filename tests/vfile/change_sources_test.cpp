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
