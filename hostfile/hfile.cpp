// HFile: opening and closing, bytes and position, results.
#include "hostfile/hfile.h"

#include "foundation/number.h"
#include "foundation/text.h"
#include "platform/file.h"

#include <cstdint>

namespace platform = vfile_internal::platform;

namespace {

using platform::Access;
using platform::Disposition;
using platform::Origin;
using platform::Pattern;
using platform::Sharing;

constexpr std::int32_t PosMax = 0x7FFFFFFF;
constexpr std::int64_t NoPosition = -(std::int64_t{1} << 62); // stays below PosMax whatever is transferred

// A position or size of the system, as far as the class's own type reaches; a failed call counts as 0.
std::int32_t Served(std::int64_t n) {
    if (n < 0) return 0;
    return n > PosMax ? PosMax : static_cast<std::int32_t>(n);
}

} // namespace

HFile::HFile() {
    Init();
}

HFile::HFile(FileHandle h) {
    Init();
    handle = h;
    farthest = PosMax; // to be asked for
}

HFile::~HFile() {
    if (IsOpen()) Close();
}

void HFile::Init() {
    res = resDone;
    eof = false;
    base = 10;
    handle = InvalidHandle;
    heldBack = -1;
    farthest = 0;
}

bool HFile::Open(const char* name) {
    if (!MayOpen()) return false;
    return Opened(
        platform::OpenFile(name, Access::ReadWrite, Sharing::None, Disposition::OpenExisting, Pattern::Random));
}

bool HFile::OpenSeqRead(const char* name) {
    if (!MayOpen()) return false;
    return Opened(platform::OpenFile(name, Access::Read, Sharing::All, Disposition::OpenExisting, Pattern::Sequential));
}

bool HFile::Create(const char* name, bool overwrite) {
    if (!MayOpen()) return false;
    const Disposition how = overwrite ? Disposition::CreateAlways : Disposition::CreateNew;
    return Opened(platform::OpenFile(name, Access::ReadWrite, Sharing::None, how, Pattern::Random));
}

bool HFile::CreateSeqWrite(const char* name, bool overwrite) {
    if (!MayOpen()) return false;
    const Disposition how = overwrite ? Disposition::CreateAlways : Disposition::CreateNew;
    return Opened(platform::OpenFile(name, Access::Write, Sharing::None, how, Pattern::Sequential));
}

bool HFile::Lookup(const char* name, bool create) {
    if (!create) return Open(name);
    if (!MayOpen()) return false;
    return Opened(platform::OpenFile(name, Access::ReadWrite, Sharing::None, Disposition::OpenAlways, Pattern::Random));
}

// As Create or CreateSeqWrite of a new file, for this user alone.
bool HFile::CreatePrivate(const char* name, bool seqWrite) {
    if (!MayOpen()) return false;
    const Access access = seqWrite ? Access::Write : Access::ReadWrite;
    const Pattern pattern = seqWrite ? Pattern::Sequential : Pattern::Random;
    return Opened(platform::OpenFile(name, access, Sharing::None, Disposition::CreatePrivate, pattern));
}

bool HFile::MayOpen() {
    if (!IsOpen()) return true;
    res = resCallError;
    return false;
}

bool HFile::Opened(FileHandle h) {
    handle = h;
    heldBack = -1;
    farthest = 0;
    res = IsOpen() ? resDone : GetFileRes();
    return IsOpen();
}

void HFile::Close() {
    if (!IsOpen()) {
        res = resCallError;
        return;
    }
    platform::CloseFile(handle);
    handle = InvalidHandle;
    heldBack = -1;
    res = resDone;
}

bool HFile::IsOpen() const {
    return handle != InvalidHandle;
}

