// HFile: opening, sharing, bytes, position, results.
#include "hostfile/hostfile_support.h"

namespace {

#define BY(call) #call, [](HFile & f, const char* n) { return f.call; }

const struct Mode {
    const char* name;
    bool (*open)(HFile&, const char*);
    Res onMissing, onExisting;
    std::string does; // reads, writes, empties, shares
    bool Does(char c) const { return does.find(c) != std::string::npos; }
} modes[] = {
    {BY(Open(n)), resNotFound, resDone, "rw"},
    {BY(OpenSeqRead(n)), resNotFound, resDone, "rs"},
    {BY(Create(n, false)), resDone, resAlreadyExists, "rw"},
    {BY(Create(n, true)), resDone, resDone, "rwe"},
    {BY(CreateSeqWrite(n, false)), resDone, resAlreadyExists, "w"},
    {BY(CreateSeqWrite(n, true)), resDone, resDone, "we"},
    {BY(Lookup(n, false)), resNotFound, resDone, "rw"},
    {BY(Lookup(n, true)), resDone, resDone, "rw"},
};

TEST(HFile, EachModeDoesWhatItsRowSays) {
    for (const Mode& mode : modes) {
        SCOPED_TRACE(mode.name);
        const TempDir dir;
        const std::string old = dir.Write("old", "12345");
        HFile f;
        f.res = resDiskFull;
        EXPECT_EQ(mode.onMissing == resDone, mode.open(f, dir.File("new").c_str()));
        EXPECT_EQ(mode.onMissing, f.res);
        EXPECT_EQ(mode.onMissing == resDone, fs::exists(dir.File("new")));
        if (f.IsOpen()) f.Close();
        EXPECT_FALSE(mode.open(f, (dir.Path() + "\\none\\x").c_str()));
        EXPECT_EQ(resIllegalPath, f.res);
        EXPECT_FALSE(mode.open(f, dir.Path().c_str()));
        EXPECT_EQ(mode.onExisting == resDone ? resNoPermission : resAlreadyExists, f.res);
        EXPECT_EQ(mode.onExisting == resDone, mode.open(f, old.c_str()));
        EXPECT_EQ(mode.onExisting, f.res);
        if (!f.IsOpen()) continue;
        EXPECT_NE(0, fcntl(DescriptorOf(f.handle), F_GETFD) & FD_CLOEXEC);
        EXPECT_FALSE(mode.open(f, old.c_str())); // open already, and stays so
        EXPECT_EQ(resCallError, f.res);
        char c = 0;
        f.Reset();
        f.ReadBytes(&c, 1);
        EXPECT_EQ(mode.Does('r') ? resDone : resNoPermission, f.res);
        f.Reset();
        f.WriteBytes("x", 1);
        EXPECT_EQ(mode.Does('w') ? resDone : resNoPermission, f.res);
        EXPECT_EQ(mode.Does('e') ? "x" : mode.Does('w') ? "x2345" : "12345", dir.Read("old"));
    }
}

TEST(HFile, HoldsItsFileAgainstOthersOfTheProcessUntilClosed) {
    const TempDir dir;
    const std::string name = dir.Write("f", "12345");
    for (const Mode& first : modes) {
        for (const Mode& second : modes) {
            SCOPED_TRACE(std::string(first.name) + ", then " + second.name);
            if (first.onExisting != resDone || second.onExisting != resDone) continue;
            HFile a, b;
            ASSERT_TRUE(first.open(a, name.c_str()));
            EXPECT_EQ(first.Does('s') && second.Does('s'), second.open(b, name.c_str()));
            EXPECT_EQ(first.Does('e') ? "" : "12345", dir.Read("f")); // a refused opening has emptied nothing
            if (b.IsOpen()) continue;
            EXPECT_EQ(resNoPermission, b.res);
            a.Close();
            EXPECT_TRUE(second.open(b, name.c_str()));
            dir.Write("f", "12345");
        }
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
        EXPECT_EQ(eof, f.eof);
        EXPECT_EQ(resDone, f.res);
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
        {10, INT32_MAX, 1, 10, resDone}, {10, INT32_MAX, 2, 10, resDone}, {3, INT32_MIN, 0, 3, resCallError},
    };
    for (const auto& [start, offset, origin, pos, res] : rows) {
        f.SetPos(start);
        f.eof = true;
        f.SetPos(offset, origin);
        EXPECT_TRUE(f.GetPos() == pos && f.res == res && !f.eof) << offset << " from " << origin;
    }
    fs::resize_file(dir.File("f"), 5LL << 30);
    EXPECT_EQ(INT32_MAX, f.Length());
    f.SetPos(0, 2);
    char c;
    EXPECT_EQ(1, f.ReadBytes(&c, 1)); // past what positions reach
    EXPECT_EQ(INT32_MAX, f.GetPos());
}

TEST(HFile, ClosedObjectAnswersCallErrors) {
    HFile f;
    f.eof = true;
    f.res = resDiskFull;
    EXPECT_EQ(0, f.GetPos() + f.Length());
    EXPECT_EQ(resDiskFull, f.res);
    char c;
    const std::function<void()> acts[] = {[&] { f.Close(); },
                                          [&] { f.Truncate(); },
                                          [&] { f.Flush(); },
                                          [&] { f.SetPos(0); },
                                          [&] { f.SetPos(0, 1); },
                                          [&] { f.ReadBytes(&c, 1); },
                                          [&] { f.WriteBytes("x", 1); },
                                          [&] { f.Open(nullptr); }};
    for (const auto& act : acts) {
        f.res = resDone;
        act();
        EXPECT_EQ(resCallError, f.res);
    }
    EXPECT_FALSE(f.eof);
}

TEST(HFile, OwnsAPipeAndLivesThroughItsBreaking) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    {
        HFile in(HandleOf(ends[0])), out(HandleOf(ends[1]));
        out.WriteBytes("abc", 3);
        out.Flush();
        char buf[4];
        EXPECT_EQ(3, in.ReadBytes(buf, 4));
        in.SetPos(1);
        EXPECT_EQ(resNotSupported, in.res);
        in.Close();
        out.WriteBytes("abc", 3); // would end the process, were the signal let through
        EXPECT_EQ(resNotDone, out.res);
    }
    EXPECT_EQ(-1, fcntl(ends[1], F_GETFD));
}

TEST(HFile, ResultsInCodesAndWords) {
    HFile f;
    for (f.res = -1; f.res <= 25; ++f.res) EXPECT_EQ(f.res >= 0 && f.res <= 24 ? f.res : resNotDone, GetFileRes(f));
    const std::pair<Res, std::string> rows[] = {{5, "heap overflow"}, {15, "disk full"}, {-1, "unknown error co"}};
    for (const auto& [code, words] : rows) {
        char buf[17];
        HFile::GetResMsg(buf, sizeof buf, code);
        EXPECT_EQ(words, buf);
    }
}

} // namespace
