// Replacing files on Linux.
#include "platform/replace.h"

#include "platform/access_linux.h"
#include "platform/draft_linux.h"
#include "platform/error.h"
#include "platform/meter.h"
#include "platform/name_linux.h"
#include "platform/signal_guard_linux.h"
#include "platform/target_linux.h"
#include "platform/transfer_linux.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/resource.h>

namespace vfile_internal::platform {
namespace {

void SetStamp(FileStamp& stamp, const struct stat& st) {
    const std::int64_t words[] = {1,
                                  static_cast<std::int64_t>(st.st_dev),
                                  static_cast<std::int64_t>(st.st_ino),
                                  st.st_size,
                                  st.st_mtim.tv_sec,
                                  st.st_mtim.tv_nsec,
                                  st.st_ctim.tv_sec,
                                  st.st_ctim.tv_nsec};
    static_assert(sizeof words == sizeof stamp.words, "a word for each");
    std::memcpy(stamp.words, words, sizeof words);
}

bool StampOf(int fd, FileStamp& stamp) {
    struct stat st;
    if (!LookInLaterTick(fd, st) || !S_ISREG(st.st_mode)) return false;
    SetStamp(stamp, st);
    return true;
}

// Can a file of this size be, for this process?
bool WithinLimit(off_t size) {
    rlimit limit;
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return true;
    errno = EFBIG;
    return static_cast<rlim_t>(size) <= limit.rlim_cur;
}

// Asks for the room that the content will take, as long as the old one stands. Not every file system can say.
bool HasRoom(int fd, off_t size) {
    const SignalGuard guard(SizeIsLimited());
    struct stat st;
    if (fstat(fd, &st) != 0 || !WithinLimit(size)) return false;
    if (size <= 0 || fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, size) == 0) return true;
    if (errno != ENOSPC && errno != EDQUOT && errno != EFBIG) return true;
    const ErrnoKept kept;
    Truncate(fd, st.st_size); // gives back what it got before there was no more
    return false;
}

} // namespace

bool GetFileStamp(FileHandle handle, FileStamp& stamp) {
    errno = EOPNOTSUPP; // what is no ordinary file
    if (StampOf(DescriptorOf(handle), stamp)) return true;
    SetErrorFromErrno();
    return false;
}

struct Replacement::State {
    Replacing Failed();
    void LetGo();
    Replacing Hold(const char* name, const FileStamp* loaded);
    Replacing HoldTarget(const char* name);
    Replacing MakeDraft();
    Replacing GiveState();
    Replacing TurnInPlace();
    Replacing LookAgain();
    Replacing Publish();
    Replacing CommitInPlace(FileStamp* stamp);
    Replacing CopyInPlace(FileStamp* stamp);
    Replacing Commit(FileStamp* stamp);

    ReplaceWays ways;
    Target target;
    Draft draft;
    bool inPlace = false; // and there is a file
    bool narrowed = false;
    int error = 0;
    char attribute[XATTR_NAME_MAX + 1] = "";
};

// What is missing can only be a directory: a file need not be there.
Replacing Replacement::State::Failed() {
    error = errno;
    if (errno == ENOENT) errno = ENOTDIR;
    SetErrorFromErrno();
    return Replacing::Failed;
}

void Replacement::State::LetGo() {
    draft.Discard();
    target.Close();
}

Replacing Replacement::State::HoldTarget(const char* name) {
    switch (target.Hold(name, inPlace, true)) {
    case Target::Found::Nothing:
    case Target::Found::Ordinary:
        return Replacing::Done;
    case Target::Found::OpenFile:
        return Replacing::OpenFile;
    case Target::Found::Other:
        return Replacing::NotOrdinary;
    case Target::Found::Held:
        return Replacing::Held;
    case Target::Found::Failed:
        break;
    }
    return Failed();
}