int HFile::ReadBytes(void* buf, int count) {
    if (res != resDone || count == 0) return 0;
    if (count < 0 || !buf) {
        res = resCallError;
        return 0;
    }
    auto* to = static_cast<unsigned char*>(buf);
    int done = 0;
    if (heldBack >= 0) {
        to[done++] = static_cast<unsigned char>(heldBack);
        heldBack = -1;
    }
    // A byte that was held back is there already, so nothing more is waited for, as in any read of a pipe.
    if (done == 0 || (done < count && platform::ReadsAtOnce(handle))) {
        const std::int32_t got = platform::ReadFile(handle, to + done, static_cast<std::uint32_t>(count - done));
        if (got < 0) {
            res = GetFileRes();
            eof = false;
            return done;
        }
        done += got;
        farthest += got;
    }
    eof = done < count;
    return done;
}

void HFile::WriteBytes(const void* buf, int count) {
    if (res != resDone || count == 0) return;
    if (count < 0 || !buf) {
        res = resCallError;
        return;
    }
    Put(buf, count);
}

// A write whose arguments are good: how many bytes went out, fewer with `res` set.
std::int32_t HFile::Put(const void* buf, int count) {
    if (farthest + count > PosMax && !MayWrite(count)) {
        res = resTooLong;
        return 0;
    }
    bool failed;
    const std::int32_t written = platform::WriteFile(handle, buf, static_cast<std::uint32_t>(count), failed);
    farthest += written;
    if (written < count) res = failed ? GetFileRes() : resDiskFull;
    return written;
}

// For a write that may go past what a position can hold: false if it would change bytes there. New ones may come.
bool HFile::MayWrite(int count) {
    farthest = platform::SeekFile(handle, 0, Origin::Current);
    if (farthest < 0) farthest = NoPosition;
    if (farthest + count <= PosMax) return true;
    const std::int64_t size = platform::FileSize(handle);
    return size <= PosMax || farthest >= size;
}

std::int32_t HFile::GetPos() const {
    return IsOpen() ? Served(platform::SeekFile(handle, 0, Origin::Current)) : 0;
}

void HFile::SetPos(std::int32_t pos) {
    SetPosChecked(pos);
}

void HFile::SetPos(std::int32_t offset, int origin) {
    const std::int64_t size = origin == 2 ? platform::FileSize(handle) : 0;
    if (size < 0) {
        eof = false;
        res = GetFileRes();
        return;
    }
    switch (origin) {
    case 0:
        SetPosChecked(offset);
        break;
    case 1:
        SetPosChecked(MaxQ(platform::SeekFile(handle, 0, Origin::Current), 0) + offset);
        break;
    case 2:
        SetPosChecked(size + offset);
        break;
    default:
        SetPosChecked(-1);
    }
}

// `pos` may lie past what a position can hold, and then is past the end as well.
void HFile::SetPosChecked(std::int64_t pos) {
    eof = false;
    if (!IsOpen() || pos < 0) {
        res = resCallError;
        return;
    }
    const std::int64_t size = platform::FileSize(handle);
    const std::int64_t target = MinQ(pos, size);
    if (target > PosMax) {
        res = resTooLong;
        return;
    }
    if (size < 0 || platform::SeekFile(handle, target, Origin::Begin) < 0) {
        res = GetFileRes();
        return;
    }
    farthest = target;
    heldBack = -1;
    res = resDone;
}

void HFile::Reset() {
    SetPos(0);
}

std::int32_t HFile::Length() const {
    return IsOpen() ? Served(platform::FileSize(handle)) : 0;
}

void HFile::Truncate() {
    if (!IsOpen()) {
        res = resCallError;
        return;
    }
    if (platform::FileSize(handle) > PosMax) {
        res = resTooLong;
        return;
    }
    res = platform::SetEndOfFile(handle) ? resDone : GetFileRes();
}

void HFile::Flush() {
    if (!IsOpen()) {
        res = resCallError;
        return;
    }
    res = platform::FlushFile(handle) ? resDone : GetFileRes();
}

void HFile::GetResMsg(char* buf, unsigned int size, Res code) {
    if (code == resHeapOverflow) {
        AssignStr(buf, size, "heap overflow");
    } else {
        GetTextResMsg(buf, size, code);
    }
}

Res HFile::GetFileRes() {
    return ::GetFileRes();
}

Res GetFileRes(const HFile& file) {
    return file.res >= resDone && file.res <= resNetworkError ? file.res : resNotDone;
}
