// Packing: on request, and where the address space ends, which here leaves only some hundred pages.
#include "support/vfile_support.h"
#include "vfile/content.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_marks.h"
#include "vfile/vfile_progress.h"
#include "vfile/vfile_view.h"

#include <stdexcept>
#include <sys/ioctl.h>

namespace {

using vfile_internal::Content;

// Leaves the contents of the thread so many pages beside those they have; `f` is one of them.
void Leave(const VFile& f, int pages) {
    VMem& vm = Content::Of(f).vm;
    const auto left = [&] { return Content::Of(f).chain.FreePages(); };
    std::int32_t adr;
    while (left() > pages + 32) vm.Alloc(adr, 32767);
    while (left() > pages) vm.AllocPage(adr);
}

struct Packing : testing::Test {
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

    // Puts pieces of 40 bytes in at random places until `f` has so many bytes.
    void Feed(VFile& f, std::string& s, int size) {
        while (static_cast<int>(s.size()) < size && f.res == resDone) {
            const int at = Below(static_cast<int>(s.size()) + 1);
            const std::string piece = LinedPattern(40, at);
            Put(f, at, 0, piece), s.insert(std::size_t(at), piece);
        }
        EXPECT_EQ(resDone, f.res);
    }
    static std::string Full(const VFile& f) {
        std::string layout = LayoutOf(f), expected;
        layout.erase(std::remove(layout.begin(), layout.end(), '*'), layout.end());
        for (int left = f.Length(); left > 0; left -= BlkSize)
            expected += (expected.empty() ? "" : " ") + std::to_string(std::min<int>(left, BlkSize));
        return layout == expected ? "full" : layout;
    }
    static int Blocks(const VFile& f) {
        const std::string layout = LayoutOf(f);
        return 1 + static_cast<int>(std::count(layout.begin(), layout.end(), ' '));
    }

    // With nobody told.
    static bool Holds(const VFile& f, const std::string& s) {
        const VFileProgress set = VFile_SetProgress({});
        const bool same = VFileView(f).Compare(0, MaxLen, s.data(), static_cast<int>(s.size())) == 0;
        VFile_SetProgress(set);
        return same;
    }

