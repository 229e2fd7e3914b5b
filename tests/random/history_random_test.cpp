// Follows a history with a list of whole contents, and marks with a plain list of them, under a cache of a few pages.
// VFILE_SEED and VFILE_STEPS repeat a run.
#include "support/vfile_support.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_marks.h"

namespace {

// Refuses changes once it has taken `allowed`, and adds to some of them in its hook.
class Stubborn : public VFile {
  public:
    mutable int allowed = MaxLen;
    bool adds = false;
    const VFileHistory* history = nullptr;

  protected:
    int PreChange(std::int32_t, std::int32_t, std::int32_t) const override {
        return allowed-- > 0 ? resDone : resNoPermission;
    }
    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) override {
        VFile::PostChange(at, oldLen, newLen);
        if (!adds || history->IsApplying() || newLen % 3 != 1) return;
        ReplaceBuf(at / 2, newLen % 2, "<hooked>", 8);
    }
};

class Walk {
  public:
    explicit Walk(unsigned seed) : rng(seed) {
        file = seed % 2 ? &plain : &stubborn;
        Put(*file, 0, 0, LinedPattern(2000));
        history = std::make_unique<VFileHistory>(*file);
        stubborn.history = history.get();
        stubborn.adds = seed % 4 == 0;
        history->SetJoinRule(nullptr, nullptr);
        states = {{LinedPattern(2000), 0, 0}};
    }

    bool Step() {
        file->SetPos(Below(file->Length() + 1));
        const int kind = Below(20);
        if (kind < 9) Operation();
        if (kind >= 9 && kind < 15) Move(1 + Below(4), Below(2) == 0);
        if (kind == 15) Move(MaxLen, Below(2) == 0);
        if (kind == 16) history->MarkSaved(), saved = states[now].id;
        if (kind == 17) maxSteps = Below(3) ? 1000 : 1 + Below(20), maxBytes = Below(3) ? Much : 20000 + Below(40000);
        if (kind == 17) history->SetLimits(maxBytes, maxSteps);
        if (kind == 18 && Below(10) == 0) history->Clear(), states = {states[now]}, now = 0;
        if (kind == 19 && file == &stubborn) Refusal();
        EXPECT_TRUE(++steps % 30 != 0 || file->Compact());
        Sync();
        if (Below(3)) CheckLineNumbers(*file, states[now].content, Below(file->Length() + 2), Below(200));
        EXPECT_EQ(saved == states[now].id, history->IsSaved());
        EXPECT_TRUE(history->UndoCount() <= maxSteps && history->RecordSize() <= 2 * std::int64_t{maxBytes});
        EXPECT_TRUE(CheckVFile(*file, stderr));
        return !testing::Test::HasFailure();
    }

  private:
    static constexpr int Much = 0x10000000;
    struct State {
        std::string content;
        int id;
        int pos; // where the step that leads from here began, -1 if that is not known
    };

    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    int Count() { return Below(4) ? 1 + Below(12) : 1 + Below(3000); }

    void Change() {
        VFile& f = *file;
        const int at = Below(2) ? f.GetPos() : Below(f.Length() + 1), kind = Below(9), n = Count();
        const int oldLen = f.Length() > 20000 ? Below(9000) : Below(3) ? 0 : Count();
        const std::string run = LinedPattern(n, Below(26));
        if (kind < 4) Put(f, at, oldLen, run);
        if (kind == 4) f.ReplaceTxt(at, oldLen, f, 0, n);
        if (kind == 5) f.ReplaceCh(at, oldLen, 'c', n); // by several changes, from 1025 on
        if (kind == 6) f.Load(dir.Write("in", run).c_str(), 1);
        if (kind == 7) f.ReplaceGlobal(Below(2) ? "ab" : "x", Below(2) ? "<y>" : "", false, false);
        if (kind == 8) f.Delete(at, oldLen + 1);
    }

