// Loading a file without copying it.
#include "vfile/in_place.h"

#include "foundation/halt.h"
#include "platform/swap_file.h"
#include "vfile/change.h"

namespace vfile_internal {
namespace {

// Some files tell of more bytes than they give.
bool GivesLastByte(FileHandle h, std::int64_t size) {
    unsigned char last;
    bool seekFailed;
    return platform::ReadAt(h, &last, 1, size - 1, &seekFailed) == 1;
}

} // namespace

Res MayReadAll(const VFile& f) {
    return Content::Of(f).chain.IsIntact() ? resDone : resContextError;
}

template <class File>
Res BringIn(const VFile& f, File nameOrHandle) {
    Backings& files = BackingsOf(f);
    for (Backing *b = files.First(), *next; b; b = next) {
        next = b->next;
        if (!b->IsOf(nameOrHandle)) continue;
        if (!b->IsIntact()) return resContextError;
        if (Content::Of(f).chain.Files().BringIn(*b)) continue;
        const Res failed = GetFileRes();
        return !b->IsIntact() ? resContextError : failed != resDone ? failed : resNotDone;
    }
    return resDone;
}

template Res BringIn(const VFile& f, const char* name);
template Res BringIn(const VFile& f, FileHandle handle);

HoldsApart::HoldsApart(const VFile& f, const char* name) : files(BackingsOf(f)), any(false) {
    for (Backing* b = files.First(); b; b = b->next) {
        if (!b->IsOf(name)) continue;
        b->LetGo();
        any = true;
    }
}

HoldsApart::~HoldsApart() {
    for (Backing* b = files.First(); b && any; b = b->next) b->HoldAgain();
}

// The new content is a run of pages that the file gives; the blocks are parted from it as they are needed.
bool Change::FromPlace(VFile& f, FileHandle& h, platform::Sharing sharing) {
    platform::FileStamp stamp;
    if (!platform::IsOrdinaryFile(h) || !platform::GetBackingStamp(h, stamp)) return false;
    const std::int64_t size = platform::SizeOf(stamp);
    const std::int64_t pages = Content::Of(f).chain.FreePages(); // one is for the block that takes the change
    if (size < 1 || size > (pages - 1) * BlkSize || !GivesLastByte(h, size)) return false;
    Backing* file = Backing::Make(h, stamp, sharing);
    if (!file) return false;
    Change change(f);
    change.p1 = change.p2 = change.c.chain.NewRun(file, static_cast<std::int32_t>(size));
    if (!change.p1) {
        file->GiveUp();
        delete file;
        return false;
    }
    h = InvalidHandle;
    change.Make(0, MaxLen, static_cast<std::int32_t>(size));
    return true;
}

} // namespace vfile_internal

bool VFile::IsIntact() const {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    return vfile_internal::MayReadAll(*this) == resDone;
}
