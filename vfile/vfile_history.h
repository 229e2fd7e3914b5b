/// @file
/// VFileHistory: undo and redo for a VFile.
#pragma once

#include "vfile.h"

namespace vfile_internal {
class History;
}

/// One change, as a join rule sees it.
struct VFileChange {
    std::int32_t at;     ///< where it was
    std::int32_t oldLen; ///< how many bytes gave way
    std::int32_t newLen; ///< how many came in their place
    bool lineEnd;        ///< it took or brought a CR or LF; told only of up to VFileTypingMax bytes on each side
};

/// More bytes than this, taken or brought by one change, are no typing.
constexpr std::int32_t VFileTypingMax = 64;

/// VFileHistory: watches a VFile, or an object of a class derived from it, and records every change that is made,
/// whatever operation makes it, in the order in which they happen. Undo takes the changes back step by step, Redo
/// brings them in again. A change that is refused leaves no trace.
///
///     content     state 0 --step--> state 1 --step--> state 2 --step--> state 3
///                    ^                                    ^
///                 oldest that Undo reaches             now: Undo leads left, Redo right; a new change ends what is
///                                                      to the right
///
/// **Steps.** One operation is one step, also where it makes many changes: ReplaceGlobal, Load, a long run of a
/// repeated character; what PostChange changes belongs to the change that it was called for. Begin and End (or a
/// VFileStep) make one step of all that is changed between them. Outside of these, a change joins the step before it if
/// the join rule says so; the one set at first, JoinTyping, joins what is typed in a row. A step that comes out at
/// nothing, as a byte typed and erased, is none.
///
/// **The record** lies in the thread's VMem, as contents do, and takes RAM as a content of its size does: undoing a
/// million replacements in a gigabyte needs no more than any other work on it. Of a change it keeps the old bytes and
/// some 4 bytes more: what is inserted costs nothing until it is undone. Undo moves bytes from the content to the
/// record for Redo, and the other way round.
///
/// **What can't be recorded** (too long for the limit or for the space of the thread, or no memory) is changed all the
/// same, and the history begins anew after it: all steps are gone, IsSaved is false, and `res` says why. Undo never
/// leads to a content that has not been.
///
/// **Derived classes** see Undo and Redo as calls of ReplaceBuf or ReplaceTxt, one for each run of bytes that has
/// changed, and a SetPos; their hooks run, and may refuse. IsApplying is true meanwhile: a class that makes further
/// changes in PostChange, or alters the bytes it is given, must leave that now, for what it made the first time is in
/// the record. If it makes another change than it is asked for all the same, or a hook throws, all steps go and `res`
/// becomes resContextError. Of the history's own operations, hooks then have the questions only: the others do nothing
/// but set resContextError, Begin, End and EndStep not even that.
///
/// **Ownership.** The host owns the history, the history its record. When the object goes first, the record goes with
/// it, and the history is empty. Several may watch one object, each with all changes. **Threads:** it belongs to the
/// object's thread, and is used and destroyed there before the thread ends; else VFile halts.
/// **Failures** are results in `res`; beside that only what halts on changes of a VFile.
/// **Cost.** Typing adds a few tens of instructions to a change; others what it costs to copy the old bytes. A step
/// takes 24 bytes in the record.
class VFILE_API VFileHistory {
  public:
    /// Begins to record the changes of `f`, whose present content counts as saved. Without memory, or with an `f` that
    /// belongs to another thread, `res` tells (resHeapOverflow, resContextError), and nothing is ever recorded.
    explicit VFileHistory(VFile& f);

    /// Ends the recording; the object stays as it is.
    ~VFileHistory();

    VFileHistory(const VFileHistory&) = delete;
    VFileHistory& operator=(const VFileHistory&) = delete;

    /// The object, null if it is gone.
    VFile* Subject() const;

