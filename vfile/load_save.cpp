// Whole files in and out: named files are opened, moved in pieces of 1024 bytes, or larger ones where nobody can tell,
// and closed within one call.
#include "vfile/vfile_inline.h"

#include "foundation/halt.h"
#include "hostfile/hfile.h"
#include "platform/file.h"

#include <algorithm>
#include <cstdlib>

void VFile::ReadFile(const char* name, std::uint32_t share) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    if (!MayChange()) return;
    const platform::Sharing sharing = share == 0 ? platform::Sharing::None : platform::Sharing::All;
    const FileHandle h = platform::OpenFile(name, platform::Access::Read, sharing, platform::Disposition::OpenExisting,
                                            platform::Pattern::Sequential);
    if (h == InvalidHandle) {
        res = GetFileRes();
        return;
    }
    ReplaceFile(pos, flags & vfInsert ? 0 : SameLen, h, MaxLen);
    platform::CloseFile(h);
}

void VFile::Load(const char* name, std::uint32_t share) {
    SetPos(0);
    ReplaceBuf(0, MaxLen, nullptr, 0);
    ReadFile(name, share);
    if (res == resDone) SetPos(0);
}

void VFile::WriteFile(const char* name, bool overwrite) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    const platform::Disposition disposition =
        overwrite ? platform::Disposition::CreateAlways : platform::Disposition::CreateNew;
    const FileHandle h = platform::OpenFile(name, platform::Access::Write, platform::Sharing::None, disposition,
                                            platform::Pattern::Sequential);
    if (h == InvalidHandle) {
        res = GetFileRes();
        return;
    }
    SetPos(0);
    WriteToFile(h, MaxLen);
    platform::CloseFile(h);
}

void VFile::Save(const char* name, bool overwrite) {
    SetPos(0);
    WriteFile(name, overwrite);
}

void VFile::WriteToFile(FileHandle h, std::int32_t count) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    WriteTo(nullptr, h, count);
}

void VFile::WriteToFile(HFile& f, std::int32_t count) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    WriteTo(&f, f.handle, count);
}

// Both forms of WriteToFile: to `f`, or to the bare handle `h` if f is NIL.
void VFile::WriteTo(HFile* f, FileHandle h, std::int32_t count) {
    if (res != resDone) return;
    if (count < 0 || h == InvalidHandle) {
        res = resCallError;
        return;
    }
    count = std::min<std::int32_t>(count, len - pos);
    if (IsPlain() && count > BlkSize && platform::IsOrdinaryFile(h)) count -= WriteGathered(f, h, count);
    if (res != resDone) return;
    unsigned char bytes[BlkSize];
    while (count > 0) {
        const int want = std::min<std::int32_t>(count, BlkSize);
        const int got = ReadBytes(bytes, want);
        if (got <= 0 || got > want) { // a derived class's ReadBytes that gives nothing, or tells of more than fits
            if (res == resDone) res = resNotDone;
            return;
        }
        if (!WritePiece(f, h, bytes, got)) return;
        count -= got;
    }
}

// Writes to an ordinary file in larger transfers; how many bytes went out. A failure is told, and the position left, as
// if each piece of a block had been written by itself. Without memory for the larger transfers it writes nothing.
std::int32_t VFile::WriteGathered(HFile* f, FileHandle h, std::int32_t count) {
    const std::int32_t most = std::min<std::int32_t>(count, GatherSize);
    auto* bytes =
        static_cast<unsigned char*>(f && f->res != resDone ? nullptr : std::malloc(static_cast<std::size_t>(most)));
    std::int32_t done = 0;
    while (bytes && done < count) {
        const std::int32_t start = pos;
        const int n = ReadBytes(bytes, std::min<std::int32_t>(count - done, most));
        const std::uint32_t error = GetLastError();
        SetLastError(0); // so that an old one is no reason for a short transfer
        const std::int32_t moved = platform::WriteFile(h, bytes, static_cast<std::uint32_t>(n));
        const bool told = GetLastError() != 0;
        if (!told) SetLastError(error);
        done += std::max<std::int32_t>(0, moved);
        if (moved == n) continue;
        const std::int32_t whole = std::max<std::int32_t>(0, moved) / BlkSize * BlkSize; // pieces that went out whole
        res = told && moved <= whole ? GetFileRes() : resDiskFull; // and the next one, in part or not at all
        if (f) f->res = res;
        PlaceAt(std::min<std::int32_t>(start + whole + BlkSize, start + n));
        break;
    }
    std::free(bytes);
    return done;
}

// False, with `res` set, if not all of it was taken.
bool VFile::WritePiece(HFile* f, FileHandle h, const void* bytes, int n) {
    if (f) {
        f->WriteBytes(bytes, n);
        if (f->res == resDone) return true;
        res = GetFileRes(*f);
        return false;
    }
    const std::int32_t moved = platform::WriteFile(h, bytes, static_cast<std::uint32_t>(n));
    if (moved == n) return true;
    res = moved < 0 ? GetFileRes() : resDiskFull;
    return false;
}
