// Copies of files on Linux.
//
// The new content is written to a draft (draft_linux.h), which takes the target's place when it is complete. Where the
// directory refuses that, an existing target is written in place, and so is all that is no name for an ordinary file: a
// device, a pipe, an open file of the process.
#include "platform/copy_linux.h"

#include "platform/access_linux.h"
#include "platform/draft_linux.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/fsops.h"
#include "platform/meter.h"
#include "platform/name_linux.h"
#include "platform/target_linux.h"
#include "platform/transfer_linux.h"

#include <ctime>
#include <fcntl.h>

namespace vfile_internal::platform {
namespace {

constexpr int Tries = 100; // for a target that others keep exchanging

void CopyTime(int out, const struct stat& source) {
    const timespec times[2] = {{0, UTIME_OMIT}, source.st_mtim};
    futimens(out, times);
}

// Opens an ordinary file that nobody holds alone, and holds it shared. Sets the last error.
bool OpenSource(Descriptor& in, struct stat& st, const char* name, bool follow) {
    if (fstatat(AT_FDCWD, name, &st, follow ? 0 : AT_SYMLINK_NOFOLLOW) != 0) {
        SetErrorFromErrno(name);
        return false;
    }
    // Not waiting, should a pipe take the name's place meanwhile.
    if (S_ISREG(st.st_mode)) {
        if (!in.OpenAt(AT_FDCWD, name, O_RDONLY | O_NONBLOCK | (follow ? 0 : O_NOFOLLOW)) ||
            fstat(in.Number(), &st) != 0) {
            SetErrorFromErrno(name);
            return false;
        }
    }
    if (!S_ISREG(st.st_mode)) {
        SetLastError(ErrorAccessDenied);
        return false;
    }
    return in.Lock(false);
}

bool OpenNamedSource(Descriptor& in, struct stat& st, const char* name) {
    const SystemName source(name);
    return source.Ok() && OpenSource(in, st, source.Text(), true);
}

// Refused: by the directory, not for lack of anything. Moved: the name has gone to another file meanwhile. What has
// Failed leaves the last error.
enum class Outcome { Done, Failed, Refused, Moved };

// For a failure with the target. What is missing can only be a directory: a file need not be there.
Outcome Fail() {
    if (errno == ENOENT) errno = ENOTDIR;
    SetErrorFromErrno();
    return Outcome::Failed;
}

Outcome FailWith(std::uint32_t error) {
    SetLastError(error);
    return Outcome::Failed;
}

// For what has failed in the directory of the target.
Outcome FailedToPlace() {
    return IsRefusal(errno) ? Outcome::Refused : Outcome::Failed;
}

// Makes the file `name` in `dir`, in place of what is there if `replace`. `made` tells which it is. The reason of
// Failed and Refused is left in errno.
Outcome Make(int dir, const char* name, bool replace, const Descriptor& in, const struct stat& source, bool move,
             struct stat& made) {
    Draft draft;
    if (!draft.Create(dir, move ? 0600 : (source.st_mode & 0777) | 0600)) return FailedToPlace();
    made = draft.State();
    const int out = draft.Number();
    if (!(move || LimitCopy(out, made, in.Number(), source)) || !CopyContent(out, in.Number(), source.st_size) ||
        !(!move || GiveForMove(out, made, in.Number(), source))) {
        return Outcome::Failed;
    }
    CopyTime(out, source);
    if (move && !FlushDescriptor(out)) return Outcome::Failed; // there will be no other one
    if (!draft.Publish(name, replace)) return FailedToPlace();
    if (move) FlushNames(dir);
    return Outcome::Done;
}

// Writes the content to what is written from front to back.
Outcome WriteThrough(int out, const Descriptor& in, const struct stat& source) {
    Piece piece;
    Meter meter(CopyOfFile, source.st_size > 0 ? source.st_size : Meter::Unknown);
    for (off_t at = 0;;) {
        const ssize_t got = ReadSome(in.Number(), piece, piece.Size(), at);
        if (got < 0) return Fail();
        if (got == 0) return Outcome::Done;
        bool failed;
        const auto count = static_cast<std::uint32_t>(got);
        if (WriteFile(HandleOf(out), piece.Bytes(), count, failed) != got)
            return failed ? Outcome::Failed : FailWith(ErrorDiskFull);
        at += got;
        if (!meter.StepSlow(got)) return FailWith(ErrorStopped);
    }
}

Outcome WriteThroughName(const char* name, const Descriptor& in, const struct stat& source) {
    Descriptor out;
    struct stat st;
    if (!out.OpenAt(AT_FDCWD, name, O_WRONLY | O_NONBLOCK) || fstat(out.Number(), &st) != 0) return Fail();
    return S_ISREG(st.st_mode) ? Outcome::Moved : WriteThrough(out.Number(), in, source);
}

// Writes over the content of a file that is held.
Outcome WriteInPlace(const Target& target, const Descriptor& in, const struct stat& source) {
    Piece first;
    if (ReadSome(in.Number(), first, 1, 0) < 0) return Fail(); // before anything is lost
    const int out = target.Number();
    if (!LimitTarget(out, target.State(), in.Number(), source) || !Truncate(out, 0) ||
        !CopyContent(out, in.Number(), source.st_size) || !IsTaken(out)) {
        return Fail();
    }
    CopyTime(out, source);
    return Outcome::Done;
}

Outcome Replace(const Target& target, const Descriptor& in, const struct stat& source) {
    struct stat made;
    const Outcome outcome = target.WhyIrreplaceable() != 0
                                ? Outcome::Refused
                                : Make(target.Directory(), target.Leaf(), true, in, source, false, made);
    if (outcome == Outcome::Refused) return WriteInPlace(target, in, source);
    return outcome == Outcome::Failed ? Fail() : outcome;
}

// Makes the file that the name leads to.
Outcome MakeReached(const Target& target, const Descriptor& in, const struct stat& source) {
    struct stat made;
    if (Make(target.Directory(), target.Leaf(), false, in, source, false, made) != Outcome::Done)
        return errno == EEXIST ? Outcome::Moved : Fail();
    return target.IsReached(made) ? Outcome::Done : Outcome::Moved;
}

// Makes the file `name`, which must not exist.
bool MakeNew(const char* name, const Descriptor& in, const struct stat& source, bool move, struct stat& made) {
    if (lstat(name, &made) == 0) return SetLastError(ErrorFileExists), false; // told before the work, not only after it
    Descriptor dir;
    const char* leaf = OpenPlace(dir, AT_FDCWD, name);
    if (leaf && Make(dir.Number(), leaf, false, in, source, move, made) == Outcome::Done) return true;
    Fail();
    return false;
}

Outcome CopyOver(const char* name, const Descriptor& in, const struct stat& source) {
    struct stat st;
    if (stat(name, &st) == 0 && SameFile(st, source)) return FailWith(ErrorSharingViolation);
    Target target;
    switch (target.Hold(name, true, false)) {
    case Target::Found::Nothing:
        return MakeReached(target, in, source);
    case Target::Found::Ordinary:
        return Replace(target, in, source);
    case Target::Found::OpenFile:
        return WriteThrough(target.Own(), in, source);
    case Target::Found::Other:
        return WriteThroughName(name, in, source);
    case Target::Found::Held:
        return FailWith(ErrorSharingViolation);
    case Target::Found::Failed:
        break;
    }
    return Fail();
}

} // namespace

bool CopyFile(const char* from, const char* to, bool overwrite) {
    Descriptor in;
    struct stat source;
    if (!OpenNamedSource(in, source, from)) return false;
    const SystemName target(to);
    if (!target.Ok()) return false;
    struct stat made;
    if (!overwrite) return MakeNew(target.Text(), in, source, false, made);
    for (int i = 0; i < Tries; ++i) {
        const Outcome outcome = CopyOver(target.Text(), in, source);
        if (outcome != Outcome::Moved) return outcome == Outcome::Done;
    }
    SetLastError(ErrorSharingViolation);
    return false;
}

bool MoveContentAcross(const char* from, const char* to) {
    Descriptor in;
    struct stat source;
    if (!OpenSource(in, source, from, false)) return false;
    struct stat made;
    if (!MakeNew(to, in, source, true, made)) return false;
    if (RemoveSame(AT_FDCWD, from, source, true)) return true;
    SetErrorFromErrno(from);
    RemoveSame(AT_FDCWD, to, made, false);
    return false;
}

} // namespace vfile_internal::platform