    // One step, of one operation or of many.
    void Operation() {
        const int pos = file->GetPos();
        const std::int64_t before = history->RecordSize();
        const std::string old = ContentOf(*file);
        const int group = Below(4) ? 0 : 1 + Below(6);
        if (group > 0) history->Begin(), file->Append("."); // so that something has changed
        for (int i = 0; i < std::max(1, group); ++i) {
            const VFileStep inner(*history);
            Change();
        }
        if (group > 0) history->End();
        EXPECT_EQ(resDone, file->res);
        history->EndStep();
        const std::string content = ContentOf(*file);
        if (!group && content == old && history->RecordSize() == before) return; // found nothing, or at the very end
        states.resize(now + 1);
        states[now++].pos = pos;
        states.push_back({content, ++ids, 0});
    }

    void Move(int count, bool back) {
        while (count-- > 0 && (back ? history->Undo() : history->Redo())) {
            ASSERT_TRUE(back ? now > 0 : now + 1 < states.size());
            now += back ? std::size_t(-1) : 1;
            ASSERT_EQ(states[now].content, ContentOf(*file));
            EXPECT_TRUE(!back || states[now].pos < 0 || states[now].pos == file->GetPos());
            EXPECT_TRUE(history->res == resDone || (history->res == resTooLong && maxBytes < Much));
            Sync();
        }
    }

    // What the limits have taken, at both ends.
    void Sync() {
        const auto undo = static_cast<std::size_t>(history->UndoCount());
        const auto redo = static_cast<std::size_t>(history->RedoCount());
        ASSERT_TRUE(undo <= now && now + redo < states.size()) << undo << " + " << redo;
        const bool small = maxBytes < Much;
        EXPECT_TRUE(small || undo == now || history->UndoCount() == maxSteps);
        EXPECT_TRUE(small || now + redo + 1 == states.size() || history->RedoCount() == maxSteps);
        states.resize(now + redo + 1);
        states.erase(states.begin(), states.begin() + static_cast<long>(now - undo));
        now = undo;
    }

    // A step that is stopped on its way is two steps afterwards.
    void Refusal() {
        const bool back = Below(2) == 0;
        const int allowed = stubborn.allowed = Below(4);
        const bool done = back ? history->Undo() : history->Redo();
        const bool refused = std::exchange(stubborn.allowed, MaxLen) < 0;
        EXPECT_EQ(refused, stubborn.res == resNoPermission && history->res == resNoPermission && !done);
        stubborn.Reset();
        if (refused && allowed > 0)
            states.insert(states.begin() + static_cast<long>(now + !back), {ContentOf(stubborn), ++ids, -1});
        if (done && back) --now;
        if (!back && (done || (refused && allowed > 0))) ++now;
        EXPECT_EQ(states[now].content, ContentOf(stubborn));
    }

    std::mt19937 rng;
    TempDir dir;
    VFile plain;
    Stubborn stubborn;
    VFile* file;
    std::unique_ptr<VFileHistory> history;
    std::vector<State> states;
    std::size_t now = 0;
    int steps = 0;
    int ids = 0, saved = 0;
    int maxSteps = MaxLen, maxBytes = Much;
};

// A mark or range as it is by its description.
struct Plain {
    VFileMark mark;
    bool range;
    int from, to;
    VFileGravity atStart, atEnd;
    VFileLoss loss = VFileLoss::None;

    void Change(int at, int oldLen, int newLen) {
        const int end = at + oldLen;
        if (range && std::max(from, at) < std::min(to, end)) {
            const bool all = at <= from && to <= end;
            if (loss != VFileLoss::Wholly) loss = all ? VFileLoss::Wholly : VFileLoss::Partly;
        }
        if (!range && at <= from && from < end) loss = VFileLoss::Wholly;
        from = Moved(from, atStart, at, oldLen, newLen);
        to = Moved(to, atEnd, at, oldLen, newLen);
    }
    static int Moved(int p, VFileGravity gravity, int at, int oldLen, int newLen) {
        if (p < at || (p == at && oldLen > 0)) return p;
        if (p > at && p >= at + oldLen) return p + newLen - oldLen;
        return gravity == VFileGravity::Before ? at : at + newLen;
    }
};

