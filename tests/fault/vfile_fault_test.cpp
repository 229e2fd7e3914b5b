// VFile with each allocation and each call on a file failing in turn: the promised result or halt comes, the content is
// the old one or the new one, and the same call works afterwards.
#include "support/faults.h"
#include "support/vfile_support.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_marks.h"

#include <chrono>
#include <optional>
#include <thread>

namespace {

using Outcomes = std::set<std::string>;

const std::string noBlock = "VFile, NewBlkPtr():\np==NIL";
const std::string noPage = "VMem, NewCachePtr():\np==NIL";
const char* const noFirst = "VFile, Init():\nfirst==NIL, heap overflow";
const std::string old = Pattern(5000);

struct Change {
    const char* what;
    std::function<void(VFile&)> act;
    std::string after; // the content when it worked
    std::string before = old;
    std::string otherwise = before; // the content when it did not
};

struct VFileFaults : testing::Test {
    static std::string Run(const Change& change, std::int16_t cacheKb, const Arm& arm) {
        VFile::SetMaxCacheSize(cacheKb);
        VFile f;
        Put(f, 0, 0, change.before), f.SetPos(2500), f.Flush();
        arm([&] { change.act(f); });
        const Res res = f.res;
        if (!CheckVFile(f, stdout) || ContentOf(f) != (res == resDone ? change.after : change.otherwise))
            return "wrong content";
        if (res == resDone) return "done";
        Put(f, 0, MaxLen, change.before), f.SetPos(2500), change.act(f);
        if (f.res != resDone || ContentOf(f) != change.after) return "does not work again";
        return "res " + std::to_string(res);
    }
    static Outcomes Sweep(Faults::Kind kind, int error, const Change& change, std::int16_t cacheKb = 4000) {
        SCOPED_TRACE(change.what);
        return ForEachFault(kind, error, [&](const Arm& arm) { return Run(change, cacheKb, arm); });
    }

    const TempDir dir;
    const std::string more = Pattern(3000, 9);
    const std::string file = dir.Write("file", more), out = dir.File("out");
    const Change replaceBuf{"ReplaceBuf", [this](VFile& f) { Put(f, 1000, 20, more); }, Replaced(old, 1000, 20, more)};
    const Change replaceTxt{"ReplaceTxt", [](VFile& f) { f.ReplaceTxt(1000, 0, f, 500, 4000); },
                            Replaced(old, 1000, 0, Part(old, 500, 4000))};
    const Change readFile{"ReadFile", [this](VFile& f) { f.ReadFile(file.c_str(), 0); }, Part(old, 0, 2500) + more};
    const std::function<void(VFile&)> fromFile = [this](VFile& f) {
        HFile in;
        if (!in.OpenSeqRead(file.c_str())) f.res = in.res;
        f.ReplaceFile(1000, 2000, in, MaxLen);
    };
    const Change replaceFile{"ReplaceFile", fromFile, Replaced(old, 1000, 2000, more)};
    const Change load{"Load", [this](VFile& f) { f.Load(file.c_str(), 1); }, more, old, ""};
    const Change save{"Save", [this](VFile& f) { f.Save(out.c_str(), true); }, old};
    const Change loadKeeping{"LoadKeeping", [this](VFile& f) { f.LoadKeeping(file.c_str(), 1); }, more};
    const Change loadInPlace{"LoadInPlace", [this](VFile& f) { f.LoadInPlace(file.c_str(), 1); }, more};
    const std::function<void(VFile&)> overOld = [this](VFile& f) {
        std::this_thread::sleep_for(std::chrono::milliseconds(15)); // over a younger one it asks the clock more often
        f.SaveSafely(out.c_str());
    };
    const Change saveSafely{"SaveSafely", overOld, old};
};

TEST_F(VFileFaults, HeapThatIsEmptyRefusesOrHalts) {
    const std::string text(600 * 1024, 'x');
    const auto farApart = [&](VFile& f) {
        for (const int at : {300000, 100, 450000}) f.SetPos(at);
        Put(f, 200000, 10, more);
        if (f.res == resDone) f.SetPos(500000);
    };
    const auto readOne = [](VFile& f) {
        char c = 0;
        f.ReadChar(c), f.ReadPrevChar(c);
        if (c != old[2500]) f.res = 99;
    };
    const Change longChain{"LongChain", farApart, Replaced(text, 200000, 10, more), text};
    const Change erase{"Delete", [](VFile& f) { f.ReplaceBuf(10, 500, nullptr, 0); }, std::string(old).erase(10, 500)};
    const Outcomes refused = {"res 5", noBlock};
    const Outcomes orSlower = {"res 5", noBlock, "done"}; // larger transfers and the index can be done without
    for (const Change* c : {&replaceBuf, &replaceTxt}) EXPECT_EQ(refused, Sweep(Faults::Heap, 0, *c));
    for (const Change* c : {&replaceFile, &readFile, &longChain}) EXPECT_EQ(orSlower, Sweep(Faults::Heap, 0, *c));
    EXPECT_EQ(Outcomes{"res 5"}, Sweep(Faults::Heap, 0, erase));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Heap, 0, {"ReadByte", readOne, old}));
}

