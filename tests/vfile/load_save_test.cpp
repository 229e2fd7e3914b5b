// Whole files in and out.
#include "hostfile/hfile.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

TEST(Load, MakesTheFileTheContent) {
    const TempDir dir;
    for (const int n : {0, 1, 1023, 1024, 1025, 300000}) {
        VFile f;
        Put(f, 0, 0, "old content");
        f.res = resNotSupported; // doesn't stop it
        f.Load(dir.Write("in", Pattern(n)).c_str(), 1);
        EXPECT_EQ(resDone, f.res);
        EXPECT_EQ(0, f.GetPos());
        EXPECT_TRUE(ContentOf(f) == Pattern(n)) << n;
        EXPECT_TRUE(CheckVFile(f, stderr));
        f.SetPos(n / 2);
        f.Save(dir.File("out").c_str(), true);
        EXPECT_EQ(resDone, f.res);
        EXPECT_EQ(n, f.GetPos());
        EXPECT_TRUE(dir.Read("out") == Pattern(n)) << n;
    }
}

TEST(Load, FailuresAreTold) {
    const TempDir dir;
    Watched f;
    Put(f, 0, 0, "text");
    f.InclFlag(vfReadOnly);
    f.Load(dir.File("missing").c_str(), 1);
    EXPECT_EQ(resReadOnly, f.res); // the file is never looked for
    EXPECT_EQ("text", ContentOf(f));
    f.Reset();
    f.ExclFlag(vfReadOnly);
    f.Load(dir.File("missing").c_str(), 1);
    EXPECT_EQ(resNotFound, f.res);
    EXPECT_EQ(0, f.Length());
    f.Reset();
    f.ReadFile(dir.File("no/way").c_str(), 1);
    EXPECT_EQ(resIllegalPath, f.res);
    f.Reset();
    f.ReadFile(dir.Path().c_str(), 1); // a directory
    EXPECT_EQ(resNoPermission, f.res);
    f.Reset();
    HFile holder;
    ASSERT_TRUE(holder.Open(dir.Write("held", "x").c_str()));
    f.ReadFile(dir.File("held").c_str(), 1);
    EXPECT_EQ(resNoPermission, f.res);
}

TEST(ReadFile, FollowsTheInsertFlag) {
    const TempDir dir;
    const std::string name = dir.Write("ten", "0123456789");
    for (const bool insert : {false, true}) {
        VFile f;
        Put(f, 0, 0, "abcdefgh");
        f.SetFlag(vfInsert, insert);
        f.SetPos(5);
        f.ReadFile(name.c_str(), 1);
        EXPECT_EQ(insert ? "abcde0123456789fgh" : "abcde0123456789", ContentOf(f));
        EXPECT_EQ(15, f.GetPos());
        f.res = resNotDone;
        f.ReadFile(name.c_str(), 1);
        EXPECT_EQ(15, f.GetPos());
    }
}

TEST(WriteFile, KeepsToOverwriteAndResult) {
    const TempDir dir;
    VFile f;
    Put(f, 0, 0, "new");
    f.SetPos(1);
    f.WriteFile(dir.Write("old", "a longer old content").c_str(), false);
    EXPECT_EQ(resAlreadyExists, f.res);
    EXPECT_EQ(1, f.GetPos());
    EXPECT_EQ("a longer old content", dir.Read("old"));
    f.WriteFile(dir.File("none").c_str(), true); // refused by the result that stands
    EXPECT_EQ(1u, dir.Count());
    f.Save(dir.File("old").c_str(), true);
    EXPECT_EQ(resDone, f.res);
    EXPECT_EQ("new", dir.Read("old"));
    f.InclFlag(vfReadOnly);
    f.Save(dir.File("second").c_str(), false);
    EXPECT_EQ("new", dir.Read("second"));
    f.Save("/dev/full", true);
    EXPECT_EQ(resDiskFull, f.res);
    EXPECT_EQ(3, f.GetPos());
}

TEST(WriteToFile, WritesFromThePosition) {
    const TempDir dir;
    VFile f;
    Put(f, 0, 0, Pattern(4000));
    HFile out;
    ASSERT_TRUE(out.Create(dir.File("out").c_str(), false));
    struct Case {
        int from, count, written;
    };
    std::string model;
    for (const Case& c : {Case{0, 0, 0}, Case{0, 10, 10}, Case{100, 2500, 2500}, Case{3950, 100, 50}, Case{5000, 7, 0},
                          Case{7, MaxLen, 3993}}) {
        for (const bool bare : {false, true}) {
            f.SetPos(c.from);
            const int from = f.GetPos();
            if (bare) {
                f.WriteToFile(out.handle, c.count);
            } else {
                f.WriteToFile(out, c.count);
            }
            EXPECT_EQ(resDone, f.res);
            EXPECT_EQ(from + c.written, f.GetPos());
            model += Pattern(4000).substr(static_cast<std::size_t>(from), static_cast<std::size_t>(c.written));
        }
    }
    EXPECT_TRUE(dir.Read("out") == model);
    f.SetPos(3);
    f.WriteToFile(out, -1);
    EXPECT_EQ(resCallError, f.res);
    out.Close();
    f.SetPos(3);
    f.WriteToFile(out, 1);
    EXPECT_EQ(resCallError, f.res);
    EXPECT_EQ(3, f.GetPos());
    f.SetPos(3);
    f.WriteToFile(InvalidHandle, 1);
    EXPECT_EQ(resCallError, f.res);
}

TEST(WriteToFile, EndsWhereADerivedReadTellsNonsense) {
    class Odd : public VFile {
      public:
        int told = 0;
        int ReadBytes(void*, int) override { return told; }
    } f;
    HFile null(HandleOf(open("/dev/null", O_WRONLY)));
    Put(f, 0, 0, "abc");
    for (const int told : {0, -1, 4, 5000}) {
        f.SetPos(0);
        f.told = told;
        f.WriteToFile(null, MaxLen);
        EXPECT_EQ(resNotDone, f.res) << told;
    }
}

TEST(WriteToFile, MakesPiecesOf1024) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_DIRECT)); // keeps writes apart
    VFile f;
    Put(f, 0, 0, Pattern(2500));
    f.SetPos(0);
    f.WriteToFile(HandleOf(ends[1]), MaxLen);
    char piece[4096];
    EXPECT_EQ(1024, read(ends[0], piece, sizeof piece));
    EXPECT_EQ(1024, read(ends[0], piece, sizeof piece));
    EXPECT_EQ(452, read(ends[0], piece, sizeof piece));
    close(ends[0]);
    f.SetPos(0);
    f.WriteToFile(HandleOf(ends[1]), MaxLen); // nobody reads any more: a result, and no signal
    EXPECT_EQ(resNotDone, f.res);
    EXPECT_EQ(1024, f.GetPos());
    close(ends[1]);
}