class MarkWalk {
  public:
    MarkWalk(unsigned seed, int length_) : rng(seed), length(length_), marks(text) { Put(text, 0, 0, Pattern(length)); }

    bool Step() {
        const int kind = Below(12), at = Below(text.Length() + 1), pick = Below(std::max(1, Size()));
        if (kind < 5 && text.Length() < 2 * length) Change(at, 0, 1 + Below(Below(5) ? 3 : 40));
        if (kind == 5 || kind == 6) Change(at, Below(4), Below(4));
        if (kind == 7) Change(at, Below(Below(20) ? 40 : length), Below(Below(2) ? 2 : 40));
        if (kind >= 8 && Size() < 300) Add(at);
        const auto picked = all.begin() + pick;
        if (kind == 11 && Size() > 0) marks.ClearLoss(picked->mark), picked->loss = VFileLoss::None;
        if (kind == 10 && Size() > 0) marks.Remove(picked->mark), all.erase(picked);
        Compare();
        return !testing::Test::HasFailure();
    }

  private:
    int Below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    int Size() const { return static_cast<int>(all.size()); }
    VFileGravity Gravity() { return Below(2) ? VFileGravity::After : VFileGravity::Before; }

    void Change(int at, int oldLen, int newLen) {
        oldLen = std::min(oldLen, text.Length() - at);
        Put(text, at, oldLen, Pattern(newLen));
        if (oldLen + newLen == 0) return;
        for (Plain& p : all) p.Change(at, oldLen, newLen);
    }

    void Add(int at) {
        Plain p = {0, Below(2) == 0, at, at, Gravity(), Gravity()};
        if (p.range) p.to = std::min(text.Length(), at + Below(50));
        p.mark = p.range ? marks.AddRange(at, p.to, p.atStart, p.atEnd) : marks.Add(at, p.atStart);
        EXPECT_TRUE(p.mark > 0 && marks.res == resDone);
        all.push_back(p);
    }

    void Compare() {
        EXPECT_EQ(Size(), marks.Count());
        for (const Plain& p : all) {
            const int to = p.range ? std::max(p.from, p.to) : p.from;
            EXPECT_TRUE(marks.Start(p.mark) == p.from && marks.End(p.mark) == to && marks.Loss(p.mark) == p.loss);
        }
        std::stable_sort(all.begin(), all.end(), [](const Plain& a, const Plain& b) {
            return a.from != b.from ? a.from < b.from : a.atStart < b.atStart;
        });
        VFileMark mark = marks.From(0), before = 0;
        for (const Plain& p : all) { // a new one stands after those that have its place and gravity
            EXPECT_TRUE(mark == p.mark && marks.Previous(mark) == before);
            before = std::exchange(mark, marks.Next(mark));
        }
        EXPECT_EQ(0, mark);
        const int at = Below(text.Length() + 2);
        const auto first = std::find_if(all.begin(), all.end(), [at](const Plain& p) { return p.from >= at; });
        EXPECT_EQ(first == all.end() ? 0 : first->mark, marks.From(at));
    }

    std::mt19937 rng;
    int length;
    VFile text;
    VFileMarks marks;
    std::vector<Plain> all;
};

TEST(HistoryRandom, LeadsThroughTheContentsThatHaveBeen) {
    RunWalks(8, 1500, 1500, [](unsigned seed) { return std::make_unique<Walk>(seed); });
}

TEST(MarksRandom, FollowTheBytes) {
    RunWalks(6, 3000, 3000, [](unsigned seed) { return std::make_unique<MarkWalk>(seed, seed % 2 ? 60 : 3000); });
}

} // namespace
