// Long operations under a callback that counts, stops, throws, or meddles with the object at work.
#include "support/vfile_support.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_progress.h"
#include "vfile/vfile_view.h"

#include <stdexcept>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {

constexpr int Size = 13 * 1024 * 1024; // three calls by the bytes, and some more

// The callback of its lifetime.
struct Host {
    explicit Host(int stops = 0) : stopAt(stops), before(VFile_SetProgress(Setting())) {}
    ~Host() { VFile_SetProgress(before); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    VFileProgress Setting() {
        VFileProgress p;
        p.call = [](void* self, VFileWork work, std::int64_t done, std::int64_t total) {
            return static_cast<Host*>(self)->Call(work, done, total);
        };
        p.context = this;
        return p;
    }
    bool Call(VFileWork work, std::int64_t done, std::int64_t total) {
        EXPECT_TRUE(calls == 0 || (work == last && done >= lastDone && total == lastTotal)) << done;
        EXPECT_TRUE(done >= 0 && (total == -1 || done <= total)) << done << " of " << total;
        last = work, lastDone = done, lastTotal = total;
        ++calls;
        if (meddle) meddle();
        return calls != stopAt;
    }

    int calls = 0, stopAt;
    VFileWork last{};
    std::int64_t lastDone = 0, lastTotal = 0;
    std::function<void()> meddle;
    VFileProgress before;
};

const std::string& Text() {
    static const std::string text = [] {
        std::string s = LinedPattern(Size);
        for (std::size_t i = 5000; i < s.size(); i += 5000) s.replace(i, 3, "!!!");
        return s;
    }();
    return text;
}

class ByCall : public VFile {
    void ReadByte(unsigned char& b) override { VFile::ReadByte(b); }
};

class Slow : public VFile {
    void PostChange(std::int32_t, std::int32_t, std::int32_t) override { usleep(1000); }
};

struct Progress : testing::Test {
    // Works on `f`, which holds the text, and tells what came of it.
    struct Row {
        const char* name;
        VFileWork work;
        std::int64_t total;
        std::function<std::string(VFile&)> act;
        std::string done, stopped;
        bool changes = false; // what it is stopped at is not the text
    };

    static std::string Told(const VFile& f, std::int64_t answer = 0) {
        return std::to_string(answer) + (f.res == resStopped ? " stopped" : " res " + std::to_string(f.res));
    }

    // Makes `f` hold the text, with nobody told.
    static void Fill(VFile& f) {
        f.Reset(), f = "";
        Put(f, 0, 0, Text());
        f.SetPos(77);
    }

    const TempDir dir;
    const std::string in = dir.Write("in", Text()), out = dir.File("out");
    VFile other{Text().c_str()}; // no zeros in there
    const std::vector<Row> rows = {
        {"Load", VFileWork::Load, Size, [this](VFile& f) { return f.Load(in.c_str(), 1), Told(f, f.Length()); },
         std::to_string(Size) + " res 0", "0 stopped", true},
        {"LoadKeeping", VFileWork::Load, Size,
         [this](VFile& f) { return f.LoadKeeping(in.c_str(), 1), Told(f, f.GetPos()); }, "0 res 0", "77 stopped"},
        {"Save", VFileWork::Save, Size,
         [this](VFile& f) { return f.Save(out.c_str(), true), Told(f, f.GetPos() == int(fs::file_size(out))); },
         "1 res 0", "1 stopped"},
        {"SaveSafely", VFileWork::Save, Size,
         [this](VFile& f) {
             dir.Write("out", "old");
             f.SaveSafely(out.c_str());
             EXPECT_EQ(2u, dir.Count()); // no draft
             return Told(f, int(fs::file_size(out)));
         },
         std::to_string(Size) + " res 0", "3 stopped"},
        {"ReplaceTxt", VFileWork::Copy, Size,
         [this](VFile& f) { return f.ReplaceTxt(100, 50, other, 0, MaxLen), Told(f, f.Length()); },
         std::to_string(2 * Size - 50) + " res 0", std::to_string(Size) + " stopped", false},
        {"Find", VFileWork::Find, Size, [](VFile& f) { return FindAll(f, false); }, "0 res 0", "0 stopped"},
        {"FindBack", VFileWork::Find, Size, [](VFile& f) { return FindAll(f, true); }, "0 res 0", "0 stopped"},
        {"Compare", VFileWork::Compare, Size, [this](VFile& f) { return Told(f, f == other); }, "1 res 0", "0 res 0"},
        {"CompareText", VFileWork::Compare, Size, [](VFile& f) { return Told(f, f <= Text().c_str()); }, "1 res 0",
         "0 res 0"},
        {"View.Compare", VFileWork::Compare, Size - 1,
         [this](VFile& f) {
             VFileView v(f);
             const int order = v.Compare(0, MaxLen, VFileView(other), 0, Size - 1);
             return v.res == resStopped ? Told(f, order) + " view" : Told(f, order);
         },
         "1 res 0", "0 res 0 view"},
        {"View.Find", VFileWork::Find, Size,
         [](VFile& f) {
             VFileView v(f);
             const int at = v.Find("nowhere", 7, 0, MaxLen);
             return v.res == resStopped ? Told(f, at) + " view" : Told(f, at);
         },
         "-1 res 0", "-1 res 0 view"},
        {"LineOf", VFileWork::Count, Size, [](VFile& f) { return Told(f, f.LineOf(MaxLen) > 1000); }, "1 res 0",
         "0 stopped"},
        {"LineAt", VFileWork::Count, Size, [](VFile& f) { return Told(f, f.LineAt(1000000) > 500); }, "1 res 0",
         "0 stopped"},
    };

