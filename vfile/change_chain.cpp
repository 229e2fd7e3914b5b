// Changes that do not fit into the current block: the private chain, and what becomes of the object's.
#include "foundation/halt.h"
#include "vfile/change.h"
#include "vfile/long_work.h"
#include "vfile/vfile_observer.h"

#include <algorithm>
#include <cstring>

namespace vfile_internal {

// ---- Through the private chain

bool Change::ByChain(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory) {
    Change change(f);
    return change.Finish(at, oldLen, n, memory);
}

// The new bytes are there, or come from memory or text, and are read before the hook runs: it may well be their owner.
// False, with `res` set, if it refuses.
bool Change::Finish(std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory) {
    const bool fresh = memory || (text && !giver);
    const std::int32_t own = n > 0 ? 2 : 0; // what a cut leaves, and what a block may not take in
    if (!TakeRoom(oldLen, own + (fresh ? n / BlkSize : 0))) return false;
    if (fresh && !StageAll(memory, oldLen, n)) return false;
    if (!AskHook(f, at, oldLen, n)) return false;
    if (giver) TakeAll();
    DoChange(oldLen);
    return true;
}

// Where the pages run out, contents are packed for them.
bool Change::TakeRoom(std::int32_t oldLen, std::int32_t pages) {
    if (c.chain.FreePages() >= pages) return true;
    c.MakeRoom(pages);
    return Resume(oldLen);
}

// The block of the change may be another one now, or the buffer may have another one. False, with `res` set, without
// memory for a buffer.
bool Change::Resume(std::int32_t oldLen) {
    c.chain.Find(c.cur, f.pos, true);
    if (c.bufBlk != c.cur.ptr && !LoadCurrent(c, oldLen)) f.res = resHeapOverflow;
    return f.res == resDone;
}

// Adds a block of n bytes to the private chain.
void Change::Stage(const void* bytes, std::int32_t n) {
    BlkDesc* p = c.chain.NewBlock(p2, n);
    (p2 ? p2->next : p1) = p;
    p2 = p;
    c.chain.Fill(p, bytes);
}

// Reads n bytes of memory, or of text: what fits after the cursor into the head, all else into the private chain.
// False, with `res` set, if the host stops it.
bool Change::StageAll(const void* memory, std::int32_t oldLen, std::int32_t n) {
    const auto* next = static_cast<const unsigned char*>(memory);
    headLen = std::min<std::int32_t>(BlkSize - c.cur.ix, n);
    if (headLen > 0) std::memcpy(head, text ? NextOfText(headLen) : next, static_cast<std::size_t>(headLen));
    LongWork work(VFileWork::Copy, n, &f, f, text);
    for (std::int32_t done = headLen, k; done < n; done += k) {
        k = std::min<std::int32_t>(n - done, BlkSize);
        Stage(text ? NextOfText(k) : next + done, k);
        if (work.Step(k)) continue;
        f.res = work.Outcome();
        return false;
    }
    return !work.WasTold() || Resume(oldLen); // the host may have looked elsewhere
}

// Where pages run out: what came in pieces gives some back.
void Change::PackStaged() {
    for (BlkDesc* blk = p1; blk; blk = p2->next) {
        p2 = blk;
        while (blk->next && blk->len < BlkSize && !blk->next->IsRun() && c.chain.FillFromNext(blk, nullptr)) {
        }
    }
}

// Cuts oldLen bytes out after the cursor, which InitChange has placed, and puts the head and the private chain in.
// Changes neither len nor pos nor cur.ix. All that is merged goes into the last private block, and only where it fits.
// The current block keeps its length up to the end, so that what follows it starts where the chain says.
void Change::DoChange(std::int32_t oldLen) {
    const std::int32_t behind = c.cur.ptr->len - c.cur.ix;
    const std::int32_t at = c.cur.start + c.cur.ptr->len;
    if (oldLen > f.len / 4) c.chain.DropIndex(); // cheaper made anew than taken apart
    if (oldLen < behind) {
        KeepTail(oldLen, behind - oldLen);
    } else {
        Cut(oldLen - behind, at);
    }
    Splice(at);
    SetCurLen(c, c.cur.ix + headLen);
    if (headLen > 0) std::memcpy(c.buf + c.cur.ix, head, static_cast<std::size_t>(headLen));
}

// What survives of the current block after the cut comes after the new run.
void Change::KeepTail(std::int32_t oldLen, std::int32_t tail) {
    const unsigned char* bytes = c.buf + c.cur.ix + oldLen;
    const std::int32_t adr = GrowLast(tail);
    if (adr == -1) return Stage(bytes, tail);
    if (p2->len > BlkSize) Halt("VFile", "DoChange", "Append: p2->len > BlkSize");
    c.chain.Set(adr, bytes, tail);
}

// Takes i bytes out after the current block. Blocks that lie wholly in the cut go unread.
void Change::Cut(std::int32_t i, std::int32_t at) {
    const BlkDesc* blk = c.cur.ptr;
    while (blk->next && (i >= blk->next->len || (i > 0 && blk->next->IsRun()))) {
        BlkRdr rd{blk->next, at, i};
        if (i < rd.ptr->len && !c.chain.Part(rd)) Halt("VFile", "NewBlkPtr", "p==NIL");
        if (i < blk->next->len) break;
        i -= blk->next->len;
        c.chain.Remove(blk->next, at);
    }
    if (i == 0) return;
    BlkDesc* p = blk->next;
    if (!p || i >= p->len) Halt("VFile", "DoChange", "cut out: i too big");
    const std::int32_t rest = p->len - i;
    const std::int32_t adr = GrowLast(rest);
    c.chain.Copy(adr == -1 ? p->adr : adr, p->adr + i, rest);
    if (adr == -1) return c.chain.SetLen(p, at, rest);
    if (p2->len > BlkSize) Halt("VFile", "DoChange", "cut out: p2->len > BlkSize");
    c.chain.Remove(p, at);
}

// The private chain becomes part of the object's, and takes in the block after it if that fits.
void Change::Splice(std::int32_t at) {
    if (!p1) return;
    BlkDesc* blk = c.cur.ptr;
    BlkDesc* p = blk->next;
    const std::int32_t adr = p ? GrowLast(p->len) : -1;
    if (adr != -1) {
        c.chain.Copy(adr, p->adr, p->len);
        c.chain.Remove(p, at);
    }
    c.chain.SpliceBehind(blk, at, p1, p2);
    p1 = nullptr;
}

// Where n more bytes come to stand at the end of the private chain, which counts them from now on; -1 if they don't
// fit.
std::int32_t Change::GrowLast(std::int32_t n) {
    if (!p2 || n > BlkSize - p2->len) return -1;
    const std::int32_t adr = p2->adr + p2->len;
    p2->len += n;
    return adr;
}

} // namespace vfile_internal
