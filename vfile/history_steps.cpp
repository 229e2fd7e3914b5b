// Undo and redo: how steps are recorded and taken.
#include "vfile/history_steps.h"

#include "vfile/long_work.h"

#include <initializer_list>

namespace vfile_internal {

History::History(VFile& f, VFileHistory& o, Contents& made)
    : undo(made[0], made[1]), redo(made[2], made[3]), saved(0), applying(false), rule(VFileHistory::JoinTyping),
      context(nullptr), watch{nullptr, nullptr, this, Before, After, Hook, StepTold, Gone}, owner(o), to(&undo),
      state(0), base(0), states(0), maxBytes(0x10000000), maxSteps(MaxLen), depth(0), hooks(0), groupPos(-1),
      lost(false), last(), due(), told(false), foreign(false) {
    Observed::Attach(f, watch);
}

// A VFile halts where there is no memory for it, so the records' contents come first.
History* History::Make(VFile& f, VFileHistory& o) {
    Contents contents;
    bool whole = true;
    for (Content*& c : contents) {
        c = Content::Make(Content::Of(f).vm);
        whole = whole && c;
    }
    History* made = whole ? new (std::nothrow) History(f, o, contents) : nullptr;
    for (Content* c : contents) delete c; // what has not been taken over
    return made;
}

History::~History() {
    Observed::Detach(watch);
    owner.history = nullptr;
}

void History::Gone(void* self) {
    delete static_cast<History*>(self);
}

bool History::Fail(Res why) {
    owner.res = why;
    return false;
}

// ---- Recording ----

void History::Before(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    const platform::Silence within; // a change, which can't be stopped any more
    auto& h = *static_cast<History*>(self);
    if (h.applying) h.Expect(at, oldLen, newLen);
    h.Record(at, oldLen, newLen);
}

void History::Record(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    if (lost) {
        if (!applying) base = state = ++states;
        return;
    }
    const VFile& f = Subject();
    const bool lineEnd = oldLen > 0 && oldLen <= VFileTypingMax && Observed::HasLineEnd(f, at, oldLen);
    const VFileChange next = {at, oldLen, newLen, lineEnd};
    if (!applying) {
        if (redo.Count() > 0) redo.Clear();
        if (depth == 0 && hooks == 0 && undo.IsOpen() && !(rule && rule(context, last, next))) EndStep();
    }
    last = next;
    if (!to->IsOpen()) OpenStep();
    Res outcome = RoomFor(oldLen);
    if (outcome == resDone) outcome = to->Note(f, at, oldLen, newLen);
    to->Header().after = at + newLen;
    if (outcome == resDone) return;

    lost = true;
    if (applying) { // the way back is lost, the way there is not
        to->Clear();
        owner.res = outcome;
    } else {
        Forget(outcome);
    }
}

void History::After(void* self, std::int32_t at, std::int32_t, std::int32_t newLen) {
    auto& h = *static_cast<History*>(self);
    if (newLen > 0 && newLen <= VFileTypingMax && !h.applying && Observed::HasLineEnd(h.Subject(), at, newLen))
        h.last.lineEnd = true;
}

// What PostChange changes belongs to the step of the change that it was called for, which has the last word on where
// the cursor stands.
void History::Hook(void* self, bool begins, std::int32_t end) {
    auto& h = *static_cast<History*>(self);
    h.hooks += begins ? 1 : h.hooks > 0 ? -1 : 0; // it may have begun before the object was watched
    if (!begins && h.to->IsOpen()) h.to->Header().after = end;
    if (h.hooks == 0 && h.depth == 0 && !h.applying) h.lost = false;
}

// Whether so many old bytes can go to the record, for which older steps may have to go.
Res History::RoomFor(std::int32_t oldLen) {
    constexpr std::int32_t Reserve = 64; // pages for the change itself, and for what else is going on
    const Res outcome = Shrink(*to, oldLen);
    if (outcome != resDone) return outcome;
    if (to->Size() + oldLen > maxBytes) return resTooLong;
    return Observed::MakeRoom(Subject(), oldLen / BlkSize + Reserve) ? resDone : resTooLong;
}

void History::OpenStep() {
    const std::int32_t before = groupPos >= 0 ? groupPos : Observed::PosBefore(Subject());
    groupPos = -1;
    undo.Open({++states, 0, 0, before, 0});
}

// Drops the oldest steps while there are too many, or too many bytes with as many more.
Res History::Shrink(HistoryRecord& r, std::int64_t more) {
    while (r.Count() > 0 && (r.Count() > maxSteps || r.Size() + more > maxBytes)) {
        if (&r == &undo) base = r.Oldest().state;
        const Res outcome = r.DropOldest();
        if (outcome != resDone) return outcome;
    }
    return resDone;
}

// The content has left all that is recorded, or the record is broken.
void History::Forget(Res why) {
    undo.Clear();
    redo.Clear();
    base = state = ++states;
    owner.res = why;
}

void History::EndStep() {
    if (applying || !undo.IsOpen()) return;
    bool kept;
    Res outcome = undo.Close(kept);
    if (kept) state = undo.Header().state;
    if (outcome == resDone) outcome = Shrink(undo, 0);
    if (outcome != resDone) Forget(outcome);
}

void History::Begin() {
    if (applying || depth++ > 0) return;
    EndStep();
    groupPos = Subject().GetPos();
}

void History::End() {
    if (applying) return;
    if (depth == 0) return static_cast<void>(Fail(resCallError));
    if (--depth > 0) return;
    EndStep();
    groupPos = -1;
    lost = false;
}

// From the object. One that has begun before it was watched ends without a beginning.
void History::StepTold(void* self, bool begins) {
    auto& h = *static_cast<History*>(self);
    if (begins) {
        h.Begin();
    } else if (h.depth > 0) {
        h.End();
    }
}

void History::Clear() {
    if (applying) return static_cast<void>(Fail(resContextError));
    base = state = State();
    undo.Clear();
    redo.Clear();
    owner.res = resDone;
}

void History::MarkSaved() {
    if (applying) return static_cast<void>(Fail(resContextError));
    EndStep();
    saved = state;
}

void History::SetLimits(std::int32_t bytes, std::int32_t steps) {
    if (bytes < 0 || steps < 0) return static_cast<void>(Fail(resCallError));
    maxBytes = bytes;
    maxSteps = steps;
    if (applying) return; // by and by
    for (HistoryRecord* r : {&undo, &redo}) {
        const Res outcome = Shrink(*r, 0);
        if (outcome != resDone) return Forget(outcome);
    }
}

// ---- Undo and redo ----

Res History::MayApply(HistoryRecord& from) {
    if (applying || depth > 0) return resContextError;
    EndStep();
    const VFile& f = Subject();
    if (f.res != resDone || from.Count() == 0) return f.res;
    return Observed::MakeRoom(f, from.Top().bytes / BlkSize + 64) ? resDone : resTooLong;
}

// The state of work on a step. A hook that throws ends it in the middle, and then nothing that is recorded fits.
class History::Applying {
  public:
    Applying(History& h, HistoryRecord& target) : ended(false), history(h) {
        h.to = &target;
        h.applying = true;
    }
    ~Applying() {
        history.to = &history.undo;
        history.applying = false;
        if (ended) return;
        history.lost = false;
        history.Forget(resContextError);
    }
    Applying(const Applying&) = delete;
    Applying& operator=(const Applying&) = delete;
    bool ended;

