// Whole files in and out.
#include "hostfile/hfilesave.h"
#include "support/vfile_support.h"
#include "vfile/vfile_history.h"

#include <sys/resource.h>

namespace {

struct LoadSave : testing::Test {
    const TempDir dir;
    VFile f;
};

TEST_F(LoadSave, FailuresAreTold) {
    HFile holder;
    ASSERT_TRUE(holder.Open(dir.Write("held", "x").c_str()));
    std::filesystem::resize_file(dir.Write("long", ""), 3LL << 30);
    const std::tuple<const char*, bool, bool, Res, const char*> rows[] = {
        {"long", true, false, resTooLong, ""}, // and not read, nor a halt
        {"long", false, false, resTooLong, "text"},
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
        (f = "abcdefgh").SetFlag(vfInsert, insert), f.SetPos(5);
        f.ReadFile(dir.Write("ten", "0123456789").c_str(), 1);
        EXPECT_TRUE(f.GetPos() == 15 && ContentOf(f) == (insert ? "abcde0123456789fgh" : "abcde0123456789"));
    }
}

TEST_F(LoadSave, WriteFileKeepsToOverwriteAndResult) {
    (f = "new").SetPos(1);
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

// Reads are of another kind than the bytes.
struct Shouting : Watched {
    int ReadBytes(void* dst, int n) override {
        n = VFile::ReadBytes(dst, n);
        for (int i = 0; i < n; ++i) static_cast<char*>(dst)[i] = 'X';
        return n;
    }
};

TEST_F(LoadSave, SafeFormsKeepTheOldUntilTheNewIsThere) {
    HFile holder;
    ASSERT_TRUE(holder.Open(dir.Write("held", "x").c_str()));
    std::filesystem::resize_file(dir.Write("long", ""), 3LL << 30);
    Shouting v;
    VFileHistory history(v);
    v.Append("old");
    VFile::SetMaxCacheSize(16);
    const std::string content = Pattern(1000000);
    dir.Write("file", content);
    const std::tuple<const char*, int, Res> rows[] = {
        {"missing", 0, resNotFound}, {"no/way", 0, resIllegalPath},     {"held", 0, resNoPermission},
        {"long", 0, resTooLong},     {"file", vfReadOnly, resReadOnly}, {"file", vfLocked, resContextError},
        {"file", 0, resHeapOverflow}};
    HFileStamp stamp;
    for (const auto& [name, flag, res] : rows) {
        v.SetPos(2), v.Lock(false), v.SetFlag(vfReadOnly, flag == vfReadOnly), v.Lock(flag == vfLocked);
        v.refusal = res == resHeapOverflow ? res : resDone;
        v.LoadKeeping(dir.File(name).c_str(), 1, &stamp);
        EXPECT_TRUE(v.res == res && v.GetPos() == 2 && ContentOf(v) == "old" && !stamp.IsTaken()) << name;
        EXPECT_TRUE(v.FlagOn(flag) == (flag != 0) && history.UndoCount() == 1) << name;
    }
    v.refusal = resDone, v.seen = "";
    v.LoadKeeping(dir.File("file").c_str(), 0, &stamp); // clears the result
    EXPECT_EQ("pre 0 3 1000000 3; post 0 3 1000000 1000000; ", v.seen);
    EXPECT_TRUE(v.res == resDone && v.GetPos() == 0 && stamp.IsTaken() && ContentOf(v) == content);
    v.SaveSafely(dir.File("held").c_str());
    EXPECT_TRUE(v.res == resNoPermission && v.GetPos() == 0);
    v.SaveSafely(dir.File("file").c_str(), 0, &stamp);
    EXPECT_TRUE(v.res == resDone && v.GetPos() == 1000000 && dir.Read("file") == std::string(1000000, 'X'));
    v.Delete(10, MaxLen);
    v.SaveSafely(dir.File("file").c_str(), hsWriteInPlace, &stamp);
    EXPECT_TRUE(v.res == resDone && dir.Read("file") == std::string(10, 'X') && dir.Count() == 3);
    const std::string results = InChild([&] {
        const rlimit limit{9, 9}; // a signal, but for the library
        setrlimit(RLIMIT_FSIZE, &limit);
        VFile big('x', 5000), inPlace('x', 5000);
        big.SaveSafely(dir.File("file").c_str()), inPlace.SaveSafely(dir.File("file").c_str(), hsWriteInPlace);
        return std::to_string(big.res) + " " + std::to_string(inPlace.res);
    });
    EXPECT_EQ("15 15 XXXXXXXXXX 3", results + " " + dir.Read("file") + " " + std::to_string(dir.Count()));
    history.Undo(), history.Undo();
    EXPECT_TRUE(ContentOf(v) == "old");
}

TEST_F(LoadSave, WriteToFileWritesFromThePosition) {
    const std::string content = Pattern(4000);
    Put(f, 0, 0, content);
    HFile out;
    ASSERT_TRUE(out.Create(dir.File("out").c_str(), false));
    std::string model;
    for (const auto& [from, count] : {std::pair{0, 0}, {0, 10}, {100, 2500}, {3950, 100}, {4000, 7}, {7, MaxLen}}) {
        f.SetPos(from);
        count % 2 ? f.WriteToFile(out.handle, count) : f.WriteToFile(out, count);
        model += Part(content, from, count);
        EXPECT_TRUE(f.res == resDone && f.GetPos() == from + static_cast<int>(Part(content, from, count).size()));
    }
    EXPECT_EQ(model, dir.Read("out"));
    std::filesystem::resize_file(dir.File("out"), 3LL << 30);
    out.SetPos(MaxLen - 2000), f.SetPos(0);
    f.WriteToFile(out, MaxLen); // overwrites nothing that positions don't reach
    EXPECT_TRUE(f.res == resTooLong && f.GetPos() == 2048 && out.GetPos() == MaxLen - 2000 + 1024);
    for (int way = 0; way < 4; ++way) { // a negative count, and no open file
        f.SetPos(3);
        way % 2 ? f.WriteToFile(out.handle, way < 2 ? -1 : 1) : f.WriteToFile(out, way < 2 ? -1 : 1);
        EXPECT_TRUE(f.res == resCallError && f.GetPos() == 3);
        if (way == 1) out.Close();
    }
}

TEST_F(LoadSave, WriteToFileMakesPiecesOf1024ForAPipe) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_DIRECT)); // keeps writes apart
    Put(f, 0, 0, Pattern(2500)), f.SetPos(0);
    f.WriteToFile(HandleOf(ends[1]), MaxLen);
    char piece[4096];
    for (const int n : {1024, 1024, 452}) EXPECT_EQ(n, read(ends[0], piece, sizeof piece));
    close(ends[0]), f.SetPos(0);
    f.WriteToFile(HandleOf(ends[1]), MaxLen); // nobody reads any more: a result, and no signal
    EXPECT_TRUE(f.res == resNotDone && f.GetPos() == 1024);
    close(ends[1]);
}

} // namespace
