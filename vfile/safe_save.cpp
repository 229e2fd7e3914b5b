// Whole files in and out so that neither the old content nor the old file can get lost.
#include "vfile/vfile.h"

#include "foundation/halt.h"
#include "hostfile/hfilesave.h"
#include "platform/file.h"
#include "vfile/change.h"
#include "vfile/in_place.h"
#include "vfile/overrides.h"
#include "vfile/vfile_observer.h"

namespace platform = vfile_internal::platform;
using vfile_internal::Observed;

namespace {

platform::Sharing SharingOf(std::uint32_t share) {
    return share == 0 ? platform::Sharing::None : platform::Sharing::All;
}

// A file that is open for reading, also while an override or a hook throws.
class Input {
  public:
    Input(const char* name, std::uint32_t share)
        : handle(platform::OpenFile(name, platform::Access::Read, SharingOf(share), platform::Disposition::OpenExisting,
                                    platform::Pattern::Sequential)) {}
    ~Input() {
        if (IsOpen()) platform::CloseFile(handle);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    bool IsOpen() const { return handle != InvalidHandle; }

    FileHandle handle;
};

} // namespace

void VFile::LoadKeeping(const char* name, std::uint32_t share, HFileStamp* stamp) {
    LoadWhole(name, share, stamp, false);
}

// A class that overrides the reading of files reads them.
void VFile::LoadInPlace(const char* name, std::uint32_t share, HFileStamp* stamp) {
    using Replace = void(std::int32_t, std::int32_t, FileHandle, std::int32_t);
    LoadWhole(name, share, stamp, !vfile_internal::Overrides<Replace>(*this, &VFile::ReplaceFile));
}

// The new content is complete, in a private chain, before the hook is asked and anything of the old one goes.
void VFile::LoadWhole(const char* name, std::uint32_t share, HFileStamp* stamp, bool inPlace) {
    if (!Observed::OnOwnerThread(*this)) HaltA("VFile", __LINE__);
    const std::int32_t before = pos;
    const bool wasEof = eof;
    res = resDone;
    if (stamp) *stamp = {};
    if (!vfile_internal::Change::Allowed(*this)) return;
    const vfile_internal::HoldsApart apart(*this, name);
    Input file(name, share);
    if (!file.IsOpen()) {
        res = GetFileRes();
        return;
    }
    HFileStamp read;
    if (stamp) read.Take(file.handle);
    if (!inPlace || !vfile_internal::Change::FromPlace(*this, file.handle, SharingOf(share)))
        ReplaceFile(0, MaxLen, file.handle, MaxLen);
    if (res == resDone) {
        if (stamp) *stamp = read;
        SetPos(0);
        return;
    }
    const Res failed = res;
    VFile::SetPos(before); // where a refusal has moved it
    res = failed;
    eof = wasEof;
}

// Without a copy of what the content still has in the file that is to be replaced, where the old one stays for that.
void VFile::SaveSafely(const char* name, int how, HFileStamp* stamp) {
    SetPos(0);
    if (res == resDone) res = vfile_internal::MayReadAll(*this);
    if (res != resDone) return;
    const vfile_internal::HoldsApart apart(*this, name);
    if (apart.Any() && (how & hsWriteInPlace) == 0) {
        SaveBeside(name, how & ~hsMayWriteInPlace, stamp);
        if (res != resNotSupported || (how & hsMayWriteInPlace) == 0) return;
        SetPos(0);
    }
    if (apart.Any()) res = vfile_internal::BringIn(*this, name);
    if (res == resDone) SaveBeside(name, how, stamp);
}

void VFile::SaveBeside(const char* name, int how, HFileStamp* stamp) {
    HFileSave save;
    if (save.Hold(name, how, stamp) && save.Begin(len)) {
        WriteToFile(save.Handle(), MaxLen);
        if (res == resDone) save.Commit(stamp);
    }
    if (res == resDone) res = save.res;
}
