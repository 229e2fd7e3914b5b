// A file that is to be replaced or written over, found and held. Internal to the platform layer.
#pragma once

#include "platform/place_linux.h"

namespace vfile_internal::platform {

// What is there is held as users of the library hold a file for themselves. It is replaced in the directory to which
// symbolic links lead. The system follows them, too, by the name itself, with all that it refuses on the way, and what
// both have found must be the same file.
class Target {
  public:
    enum class Found {
        Nothing,  // the name is free
        Ordinary, // a file, which is held now
        OpenFile, // an open file of this process, whatever its kind: Own()
        Other,    // a directory, device, pipe or socket
        Held,     // somebody else holds the file, or others keep exchanging it
        Failed,   // errno tells
    };

    Target() : exists(false), own(-1), seen() { name[0] = '\0'; }

    // Finds what `fileName`, in the system's spelling, leads to. With `forWriting` it is opened to be written itself.
    // Otherwise the user needs the right to write to it all the same, but it is opened for reading where that will do:
    // nobody can start a program that somebody has open for writing, and who watches a file need not see a change. With
    // `stamped` it is looked at in a later tick than the one in which it was changed (see LookInLaterTick).
    Found Hold(const char* fileName, bool forWriting, bool stamped);

    // For a file that exists: why it can't be replaced by another one, as far as that can be known before; 0: nothing.
    int WhyIrreplaceable() const;

    // Are the name and the file still what they were? Without a file: is the name still free? errno tells what failed.
    bool IsUnchanged() const;

    // Takes another file that has come to have the name in place of the one held: Ordinary, or Nothing where none has.
    Found HoldPresent(bool forWriting);

    // After a file that was made at a free name: false, and the file is gone again, if that is not what the name leads
    // to. Links were exchanged while they were read, or are not to be followed.
    bool IsReached(const struct stat& made) const;

    bool Exists() const { return exists; }
    const struct stat& State() const { return seen; } // as it was found
    int Number() const { return held.Number(); }      // of the file
    int Own() const { return own; }
    int Directory() const { return place.dir.Number(); }
    const char* Leaf() const { return place.leaf; }
    const char* Name() const { return name; }
    void Close(); // the file and its directory

  private:
    bool TryHold(bool forWriting, bool stamped, Found& found);

    char name[PATH_MAX];
    Place place;
    bool exists;
    Descriptor held;
    int own;
    struct stat seen;
};

// Two changes within one tick of the clock that the system stamps files with can't be told apart. So the state of a
// file that has been changed in this very tick is looked at only in the next one: after some milliseconds.
bool LookInLaterTick(int fd, struct stat& st);

// The same file with the same content, permissions and names.
bool Unchanged(const struct stat& a, const struct stat& b);

// For what has failed in the directory of a target, by errno: true if the file is not to be replaced there, though it
// may be written in place.
bool IsRefusal(int error);

} // namespace vfile_internal::platform