    // What is stopped goes on from where it stands.
    static std::string FindAll(VFile& f, bool back) {
        std::int32_t at = back ? f.Length() : 0;
        const bool found = back ? f.FindBack(at, "!!!?", false, false) : f.Find(at, "!!!?", false, false);
        const std::string told = Told(f, found);
        if (f.res != resStopped) return told;
        const int stoppedAt = at;
        VFile_SetProgress({});
        f.SetPos(0);
        const std::string pattern = Text().substr(std::size_t(stoppedAt), 20);
        std::int32_t from = stoppedAt;
        EXPECT_TRUE(f.Find(from, pattern.c_str(), false, false) && from == stoppedAt + 20);
        f.res = resStopped;
        return told;
    }
};

TEST_F(Progress, IsToldOfAndStopsEachOperation) {
    ByCall derived;
    VFile plain;
    for (VFile* f : {&plain, static_cast<VFile*>(&derived)}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.name);
            for (const int stopAt : {0, f == &plain ? 2 : 1}) {
                VFile fresh;
                VFile& subject = f == &plain ? fresh : *f;
                Fill(subject);
                Host host(stopAt);
                EXPECT_EQ(stopAt ? row.stopped : row.done, row.act(subject));
                VFile_SetProgress({});
                EXPECT_EQ(row.work, host.last);
                EXPECT_EQ(row.total, host.lastTotal);
                EXPECT_TRUE(stopAt ? host.calls == stopAt : host.calls >= 3) << host.calls;
                EXPECT_TRUE(CheckVFile(subject, stderr));
                EXPECT_TRUE(!stopAt || row.changes || subject == Text().c_str());
            }
        }
    }
}

TEST_F(Progress, MayThrowOrMeddle) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        VFile f;
        Fill(f);
        {
            Host host;
            host.meddle = [] { throw std::runtime_error("enough"); };
            EXPECT_THROW(row.act(f), std::runtime_error);
        }
        EXPECT_TRUE(CheckVFile(f, stderr) && (row.changes || f == Text().c_str()));
        Fill(f);
        {
            Host host; // reads, and has all give back their memory: nobody notices
            host.meddle = [&] {
                f.SetPos(f.Length() / 2);
                unsigned char c;
                f.ReadByte(c);
                std::int32_t at = 0;
                other.Find(at, "nowhere", false, false); // and is not told of
                VFile::ReleaseMemory();
            };
            EXPECT_EQ(row.done, row.act(f));
            EXPECT_GE(host.calls, 3);
        }
        EXPECT_TRUE(CheckVFile(f, stderr));
        Fill(f);
        std::string expected;
        {
            Host host(1); // the change comes through, and ends it
            host.meddle = [&] { f.ReplaceBuf(0, 5000, "...", 3), expected = "..." + Text().substr(5000); };
            row.act(f);
            EXPECT_EQ(1, host.calls);
            EXPECT_NE(resStopped, f.res);
        }
        EXPECT_TRUE(row.changes || f == expected.c_str());
        EXPECT_TRUE(CheckVFile(f, stderr));
    }
}

