// The record of a history, in one direction: a stack of steps, each a stack of edits, both read from their end. It lies
// in two contents in the thread's VMem. Internal.
//
//   data    old bytes, trailer | old bytes, trailer | ... | old bytes of the edit that is open
//           `----- edit -----'
//   steps   {state, bytes, lastAt, before, after} | ...      bytes: of all edits of the step, in data
//
//   trailer  new length, old length, distance from the edit before: seven bits to a byte, the highest first; all but
//            the first byte of a number have the top bit set, so that it can be read from its end
//
// Of an edit only the old bytes are kept; the new ones are in the content. To take an edit back is itself an edit,
// which goes to the record of the other direction.
#pragma once

#include "vfile/vfile.h"

namespace vfile_internal {

// At `at`, oldLen bytes have given way to newLen others.
struct Edit {
    std::int32_t at, oldLen, newLen;
};

struct Step {
    std::int64_t state;         // the number of the content's state that it leads from (for Undo) or to (for Redo)
    std::int32_t bytes;         // of its closed edits
    std::int32_t lastAt;        // where the last of them lies, 0 if there is none
    std::int32_t before, after; // the positions of the cursor
};

class HistoryRecord {
  public:
    HistoryRecord(Content*& ofData, Content*& ofSteps); // takes them over

    // What can fail returns a result; anything but resDone leaves a record that is good for Clear alone. Bytes are
    // those of `src`, as it is now.

    void Open(const Step& header); // a step; none is open
    Res Note(const VFile& src, std::int32_t at, std::int32_t oldLen, std::int32_t newLen);
    Res Close(bool& kept); // the open step; one in which nothing has changed goes

    bool IsOpen() const { return open; }
    bool OpenHolds() const; // a step is open, and something has changed in it
    Step& Header() { return step; }
    const Step& Header() const { return step; }

    std::int32_t Count() const { return count; } // of closed steps
    std::int64_t Size() const;                   // of all
    Step Top();                                  // the newest closed step; there is one
    Step Oldest();                               // the one that goes first; there is one
    Res DropOldest();                            // of the closed ones; there is one
    void Clear();

    // Reading the edits of the newest step from the last to the first, with no step open. The record stays as it is
    // until Keep.
    class Reader {
      public:
        explicit Reader(HistoryRecord& r);
        bool AtEnd() const { return left == 0; }
        void Next(); // reads an edit; there is one
        // What was read last.
        Edit edit;
        std::int32_t start;         // of its old bytes, in data
        const unsigned char* bytes; // they, if there are no more than BlkSize; else null
        // What then is left of the step, the edit not included.
        std::int32_t left;   // bytes
        std::int32_t lastAt; // where the last edit of the rest lies

      private:
        HistoryRecord& record;
        std::int32_t first = 0, filled = 0; // the part of data that is in the window
        unsigned char window[BlkSize + 64];
    };
    Res Pop();                                 // the newest step, whole
    Res Keep(const Step& rest);                // the newest step becomes this one: the first edits of it
    const VFile& Data() const { return data; } // for old bytes of any length

  private:
    Res Outcome() const;
    int CloseEdit(unsigned char* to);

    VFile data, steps;
    std::int32_t count;
    bool open;     // a step
    bool editOpen; // its last edit: it can still grow, and has no trailer yet
    Step step;     // if open
    Edit edit;     // if editOpen
};

} // namespace vfile_internal