TEST_F(VFileFaults, LinesAreRightWithoutMemory) {
    const std::string text = LinedPattern(400000), some = LinedPattern(2000, 5);
    const auto after = [&](bool ask, bool lasting) {
        return ForEachFault(
            Faults::Heap, 0,
            [&](const Arm& arm) {
                VFile f;
                Put(f, 0, 0, text);
                for (const int at : {0, 399000, 1000}) f.SetPos(at); // makes the index of blocks
                if (!ask) f.LineCount();
                std::string now = text;
                arm([&] {
                    if (ask) CheckLineNumbers(f, text, 300000, 5000);
                    for (int at = 0; !ask && at < 300000; at += 7000)
                        Put(f, at, 0, some), now.insert(unsigned(at), some);
                });
                CheckLineNumbers(f, now, 300000, 5000);
                return CheckVFile(f, stderr) && !testing::Test::HasFailure() ? "done" : "wrong";
            },
            lasting);
    };
    EXPECT_EQ(Outcomes{"done"}, after(true, false));
    EXPECT_EQ(Outcomes{"done"}, after(true, true));
    EXPECT_EQ((Outcomes{"done", noBlock}), after(false, false));
}

TEST_F(VFileFaults, FilesThatFailLeaveTheirResult) {
    for (const Change* change : {&replaceFile, &readFile, &load, &loadKeeping}) {
        EXPECT_EQ(Outcomes{"res 20"}, Sweep(Faults::Open, EMFILE, *change));
        EXPECT_EQ(Outcomes{"res 22"}, Sweep(Faults::Read, EIO, *change));
        EXPECT_EQ(Outcomes{"res 17"}, Sweep(Faults::Lock, EWOULDBLOCK, *change));
        EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::Other, EIO, *change));
    }
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Open, EROFS, save));  // a new file, which can be made in other ways
    EXPECT_EQ(Outcomes{"res 4"}, Sweep(Faults::Open, EROFS, save)); // and the same that is there now
    for (const int error : {ENOSPC, EDQUOT}) EXPECT_EQ(Outcomes{"res 15"}, Sweep(Faults::Write, error, save));
    EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::Other, EIO, save));
    for (const Change* change : {&load, &save}) EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Close, EIO, *change));
    EXPECT_EQ(old, dir.Read("out"));
    EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::System, EIO, loadInPlace));
    EXPECT_EQ((Outcomes{"done", "res 5"}), Sweep(Faults::Heap, 0, loadInPlace));
    EXPECT_EQ(Outcomes{"res 15"}, Sweep(Faults::Write, ENOSPC, saveSafely));
    EXPECT_EQ((Outcomes{"done", "res 18", "res 22"}), Sweep(Faults::System, EIO, saveSafely)); // 18: an attribute
    EXPECT_EQ((Outcomes{"done", "res 5"}), Sweep(Faults::Heap, 0, saveSafely));
    for (const auto kind : {Faults::Open, Faults::Read, Faults::Lock})
        EXPECT_EQ(Outcomes{"done"}, Sweep(kind, EINTR, load));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Write, EINTR, save));
}