// A draft that gets the place of an old file is for this user alone until it has the access of that one.
Replacing Replacement::State::MakeDraft() {
    const bool exists = target.Exists();
    error = !exists ? 0 : ways.keepLinks && target.State().st_nlink > 1 ? EMLINK : target.WhyIrreplaceable();
    if (error != 0) return Replacing::Irreplaceable;
    if (!draft.Create(target.Directory(), exists ? 0600 : 0666)) {
        const Replacing failed = Failed();
        return exists && IsRefusal(error) ? Replacing::Irreplaceable : failed;
    }
    return GiveState(); // and once more when it is complete: writing takes rights away
}

Replacing Replacement::State::GiveState() {
    if (!target.Exists()) return Replacing::Done;
    const Given given = GiveForReplacement(draft.Number(), target.Number(), attribute, &narrowed);
    if (given == Given::Done) return Replacing::Done;
    const Replacing failed = Failed();
    return given == Given::Attribute ? Replacing::Attribute : failed;
}

// The file that was to be replaced is to be written itself, if it still is what it was.
Replacing Replacement::State::TurnInPlace() {
    const struct stat before = target.State();
    char name[PATH_MAX];
    std::strcpy(name, target.Name());
    inPlace = true;
    narrowed = false;
    const Replacing held = HoldTarget(name);
    if (held != Replacing::Done) return held;
    const bool same = ways.force || Unchanged(before, target.State());
    return target.Exists() && same ? Replacing::Done : Replacing::Changed;
}

Replacing Replacement::State::LookAgain() {
    errno = 0;
    if (!ways.force && target.IsUnchanged()) return Replacing::Done;
    if (!ways.force) return errno == 0 || errno == ENOENT || errno == ENOTDIR ? Replacing::Changed : Failed();
    const struct stat before = target.State();
    const bool existed = target.Exists();
    switch (target.HoldPresent(inPlace)) {
    case Target::Found::Nothing:
        return Replacing::Done;
    case Target::Found::Ordinary:
        return inPlace || (existed && SameFile(before, target.State())) ? Replacing::Done : GiveState();
    case Target::Found::Held:
        return Replacing::Held;
    case Target::Found::OpenFile:
    case Target::Found::Other:
        return Replacing::NotOrdinary;
    case Target::Found::Failed:
        break;
    }
    return Failed();
}

// Irreplaceable: only the last step of all has shown that, and the draft is complete.
Replacing Replacement::State::Publish() {
    Replacing result = GiveState();
    if (result != Replacing::Done) return result;
    if (!FlushDescriptor(draft.Number()) || !IsTaken(draft.Number())) return Failed();
    const bool replaces = target.Exists() || ways.force;
    const SignalsHeld signals;
    if (!draft.Ready(replaces)) return Failed();
    result = LookAgain(); // nothing but the last step comes after it
    if (result != Replacing::Done) return result;
    if (!draft.Place(target.Leaf(), replaces)) {
        result = Failed();
        if (error == EEXIST) return ways.onlyNew ? Replacing::Exists : Replacing::Changed;
        return target.Exists() && IsRefusal(error) ? Replacing::Irreplaceable : result;
    }
    return replaces || target.IsReached(draft.State()) ? Replacing::Done : Replacing::Changed;
}

Replacing Replacement::State::CommitInPlace(FileStamp* stamp) {
    const SignalGuard guard(SizeIsLimited());
    const int fd = target.Number();
    const off_t size = lseek(fd, 0, SEEK_CUR); // as much as has been written
    if (size < 0 || !Truncate(fd, size) || !FlushDescriptor(fd) || !IsTaken(fd)) return Failed();
    if (stamp && !StampOf(fd, *stamp)) *stamp = {};
    return Replacing::Done;
}

