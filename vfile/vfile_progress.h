/// @file
/// Progress of long operations, and their end before their time.
#pragma once

#include "../foundation/result.h"
#include "../platform/export.h"

#include <cstdint>

/// What is at work.
enum class VFileWork : int {
    Load,    ///< a file, pipe or device comes into a content: ReadFile, ReplaceFile, Load, LoadKeeping
    Save,    ///< a content goes to a file: WriteFile, WriteToFile, Save, SaveSafely
    Copy,    ///< a range of a content goes to a content (ReplaceTxt, assignment), or a file to a file (HFile::Copy,
             ///< Rename)
    Find,    ///< Find, FindBack, and the same of a VFileView
    Replace, ///< ReplaceGlobal
    Compare, ///< the operators, and VFileView::Compare
    Count,   ///< the first question for lines by number counts them
    Undo,    ///< Undo or Redo of a VFileHistory
    Compact, ///< Compact
};

/// Called by the operations of VFileWork about every 4 MB of work, or 50 ms, whichever comes first, on the thread that
/// works; so never for short ones, and never at the end. `done` of `total` are bytes of the content or of the file (of
/// the record, for Undo), `done` never more than `total`, which is -1 where it can't be known: a pipe. An operation
/// that calls others is told of as a whole. The answer false stops it:
///
///     operation                           result          what is left
///     Load                                resStopped      an empty object: the old content goes first
///     LoadKeeping, ReadFile, ReplaceFile  resStopped      the old content; the file's position is where reading ended
///     SaveSafely                          resStopped      the old file, if it was not to be written in place
///     Save, WriteFile, WriteToFile        resStopped      a part of the file; the position is after that part
///     ReplaceTxt, assignment              resStopped      the old content
///     HFile::Copy, HFile::Rename          resStopped      the old target, if it was not to be written in place
///     Find, FindBack                      resStopped      false; the next search from `at` misses nothing
///     ReplaceGlobal                       resStopped      what has been replaced, one step of a history; its number
///     operators that compare              none            the left side counts as the greater one, and as not equal
///     VFileView::Find, FindBack, Compare  resStopped      -1; 0
///     LineCount, LineOf, LineAt           resStopped      0; nothing is kept of the counts
///     Undo, Redo                          resStopped      what is undone so far is a step of its own; false
///
/// The result stands where failures of the operation do: in `res` of the object, of the view, of the history and of its
/// object, or in the argument for it.
///
/// **What it may do.** Use other objects and files, and change the setting, which then holds for what begins later.
/// What it calls itself is not told of. It must not end an object at work, and not hold it up for long: files are open
/// and held meanwhile. Questions to an object at work are free; reading there is, too, and the position is put back. A
/// change of it is made, and ends the operation with resContextError in place of resStopped: what the operation was to
/// do with the content is not done. It may throw: the exception passes through the operation, which leaves what
/// a stopped one leaves, but for `res`, which stays what it was, and for an Undo, after which the history begins anew.
///
/// A blocking read or write of the system is not interrupted; the host is told after it. A derived class sees the same
/// calls as ever up to the end, and what its overrides and hooks do at length is told of as a part of what called them.
using VFileProgressCall = bool (*)(void* context, VFileWork work, std::int64_t done, std::int64_t total);

/// What a thread has set.
class VFileProgress {
  public:
    VFileProgressCall call = nullptr; ///< null: nobody is told, and operations cost what they do without all this
    void* context = nullptr;          ///< comes back as its first argument; the host's
};

/// Sets the calling thread's one callback, and returns what was set before. A new thread has none; the setting ends
/// with the thread or with VFile_UninitializeThread. The child of a fork has that of the thread that forked. No VFile
/// is needed.
VFILE_API VFileProgress VFile_SetProgress(const VFileProgress& now);