TEST_F(Progress, ReplacementAndUndoStopBetweenChanges) {
    VFile f;
    Fill(f);
    VFileHistory history(f);
    int count, rest;
    {
        Host host(2);
        count = f.ReplaceGlobal("!!!", "<<four>>", false, false);
        EXPECT_TRUE(host.last == VFileWork::Replace && host.lastTotal == Size && f.res == resStopped);
    }
    const std::string some = ContentOf(f);
    EXPECT_TRUE(count > 100 && history.UndoCount() == 1 && int(some.size()) == Size + 5 * count);
    rest = f.ReplaceGlobal("!!!", "<<four>>", false, false);
    EXPECT_EQ(Size / 5000 - (Size % 5000 < 3), count + rest);
    const std::string all = ContentOf(f);
    {
        Host host(1);
        host.stopAt = 1, host.meddle = [] { usleep(1000); };
        f.Delete(100, MaxLen); // nobody is told of a deletion, and what a history does with it
        EXPECT_EQ(0, host.calls);
        EXPECT_FALSE(history.Undo()); // of one edit, which is not made
        EXPECT_TRUE(host.last == VFileWork::Undo && history.res == resStopped && f.Length() == 100);
    }
    f.Reset();
    EXPECT_TRUE(history.Undo() && ContentOf(f) == all);
    {
        Host host; // of many: what is undone is a step of its own
        Slow many;
        std::string dots(600, '.');
        for (std::size_t i = 0; i < dots.size(); i += 3) dots[i] = 'a';
        Put(many, 0, 0, dots);
        VFileHistory of(many);
        many.ReplaceGlobal("a", "bc", false, false);
        EXPECT_TRUE(many.res == resDone && host.calls >= 2); // by the clock
        host.calls = 0, host.stopAt = 1;
        EXPECT_FALSE(of.Undo());
        EXPECT_TRUE(of.res == resStopped && of.RedoCount() == 1 && of.UndoCount() == 1);
        many.Reset();
        host.calls = host.stopAt = 0;
        EXPECT_TRUE(of.Undo() && ContentOf(many) == dots);
    }
}

// Copies of files by each road: the system's, that across a hole, that to a pipe; and a move to another file system.
TEST_F(Progress, OfFilesLeavesTheOldTarget) {
    for (const bool limited : {false, true}) {
        rlimit old;
        getrlimit(RLIMIT_FSIZE, &old);
        const rlimit most = {static_cast<rlim_t>(1) << 40, old.rlim_max};
        if (limited) setrlimit(RLIMIT_FSIZE, &most);
        dir.Write("out", "old");
        Host host(2);
        host.meddle = [] { // no signal of the host's waits until the end
            sigset_t mask;
            pthread_sigmask(SIG_BLOCK, nullptr, &mask);
            EXPECT_FALSE(sigismember(&mask, SIGXFSZ));
        };
        int res = -1;
        EXPECT_FALSE(HFile::Copy(in.c_str(), out.c_str(), res, true));
        EXPECT_TRUE(res == resStopped && host.last == VFileWork::Copy && host.lastTotal == Size && host.calls == 2);
        EXPECT_TRUE(dir.Read("out") == "old" && dir.Count() == 2);
        host.calls = host.stopAt = 0;
        EXPECT_TRUE(HFile::Copy(in.c_str(), out.c_str(), true) && dir.Read("out") == Text());
        setrlimit(RLIMIT_FSIZE, &old);
    }
    fs::resize_file(in, Size + 5'000'000);
    Host host;
    EXPECT_TRUE(HFile::Copy(in.c_str(), out.c_str(), true) && fs::file_size(out) == Size + 5'000'000u);
    EXPECT_EQ(Size + 5'000'000, host.lastTotal);
}

TEST_F(Progress, ComesByTheClockFromASlowPipe) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    std::thread feeder([&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(4, write(ends[1], "slow", 4));
            usleep(20000);
        }
        close(ends[1]);
    });
    VFile f;
    Host host;
    f.ReadFromFile(HandleOf(ends[0]), MaxLen);
    feeder.join();
    EXPECT_TRUE(f.Length() == 80 && f.res == resDone && host.lastTotal == -1) << f.Length() << " " << f.res;
    EXPECT_TRUE(host.calls >= 2 && host.calls <= 10) << host.calls;
    close(ends[0]);
}

TEST_F(Progress, BelongsToItsThreadAndToTheChildOfAFork) {
    Host host(1);
    std::thread([&] {
        VFile f;
        f.Load(in.c_str(), 1);
        EXPECT_EQ(resDone, f.res);
        Host own(1);
        f.Load(in.c_str(), 1);
        EXPECT_TRUE(f.res == resStopped && own.calls == 1);
    }).join();
    EXPECT_EQ(0, host.calls);
    EXPECT_EQ("0 stopped", InChild([&] {
                  VFile f;
                  return f.Load(in.c_str(), 1), Told(f, f.Length());
              }));
    char words[40];
    GetTextResMsg(words, sizeof words, resStopped);
    EXPECT_STREQ("stopped", words);
    EXPECT_EQ(host.Setting().context, VFile_SetProgress({}).context);
    VFile f;
    f.Load(in.c_str(), 1);
    EXPECT_TRUE(f.res == resDone && host.calls == 0);
}

} // namespace