    /// @name Undo and redo
    /// Take one step back, or bring the one taken back in again, and go to the position from before, or after, the
    /// step; for a step of one operation or between Begin and End that is the position from before all of it. True if
    /// that was done. False with resDone in `res` if there is no step; and with nothing changed if the object has a
    /// result that is not resDone (which is then `res`), there is no object, a Begin is without its End, or from within
    /// the history's own work (resContextError), or the thread's space has no room for the bytes (resTooLong).
    ///
    /// A refusal on the way (vfLocked, vfReadOnly, PreChange) returns false, with its code in `res` and in the object's
    /// `res` as well. The step is then divided: what had been done stays done and is a step of its own for the other
    /// direction, and the rest stays a step that the next call goes on with. A class that does nothing and tells no
    /// code gives resNotDone.
    ///
    /// True with another `res` than resDone: the step was done, but can't be recorded for the way back, which is empty
    /// now.
    ///
    /// Changes made by them are not recorded as new ones. Cost: as the changes of the step. They must not be called by
    /// PreChange or by a join rule; in PostChange they may.
    /// @{
    bool Undo();
    bool Redo();
    std::int32_t UndoCount() const; ///< steps that Undo can take, the one that is still growing included
    std::int32_t RedoCount() const; ///< steps that Redo can take
    bool IsApplying() const;        ///< an Undo or Redo is at work, and the hooks that ask are called by it
    /// @}

    /// @name Steps
    /// @{
    void Begin(); ///< From here on, up to End, all is one step. May be nested; the outermost counts.

    /// Ends what Begin began. Without a Begin, `res` becomes resCallError.
    void End();

    /// Ends the step that is growing: the next change begins another one, or goes on with the group as a second step.
    /// A host calls it when the user goes elsewhere, or has paused.
    void EndStep();

    /// True if `next`, which is about to be made, belongs to the step of `last`, the change before it. Asked outside of
    /// groups, with the content as it is between the two. The rule may read the object as PreChange may, and must leave
    /// object and history alone.
    using JoinRule = bool (*)(void* context, const VFileChange& last, const VFileChange& next);

    void SetJoinRule(JoinRule rule, void* context); ///< The rule from now on; null: nothing joins.

    /// The rule set at first, which takes no context: inserts that follow each other, overwrites that follow each
    /// other, deletes before or after the same place; each of no more than VFileTypingMax bytes, up to and with the
    /// first that took or brought a line end.
    static bool JoinTyping(void* context, const VFileChange& last, const VFileChange& next);
    /// @}

    /// @name The saved state
    /// @{

    /// The present content is the saved one. Ends the step that is growing.
    void MarkSaved();

    /// True if the content is the saved one, also again, after Undo and Redo. False for ever, until the next MarkSaved,
    /// once no step leads there any more.
    bool IsSaved() const;
    /// @}

    /// @name Limits
    /// @{

    /// At most `bytes` of record and `steps` steps, for Undo, and as much again for Redo; the oldest go first, at the
    /// cost of their own size. A step between Begin and End counts as it grows. At first 256 MiB (0x10000000) and as
    /// many steps as fit. A negative one is resCallError.
    void SetLimits(std::int32_t bytes, std::int32_t steps);

    std::int64_t RecordSize() const; ///< Bytes of record, for both directions.

    /// Forgets all steps, and clears `res`. The content stays, and IsSaved stays what it is.
    void Clear();
    /// @}

    /// Why the last operation that failed did, or a change was not recorded; resDone after a successful Undo, Redo or
    /// Clear. No operation asks for it.
    Res res;

  private:
    friend class vfile_internal::History;
    vfile_internal::History* history; // null without an object
};

/// Makes one step of all that is changed while it lives: Begin and End of a history.
class VFileStep {
  public:
    VFILE_LOCAL explicit VFileStep(VFileHistory& h) : history(h) { history.Begin(); } ///< begins
    VFILE_LOCAL ~VFileStep() { history.End(); }                                       ///< ends
    VFileStep(const VFileStep&) = delete;
    VFileStep& operator=(const VFileStep&) = delete;

  private:
    VFileHistory& history;
};