    std::mt19937 rng{7};
};

TEST_F(Packing, OnRequestChangesNothingButTheBlocks) {
    VFile::SetMaxCacheSize(4);
    Watched f;
    std::string s;
    EXPECT_TRUE(f.Compact() && f.Length() == 0); // nothing to do
    VFileHistory history(f);
    VFileMarks marks(f);
    Feed(f, s, 60000);
    VFileMark mark = marks.Add(30000, VFileGravity::After);
    for (const int at : {0, 1024, 29999, 30000, 60000}) {
        const int free = VFile::SpaceFree(), blocks = Blocks(f);
        EXPECT_EQ(2147482624, free + VFile::SpaceUsed());
        EXPECT_GT(blocks, 65);
        f.Lock(true), f.SetPos(at), f.res = resNotDone, f.eof = true, f.seen.clear();
        const int undo = history.UndoCount();
        EXPECT_TRUE(f.Compact());
        EXPECT_TRUE(f.GetPos() == at && f.res == resNotDone && f.eof && f.seen.empty());
        EXPECT_TRUE(CheckVFile(f, stderr) && Full(f) == "full" && ContentOf(f) == s);
        EXPECT_EQ(free + (blocks - Blocks(f)) * BlkSize, VFile::SpaceFree());
        EXPECT_TRUE(marks.Start(mark) == 30000 && history.UndoCount() == undo);
        f.Lock(false), f.Reset();
        CheckLineNumbers(f, s, 40000, 300);
        EXPECT_TRUE(history.Undo() && history.Redo() && ContentOf(f) == s);
        std::string changed = s;
        Feed(f, changed, static_cast<int>(s.size()) + 4000);
        while (history.UndoCount() > undo) history.Undo();
        EXPECT_TRUE(ContentOf(f) == s && history.res == resDone);
        marks.Remove(mark), mark = marks.Add(30000, VFileGravity::After);
    }
    EXPECT_GT(VFile::GetSwapFileSize(), 0);
    VFile::SetMaxCacheSize(4000);
}

// A callback may stop it, throw, or read, which gives the object's buffer another block and makes an index.
TEST_F(Packing, StopsWithWhatItHasBroughtTogether) {
    static std::function<bool()> called;
    VFile f;
    std::string s;
    for (int i = 0; i < 12000; ++i) s += Pattern(900, i);
    for (int at = 900 * 12000; at > 0; at -= 900) Put(f, 0, 0, Part(s, at - 900, 900)); // a block each
    VFileProgress progress;
    progress.call = [](void*, VFileWork work, std::int64_t done, std::int64_t total) {
        EXPECT_TRUE(work == VFileWork::Compact && done <= total);
        return called();
    };
    VFile_SetProgress(progress);
    const int before = Blocks(f);
    int calls = 0;
    called = [&] {
        f.SetPos(++calls * 3000000), f.SetPos(100), f.SetPos(5000000);
        unsigned char c;
        f.ReadByte(c);
        return false;
    };
    f.SetPos(6000000);
    EXPECT_TRUE(!f.Compact() && f.res == resStopped && calls == 1 && f.GetPos() == 6000000);
    EXPECT_TRUE(CheckVFile(f, stderr) && Holds(f, s) && Blocks(f) < before);
    called = []() -> bool { throw std::runtime_error("enough"); };
    EXPECT_THROW(f.Compact(), std::runtime_error);
    EXPECT_TRUE(CheckVFile(f, stderr) && Holds(f, s));
    called = [&] { return Put(f, 10, 0, "!"), s.insert(10, "!"), true; };
    f.Reset();
    EXPECT_TRUE(!f.Compact() && f.res == resContextError);
    EXPECT_TRUE(CheckVFile(f, stderr) && Holds(f, s));
    f.Reset();
    called = [&] { return f.SetPos(++calls * 1000000), VFile::ReleaseMemory(), true; };
    EXPECT_TRUE(f.Compact() && calls > 2 && Full(f) == "full" && Holds(f, s) && CheckVFile(f, stderr));
    VFile_SetProgress({});
    VFileView(f).Visit(0, 10, [&](const unsigned char*, std::int32_t) { return !f.Compact(); });
    EXPECT_EQ(resContextError, f.res);
}

TEST_F(Packing, GivesAContentAllThatTheSpaceHas) {
    VFile f, *loose = new VFile;
    std::string s, other;
    Feed(*loose, other, 20000);
    Leave(f, 300);
    Feed(f, s, 300 * BlkSize - 8000); // without packing, some 25 KB
    EXPECT_TRUE(CheckVFile(f, stderr) && f.Length() == static_cast<int>(s.size()));
    EXPECT_TRUE(Holds(f, s));
    for (int i = 0; i < 300; ++i) { // and goes on so, near the end
        const int at = Below(f.Length()), n = Below(2000);
        f.Delete(at, n), s.erase(std::size_t(at), std::size_t(n));
        Feed(f, s, 300 * BlkSize - 8000);
        ASSERT_TRUE(CheckVFile(f, stderr) && Holds(f, s));
    }
    EXPECT_EQ(20, Blocks(*loose)); // which has given what it had
    EXPECT_TRUE(Holds(*loose, other) && CheckVFile(*loose, stderr));
    delete loose;
}

TEST_F(Packing, LeavesAloneWhatIsVisitedOrAsked) {
    VFile f, loose;
    std::string s, other;
    Leave(f, 200);
    Feed(loose, other, 30000);
    const std::string layout = LayoutOf(loose);
    std::string seen;
    VFileView(loose).Visit(0, MaxLen, [&](const unsigned char* bytes, std::int32_t n) {
        seen.append(bytes, bytes + n);
        Feed(f, s, static_cast<int>(seen.size()) * 4);
        return LayoutOf(loose) == layout;
    });
    EXPECT_EQ(other, seen);
    Feed(f, s, 140000);
    EXPECT_NE(layout, LayoutOf(loose));
    EXPECT_TRUE(CheckVFile(f, stderr) && CheckVFile(loose, stderr));
    EXPECT_TRUE(Holds(f, s));
}

TEST_F(Packing, FilesFitOrAreTooLongBeforeTheyAreRead) {
    const TempDir dir;
    const std::string fits = dir.Write("fits", Pattern(250 * BlkSize)),
                      large = dir.Write("large", Pattern(301 * BlkSize));
    VFile f;
    std::string s;
    Leave(f, 300);
    Feed(f, s, 20000);
    f.SetPos(77);
    f.ReadFile(large.c_str(), 1);
    EXPECT_TRUE(f.res == resTooLong && f.GetPos() == 77 && f.Length() == 20000);
    f.LoadKeeping(large.c_str(), 1);
    EXPECT_TRUE(f.res == resTooLong && f.GetPos() == 77 && f.Length() == 20000);
    f.Reset();
    f.ReadFile(fits.c_str(), 1); // beside the old bytes, brought together
    EXPECT_TRUE(f.res == resDone && f.Length() == 250 * BlkSize && CheckVFile(f, stderr));
    f = "", f.Reset(), f.Load(large.c_str(), 1);
    EXPECT_TRUE(f.res == resTooLong && f.Length() == 0);

    int ends[2]; // what comes in small pieces has a block for each
    ASSERT_EQ(0, pipe(ends));
    const std::string all = Pattern(40000);
    std::thread feeder([&] {
        for (int at = 0; at < 40000; at += 50) {
            EXPECT_EQ(50, write(ends[1], all.data() + at, 50));
            for (int left = 1; left > 0; std::this_thread::yield()) ioctl(ends[0], FIONREAD, &left);
        }
        close(ends[1]);
    });
    f.Reset();
    f.ReadFromFile(HandleOf(ends[0]), MaxLen);
    feeder.join();
    close(ends[0]);
    EXPECT_TRUE(f.res == resDone && f == all.c_str() && CheckVFile(f, stderr));
}

// The record of a history is a content of the same space.
TEST_F(Packing, HistoriesGoOnNearTheEndOfTheSpace) {
    VFile f;
    std::string s;
    Leave(f, 700);
    VFileHistory history(f);
    Feed(f, s, 300000);
    EXPECT_EQ(resDone, history.res);
    f.ReplaceGlobal("a", "", false, false);
    EXPECT_EQ(resDone, history.res);
    EXPECT_TRUE(history.Undo() && Holds(f, s));
    while (history.Undo()) {
    }
    EXPECT_TRUE(f.Length() == 0 && history.res == resDone && CheckVFile(f, stderr));
}

} // namespace
