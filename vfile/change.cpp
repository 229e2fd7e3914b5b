// The change engine: every change of a content is one operation, the bytes from a position on giving way to a new run.
//
// Where old and new fit into the current block, the change happens in the buffer. Otherwise the new bytes are laid out
// in a private chain p1..p2 of fresh blocks, the change is offered to PreChange, and only then the old bytes are cut
// out and the private chain is spliced in. Whole blocks inside a cut are unlinked unread; bytes move in at most three
// blocks.
#include "vfile/vfile_inline.h"

#include "foundation/halt.h"
#include "vfile/block_index.h"
#include "vmem/vmem.h"

#include <algorithm>
#include <cstring>

// Refusals that all changes share. False, with `res` set, if the object takes no changes now.
bool VFile::MayChange() {
    if (flags & vfLocked) {
        res = resContextError;
    } else if (flags & vfReadOnly) {
        res = resReadOnly;
    }
    return res == resDone;
}

// Brings a place and an old length into the content. False, with `res` set, if the content would become too long.
bool VFile::ClampChange(std::int32_t& at, std::int32_t& oldLen, std::int32_t newLen) {
    at = std::min<std::int32_t>(at, len);
    oldLen = std::min<std::int32_t>(oldLen, len - at);
    if (len - oldLen <= MaxLen - newLen) return true;
    res = resTooLong;
    return false;
}

// Puts the cursor at p, on the block that will take the change, with that block in the buffer; or sets `res`.
void VFile::InitChange(std::int32_t p) {
    const std::int32_t ix = p - cur.start;
    if (ix > 0 && ix < cur.ptr->len) { // most changes stay in the block of the one before
        cur.ix = static_cast<std::int16_t>(ix);
    } else {
        const BlkRdr left = cur;
        FindBlk(cur, p, true);
        if (cur.ptr != left.ptr) LeaveBlk(left);
    }
    pos = p;
    eof = false;
    if (bufLoaded) return;
    if (!HaveBuf()) {
        res = resHeapOverflow;
        return;
    }
    if (cur.ptr->adr == -1) {
        if (cur.ptr->len > 0) Halt("VFile", "InitChange", "cur.ptr->len>0");
        AllocBuf(cur.ptr->adr, BlkSize);
    } else {
        vm->Get(cur.ptr->adr, buf, cur.ptr->len);
    }
    bufLoaded = true;
}

// True if the cut lies in the current block, and the block can take the new bytes in its place.
bool VFile::FitsInPlace(std::int32_t oldLen, std::int32_t newLen) const {
    return oldLen <= cur.ptr->len - cur.ix && newLen <= BlkSize - (cur.ptr->len - oldLen);
}

// The change itself where FitsInPlace.
void VFile::ChangeInPlace(std::int32_t oldLen, const void* src, std::int32_t n) {
    unsigned char* at = buf + cur.ix;
    const std::int32_t rest = cur.ptr->len - cur.ix - oldLen;
    if (rest > 0 && oldLen != n) std::memmove(at + n, at + oldLen, static_cast<std::size_t>(rest));
    if (n == 1) { // typing
        *at = *static_cast<const unsigned char*>(src);
    } else if (n > 0) {
        std::memcpy(at, src, static_cast<std::size_t>(n));
    }
    SetCurLen(cur.ptr->len - oldLen + n);
    CheckCurLen();
}

// The closing step of a change: a current block without bytes goes, unless it is the only one.
void VFile::CheckCurLen() {
    BlkDesc* blk = cur.ptr;
    if (blk->len > BlkSize) Halt("VFile", "CheckCurLen", "cur.ptr->len > BlkSize");
    if (blk->len != 0) return;
    if (cur.ix != 0) Halt("VFile", "CheckCurLen", "cur.ix!=0");
    bufLoaded = false;
    bufDirty = false;
    indexLag = 0; // of a block that goes
    if (blk->next) {
        cur.ptr = blk->next;
        RemoveBlk(blk, cur.start);
    } else if (blk->prev) {
        cur.ptr = blk->prev;
        RemoveBlk(blk, cur.start);
        cur.start -= cur.ptr->len;
        cur.ix = cur.ptr->len;
    } else if (blk->adr != -1) {
        vm->Dealloc(blk->adr, BlkSize);
    }
}

// The current block gets another length, and the buffer what VMem has not; the index learns of it when the cursor
// leaves.
void VFile::SetCurLen(std::int32_t n) {
    if (index) indexLag += n - cur.ptr->len;
    cur.ptr->len = static_cast<std::int16_t>(n);
    bufDirty = true;
}

// Adds a block of n bytes to the end of a private chain.
void VFile::AddPrivate(BlkDesc*& p1, BlkDesc*& p2, const void* bytes, std::int16_t n) {
    BlkDesc* p = NewBlkPtr(p2, nullptr, n);
    (p2 ? p2->next : p1) = p;
    p2 = p;
    vm->Set(p->adr, bytes, n);
}

