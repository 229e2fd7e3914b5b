// Whole files in and out.
#include "hostfile/hfile.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

TEST(Load, MakesTheFileTheContent) {
    const TempDir dir;
    for (const int n : {0, 1, 1024, 1025, 300000}) {
        VFile f;
        Put(f, 0, 0, "old content");
        f.res = resNotSupported; // doesn't stop it
        f.Load(dir.Write("in", Pattern(n)).c_str(), 1);
        EXPECT_EQ(resDone, f.res);
        EXPECT_EQ(0, f.GetPos());
        EXPECT_TRUE(ContentOf(f) == Pattern(n) && CheckVFile(f, stderr)) << n;
        f.SetPos(n / 2);
        f.Save(dir.File("out").c_str(), true);
        EXPECT_EQ(resDone, f.res);
        EXPECT_EQ(n, f.GetPos());
        EXPECT_TRUE(dir.Read("out") == Pattern(n)) << n;
    }
}

TEST(Load, FailuresAreTold) {
    const TempDir dir;
    HFile holder;
    ASSERT_TRUE(holder.Open(dir.Write("held", "x").c_str()));
    const struct {
        std::string name;
        bool load, readOnly;
        Res res;
        const char* left;
    } rows[] = {
        {"missing", true, true, resReadOnly, "text"}, // never looked for
        {"missing", true, false, resNotFound, ""},       {"no/way", false, false, resIllegalPath, "text"},
        {"", false, false, resNoPermission, "text"}, // the directory itself
        {"held", false, false, resNoPermission, "text"},
    };
    for (const auto& row : rows) {
        VFile f;
        Put(f, 0, 0, "text");
        f.SetFlag(vfReadOnly, row.readOnly);
        const std::string name = dir.File(row.name);
        row.load ? f.Load(name.c_str(), 1) : f.ReadFile(name.c_str(), 1);
        EXPECT_EQ(row.res, f.res) << row.name;
        EXPECT_EQ(row.left, ContentOf(f)) << row.name;
    }
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
    }
}

TEST(WriteFile, KeepsToOverwriteAndResult) {
    const TempDir dir;
    VFile f;
    Put(f, 0, 0, "new");
    f.SetPos(1);
    f.WriteFile(dir.Write("old", "a longer old content").c_str(), false);
    EXPECT_TRUE(f.res == resAlreadyExists && f.GetPos() == 1);
    EXPECT_EQ("a longer old content", dir.Read("old"));
    f.WriteFile(dir.File("none").c_str(), true); // refused by the result that stands
    EXPECT_EQ(1u, dir.Count());
    f.Save(dir.File("old").c_str(), true);
    EXPECT_EQ("new", dir.Read("old"));
    f.InclFlag(vfReadOnly);
    f.Save(dir.File("second").c_str(), false);
    EXPECT_EQ("new", dir.Read("second"));
    f.Save("/dev/full", true);
    EXPECT_TRUE(f.res == resDiskFull && f.GetPos() == 3);
}

TEST(WriteToFile, WritesFromThePosition) {
    const TempDir dir;
    VFile f;
    Put(f, 0, 0, Pattern(4000));
    HFile out;
    ASSERT_TRUE(out.Create(dir.File("out").c_str(), false));
    std::string model;
    for (const auto& [from, count] : {std::pair{0, 0}, {0, 10}, {100, 2500}, {3950, 100}, {4000, 7}, {7, MaxLen}}) {
        for (const bool bare : {false, true}) {
            const std::string run =
                Pattern(4000).substr(static_cast<std::size_t>(from), static_cast<std::size_t>(count));
            f.SetPos(from);
            bare ? f.WriteToFile(out.handle, count) : f.WriteToFile(out, count);
            EXPECT_EQ(resDone, f.res);
            EXPECT_EQ(from + static_cast<int>(run.size()), f.GetPos());
            model += run;
        }
    }
    EXPECT_TRUE(dir.Read("out") == model);
    f.SetPos(3);
    f.WriteToFile(out, -1);
    EXPECT_EQ(resCallError, f.res);
    out.Close();
    for (const bool bare : {false, true}) {
        f.SetPos(3);
        bare ? f.WriteToFile(InvalidHandle, 1) : f.WriteToFile(out, 1);
        EXPECT_TRUE(f.res == resCallError && f.GetPos() == 3);
    }
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

TEST(WriteToFile, MakesPiecesOf1024ForAPipe) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_DIRECT)); // keeps writes apart
    VFile f;
    Put(f, 0, 0, Pattern(2500));
    f.SetPos(0);
    f.WriteToFile(HandleOf(ends[1]), MaxLen);
    char piece[4096];
    for (const int n : {1024, 1024, 452}) EXPECT_EQ(n, read(ends[0], piece, sizeof piece));
    close(ends[0]);
    f.SetPos(0);
    f.WriteToFile(HandleOf(ends[1]), MaxLen); // nobody reads any more: a result, and no signal
    EXPECT_TRUE(f.res == resNotDone && f.GetPos() == 1024);
    close(ends[1]);
}
