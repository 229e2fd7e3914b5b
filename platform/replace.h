// A new file that takes the place of an old one when it is complete, or else leaves no trace. Internal.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace vfile_internal::platform {

enum class Replacing {
    Done,
    Failed,        // the last error tells, and Error()
    NotOrdinary,   // a device, a pipe or a directory: nothing that can be replaced
    OpenFile,      // an open file of this process, by a name that the system has for it: Handle()
    Held,          // somebody else holds the file
    Changed,       // it is not what it was any more, or there is one now where there was none, or none where one was
    Exists,        // there is a file, and only a new one is wanted
    Irreplaceable, // can be written to but not replaced: Error()
    Attribute,     // the new file can't have Attribute() of the old one: Error()
};

struct ReplaceWays {
    bool onlyNew = false;         // an existing file is refused
    bool inPlace = false;         // an existing file is written itself
    bool mayWriteInPlace = false; // so is one that can't be replaced, or not without loss
    bool keepLinks = false;       // a file with several names counts as irreplaceable
    bool force = false;           // whatever the name leads to in the end is replaced
};

// What a file is at a moment: equal words, the same file without any change. The first is 0 in an empty one.
struct FileStamp {
    std::int64_t words[8];
};

// Of an open ordinary file; for anything else, false and "not supported". Waits some milliseconds where the file has
// been changed just now, so that the next change can be told from that.
bool GetFileStamp(FileHandle handle, FileStamp& stamp);

// The file that is to be replaced is held alone from Hold on. The new one gets its owner, permissions and attributes,
// or the replacing is refused; where the process may not give it the group, neither the old group nor the new one can
// do more than both could. A file that does not exist yet is made with what every new file gets in its directory.
//
// In place, an existing file is written itself. Its owner, attributes and other names stay by themselves, but what
// breaks off on its way leaves a mixture.
class Replacement {
  public:
    Replacement();
    ~Replacement(); // gives up what is not committed
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    bool Ok() const { return state != nullptr; } // there was memory for it; else nothing works

    // All that can be known to go wrong is told here, and then lets go of the file. `loaded`, if not null or empty, is
    // what the file must still be.
    Replacing Hold(const char* name, const ReplaceWays& ways, const FileStamp* loaded);

    // Before the first byte of `size`: tells, where the file is written in place, what can be known.
    Replacing Begin(std::int64_t size);

    // What Handle() has got by then becomes the content, on the device, under its name. `stamp`, if not null, is its.
    // Whatever comes of it, lets go of the file, and gives up a draft that did not take its place.
    Replacing Commit(FileStamp* stamp);

    FileHandle Handle() const; // to write to, from front to back; InvalidHandle while nothing is held
    bool Holds(FileHandle handle) const;
    bool InPlace() const;
    bool NarrowsAccess() const;    // the group could not be kept
    int Error() const;             // the system's number
    const char* Attribute() const; // its name

    // Takes the draft's name away, if it has one. Safe in a signal handler.
    void RemoveDraft();

  private:
    struct State;
    State* const state;
};

} // namespace vfile_internal::platform
