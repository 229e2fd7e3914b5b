// Undo and redo: what is one step, which state of the content is which, and how steps are taken.
//
//     content                    undo                                    redo
//     change -- before -->       its old bytes, a step like the others
//     <----- Undo ---------      the newest step, edit by edit
//            -- before ------------------------------------------->      the old bytes of each of these edits
//     <----- Redo ------------------------------------------------       the newest step there
//            -- before -->       ...
//
// Both directions are the same: a record is only ever written by what the observer is told, so that it takes back what
// has really been done. States are numbered, and no number comes twice: the content is the saved one if its number is.
#pragma once

#include "foundation/from_heap.h"
#include "vfile/content.h"
#include "vfile/history_record.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_observer.h"

namespace vfile_internal {

class History : public FromHeap {
  public:
    static History* Make(VFile& f, VFileHistory& o); // null if out of memory
    ~History();

    VFile& Subject() const { return *watch.subject; }
    bool Apply(HistoryRecord& from, HistoryRecord& to);
    void Begin();
    void End();
    void EndStep();
    void Clear();
    void MarkSaved();
    void SetLimits(std::int32_t bytes, std::int32_t steps);
    std::int64_t State() const { return undo.OpenHolds() ? undo.Header().state : state; }

    HistoryRecord undo, redo;
    std::int64_t saved;
    bool applying;
    VFileHistory::JoinRule rule;
    void* context;

  private:
    class Applying;
    using Contents = Content* [4]; // of the records

    History(VFile& f, VFileHistory& o, Contents& made);

    static void Before(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void After(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void Hook(void* self, bool begins, std::int32_t end);
    static void StepTold(void* self, bool begins);
    static void Gone(void* self);

    void Record(std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    Res RoomFor(std::int32_t oldLen);
    void OpenStep();
    Res Shrink(HistoryRecord& r, std::int64_t more);
    void Forget(Res why);
    bool Fail(Res why);
    Res MayApply(HistoryRecord& from);
    void ApplyEdits(HistoryRecord& from, Step& rest);
    Res Settle(HistoryRecord& from, HistoryRecord& target, const Step& whole, Step rest);
    void Expect(std::int32_t at, std::int32_t oldLen, std::int32_t newLen);

    Observer watch;
    VFileHistory& owner;
    HistoryRecord* to;   // where changes go: undo, but for an Undo
    std::int64_t state;  // of the content after the closed steps of undo
    std::int64_t base;   // the same without any of them
    std::int64_t states; // the last number given
    std::int32_t maxBytes, maxSteps;
    int depth;             // of Begin without End
    int hooks;             // calls of PostChange that run
    std::int32_t groupPos; // the position at the outermost Begin, -1 once a step has it
    bool lost;             // a part of what is one step could not be recorded, and so the rest of it is not, either
    VFileChange last;      // the last change
    Edit due;              // while applying: the change that the object still has to make
    bool told, foreign;    // while applying: it has made some of it; it has made another one
};

} // namespace vfile_internal
