// Whole files in and out.
#include "support/vfile_support.h"

namespace {

class LoadSave : public testing::Test {
  protected:
    const TempDir dir;
    VFile f;
};

TEST_F(LoadSave, FailuresAreTold) {
    HFile holder;
    ASSERT_TRUE(holder.Open(dir.Write("held", "x").c_str()));
    const std::tuple<const char*, bool, bool, Res, const char*> rows[] = {
        {"missing", true, true, resReadOnly, "text"}, // never looked for
        {"missing", true, false, resNotFound, ""},
        {"no/way", false, false, resIllegalPath, "text"},
        {"", false, false, resNoPermission, "text"}, // the directory itself
        {"held", false, false, resNoPermission, "text"}};
    for (const auto& [name, load, readOnly, res, left] : rows) {
        VFile text("text");
        text.SetFlag(vfReadOnly, readOnly);
        load ? text.Load(dir.File(name).c_str(), 1) : text.ReadFile(dir.File(name).c_str(), 1);
        EXPECT_TRUE(text.res == res && ContentOf(text) == left) << name;
    }
}

TEST_F(LoadSave, ReadFileFollowsTheInsertFlag) {
    for (const bool insert : {false, true}) {
        f = "abcdefgh";
        f.SetFlag(vfInsert, insert);
        f.SetPos(5);
        f.ReadFile(dir.Write("ten", "0123456789").c_str(), 1);
        EXPECT_TRUE(f.GetPos() == 15 && ContentOf(f) == (insert ? "abcde0123456789fgh" : "abcde0123456789"));
    }
}

TEST_F(LoadSave, WriteFileKeepsToOverwriteAndResult) {
    f = "new";
    f.SetPos(1);
    f.WriteFile(dir.Write("old", "a longer old content").c_str(), false);
    EXPECT_TRUE(f.res == resAlreadyExists && f.GetPos() == 1 && dir.Read("old") == "a longer old content");
    f.WriteFile(dir.File("none").c_str(), true); // refused by the result that stands
    EXPECT_EQ(1u, dir.Count());
    f.InclFlag(vfReadOnly);
    f.Save(dir.File("old").c_str(), true);
    EXPECT_EQ("new", dir.Read("old"));
    f.Save("/dev/full", true);
    EXPECT_TRUE(f.res == resDiskFull && f.GetPos() == 3);
}

TEST_F(LoadSave, WriteToFileWritesFromThePosition) {
    const std::string content = Pattern(4000);
    Put(f, 0, 0, content);
    HFile out;
    ASSERT_TRUE(out.Create(dir.File("out").c_str(), false));
    std::string model;
    for (const auto& [from, count] : {std::pair{0, 0}, {0, 10}, {100, 2500}, {3950, 100}, {4000, 7}, {7, MaxLen}}) {
        for (const bool bare : {false, true}) {
            f.SetPos(from);
            bare ? f.WriteToFile(out.handle, count) : f.WriteToFile(out, count);
            model += Part(content, from, count);
            EXPECT_TRUE(f.res == resDone && f.GetPos() == from + static_cast<int>(Part(content, from, count).size()));
        }
    }
    EXPECT_TRUE(dir.Read("out") == model);
    for (const bool open : {true, false}) {
        for (const bool bare : {false, true}) {
            f.SetPos(3);
            bare ? f.WriteToFile(out.handle, open ? -1 : 1) : f.WriteToFile(out, open ? -1 : 1);
            EXPECT_TRUE(f.res == resCallError && f.GetPos() == 3);
        }
        out.Close();
    }
}

TEST_F(LoadSave, WriteToFileMakesPiecesOf1024ForAPipe) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_DIRECT)); // keeps writes apart
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

} // namespace