  private:
    History& history;
};

// The newest step of one record is taken, edit by edit from its end, and becomes one of the other.
bool History::Apply(HistoryRecord& from, HistoryRecord& target) {
    owner.res = MayApply(from);
    if (owner.res != resDone || from.Count() == 0) return false;

    VFile& f = Subject();
    const bool undoing = &from == &undo;
    const Step whole = from.Top();
    Step rest = whole;
    foreign = false;
    target.Open(whole);
    {
        Applying work(*this, target);
        ApplyEdits(from, rest);
        work.ended = true;
    }
    const bool done = rest.bytes == 0;
    const Res refusal = done ? owner.res : f.res != resDone ? f.res : resNotDone;
    Res outcome = foreign ? resContextError : resDone;
    if (outcome == resDone) outcome = Settle(from, target, whole, rest);
    lost = false;
    if (outcome != resDone) {
        Forget(outcome);
        if (foreign) return false;
    } else {
        owner.res = refusal;
    }
    if (done) f.SetPos(undoing ? whole.before : whole.after);
    return done;
}

// Does what the edits ask for, up to the first that is refused. `rest` is what then is left of the step.
void History::ApplyEdits(HistoryRecord& from, Step& rest) {
    VFile& f = Subject();
    LongWork work(VFileWork::Undo, rest.bytes, f);
    HistoryRecord::Reader reader(from);
    while (!reader.AtEnd()) {
        reader.Next();
        const Edit& e = reader.edit;
        due = {e.at, e.newLen, e.oldLen};
        told = false;
        if (reader.bytes) {
            f.ReplaceBuf(e.at, e.newLen, reader.bytes, e.oldLen);
        } else {
            f.ReplaceTxt(e.at, e.newLen, from.Data(), reader.start, e.oldLen);
        }
        if (told && due.oldLen + due.newLen > 0) foreign = true; // a part of it
        if (!told || foreign) return;
        const std::int32_t taken = rest.bytes - reader.left;
        rest.bytes = reader.left;
        rest.lastAt = reader.lastAt;
        if (f.res != resDone) return;
        if (work.Step(taken, taken + CostOfChange) || reader.AtEnd()) continue;
        f.res = work.Outcome();
        return;
    }
}

// The change that an object makes has to be the one that it has been asked for; it may make it in several.
void History::Expect(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) {
    if (at != due.at || oldLen != due.oldLen || newLen > due.newLen) {
        foreign = true;
        return;
    }
    told = true;
    due = {at + newLen, 0, due.newLen - newLen};
}

// The edits that have been made become a step of the other direction, and the others stay one. If there are both, the
// part that lies nearer to the start ends in a state that is new.
Res History::Settle(HistoryRecord& from, HistoryRecord& target, const Step& whole, Step rest) {
    const bool undoing = &from == &undo;
    Step made = whole;
    bool kept;
    if (rest.bytes == whole.bytes) return target.Close(kept); // none
    if (rest.bytes > 0) {
        Step& nearer = undoing ? rest : made;
        Step& farther = undoing ? made : rest;
        nearer.state = ++states;
        nearer.after = farther.before = Subject().GetPos();
    }
    Res outcome = rest.bytes > 0 ? from.Keep(rest) : from.Pop();
    if (!lost) {
        target.Header().state = made.state;
        target.Header().before = made.before;
        target.Header().after = made.after;
        const Res closed = target.Close(kept);
        if (outcome == resDone) outcome = closed;
    }
    state = !undoing ? made.state : undo.Count() > 0 ? undo.Top().state : base;
    if (!undoing && lost) base = state;
    return outcome == resDone ? Shrink(target, 0) : outcome;
}

} // namespace vfile_internal
