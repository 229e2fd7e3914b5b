// HFile: opening, sharing, bytes, position, results.
#include "hostfile/hfile.h"

#include "hostfile/faulty_calls.h"
#include "support/temp_dir.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using OpenCall = bool (*)(HFile&, const char*);

struct Mode {
    const char* name;
    OpenCall open;
    Res onMissing, onExisting;
    bool reads, writes, empties, shares;
};

const Mode modes[] = {
    {"Open", [](HFile& f, const char* n) { return f.Open(n); }, resNotFound, resDone, true, true, false, false},
    {"OpenSeqRead", [](HFile& f, const char* n) { return f.OpenSeqRead(n); }, resNotFound, resDone, true, false, false,
     true},
    {"Create", [](HFile& f, const char* n) { return f.Create(n, false); }, resDone, resAlreadyExists, true, true, false,
     false},
    {"Create over", [](HFile& f, const char* n) { return f.Create(n, true); }, resDone, resDone, true, true, true,
     false},
    {"CreateSeqWrite", [](HFile& f, const char* n) { return f.CreateSeqWrite(n, false); }, resDone, resAlreadyExists,
     false, true, false, false},
    {"CreateSeqWrite over", [](HFile& f, const char* n) { return f.CreateSeqWrite(n, true); }, resDone, resDone, false,
     true, true, false},
    {"Lookup", [](HFile& f, const char* n) { return f.Lookup(n, false); }, resNotFound, resDone, true, true, false,
     false},
    {"Lookup make", [](HFile& f, const char* n) { return f.Lookup(n, true); }, resDone, resDone, true, true, false,
     false},
};

TEST(HFile, EachModeDoesWhatItsRowSays) {
    for (const Mode& mode : modes) {
        SCOPED_TRACE(mode.name);
        TempDir dir;
        const std::string old = dir.Write("old", "12345");
        HFile f;
        f.res = resDiskFull;
        EXPECT_EQ(mode.onMissing == resDone, mode.open(f, dir.File("new").c_str()));
        EXPECT_EQ(mode.onMissing, f.res);
        EXPECT_EQ(mode.onMissing == resDone, std::filesystem::exists(dir.File("new")));
        if (f.IsOpen()) f.Close();

        EXPECT_EQ(mode.onExisting == resDone, mode.open(f, old.c_str()));
        EXPECT_EQ(mode.onExisting, f.res);
        if (f.IsOpen()) {
            EXPECT_NE(0, fcntl(DescriptorOf(f.handle), F_GETFD) & FD_CLOEXEC);
            const FileHandle before = f.handle;
            EXPECT_FALSE(mode.open(f, old.c_str()));
            EXPECT_EQ(resCallError, f.res);
            EXPECT_EQ(before, f.handle);
            f.Reset();
            char c = 0;
            f.ReadBytes(&c, 1);
            EXPECT_EQ(mode.reads ? resDone : resNoPermission, f.res);
            f.Reset();
            f.WriteBytes("x", 1);
            EXPECT_EQ(mode.writes ? resDone : resNoPermission, f.res);
            f.Close();
        }
        EXPECT_EQ(mode.onExisting != resDone || !mode.writes ? "12345" : mode.empties ? "x" : "x2345", dir.Read("old"));

        mode.open(f, (dir.Path() + "\\none\\x").c_str());
        EXPECT_EQ(resIllegalPath, f.res);
        mode.open(f, dir.Path().c_str());
        EXPECT_EQ(mode.onExisting == resAlreadyExists ? resAlreadyExists : resNoPermission, f.res);
        EXPECT_FALSE(f.IsOpen());
    }
}

TEST(HFile, HoldsItsFileAgainstOthersOfTheProcessUntilClosed) {
    TempDir dir;
    const std::string name = dir.Write("f", "12345");
    for (const Mode& first : modes) {
        for (const Mode& second : modes) {
            SCOPED_TRACE(std::string(first.name) + ", then " + second.name);
            if (first.onExisting != resDone || second.onExisting != resDone) continue;
            HFile a;
            HFile b;
            ASSERT_TRUE(first.open(a, name.c_str()));
            EXPECT_EQ(first.shares && second.shares, second.open(b, name.c_str()));
            EXPECT_EQ(first.empties ? "" : "12345", dir.Read("f")); // a refused opening has emptied nothing
            if (b.IsOpen()) continue;
            EXPECT_EQ(resNoPermission, b.res);
            a.Close();
            EXPECT_TRUE(second.open(b, name.c_str()));
            dir.Write("f", "12345");
        }
    }
}

