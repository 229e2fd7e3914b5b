// VFile with each allocation and each call on a file failing in turn: the promised result or halt comes, the content is
// the old one or the new one, and the same call works afterwards.
#include "hostfile/hfile.h"
#include "support/faults.h"
#include "support/halt_trap.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <optional>

namespace {

using Outcomes = std::set<std::string>;

const std::string noBlock = "VFile, NewBlkPtr():\np==NIL";
const std::string noPage = "VMem, NewCachePtr():\np==NIL";
const std::string old = Pattern(5000);

struct Change {
    const char* what;
    std::function<void(VFile&)> act;
    std::string after;     // the content when it worked
    std::string otherwise; // and when not
};

class VFileFaults : public testing::Test {
  protected:
    std::string Run(const Arm& arm, const Change& change, std::int16_t cacheKb) const {
        VFile::SetMaxCacheSize(cacheKb);
        VFile::SetTempDir(dir.Path().c_str());
        VFile f;
        Put(f, 0, 0, old);
        f.SetPos(2500);
        f.Flush();
        arm([&] { change.act(f); });
        const Res res = f.res;
        if (!CheckVFile(f, stdout)) return "broken";
        if (ContentOf(f) != (res == resDone ? change.after : change.otherwise)) return "wrong content";
        if (res != resDone) {
            if (change.otherwise != old) Put(f, 0, MaxLen, old);
            f.SetPos(0);
            change.act(f);
            if (f.res != resDone || ContentOf(f) != change.after) return "does not work again";
        }
        return res == resDone ? "done" : "res " + std::to_string(res);
    }
    Outcomes Sweep(Faults::Kind kind, int error, const Change& change, std::int16_t cacheKb = 4000) const {
        SCOPED_TRACE(change.what);
        return ForEachFault(kind, error, [&](const Arm& arm) { return Run(arm, change, cacheKb); });
    }

    const TempDir dir;
    const std::string more = Pattern(3000, 9);
    const std::string file = dir.Write("file", more);
    const std::string out = dir.File("out");
    const Change replaceBuf{"ReplaceBuf", [this](VFile& f) { Put(f, 1000, 20, more); },
                            std::string(old).replace(1000, 20, more), old};
    const Change replaceTxt{"ReplaceTxt", [](VFile& f) { f.ReplaceTxt(1000, 0, f, 500, 4000); },
                            std::string(old).insert(1000, old, 500, 4000), old};
    const Change replaceFile{"ReplaceFile",
                             [this](VFile& f) {
                                 HFile in;
                                 if (!in.OpenSeqRead(file.c_str())) f.res = in.res;
                                 f.ReplaceFile(1000, 2000, in, MaxLen);
                             },
                             std::string(old).replace(1000, 2000, more), old};
    const Change readFile{"ReadFile",
                          [this](VFile& f) {
                              f.SetPos(1000);
                              f.InclFlag(vfInsert);
                              f.ReadFile(file.c_str(), 0);
                          },
                          std::string(old).insert(1000, more), old};
    const Change load{"Load", [this](VFile& f) { f.Load(file.c_str(), 1); }, more, ""};
    const Change save{"Save", [this](VFile& f) { f.Save(out.c_str(), true); }, old, old};
};

TEST_F(VFileFaults, HeapThatIsEmptyRefusesOrHalts) {
    const Outcomes refused = {"res 5", noBlock, noPage};
    const Outcomes orSlower = {"res 5", noBlock, noPage, "done"}; // larger transfers are what can be done without
    for (const Change* change : {&replaceBuf, &replaceTxt}) EXPECT_EQ(refused, Sweep(Faults::Heap, 0, *change));
    for (const Change* change : {&replaceFile, &readFile}) EXPECT_EQ(orSlower, Sweep(Faults::Heap, 0, *change));
    EXPECT_EQ(Outcomes{"res 5"}, Sweep(Faults::Heap, 0,
                                       {"Delete", [](VFile& f) { f.ReplaceBuf(10, 500, nullptr, 0); },
                                        std::string(old).erase(10, 500), old}));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Heap, 0,
                                      {"ReadByte",
                                       [](VFile& f) {
                                           unsigned char b = 0, before = 0;
                                           f.ReadByte(b);
                                           f.ReadPrevByte(before);
                                           if (b != before || static_cast<char>(b) != old[2500]) f.res = 99;
                                       },
                                       old, old}));
}

TEST_F(VFileFaults, LongChainDoesWithoutItsIndex) {
    const std::string before(600 * 1024, 'x');
    EXPECT_EQ((Outcomes{"res 5", noBlock, noPage, "done"}), ForEachFault(Faults::Heap, 0, [&](const Arm& arm) {
                  VFile f;
                  Put(f, 0, 0, before);
                  f.Flush();
                  arm([&] {
                      for (const int at : {300000, 100, 450000}) f.SetPos(at);
                      Put(f, 200000, 10, more);
                      if (f.res == resDone) f.SetPos(500000);
                  });
                  if (!CheckVFile(f, stdout)) return std::string("broken");
                  const bool done = f.res == resDone;
                  if (ContentOf(f) != (done ? std::string(before).replace(200000, 10, more) : before))
                      return std::string("wrong");
                  return done ? "done" : "res " + std::to_string(f.res);
              }));
}