Replacing Replacement::State::CopyInPlace(FileStamp* stamp) {
    const Silence silence; // from here on it is all or a broken file
    draft.RemoveName();    // as long as its directory is open
    const Replacing turned = TurnInPlace();
    if (turned != Replacing::Done) return turned;
    struct stat st;
    const int fd = target.Number();
    if (fstat(draft.Number(), &st) != 0 || !HasRoom(fd, st.st_size) || !Truncate(fd, 0) ||
        !CopyContent(fd, draft.Number(), st.st_size) || lseek(fd, 0, SEEK_END) < 0) {
        return Failed();
    }
    return CommitInPlace(stamp);
}

Replacing Replacement::State::Hold(const char* name, const FileStamp* loaded) {
    inPlace = ways.inPlace;
    Replacing result = HoldTarget(name);
    if (result != Replacing::Done) return result;
    const bool exists = target.Exists();
    inPlace = ways.inPlace && exists;
    if (exists && ways.onlyNew) return Replacing::Exists;
    if (loaded && loaded->words[0] != 0 && !ways.force) {
        FileStamp now = {};
        if (exists) SetStamp(now, target.State());
        if (std::memcmp(&now, loaded, sizeof now) != 0) return Replacing::Changed;
    }
    if (inPlace) return Replacing::Done;
    result = MakeDraft();
    if (!ways.mayWriteInPlace || (result != Replacing::Irreplaceable && result != Replacing::Attribute)) return result;
    draft.Discard();
    return TurnInPlace();
}

Replacing Replacement::State::Commit(FileStamp* stamp) {
    if (inPlace) return CommitInPlace(stamp);
    const Replacing result = Publish();
    if (result == Replacing::Irreplaceable && ways.mayWriteInPlace) return CopyInPlace(stamp);
    if (result != Replacing::Done) return result;
    FlushNames(target.Directory()); // the new name, too
    if (stamp && !StampOf(draft.Number(), *stamp)) *stamp = {};
    return Replacing::Done;
}

// Not by the global operator new, which would throw and catch to find out that there is no memory.
Replacement::Replacement() : state(static_cast<State*>(std::malloc(sizeof(State)))) {
    if (state) new (state) State;
}

Replacement::~Replacement() {
    if (state) state->~State();
    std::free(state);
}

Replacing Replacement::Hold(const char* name, const ReplaceWays& ways, const FileStamp* loaded) {
    const SystemName systemName(name);
    if (!systemName.Ok()) {
        state->error = name ? ENAMETOOLONG : EINVAL;
        return Replacing::Failed;
    }
    state->ways = ways;
    const Replacing result = state->Hold(systemName.Text(), loaded);
    if (result != Replacing::Done) state->LetGo();
    return result;
}

Replacing Replacement::Begin(std::int64_t size) {
    if (!state->inPlace) return Replacing::Done;
    const Replacing result = state->LookAgain();
    if (result != Replacing::Done) return result;
    return HasRoom(state->target.Number(), static_cast<off_t>(size)) ? Replacing::Done : state->Failed();
}

Replacing Replacement::Commit(FileStamp* stamp) {
    const Replacing result = state->Commit(stamp);
    state->LetGo();
    return result;
}

FileHandle Replacement::Handle() const {
    if (state->target.Own() >= 0) return HandleOf(state->target.Own());
    const int fd = state->inPlace ? state->target.Number() : state->draft.Number();
    return fd < 0 ? InvalidHandle : HandleOfOpened(fd, false, true);
}

bool Replacement::Holds(FileHandle handle) const {
    struct stat st;
    return state->target.Exists() && state->target.Number() >= 0 && fstat(DescriptorOf(handle), &st) == 0 &&
           SameFile(st, state->target.State());
}

bool Replacement::InPlace() const {
    return state->inPlace;
}

bool Replacement::NarrowsAccess() const {
    return state->narrowed;
}

int Replacement::Error() const {
    return state->error;
}

const char* Replacement::Attribute() const {
    return state->attribute;
}

void Replacement::RemoveDraft() {
    if (state) state->draft.RemoveName();
}

} // namespace vfile_internal::platform