TEST(HFile, ReadsTellTheEndAndRefuseInOrder) {
    TempDir dir;
    HFile f;
    char buf[8];
    ASSERT_TRUE(f.Open(dir.Write("f", "abcde").c_str()));
    EXPECT_EQ(5, f.ReadBytes(buf, 5));
    EXPECT_FALSE(f.eof);
    EXPECT_EQ(0, f.ReadBytes(buf, 1));
    EXPECT_TRUE(f.eof);
    EXPECT_EQ(0, f.ReadBytes(nullptr, 0)); // nothing asked, nothing changed
    EXPECT_TRUE(f.eof);
    EXPECT_EQ(resDone, f.res);
    f.SetPos(3);
    EXPECT_FALSE(f.eof);
    EXPECT_EQ(2, f.ReadBytes(buf, 8));
    EXPECT_TRUE(f.eof);

    for (const bool write : {false, true}) {
        for (const int count : {-1, 1}) {
            f.Reset();
            if (write) {
                f.WriteBytes(count < 0 ? buf : nullptr, count);
            } else {
                EXPECT_EQ(0, f.ReadBytes(count < 0 ? buf : nullptr, count));
            }
            EXPECT_EQ(resCallError, f.res);
        }
    }
    EXPECT_EQ(0, f.ReadBytes(buf, 1)); // refused while the result stands
    f.WriteBytes("x", 1);
    EXPECT_EQ(0, f.GetPos());
    f.Flush();
    EXPECT_EQ(resDone, f.res);
    f.WriteBytes("x", 1);
    f.Truncate();
    f.Close();
    EXPECT_EQ("x", dir.Read("f"));
}

TEST(HFile, SeeksStayInsideTheFile) {
    TempDir dir;
    HFile f;
    ASSERT_TRUE(f.Open(dir.Write("f", "0123456789").c_str()));
    const struct {
        std::int32_t start, offset;
        int origin;
        std::int32_t pos;
        Res res;
    } rows[] = {
        {0, 1000, 0, 10, resDone},       {5, -1, 1, 4, resDone},          {0, -1, 1, 0, resCallError},
        {3, 0, 2, 10, resDone},          {3, -11, 2, 3, resCallError},    {3, 0, 3, 3, resCallError},
        {10, INT32_MAX, 1, 10, resDone}, {10, INT32_MAX, 2, 10, resDone}, {3, INT32_MIN, 0, 3, resCallError},
    };
    for (const auto& row : rows) {
        f.SetPos(row.start);
        f.eof = true;
        f.SetPos(row.offset, row.origin);
        EXPECT_EQ(row.pos, f.GetPos()) << row.offset << " from " << row.origin;
        EXPECT_EQ(row.res, f.res) << row.offset << " from " << row.origin;
        EXPECT_FALSE(f.eof);
    }
}

TEST(HFile, ServesAFilePastItsPositionsAsFarAsTheyReach) {
    TempDir dir;
    const std::string name = dir.Write("f", "");
    std::filesystem::resize_file(name, 5LL << 30);
    HFile f;
    ASSERT_TRUE(f.OpenSeqRead(name.c_str()));
    EXPECT_EQ(INT32_MAX, f.Length());
    f.SetPos(0, 2);
    EXPECT_EQ(INT32_MAX, f.GetPos());
    char c;
    EXPECT_EQ(1, f.ReadBytes(&c, 1));
    EXPECT_EQ(INT32_MAX, f.GetPos());
}

TEST(HFile, ClosedObjectAnswersCallErrors) {
    HFile f;
    f.eof = true;
    f.res = resDiskFull;
    EXPECT_EQ(0, f.GetPos() + f.Length());
    EXPECT_EQ(resDiskFull, f.res);
    char c;
    const std::function<void()> acts[] = {
        [&] { f.Close(); },      [&] { f.Truncate(); },       [&] { f.Flush(); },           [&] { f.SetPos(0); },
        [&] { f.SetPos(0, 1); }, [&] { f.ReadBytes(&c, 1); }, [&] { f.WriteBytes("x", 1); }};
    for (const auto& act : acts) {
        f.res = resDone;
        act();
        EXPECT_EQ(resCallError, f.res);
    }
    EXPECT_FALSE(f.eof);
    f.res = resDone;
    f.Open(nullptr);
    EXPECT_EQ(resCallError, f.res);
}

TEST(HFile, OwnsAPipeAndLivesThroughItsBreaking) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    {
        HFile in(HandleOf(ends[0]));
        HFile out(HandleOf(ends[1]));
        out.WriteBytes("abc", 3);
        out.Flush();
        EXPECT_EQ(resDone, out.res);
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

TEST(HFile, TellsAFullDisk) {
    TempDir dir;
    const std::string name = dir.File("f");
    EXPECT_EQ(0, InChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{1000, 1000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  HFile f;
                  f.Create(name.c_str(), false);
                  const std::string bytes(600, 'x');
                  f.WriteBytes(bytes.data(), 600);
                  if (f.res != resDone) return 1;
                  f.WriteBytes(bytes.data(), 600); // in part
                  if (f.res != resDiskFull || f.GetPos() != 1000) return 2;
                  f.SetPos(0, 2);
                  f.WriteBytes(bytes.data(), 600); // not at all
                  return f.res == resDiskFull ? 0 : 3;
              }));
    EXPECT_EQ(1000u, std::filesystem::file_size(name));
}

TEST(HFile, ResultsInCodesAndWords) {
    HFile f;
    for (Res code = 0; code <= 24; ++code) {
        f.res = code;
        EXPECT_EQ(code, GetFileRes(f));
    }
    for (const Res code : {25, -1}) {
        f.res = code;
        EXPECT_EQ(resNotDone, GetFileRes(f));
    }
    char buf[32];
    HFile::GetResMsg(buf, sizeof buf, resHeapOverflow);
    EXPECT_STREQ("heap overflow", buf);
    HFile::GetResMsg(buf, sizeof buf, resDiskFull);
    EXPECT_STREQ("disk full", buf);
    HFile::GetResMsg(buf, 8, -1);
    EXPECT_STREQ("unknown", buf);
}

} // namespace
