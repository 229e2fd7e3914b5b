/// @file
/// HFileSave: a new content for a file that takes its place when it is complete, so that the old one can't get lost.
#pragma once

#include "../foundation/result.h"
#include "../platform/platform.h"

#include <cstdint>

/// @name Ways of saving
/// Any of these, together; 0 is none. For HFileSave::Hold and VFile::SaveSafely.
/// @{
constexpr int hsOnlyNew =
    1; ///< Only as a new file: one that exists is resAlreadyExists, also if it comes up meanwhile.
constexpr int hsMayWriteInPlace = 2; ///< A file that can't be replaced is written itself, instead of resNotSupported.
constexpr int hsWriteInPlace = 4;    ///< An existing file is written itself in any case.
constexpr int hsKeepLinks = 8; ///< A file with several names (hard links) can't be replaced, which would part them.
constexpr int hsForce = 16;    ///< Changes that others have made meanwhile are no obstacle.
/// @}

/// What a file was at a moment. Two that are equal mean the same file, unchanged in content, permissions and names.
class VFILE_API HFileStamp {
  public:
    std::int64_t words[8] = {}; ///< Opaque. All 0: none, which is compared with nothing.

    /// Takes that of an open ordinary file. True if that worked; else it is none, and GetFileRes() says why. Waits for
    /// some milliseconds if the file has been changed just now, so that a change to come can be told from that one.
    bool Take(FileHandle handle);

    /// False for none.
    VFILE_LOCAL bool IsTaken() const { return words[0] != 0; }
};

/// Replaces one file:
///
///     HFileSave save;
///     if (save.Hold(name, 0) &&                       before the work: all that can be known to go wrong is told here
///         save.Begin(size) &&                         before the first byte
///         WriteAll(save.Handle()) &&                  the new content, from front to back, by whatever way
///         save.Commit()) ...                          on the device, with the old one's access, under its name
///
/// **What stands when.** Until Commit the file is as it was, and from the moment on at which it takes effect the new
/// one whole, for everybody who looks and also when the power fails: the content goes to a draft in the same directory,
/// is flushed to the device, and takes the name in one step; then the directory is flushed. A failure, or an object
/// that is destroyed, leaves the old file and no draft. So does a process that is killed, where the system knows files
/// without a name; else a draft `.~hf...tmp` can stay, which a handler of signals takes away by RemoveDraft.
///
/// **What the new file is.** It has the mode, the owner, the access control list and the extended attributes of the old
/// one, or it does not take its place. Where the process may not give it the group, neither the old group nor the new
/// one may do more than what both could (NarrowsAccess). A new file gets what every new file gets in its directory.
/// Symbolic links are followed as the system does, and stay; one that leads to no file yet is followed, too. Other
/// names (hard links) keep the old content, unless hsKeepLinks asks for them.
///
/// **Where that can't be**, the result is resNotSupported: no file can be made in the directory, or this one may not be
/// replaced (sticky directory), a file mounted at the name, other names that are to be kept, an attribute that the new
/// file can't have. With hsMayWriteInPlace the file is then written itself. Its owner, attributes and names stay by
/// themselves; but a failure between Begin and the end of Commit leaves a mixture, a full disk apart, which Begin tells
/// where the file system can. The object should see no signal in between that ends the process.
///
/// **Results** stand in `res`, and each member returns whether it is resDone. While it is not, Begin and Commit do
/// nothing. Beside resNotSupported and what the system tells (resIllegalPath for a missing
/// directory, resDiskFull, ...): resNoPermission, the file may not be written, or somebody else holds it;
/// resIllegalFile, there is a directory, a device, a pipe or an open file of this process; resAlreadyExists, see
/// hsOnlyNew; resContextError, the file is not what it was at Hold, or at the stamp given there. `outcome` tells these
/// apart in more detail. No halts; no exceptions.
///
/// The file is held from Hold on as by an HFile that excludes others. **Threads:** no lock and no test; one thread at a
/// time. **Processes:** the child of a fork may destroy its copy, which touches no file and no lock, and nothing else.
/// **Cost:** beside the writing some 20 calls of the system, of which the two that wait for the device count; and
/// some milliseconds for a file that somebody has changed just before, so that a second change can be told.
class VFILE_API HFileSave {
  public:
    /// What came out last, in more detail than `res`.
    enum class Outcome {
        Done,
        Failed,        ///< the system's reason stands in `res` and SystemError()
        NotOrdinary,   ///< a directory, a device, a pipe: nothing that can be replaced
        OpenFile,      ///< the name, such as /dev/stdout, means an open file of this process: Handle() is its
        Held,          ///< somebody else holds the file
        Changed,       ///< the file is not what it was, or there is one now where there was none, or the reverse
        Exists,        ///< there is a file, against hsOnlyNew
        Irreplaceable, ///< it can be written to but not replaced: SystemError()
        Attribute      ///< the new file can't have Attribute() of the old one: SystemError()
    };

    HFileSave();  ///< Holds nothing.
    ~HFileSave(); ///< Gives up what is not committed.
    HFileSave(const HFileSave&) = delete;
    HFileSave& operator=(const HFileSave&) = delete;

    /// Finds the file `name`, holds it, and makes the draft; what was held before is given up. `how`: the ways above.
    /// `loaded`, if not null and taken, is what the file must be, unless hsForce is among them. resHeapOverflow: no
    /// memory. A failure lets go of the file.
    bool Hold(const char* name, int how = 0, const HFileStamp* loaded = nullptr);

    /// Before the first byte of `size`. In place: looks whether the file has changed, and for room. resCallError
    /// without Hold.
    bool Begin(std::int64_t size);

    /// Makes what has been written to Handle() by then the content, and lets go of the file. Looks whether the file has
    /// changed since Hold. `stamp`, if not null, gets that of the file as it is now: for the next saving. resCallError
    /// without Hold.
    bool Commit(HFileStamp* stamp = nullptr);

    void Cancel(); ///< Gives up what has been written, and lets go of the file. `res` becomes resDone.

    /// Where the content is to be written, at first at position 0. Belongs to the object; InvalidHandle while it holds
    /// nothing.
    FileHandle Handle() const;

    bool InPlace() const;              ///< An existing file is written itself.
    bool NarrowsAccess() const;        ///< The group can't be kept, and less is allowed than before.
    bool Holds(FileHandle h) const;    ///< The file that is held is the one that is open there.
    int SystemError() const;           ///< The system's own number of the last failure, for messages; 0 if none.
    const char* AttributeName() const; ///< Of the attribute that can't be kept, else "". The object's.

    /// Takes away the name that a draft may have. Safe in a signal handler of the thread that uses the object, and for
    /// nothing else: the process ends after it.
    void RemoveDraft();

    Res res;         ///< what came out last
    Outcome outcome; ///< in more detail

  private:
    bool Tell(Res code, Outcome what);

    void* state; // the platform layer's, null before Hold
};