TEST_F(VFileFaults, SwapFileThatFailsHaltsUnderAChange) {
    const Outcomes full = Sweep(Faults::Write, ENOSPC, replaceBuf, 2);
    for (const std::string& text : full) EXPECT_NE(std::string::npos, text.find("(disk full?)")) << text;
    EXPECT_FALSE(full.empty());
    EXPECT_EQ(Outcomes{"VMem, FindPage():\nreading from swap file failed"}, Sweep(Faults::Read, EIO, replaceTxt, 2));
    const Change cut{"Delete", [](VFile& f) { f.Delete(1024, 3072); }, std::string(old).erase(1024, 3072)};
    const Change assign{"operator=", [this](VFile& f) { f = more.c_str(); }, more};
    EXPECT_EQ(Outcomes{}, Sweep(Faults::Write, ENOSPC, cut, 2));
    for (const Change& change : {cut, assign}) { // what goes is not read
        EXPECT_EQ(Outcomes{}, Sweep(Faults::Read, EIO, change, 2));
        EXPECT_EQ(1U, Sweep(Faults::Heap, 0, change, 2).count("done")); // also where its place goes on the old list
    }
}

TEST_F(VFileFaults, PackingThatHaltsLeavesASoundContent) {
    const auto act = [&](const Arm& arm) -> std::string {
        VFile::SetMaxCacheSize(2);
        VFile f;
        std::string s;
        for (int i = 0; i < 40; ++i) {
            const int at = i * 7919 % (f.Length() + 1);
            Put(f, at, 0, Pattern(300 + 9 * i, i)), s.insert(std::size_t(at), Pattern(300 + 9 * i, i));
        }
        f.SetPos(9000);
        bool halted = false;
        InstallHaltProc([](const char*) { throw 1; });
        arm([&] {
            try {
                f.Compact();
            } catch (int) {
                halted = true;
            }
        });
        InstallHaltProc(halt_trap::SendHome);
        const bool sound = CheckVFile(f, stdout) && f.GetPos() == 9000 && f.res == resDone && ContentOf(f) == s;
        return !sound ? "wrong" : !f.Compact() || ContentOf(f) != s ? "works no more" : halted ? "halted" : "done";
    };
    EXPECT_EQ(Outcomes{"halted"}, ForEachFault(Faults::Write, ENOSPC, act));
    EXPECT_EQ(Outcomes{"halted"}, ForEachFault(Faults::Read, EIO, act));
    EXPECT_EQ(Outcomes{}, ForEachFault(Faults::Heap, 0, act)); // it takes none
}

// The outcomes of whatever `act` returns with the heap failing.
Outcomes WithoutHeap(const std::function<std::string()>& act) {
    return ForEachFault(Faults::Heap, 0, [&](const Arm& arm) {
        std::string outcome;
        arm([&] { outcome = act(); });
        return outcome;
    });
}

TEST_F(VFileFaults, ConstructorsHaltOrMakeAnEmptyObject) {
    Outcomes outcomes = WithoutHeap([] {
        const VFile f("text");
        return f == "text" && f.res == resDone ? "done" : f.Length() == 0 && f.res == resHeapOverflow ? "empty" : "odd";
    });
    for (const char* text : {noPage.c_str(), noFirst, "empty", "done"}) // the cache does without
        EXPECT_EQ(1U, outcomes.erase(text)) << text;
    ASSERT_EQ(1U, outcomes.size());
    EXPECT_TRUE(halt_trap::IsAssertion(*outcomes.begin(), "VFile")); // no VMem
}

TEST_F(VFileFaults, SettingsAndSetupGoWithout) {
    EXPECT_EQ(Outcomes{"NIL"}, ForEachFault(Faults::Heap, 0, [&](const Arm& arm) {
                  const VFile there; // the setting is its VMem's
                  arm([&] { VFile::SetTempDir(dir.Path().c_str()); });
                  return VFile::GetTempDir() ? "done" : "NIL";
              }));
    EXPECT_EQ(Outcomes{"false, then true"}, WithoutHeap([] {
                  VFile_UninitializeThread();
                  if (VFile_InitializeThread()) return "done";
                  return VFile_InitializeThread() && VFile_IsThreadInitialized() ? "false, then true" : "never";
              }));
}

