// Changes whose new bytes come from elsewhere than memory: one byte repeated, another VFile, a file. All but the first
// stage the new bytes in a private chain before anything changes, so that a failing source leaves the content alone.
#include "vfile/vfile_inline.h"

#include "foundation/halt.h"
#include "hostfile/hfile.h"
#include "platform/file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

// The first chunk takes out all the old bytes, the later ones insert; each is a change of its own.
void VFile::ReplaceCh(std::int32_t at, std::int32_t oldLen, char ch, int count) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (count <= 1) {
        ReplaceBuf(at, oldLen, &ch, count);
        return;
    }
    char chunk[BlkSize];
    const int filled = std::min<std::int32_t>(count, BlkSize);
    std::memset(chunk, ch, static_cast<std::size_t>(filled));
    if (oldLen == SameLen) oldLen = count;
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
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (src.owner != owner) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    const bool same = oldLen == SameLen;
    if (same) oldLen = 0;
    if (at < 0 || oldLen < 0 || srcPos < 0 || srcLen < 0) {
        res = resCallError;
        return;
    }
    if (!MayChange()) return;
    srcPos = std::min<std::int32_t>(srcPos, src.len);
    srcLen = std::min<std::int32_t>(srcLen, src.len - srcPos);
    if (same) oldLen = srcLen;
    if (!ClampChange(at, oldLen, srcLen)) return;

    if (oldLen > 0 || srcLen > 0) {
        InitChange(at);
        if (res != resDone) return;
        unsigned char head[BlkSize];
        BlkRdr rd;
        if (FitsInPlace(oldLen, srcLen)) {
            res = AskHook(at, oldLen, srcLen);
            if (res != resDone) return;
            if (srcLen > 0) {
                src.SetPosC(rd, srcPos);
                src.ReadBytesC(rd, head, srcLen);
            }
            ChangeInPlace(oldLen, head, srcLen);
        } else {
            const int headLen = std::min<std::int32_t>(BlkSize - cur.ix, srcLen);
            BlkDesc* p1 = nullptr;
            BlkDesc* p2 = nullptr;
            if (srcLen > 0) {
                src.SetPosC(rd, srcPos);
                src.ReadBytesC(rd, head, headLen);
                unsigned char bytes[BlkSize];
                for (std::int32_t left = srcLen - headLen, k; left > 0; left -= k) {
                    k = std::min<std::int32_t>(left, BlkSize);
                    src.ReadBytesC(rd, bytes, k);
                    AddPrivate(p1, p2, bytes, static_cast<std::int16_t>(k));
                }
            }
            res = AskHook(at, oldLen, srcLen);
            if (res != resDone) {
                DisposeBlkPtrList(p1);
                return;
            }
            DoChange(oldLen, head, headLen, p1, p2);
        }
        EndChange(at, oldLen, srcLen);
    }
    GoBehind(at + srcLen);
}

void VFile::ReplaceFile(std::int32_t at, std::int32_t oldLen, HFile& f, std::int32_t count) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    ReplaceFrom(at, oldLen, &f, f.handle, count);
}

void VFile::ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t count) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    ReplaceFrom(at, oldLen, nullptr, h, count);
}

// Both forms of ReplaceFile: from `f`, or from the bare handle `h` if f is NIL. All new bytes go through a private
// chain, even ten of them, a block for each read.
void VFile::ReplaceFrom(std::int32_t at, std::int32_t oldLen, HFile* f, FileHandle h, std::int32_t count) {
    if (res != resDone) return;
    const bool same = oldLen == SameLen;
    if (same) oldLen = 0;
    if (at < 0 || oldLen < 0 || count < 0 || h == InvalidHandle) {
        res = resCallError;
        return;
    }
    if (!MayChange()) return;

    BlkDesc* p1 = nullptr;
    BlkDesc* p2 = nullptr;
    const std::int32_t total = StageFile(p1, p2, f, h, count);
    if (res == resDone && total < count && count != MaxLen) res = resNotDone;
    if (same) oldLen = total;
    if (res == resDone) ClampChange(at, oldLen, total);
    const bool anything = oldLen > 0 || total > 0;
    if (res == resDone && anything) InitChange(at);
    if (res == resDone && anything) res = AskHook(at, oldLen, total);
    if (res != resDone) {
        DisposeBlkPtrList(p1);
        return;
    }

    if (anything) {
        DoChange(oldLen, nullptr, 0, p1, p2);
        EndChange(at, oldLen, total);
    }
    GoBehind(at + total);
}

// Reads up to `count` bytes into a private chain; how many there were. A failed read sets `res`.
std::int32_t VFile::StageFile(BlkDesc*& p1, BlkDesc*& p2, HFile* f, FileHandle h, std::int32_t count) {
    unsigned char bytes[BlkSize];
    std::int32_t total = platform::IsOrdinaryFile(h) ? StageGathered(p1, p2, f, h, count) : 0;
    while (res == resDone && total < count) {
        const std::int32_t k = std::min<std::int32_t>(count - total, BlkSize);
        std::int32_t got;
        if (f) {
            got = f->ReadBytes(bytes, k);
            res = f->res == resDone ? resDone : GetFileRes(*f);
        } else {
            got = platform::ReadFile(h, bytes, static_cast<std::uint32_t>(k));
            res = got >= 0 ? resDone : GetFileRes();
        }
        if (res != resDone || got == 0) break;
        AddPrivate(p1, p2, bytes, static_cast<std::int16_t>(got));
        total += got;
    }
    return total;
}

// Reads from an ordinary file in larger transfers, which end where small ones would; how many bytes there were. What it
// leaves the small ones are to go on with: the end of the file, or all if there is no memory for larger ones. A failed
// read sets `res`.
std::int32_t VFile::StageGathered(BlkDesc*& p1, BlkDesc*& p2, HFile* f, FileHandle h, std::int32_t count) {
    const std::int32_t most = std::min<std::int32_t>(count, GatherSize);
    auto* bytes =
        static_cast<unsigned char*>(f && f->res != resDone ? nullptr : std::malloc(static_cast<std::size_t>(most)));
    std::int32_t total = 0, k = 0, got = 0;
    while (bytes && got == k && total < count) {
        k = std::min<std::int32_t>(count - total, most);
        got = platform::ReadFile(h, bytes, static_cast<std::uint32_t>(k));
        if (got < 0) res = GetFileRes();
        if (got < 0 && f) f->res = res;
        if (f) f->eof = got >= 0 && got < k;
        for (std::int32_t done = 0, n; done < got; done += n) {
            n = std::min<std::int32_t>(got - done, BlkSize);
            AddPrivate(p1, p2, bytes + done, static_cast<std::int16_t>(n));
        }
        total += std::max<std::int32_t>(0, got);
    }
    std::free(bytes);
    return total;
}
