// Changes whose new bytes come from elsewhere than memory: one byte repeated, another VFile, a file.
#include "vfile/change.h"

#include "foundation/halt.h"
#include "platform/file.h"
#include "vfile/large_transfer.h"
#include "vfile/long_work.h"
#include "vfile/vfile_observer.h"

#include <algorithm>
#include <cstring>

using vfile_internal::Change;

// The first chunk takes out all the old bytes, the later ones insert; each is a change of its own.
void VFile::ReplaceCh(std::int32_t at, std::int32_t oldLen, char ch, int count) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (count <= 1) {
        ReplaceBuf(at, oldLen, &ch, count);
        return;
    }
    char chunk[BlkSize];
    const int filled = std::min<std::int32_t>(count, BlkSize);
    std::memset(chunk, ch, static_cast<std::size_t>(filled));
    if (oldLen == SameLen) oldLen = count;
    const vfile_internal::OneStep step(content->observers && count > filled ? this : nullptr);
    while (count > 0) {
        const int n = std::min<std::int32_t>(count, filled);
        ReplaceBuf(at, oldLen, chunk, n);
        if (res != resDone) return;
        oldLen = 0;
        count -= n;
        at = pos;
    }
}

// The object may be its own source: every byte is read before the first one changes, and read through the buffer.
void VFile::ReplaceTxt(std::int32_t at, std::int32_t oldLen, const VFile& src, std::int32_t srcPos,
                       std::int32_t srcLen) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (src.content->owner != content->owner) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    const bool same = oldLen == SameLen;
    if (same) oldLen = 0;
    if (at < 0 || oldLen < 0 || srcPos < 0 || srcLen < 0) {
        res = resCallError;
        return;
    }
    if (!Change::Allowed(*this)) return;
    srcPos = std::min<std::int32_t>(srcPos, src.len);
    srcLen = std::min<std::int32_t>(srcLen, src.len - srcPos);
    Change change(*this, &src, srcPos);
    change.Make(at, same ? srcLen : oldLen, srcLen);
}

VFile& VFile::operator=(VFile&& src) { // NOLINT(performance-noexcept-move-constructor)
    const bool seen = vfile_internal::Overrides<VFile&(const VFile&)>(*this, &VFile::operator=) ||
                      vfile_internal::Overrides(*this, &VFile::ReplaceTxt);
    if (seen || &src == this || !Change::MayGive(src)) {
        *this = static_cast<const VFile&>(src);
    } else {
        Change::FromGiver(*this, src);
    }
    if (res != resDone || &src == this || src.len == 0) return *this;
    src.Reset();
    src.ReplaceBuf(0, MaxLen, nullptr, 0);
    return *this;
}

void VFile::ReplaceFile(std::int32_t at, std::int32_t oldLen, HFile& f, std::int32_t count) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    Change::FromFile(*this, at, oldLen, &f, f.handle, count);
}

void VFile::ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t count) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    Change::FromFile(*this, at, oldLen, nullptr, h, count);
}

namespace vfile_internal {
namespace {

std::int64_t BytesLeft(FileHandle h) {
    if (!platform::IsOrdinaryFile(h)) return LongWork::Unknown;
    return std::max<std::int64_t>(0, platform::FileSize(h) - platform::SeekFile(h, 0, platform::Origin::Current));
}

} // namespace

bool Change::MayGive(const VFile& f) {
    return IsPlain(f) && !Content::Of(f).observers && !(f.flags & (vfLocked | vfReadOnly | vfTrackModified));
}

void Change::FromGiver(VFile& f, VFile& giver) {
    if (!Content::Of(f).OnOwnerThread()) HaltA("VFile", __LINE__);
    if (Content::Of(giver).owner != Content::Of(f).owner) HaltA("VFile", __LINE__);
    if (f.res != resDone || !Allowed(f)) return;
    Change change(f, &giver, 0);
    change.giver = &giver;
    change.Make(0, f.len, giver.len);
}

const void* Change::NextOfText(std::int32_t n) {
    if (n == 0) return room;
    if (!reader) reader.emplace(*text, from);
    reader->Read(room, n);
    return room;
}

// All blocks of the giver become the private chain.
void Change::TakeAll() {
    Content& gone = Content::Of(*giver);
    gone.WriteBack();
    BlkDesc* alone = gone.chain.NewBlock(nullptr, 0);
    p1 = gone.chain.First();
    p2 = gone.chain.Last();
    gone.chain.BeginAnew(alone);
    gone.cur = {alone, 0, 0};
    giver->len = 0;
    giver->VFile::SetPos(0);
}

void Change::FromFile(VFile& f, std::int32_t at, std::int32_t oldLen, HFile* file, FileHandle h, std::int32_t count) {
    if (f.res != resDone) return;
    const bool same = oldLen == SameLen;
    if (same) oldLen = 0;
    if (at < 0 || oldLen < 0 || count < 0 || h == InvalidHandle) {
        f.res = resCallError;
        return;
    }
    if (!Allowed(f)) return;
    Change change(f);
    const std::int32_t total = change.StageFile(file, h, count);
    if (f.res == resDone && total < count && count != MaxLen) f.res = resNotDone;
    if (f.res == resDone) change.Make(at, same ? total : oldLen, total);
}

// Packs where there are too few. One page is left for the block that takes the change, or for what is cut off it.
// False, with `res` set, if that does not give so many.
bool Change::HavePages(std::int64_t n) {
    const std::int64_t pages = n <= 0 ? 0 : (n + BlkSize - 1) / BlkSize + 1;
    if (pages <= c.chain.FreePages()) return true;
    PackStaged();
    if (pages <= MaxLen / BlkSize) c.MakeRoom(static_cast<std::int32_t>(pages));
    if (pages <= c.chain.FreePages()) return true;
    f.res = resTooLong;
    return false;
}

// In larger reads where the file is an ordinary one and there is memory: it is cut into the same blocks.
std::int32_t Change::StageFile(HFile* file, FileHandle h, std::int32_t count) {
    if ((!file || file->res == resDone) && !HavePages(std::min<std::int64_t>(BytesLeft(h), count))) return 0;
    unsigned char piece[BlkSize];
    const LargeRoom large(platform::IsOrdinaryFile(h) ? count : 0);
    unsigned char* bytes = large.bytes ? large.bytes : piece;
    const std::int32_t most = large.bytes ? LargeRoom::Size : BlkSize;
    LongWork work(VFileWork::Load, count, f);
    if (work.IsOn() && count == MaxLen) work.SetTotal(BytesLeft(h));
    std::int32_t total = 0;
    for (std::int32_t got = 1; total < count && got > 0; total += got) {
        const std::int32_t want = std::min(count - total, most);
        got = file ? file->ReadBytes(bytes, want) : platform::ReadFile(h, bytes, static_cast<std::uint32_t>(want));
        if (file ? file->res != resDone : got < 0) {
            f.res = file ? GetFileRes(*file) : GetFileRes();
            return total;
        }
        if (!HavePages(got)) return total;
        for (std::int32_t done = 0, k; done < got; done += k) {
            k = std::min<std::int32_t>(got - done, BlkSize);
            Stage(bytes + done, k);
        }
        if (work.StepSlow(got)) continue;
        f.res = work.Outcome();
        return total;
    }
    return total;
}

} // namespace vfile_internal
