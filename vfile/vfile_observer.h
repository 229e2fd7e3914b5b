// Those who are told of every change of an object, whatever operation makes it: histories, marks, the index
// of lines. Internal.
//
//   VFile::observers --> Observer --> Observer --> null        a list through the observers themselves
//
//   PreChange     allows the change, or the observers never hear of it
//   before        the old bytes are still there: to be read by Read, and by nothing that moves the cursor
//                 the bytes change
//   after         content and length are new
//   hook          PostChange begins; what it changes comes as a change of its own in between
//   hook          PostChange has ended
//
// The hooks of the class know nothing of all this. An object without observers tests one pointer in a change.
#pragma once

#include "vfile/vfile.h"

namespace vfile_internal {

struct Observer {
    Observer* next; // of the same object
    VFile* subject; // null before Attach, and as soon as the object is gone
    void* self;     // what the functions get
    // Where the change is and how long the old bytes and the new run are, as the hooks are told. Never both 0.
    void (*before)(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen); // or null
    void (*after)(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    void (*hook)(void* self, bool begins, std::int32_t end); // or null. `end`: of the new run of the change
    void (*step)(void* self, bool begins); // around changes that are one operation for the host; or null
    void (*gone)(void* self);              // the object ends; it still has its content. May free the observer
};

// What an observer may do with the object, and what the object does for its observers.
class Observed {
  public:
    static bool OnOwnerThread(const VFile& f);
    static void Attach(VFile& f, Observer& o);  // after those that are there
    static void Detach(Observer& o);            // without effect on one that is not attached
    static const Observer* Find(const VFile& f, // one with this `after`; null if there is none
                                void (*after)(void* self, std::int32_t at, std::int32_t oldLen, std::int32_t newLen));

    static void Read(const VFile& f, std::int32_t at, void* dst, std::int32_t n); // touches nothing of the object
    static bool HasLineEnd(const VFile& f, std::int32_t at, std::int32_t n);      // among so many bytes, a few
    static std::int32_t PosBefore(const VFile& f); // the position when the change that runs began
    // True if contents of the thread can still take so many pages, for which they are packed if need be.
    static bool MakeRoom(const VFile& f, std::int64_t pages);

    static void TellBefore(const VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void TellAfter(const VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    static void TellHook(const VFile& f, bool begins, std::int32_t end);
    static void TellStep(const VFile& f, bool begins);
    static void TellGone(VFile& f);
};

// Makes the changes of its block one operation for the observers, whatever way the block ends. Null: does nothing.
class OneStep {
  public:
    explicit OneStep(const VFile* f) : file(f) {
        if (file) Observed::TellStep(*file, true);
    }
    ~OneStep() {
        if (file) Observed::TellStep(*file, false);
    }
    OneStep(const OneStep&) = delete;
    OneStep& operator=(const OneStep&) = delete;

  private:
    const VFile* file;
};

// PostChange, in the same way.
class HookRuns {
  public:
    HookRuns(const VFile& f, std::int32_t end) : file(f), behind(end) { Observed::TellHook(file, true, behind); }
    ~HookRuns() { Observed::TellHook(file, false, behind); }
    HookRuns(const HookRuns&) = delete;
    HookRuns& operator=(const HookRuns&) = delete;

  private:
    const VFile& file;
    std::int32_t behind;
};

} // namespace vfile_internal