TEST_F(VFileFaults, FilesThatFailLeaveTheirResult) {
    for (const Change* change : {&replaceFile, &readFile, &load}) {
        EXPECT_EQ(Outcomes{"res 20"}, Sweep(Faults::Open, EMFILE, *change)) << change->what;
        EXPECT_EQ(Outcomes{"res 22"}, Sweep(Faults::Read, EIO, *change)) << change->what;
        EXPECT_EQ(Outcomes{"res 17"}, Sweep(Faults::Lock, EWOULDBLOCK, *change)) << change->what;
        EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::Other, EIO, *change)) << change->what;
    }
    EXPECT_EQ(Outcomes{"res 4"}, Sweep(Faults::Open, EROFS, save));
    EXPECT_EQ(Outcomes{"res 15"}, Sweep(Faults::Write, ENOSPC, save));
    EXPECT_EQ(Outcomes{"res 15"}, Sweep(Faults::Write, EDQUOT, save));
    EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::Other, EIO, save));
    EXPECT_EQ(old, dir.Read("out"));
    for (const auto kind : {Faults::Open, Faults::Read, Faults::Lock}) {
        EXPECT_EQ(Outcomes{"done"}, Sweep(kind, EINTR, load));
    }
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Write, EINTR, save));
}

TEST_F(VFileFaults, DiskThatFillsUpUnderASaveIsTold) {
    for (const int room : {0, 1, 1024, 4999}) {
        EXPECT_EQ("res 15, " + std::to_string(room), halt_trap::TextOf([&] {
                      VFile f;
                      Put(f, 0, 0, old);
                      Faults::DiskFullAfter(room);
                      f.Save(out.c_str(), true);
                      Faults::Disarm();
                      const std::string told =
                          "res " + std::to_string(f.res) + ", " + std::to_string(dir.Read("out").size());
                      halt_trap::SendHome((ContentOf(f) == old ? told : "changed").c_str());
                  }));
    }
}

TEST_F(VFileFaults, SwapFileThatFailsHaltsUnderAChange) {
    const Outcomes full = Sweep(Faults::Write, ENOSPC, replaceBuf, 2);
    for (const std::string& text : full) EXPECT_NE(std::string::npos, text.find("(disk full?)")) << text;
    EXPECT_FALSE(full.empty());
    EXPECT_EQ(Outcomes{"VMem, FindPage():\nreading from swap file failed"}, Sweep(Faults::Read, EIO, replaceBuf, 2));
}

// The outcomes of whatever `act` returns with the heap failing.
Outcomes WithoutHeap(const std::function<std::string()>& act, bool withObject = false) {
    return ForEachFault(Faults::Heap, 0, [&](const Arm& arm) {
        std::optional<VFile> f;
        if (withObject) f.emplace();
        std::string outcome;
        arm([&] { outcome = act(); });
        return outcome;
    });
}

TEST_F(VFileFaults, ConstructorsHaltOrMakeAnEmptyObject) {
    Outcomes outcomes = WithoutHeap([] {
        const VFile f("text");
        return f.res == resDone && f.Length() == 4 ? "done"
                                                   : std::to_string(f.Length()) + " res " + std::to_string(f.res);
    });
    for (const auto& text :
         {noPage, std::string("VFile, Init():\nfirst==NIL, heap overflow"), std::string("0 res 5")}) {
        EXPECT_EQ(1U, outcomes.erase(text)) << text;
    }
    ASSERT_EQ(1U, outcomes.size());
    EXPECT_TRUE(halt_trap::IsAssertion(*outcomes.begin(), "VFile")); // no VMem
}

TEST_F(VFileFaults, SettingsAndSetupGoWithout) {
    const auto setAndAsk = [this] {
        VFile::SetTempDir(dir.Path().c_str());
        const char* now = VFile::GetTempDir();
        return !now ? "NIL" : now == dir.Path() ? "done" : "wrong";
    };
    EXPECT_EQ(Outcomes{"NIL"}, WithoutHeap(setAndAsk));
    EXPECT_EQ(Outcomes{"NIL"}, WithoutHeap(setAndAsk, true)); // the setting is the VMem's
    EXPECT_EQ(Outcomes{"false, then true"}, WithoutHeap([] {
                  VFile_UninitializeThread();
                  if (VFile_InitializeThread()) return "done";
                  return VFile_InitializeThread() && VFile_IsThreadInitialized() ? "false, then true" : "never";
              }));
}

} // namespace
