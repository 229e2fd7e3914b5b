// HFile: opening, bytes, position, results.
#include "hostfile/hostfile_support.h"

namespace {

#define BY(call) #call, [](HFile & f, const char* n) { return f.call; }

TEST(HFile, EachModeDoesWhatItsRowSays) {
    const struct {
        const char* name;
        bool (*open)(HFile&, const char*);
        Res onMissing, onExisting, onRead, onWrite;
        const char* left; // of "123" when "x" was written
    } modes[] = {{BY(Open(n)), resNotFound, resDone, resDone, resDone, "x23"},
                 {BY(OpenSeqRead(n)), resNotFound, resDone, resDone, resNoPermission, "123"},
                 {BY(Create(n, false)), resDone, resAlreadyExists, resDone, resDone, "x"},
                 {BY(Create(n, true)), resDone, resDone, resDone, resDone, "x"},
                 {BY(CreateSeqWrite(n, false)), resDone, resAlreadyExists, resNoPermission, resDone, "x"},
                 {BY(CreateSeqWrite(n, true)), resDone, resDone, resNoPermission, resDone, "x"},
                 {BY(Lookup(n, false)), resNotFound, resDone, resDone, resDone, "x23"},
                 {BY(Lookup(n, true)), resDone, resDone, resDone, resDone, "x23"}};
    for (const auto& mode : modes) {
        SCOPED_TRACE(mode.name);
        const TempDir dir;
        HFile f, other;
        f.res = resDiskFull; // which no opening minds
        for (const auto& [at, res] :
             {std::pair{dir.File("new"), mode.onMissing}, {dir.Write("f", "123"), mode.onExisting}}) {
            EXPECT_EQ(res == resDone, mode.open(f, at.c_str()));
            EXPECT_EQ(res, f.res);
            EXPECT_EQ(res == resDone, f.IsOpen());
            f.Close();
        }
        if (mode.onExisting != resDone) fs::remove(dir.File("f"));
        ASSERT_TRUE(mode.open(f, dir.File("f").c_str()));
        EXPECT_EQ(mode.onWrite != resDone, other.OpenSeqRead(dir.File("f").c_str())); // who writes, is alone
        EXPECT_FALSE(mode.open(f, dir.File("new").c_str()));                          // open already, and stays so
        EXPECT_EQ(resCallError, f.res);
        char c;
        f.Reset();
        f.ReadBytes(&c, 1);
        EXPECT_EQ(mode.onRead, f.res);
        f.Reset();
        f.WriteBytes("x", 1);
        EXPECT_EQ(mode.onWrite, f.res);
        EXPECT_EQ(mode.left, dir.Read("f"));
    }
}

TEST(HFile, ReadsTellTheEndAndAnErrorStopsTheRow) {
    const TempDir dir;
    HFile f;
    char buf[8];
    ASSERT_TRUE(f.Open(dir.Write("f", "abcde").c_str()));
    const std::array<int, 4> rows[] = {{0, 5, 5, 0}, {-1, 1, 0, 1}, {-1, 0, 0, 1}, {3, 8, 2, 1}, {5, 0, 0, 0}};
    for (const auto& [pos, count, got, eof] : rows) {
        if (pos >= 0) f.SetPos(pos);
        EXPECT_EQ(got, f.ReadBytes(count ? buf : nullptr, count));
        EXPECT_TRUE(f.eof == (eof != 0) && f.res == resDone);
    }
    const std::function<void()> refused[] = {[&] { f.ReadBytes(buf, -1); }, [&] { f.ReadBytes(nullptr, 1); },
                                             [&] { f.WriteBytes(buf, -1); }, [&] { f.WriteBytes(nullptr, 1); }};
    for (const auto& act : refused) {
        f.Reset();
        act();
        EXPECT_EQ(resCallError, f.res);
        f.WriteBytes("x", 1); // not while the result stands
        EXPECT_EQ(0, f.ReadBytes(buf, 1) + f.GetPos());
    }
    f.Flush(); // clears it
    f.WriteBytes("x", 1);
    f.Truncate();
    EXPECT_EQ("x", dir.Read("f"));
}

TEST(HFile, SeeksStayInsideTheFile) {
    const TempDir dir;
    HFile f;
    ASSERT_TRUE(f.Open(dir.Write("f", "0123456789").c_str()));
    const std::array<std::int32_t, 5> rows[] = {
        {0, 1000, 0, 10, resDone},       {5, -1, 1, 4, resDone},          {0, -1, 1, 0, resCallError},
        {3, 0, 2, 10, resDone},          {3, -11, 2, 3, resCallError},    {3, 0, 3, 3, resCallError},
        {10, INT32_MAX, 1, 10, resDone}, {10, INT32_MAX, 2, 10, resDone}, {3, INT32_MIN, 0, 3, resCallError}};
    for (const auto& [start, offset, origin, pos, res] : rows) {
        f.SetPos(start);
        f.eof = true;
        f.SetPos(offset, origin);
        EXPECT_TRUE(f.GetPos() == pos && f.res == res && !f.eof) << offset << " from " << origin;
    }
    fs::resize_file(dir.File("f"), 5LL << 30);
    f.SetPos(0, 2);
    char c;
    EXPECT_EQ(1, f.ReadBytes(&c, 1)); // past what positions reach
    EXPECT_TRUE(f.GetPos() == INT32_MAX && f.Length() == INT32_MAX);
}

TEST(HFile, ClosedObjectAnswersCallErrors) {
    HFile f;
    char c = 0;
    const std::function<void()> acts[] = {
        [&] { f.Close(); },      [&] { f.Truncate(); },    [&] { f.Flush(); },          [&] { f.SetPos(0); },
        [&] { f.SetPos(0, 1); }, [&] { f.Open(nullptr); }, [&] { f.ReadBytes(&c, 1); }, [&] { f.WriteBytes("x", 1); }};
    for (const auto& act : acts) {
        f.res = resDone;
        act();
        EXPECT_EQ(resCallError, f.res);
    }
    EXPECT_EQ(0, f.GetPos() + f.Length());
}

TEST(HFile, OwnsAPipeThatItWasGiven) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    {
        HFile in(HandleOf(ends[0])), out(HandleOf(ends[1]));
        in.SetPos(1);
        EXPECT_EQ(resNotSupported, in.res);
        in.Close();
        out.WriteBytes("abc", 3);
        EXPECT_EQ(resNotDone, out.res);
    }
    EXPECT_EQ(-1, fcntl(ends[1], F_GETFD));
}

TEST(HFile, ResultsInCodesAndWords) {
    HFile f;
    for (f.res = -1; f.res <= 25; ++f.res) EXPECT_EQ(f.res >= 0 && f.res <= 24 ? f.res : resNotDone, GetFileRes(f));
    for (const auto& [code, words] : {std::pair{5, "heap overflow"}, {15, "disk full"}, {-1, "unknown error co"}}) {
        char buf[17];
        HFile::GetResMsg(buf, sizeof buf, code);
        EXPECT_STREQ(words, buf);
    }
}

} // namespace
