// Whole files in and out: named files are opened, moved in pieces of 1024 bytes, or larger ones where nobody can tell,
// and closed within one call.
#include "vfile/content.h"

#include "foundation/halt.h"
#include "hostfile/hfile.h"
#include "platform/file.h"
#include "vfile/change.h"
#include "vfile/in_place.h"
#include "vfile/large_transfer.h"
#include "vfile/long_work.h"
#include "vfile/overrides.h"
#include "vfile/vfile_observer.h"

#include <algorithm>

namespace platform = vfile_internal::platform;

namespace {

// Closes a file at the end of its block, also where an override or a hook throws.
struct Closing {
    ~Closing() { platform::CloseFile(h); }
    FileHandle h;
};

} // namespace

void VFile::ReadFile(const char* name, std::uint32_t share) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    if (!vfile_internal::Change::Allowed(*this)) return;
    const platform::Sharing sharing = share == 0 ? platform::Sharing::None : platform::Sharing::All;
    const FileHandle h = platform::OpenFile(name, platform::Access::Read, sharing, platform::Disposition::OpenExisting,
                                            platform::Pattern::Sequential);
    if (h == InvalidHandle) {
        res = GetFileRes();
        return;
    }
    const Closing closing{h};
    ReplaceFile(pos, flags & vfInsert ? 0 : SameLen, h, MaxLen);
}

void VFile::Load(const char* name, std::uint32_t share) {
    const vfile_internal::OneStep step(content->observers ? this : nullptr);
    SetPos(0);
    ReplaceBuf(0, MaxLen, nullptr, 0);
    ReadFile(name, share);
    if (res == resDone) SetPos(0);
}

void VFile::WriteFile(const char* name, bool overwrite) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res == resDone) res = vfile_internal::MayReadAll(*this);
    if (res == resDone && overwrite) res = vfile_internal::BringIn(*this, name);
    if (res != resDone) return;
    const platform::Disposition disposition =
        overwrite ? platform::Disposition::CreateAlways : platform::Disposition::CreateNew;
    const FileHandle h = platform::OpenFile(name, platform::Access::Write, platform::Sharing::None, disposition,
                                            platform::Pattern::Sequential);
    if (h == InvalidHandle) {
        res = GetFileRes();
        return;
    }
    const Closing closing{h};
    SetPos(0);
    WriteToFile(h, MaxLen);
}

void VFile::Save(const char* name, bool overwrite) {
    SetPos(0);
    WriteFile(name, overwrite);
}

namespace vfile_internal {

// Writes what a content has from its position on to `file`, or to the bare handle if that is null.
class FileWriter {
  public:
    FileWriter(VFile& content, HFile* file, FileHandle handle) : v(content), f(file), h(handle) {}
    void Write(std::int32_t count);

  private:
    std::int32_t WritePiece(const void* bytes, std::int32_t n);

    VFile& v;
    HFile* f;
    FileHandle h;
};

// In pieces of a block, or in larger ones to an ordinary file where nobody sees how much ReadBytes is asked for. A
// failure is told, and the position left, as if each piece of a block had been written by itself.
void FileWriter::Write(std::int32_t count) {
    if (v.res != resDone) return;
    if (count < 0 || h == InvalidHandle) {
        v.res = resCallError;
        return;
    }
    count = std::min(count, v.Length() - v.GetPos());
    unsigned char piece[BlkSize];
    const bool unseen = !Overrides(v, &VFile::ReadBytes) && platform::IsOrdinaryFile(h);
    const LargeRoom large(unseen ? count : 0);
    LongWork work(VFileWork::Save, count, v);
    for (std::int32_t got; count > 0; count -= got) {
        const bool useLarge = large.bytes && (!f || (f->res == resDone && f->MayWrite(LargeRoom::Size)));
        unsigned char* bytes = useLarge ? large.bytes : piece;
        const std::int32_t want = std::min(count, useLarge ? LargeRoom::Size : BlkSize);
        const std::int32_t start = v.GetPos();
        got = v.ReadBytes(bytes, want);
        if (got <= 0 || got > want) { // a derived class's ReadBytes that gives nothing, or tells of more than fits
            if (v.res == resDone) v.res = resNotDone;
            return;
        }
        const std::int32_t moved = WritePiece(bytes, got);
        if (moved == got && work.StepSlow(got)) continue;
        if (moved == got) {
            v.res = work.Outcome();
            return;
        }
        const std::int32_t failed = moved / BlkSize * BlkSize; // where the piece begins that did not go out whole
        if (useLarge) Content::Place(v, std::min(start + failed + BlkSize, start + got));
        return;
    }
}

// How many bytes went out; fewer with `res` set.
std::int32_t FileWriter::WritePiece(const void* bytes, std::int32_t n) {
    if (f) {
        const std::int32_t moved = f->res == resDone ? f->Put(bytes, n) : 0;
        if (moved < n) v.res = GetFileRes(*f);
        return moved;
    }
    bool failed;
    const std::int32_t moved = platform::WriteFile(h, bytes, static_cast<std::uint32_t>(n), failed);
    if (moved < n) v.res = failed ? GetFileRes() : resDiskFull;
    return moved;
}

} // namespace vfile_internal

void VFile::WriteToFile(FileHandle h, std::int32_t count) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res == resDone) res = vfile_internal::MayWriteTo(*this, h);
    vfile_internal::FileWriter(*this, nullptr, h).Write(count);
}

void VFile::WriteToFile(HFile& f, std::int32_t count) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res == resDone) res = vfile_internal::MayWriteTo(*this, f.handle);
    vfile_internal::FileWriter(*this, &f, f.handle).Write(count);
}