// Cuts oldLen bytes out behind the cursor and puts the new run in: headLen bytes at `head`, which fit into the current
// block, and then the private chain, which may be NIL. On entry the buffer is loaded. Changes neither len nor pos nor
// cur.ix. All that is merged goes into the last private block, and only where it fits.
void VFile::DoChange(std::int32_t oldLen, const unsigned char* head, int headLen, BlkDesc* p1, BlkDesc* p2) {
    BlkDesc* blk = cur.ptr;
    const std::int32_t behind = blk->len - cur.ix;
    const std::int32_t at = IndexBehindCur();

    // Save the tail of the current block: what survives the cut comes after the new run.
    if (oldLen < behind) {
        const auto tail = static_cast<std::int16_t>(behind - oldLen);
        const unsigned char* bytes = buf + cur.ix + oldLen;
        if (p2 && p2->len + tail <= BlkSize) {
            vm->Set(p2->adr + p2->len, bytes, tail);
            p2->len = static_cast<std::int16_t>(p2->len + tail);
            if (p2->len > BlkSize) Halt("VFile", "DoChange", "Append: p2->len > BlkSize");
        } else {
            AddPrivate(p1, p2, bytes, tail);
        }
    }

    // Cut. Blocks that lie wholly in the cut go unread.
    if (oldLen > len / 4) DropIndex(); // cheaper made anew than taken apart
    std::int32_t i = oldLen - std::min<std::int32_t>(oldLen, behind);
    while (blk->next && i >= blk->next->len) {
        i -= blk->next->len;
        RemoveBlk(blk->next, at);
    }
    if (i > 0) {
        BlkDesc* p = blk->next;
        if (!p || i >= p->len) Halt("VFile", "DoChange", "cut out: i too big");
        const auto rest = static_cast<std::int16_t>(p->len - i);
        if (p2 && rest <= BlkSize - p2->len) {
            vm->CopyBytes(p2->adr + p2->len, p->adr + i, rest);
            p2->len = static_cast<std::int16_t>(p2->len + rest);
            if (p2->len > BlkSize) Halt("VFile", "DoChange", "cut out: p2->len > BlkSize");
            RemoveBlk(p, at);
        } else {
            vm->CopyBytes(p->adr, p->adr + i, rest);
            p->len = rest;
            if (index) index->Adjust(at, -i);
        }
    }

    // Write the head.
    SetCurLen(cur.ix + headLen);
    if (headLen > 0) std::memcpy(buf + cur.ix, head, static_cast<std::size_t>(headLen));

    // Splice, and take in the block behind if it fits.
    if (p1) {
        BlkDesc* p = blk->next;
        if (p && p2->len + p->len <= BlkSize) {
            vm->CopyBytes(p2->adr + p2->len, p->adr, p->len);
            p2->len = static_cast<std::int16_t>(p2->len + p->len);
            RemoveBlk(p, at);
        }
        SpliceBehind(blk, p1, p2, at);
    }

    CheckCurLen();
}

void VFile::ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    if (oldLen == SameLen) oldLen = n;
    if (at < 0 || oldLen < 0 || n < 0 || (!src && n > 0)) {
        res = resCallError;
        return;
    }
    if (!MayChange()) return;
    if (!ClampChange(at, oldLen, n)) return;

    if (oldLen > 0 || n > 0) {
        InitChange(at);
        if (res != resDone) return;
        if (type > 0 && n > 0 && (flags & (vfEolCheck | vfNoEolCheck)) == vfEolCheck) CheckEOL(src, n);
        if (FitsInPlace(oldLen, n)) {
            res = AskHook(at, oldLen, n);
            if (res != resDone) return;
            ChangeInPlace(oldLen, src, n);
        } else {
            ChangeByChain(at, oldLen, static_cast<const unsigned char*>(src), n);
            if (res != resDone) return;
        }
        EndChange(at, oldLen, n);
    }
    GoBehind(at + n);
}

// The change where it does not fit in place, the hook asked. The source is read completely before the hook runs: the
// hook may well be its owner.
void VFile::ChangeByChain(std::int32_t at, std::int32_t oldLen, const unsigned char* src, int n) {
    unsigned char head[BlkSize];
    const int headLen = std::min<std::int32_t>(BlkSize - cur.ix, n);
    if (headLen > 0) std::memcpy(head, src, static_cast<std::size_t>(headLen));
    BlkDesc* p1 = nullptr;
    BlkDesc* p2 = nullptr;
    for (int done = headLen, k; done < n; done += k) {
        k = std::min<std::int32_t>(n - done, BlkSize);
        AddPrivate(p1, p2, src + done, static_cast<std::int16_t>(k));
    }
    res = AskHook(at, oldLen, n);
    if (res == resDone) {
        DoChange(oldLen, head, headLen, p1, p2);
    } else {
        DisposeBlkPtrList(p1);
    }
}

// What PreChange says, which refuses nothing where the class is VFile itself.
Res VFile::AskHook(std::int32_t at, std::int32_t oldLen, std::int32_t n) const {
    return IsPlain() ? resDone : PreChange(at, oldLen, n);
}

// The content has changed.
void VFile::EndChange(std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    len += n - oldLen;
    if (!IsPlain()) return PostChange(at, oldLen, n);
    if (flags & vfTrackModified) VFile::PostChange(at, oldLen, n);
}

// SetPos, of which only a derived class would see the call.
void VFile::GoBehind(std::int32_t p) {
    if (!IsPlain()) return SetPos(p);
    PlaceAt(p);
    res = resDone;
    eof = false;
}