// What can't be recorded is changed all the same, and nothing leads to a content that has not been.
TEST_F(VFileFaults, HistoriesAndMarksGoWithout) {
    const std::string first = Replaced(old, 100, 2000, more), second = std::string(first).erase(3000, 50);
    const auto act = [&](const Arm& arm) -> std::string {
        VFile f;
        Put(f, 0, 0, old);
        std::optional<VFileHistory> h;
        std::optional<VFileMarks> m;
        VFileMark mark = 0;
        arm([&] {
            h.emplace(f), m.emplace(f);
            mark = m->Add(4000, VFileGravity::Before);
            Put(f, 100, 2000, more), f.Delete(3000, 50), h->Undo();
        });
        const auto known = [&] { return ContentOf(f) == old || ContentOf(f) == first || ContentOf(f) == second; };
        const int place = 4000 + f.Length() - static_cast<int>(old.size());
        if ((mark == 0) != (m->res != resDone) || (mark && m->Start(mark) != place)) return "wrong mark";
        const bool lost = h->res != resDone || f.res != resDone;
        f.Reset();
        bool good = known();
        while (h->Undo()) good = good && known();
        if (!good || (h->RedoCount() == 2 && ContentOf(f) != old)) return "wrong undo";
        while (h->Redo()) good = good && known();
        if (!good) return "wrong redo";
        f.Append("!"); // and works again
        if (h->Subject() && (!h->Undo() || !known())) return "works no more";
        return lost ? "lost" : mark ? "done" : "no mark";
    };
    Outcomes outcomes = ForEachFault(Faults::Heap, 0, act);
    for (const std::string& text : {noPage, noBlock}) outcomes.erase(text); // of the changes themselves
    EXPECT_EQ((Outcomes{"done", "lost", "no mark"}), outcomes);
}

// Throws from the operation of this letter.
class Throwing : public VFile {
  public:
    char from = 0;
    void SetPos(std::int32_t p) override { Throw('s'), VFile::SetPos(p); }
    void ReadByte(unsigned char& b) override { Throw('n'), VFile::ReadByte(b); }
    int ReadBytes(void* dst, int n) override { return Throw('b'), VFile::ReadBytes(dst, n); }
    using VFile::ReplaceFile;
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t n) override {
        Throw('f'), VFile::ReplaceFile(at, oldLen, h, n);
    }

  private:
    int PreChange(std::int32_t, std::int32_t, std::int32_t) const override { return Throw('<'), resDone; }
    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t n) override {
        VFile::PostChange(at, oldLen, n), Throw('>');
    }
    void PostChangeFlag(int, bool) override { Throw('!'); }
    void Throw(char c) const {
        if (c == from) throw c;
    }
};

TEST_F(VFileFaults, WhatAHostThrowsLeavesNothingHalfDone) {
    const Change grown{"", [this](VFile& f) { Put(f, 1000, 20, more); }, Replaced(old, 1000, 20, more)};
    const Change small{"", [](VFile& f) { Put(f, 1000, 2, "x"); }, Replaced(old, 1000, 2, "x")};
    const Change text{"", [](VFile& f) { f.ReplaceTxt(1000, 20, f, 0, 3000); },
                      Replaced(old, 1000, 20, Part(old, 0, 3000))};
    const Change run{"", [](VFile& f) { f.ReplaceCh(1000, 20, 'x', 3000); },
                     Replaced(old, 1000, 20, std::string(BlkSize, 'x'))};
    const Change write{"", [this](VFile& f) { f.WriteFile(out.c_str(), true); }, old};
    const Change all{"", [](VFile& f) { f.ReplaceGlobal("a", "x", false, false); }, ""};
    const Change find{"",
                      [](VFile& f) {
                          std::int32_t at = 1000;
                          f.Find(at, "?", false, false);
                      },
                      old};
    struct Row {
        const char* points;
        const Change* change;
        bool made;
    };
    const Row rows[] = {{"<", &grown, false}, {"<", &small, false},  {"<", &text, false}, {"<f", &readFile, false},
                        {"<", &run, false},   {">!s", &grown, true}, {">", &small, true}, {">", &text, true},
                        {">", &run, true},    {"sb", &write, false}, {"<", &all, false},  {"n", &find, false}};
    for (const auto& row : rows) {
        for (const char* from = row.points; *from; ++from) {
            const auto outcome = [&](const Arm&) { // nothing is made to fail: it looks for leaks
                Throwing f;
                Put(f, 0, 0, old);
                f.InclFlag(vfTrackModified);
                f.from = *from;
                try {
                    row.change->act(f);
                    return "does not throw";
                } catch (char c) {
                    f.from = 0;
                    if (c != *from || f.res != resDone || !CheckVFile(f, stdout)) return "is not sound";
                }
                if (ContentOf(f) != (row.made ? row.change->after : old)) return "has a wrong content";
                f.Append("more");
                return f.res == resDone ? "done" : "refuses";
            };
            SCOPED_TRACE(std::string(1, *from) + std::to_string(&row - rows));
            ForEachFault(Faults::Heap, 0, outcome);
        }
    }
}

} // namespace
