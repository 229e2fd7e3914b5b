// VFile with each allocation and each call on a file failing in turn: the promised result or halt comes, the content is
// the old one or the new one, and the same call works afterwards.
#include "support/faults.h"
#include "support/vfile_support.h"

namespace {

using Outcomes = std::set<std::string>;

const std::string noBlock = "VFile, NewBlkPtr():\np==NIL";
const std::string noPage = "VMem, NewCachePtr():\np==NIL";
const std::string old = Pattern(5000);

struct Change {
    const char* what;
    std::function<void(VFile&)> act;
    std::string after; // the content when it worked
    std::string before = old;
    std::string otherwise = before; // the content when it did not
};

class VFileFaults : public testing::Test {
  protected:
    static std::string Run(const Change& change, std::int16_t cacheKb, const Arm& arm) {
        VFile::SetMaxCacheSize(cacheKb);
        VFile f;
        Put(f, 0, 0, change.before);
        f.SetPos(2500);
        f.Flush();
        arm([&] { change.act(f); });
        const Res res = f.res;
        if (!CheckVFile(f, stdout)) return "broken";
        if (ContentOf(f) != (res == resDone ? change.after : change.otherwise)) return "wrong content";
        if (res == resDone) return "done";
        Put(f, 0, MaxLen, change.before);
        f.SetPos(2500);
        change.act(f);
        if (f.res != resDone || ContentOf(f) != change.after) return "does not work again";
        return "res " + std::to_string(res);
    }
    static Outcomes Sweep(Faults::Kind kind, int error, const Change& change, std::int16_t cacheKb = 4000) {
        SCOPED_TRACE(change.what);
        return ForEachFault(kind, error, [&](const Arm& arm) { return Run(change, cacheKb, arm); });
    }

    const TempDir dir;
    const std::string more = Pattern(3000, 9);
    const std::string file = dir.Write("file", more);
    const std::string out = dir.File("out");
    const Change replaceBuf{"ReplaceBuf", [this](VFile& f) { Put(f, 1000, 20, more); }, Replaced(old, 1000, 20, more)};
    const Change replaceTxt{"ReplaceTxt", [](VFile& f) { f.ReplaceTxt(1000, 0, f, 500, 4000); },
                            Replaced(old, 1000, 0, Part(old, 500, 4000))};
    const Change readFile{"ReadFile", [this](VFile& f) { f.ReadFile(file.c_str(), 0); }, Part(old, 0, 2500) + more};
    const Change replaceFile{"ReplaceFile",
                             [this](VFile& f) {
                                 HFile in;
                                 if (!in.OpenSeqRead(file.c_str())) f.res = in.res;
                                 f.ReplaceFile(1000, 2000, in, MaxLen);
                             },
                             Replaced(old, 1000, 2000, more)};
    const Change load{"Load", [this](VFile& f) { f.Load(file.c_str(), 1); }, more, old, ""};
    const Change save{"Save", [this](VFile& f) { f.Save(out.c_str(), true); }, old};
};

TEST_F(VFileFaults, HeapThatIsEmptyRefusesOrHalts) {
    const std::string text(600 * 1024, 'x');
    const auto farApart = [&](VFile& f) {
        for (const int at : {300000, 100, 450000}) f.SetPos(at);
        Put(f, 200000, 10, more);
        if (f.res == resDone) f.SetPos(500000);
    };
    const auto readOne = [](VFile& f) {
        unsigned char b = 0;
        f.ReadByte(b);
        f.ReadPrevByte(b);
        if (static_cast<char>(b) != old[2500]) f.res = 99;
    };
    const Change longChain{"LongChain", farApart, Replaced(text, 200000, 10, more), text};
    const Change erase{"Delete", [](VFile& f) { f.ReplaceBuf(10, 500, nullptr, 0); }, std::string(old).erase(10, 500)};
    const Outcomes refused = {"res 5", noBlock};
    const Outcomes orSlower = {"res 5", noBlock, "done"}; // larger transfers and the index can be done without
    for (const Change* change : {&replaceBuf, &replaceTxt}) EXPECT_EQ(refused, Sweep(Faults::Heap, 0, *change));
    for (const Change* change : {&replaceFile, &readFile, &longChain})
        EXPECT_EQ(orSlower, Sweep(Faults::Heap, 0, *change));
    EXPECT_EQ(Outcomes{"res 5"}, Sweep(Faults::Heap, 0, erase));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Heap, 0, {"ReadByte", readOne, old}));
}

TEST_F(VFileFaults, FilesThatFailLeaveTheirResult) {
    for (const Change* change : {&replaceFile, &readFile, &load}) {
        EXPECT_EQ(Outcomes{"res 20"}, Sweep(Faults::Open, EMFILE, *change));
        EXPECT_EQ(Outcomes{"res 22"}, Sweep(Faults::Read, EIO, *change));
        EXPECT_EQ(Outcomes{"res 17"}, Sweep(Faults::Lock, EWOULDBLOCK, *change));
        EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::Other, EIO, *change));
    }
    EXPECT_EQ(Outcomes{"res 4"}, Sweep(Faults::Open, EROFS, save));
    for (const int error : {ENOSPC, EDQUOT}) EXPECT_EQ(Outcomes{"res 15"}, Sweep(Faults::Write, error, save));
    EXPECT_EQ((Outcomes{"done", "res 22"}), Sweep(Faults::Other, EIO, save));
    EXPECT_EQ(old, dir.Read("out"));
    for (const auto kind : {Faults::Open, Faults::Read, Faults::Lock})
        EXPECT_EQ(Outcomes{"done"}, Sweep(kind, EINTR, load));
    EXPECT_EQ(Outcomes{"done"}, Sweep(Faults::Write, EINTR, save));
}

TEST_F(VFileFaults, SwapFileThatFailsHaltsUnderAChange) {
    const Outcomes full = Sweep(Faults::Write, ENOSPC, replaceBuf, 2);
    for (const std::string& text : full) EXPECT_NE(std::string::npos, text.find("(disk full?)")) << text;
    EXPECT_FALSE(full.empty());
    EXPECT_EQ(Outcomes{"VMem, FindPage():\nreading from swap file failed"}, Sweep(Faults::Read, EIO, replaceBuf, 2));
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
        return f.res == resDone && f.Length() == 4 ? "done"
                                                   : std::to_string(f.Length()) + " res " + std::to_string(f.res);
    });
    for (const char* text : {noPage.c_str(), "VFile, Init():\nfirst==NIL, heap overflow", "0 res 5", "done"})
        EXPECT_EQ(1U, outcomes.erase(text)) << text; // the cache does without
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

} // namespace
