// HFileSave: the results of what the platform layer does.
#include "hostfile/hfilesave.h"

#include "platform/replace.h"

#include <cstring>
#include <new>

namespace platform = vfile_internal::platform;
using platform::Replacement;
using platform::Replacing;

namespace {

Replacement* In(void* state) {
    return static_cast<Replacement*>(state);
}

platform::ReplaceWays WaysOf(int how) {
    platform::ReplaceWays ways;
    ways.onlyNew = (how & hsOnlyNew) != 0;
    ways.inPlace = (how & hsWriteInPlace) != 0;
    ways.mayWriteInPlace = (how & hsMayWriteInPlace) != 0;
    ways.keepLinks = (how & hsKeepLinks) != 0;
    ways.force = (how & hsForce) != 0;
    return ways;
}

// Outcome has the order of Replacing.
HFileSave::Outcome OutcomeOf(Replacing result) {
    return static_cast<HFileSave::Outcome>(result);
}

Res ResOf(Replacing result) {
    switch (result) {
    case Replacing::Done:
        return resDone;
    case Replacing::NotOrdinary:
    case Replacing::OpenFile:
        return resIllegalFile;
    case Replacing::Held:
        return resNoPermission;
    case Replacing::Changed:
        return resContextError;
    case Replacing::Exists:
        return resAlreadyExists;
    case Replacing::Irreplaceable:
    case Replacing::Attribute:
        return resNotSupported;
    case Replacing::Failed:
        break;
    }
    return GetFileRes();
}

} // namespace

bool HFileStamp::Take(FileHandle handle) {
    platform::FileStamp stamp = {};
    const bool taken = platform::GetFileStamp(handle, stamp);
    std::memcpy(words, stamp.words, sizeof words);
    return taken;
}

HFileSave::HFileSave() : res(resDone), outcome(Outcome::Done), state(nullptr) {}

HFileSave::~HFileSave() {
    Cancel();
}

bool HFileSave::Tell(Res code, Outcome what) {
    res = code;
    outcome = what;
    return code == resDone;
}

bool HFileSave::Hold(const char* name, int how, const HFileStamp* loaded) {
    Cancel();
    auto* made = new (std::nothrow) Replacement;
    state = made;
    if (!made || !made->Ok()) {
        Cancel();
        return Tell(resHeapOverflow, Outcome::Failed);
    }
    platform::FileStamp stamp = {};
    if (loaded) std::memcpy(stamp.words, loaded->words, sizeof stamp.words);
    const Replacing result = made->Hold(name, WaysOf(how), &stamp);
    return Tell(ResOf(result), OutcomeOf(result));
}

bool HFileSave::Begin(std::int64_t size) {
    if (res != resDone) return false;
    if (Handle() == InvalidHandle || size < 0) return Tell(resCallError, Outcome::Failed);
    const Replacing result = In(state)->Begin(size);
    return Tell(ResOf(result), OutcomeOf(result));
}

bool HFileSave::Commit(HFileStamp* stamp) {
    if (res != resDone) return false;
    if (Handle() == InvalidHandle) return Tell(resCallError, Outcome::Failed);
    platform::FileStamp now = {};
    const Replacing result = In(state)->Commit(stamp ? &now : nullptr);
    if (stamp && result == Replacing::Done) std::memcpy(stamp->words, now.words, sizeof now.words);
    return Tell(ResOf(result), OutcomeOf(result));
}

void HFileSave::Cancel() {
    RemoveDraft(); // first: a handler of signals finds the draft without a name, or nothing at all
    Replacement* gone = In(state);
    state = nullptr;
    delete gone;
    Tell(resDone, Outcome::Done);
}

FileHandle HFileSave::Handle() const {
    return state ? In(state)->Handle() : InvalidHandle;
}

bool HFileSave::InPlace() const {
    return state && In(state)->InPlace();
}

bool HFileSave::NarrowsAccess() const {
    return state && In(state)->NarrowsAccess();
}

bool HFileSave::Holds(FileHandle h) const {
    return state && In(state)->Holds(h);
}

int HFileSave::SystemError() const {
    return state ? In(state)->Error() : 0;
}

const char* HFileSave::AttributeName() const {
    return state ? In(state)->Attribute() : "";
}

void HFileSave::RemoveDraft() {
    if (state) In(state)->RemoveDraft();
}
