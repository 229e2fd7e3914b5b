// The change engine.
#include "vfile/change.h"

#include "foundation/halt.h"
#include "vfile/long_work.h"
#include "vfile/vfile_observer.h"

#include <algorithm>
#include <cstring>

using vfile_internal::Change;

namespace vfile_internal {
namespace {

// While PreChange runs and observers are told, the block of the change stays in the buffer.
class Asking {
  public:
    explicit Asking(Content& content) : c(content) { c.asking = true; }
    ~Asking() { c.asking = false; }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

  private:
    Content& c;
};

} // namespace

bool Change::Allowed(VFile& f) {
    if (f.flags & vfLocked) {
        f.res = resContextError;
    } else if (f.flags & vfReadOnly) {
        f.res = resReadOnly;
    }
    return f.res == resDone;
}

// Brings place and old length into the content. False, with `res` set, if the content would become too long.
inline bool Change::Clamp(VFile& f, std::int32_t& at, std::int32_t& oldLen, std::int32_t n) {
    at = std::min<std::int32_t>(at, f.len);
    oldLen = std::min<std::int32_t>(oldLen, f.len - at);
    if (f.len - oldLen <= MaxLen - n) return true;
    f.res = resTooLong;
    return false;
}

// Puts the cursor at p, on the block that will take the change, with that block in the buffer. False, with `res` set,
// if there is no memory for one.
inline bool Change::InitChange(VFile& f, std::int32_t p, std::int32_t oldLen) {
    Content& c = Content::Of(f);
    const std::int32_t ix = p - c.cur.start;
    if (ix > 0 && ix < c.cur.ptr->len) { // of the change before
        c.cur.ix = ix;
    } else {
        c.chain.Find(c.cur, p, true);
    }
    c.posBefore = f.pos;
    f.pos = p;
    f.eof = false;
    if (c.bufBlk == c.cur.ptr || LoadCurrent(c, oldLen)) return true;
    f.res = resHeapOverflow;
    return false;
}

// A block that is empty, or of which nothing will be left, is not read: the change gives the buffer its bytes. False if
// there is no memory for a buffer.
bool Change::LoadCurrent(Content& c, std::int32_t oldLen) {
    if (c.cur.ptr->IsRun() && !c.chain.Part(c.cur)) return false;
    BlkDesc* blk = c.cur.ptr;
    const bool unread = blk->adr == -1 || (c.cur.ix == 0 && oldLen >= blk->len);
    if (!(unread ? c.HaveBuf() : c.LoadBuf())) return false;
    if (unread) c.WriteBack();
    if (blk->adr == -1) {
        if (blk->len > 0) Halt("VFile", "InitChange", "cur.ptr->len>0");
        c.chain.TakePage(blk);
    }
    return true;
}

// Notes a line end among new bytes from memory. No flag operation is involved, and no hook.
inline void Change::CheckEOL(VFile& f, const void* bytes, std::int32_t n) {
    if (f.type <= 0 || (f.flags & (vfEolCheck | vfNoEolCheck)) != vfEolCheck) return;
    const auto size = static_cast<std::size_t>(n);
    if (std::memchr(bytes, '\n', size) || std::memchr(bytes, '\r', size)) f.flags |= vfHasEol;
}

// Asks PreChange, which refuses nothing where it is not overridden. Behind it nothing stops the change.
inline bool Change::AskHook(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    Content& c = Content::Of(f);
    const bool asked = Overrides(f, &VFile::PreChange);
    if (!asked && !c.observers) return true;
    const Asking asking(c);
    if (asked) f.res = f.PreChange(at, oldLen, n);
    if (f.res != resDone) return false;
    if (c.observers) Observed::TellBefore(f, at, oldLen, n);
    return true;
}

// The change itself in the buffer, where `rest` bytes of the block stand behind the cut.
inline void Change::PutBytes(unsigned char* at, std::int32_t oldLen, std::int32_t rest, const void* bytes,
                             std::int32_t n) {
    if (rest > 0 && oldLen != n) std::memmove(at + n, at + oldLen, static_cast<std::size_t>(rest));
    if (n == 1) { // typing
        *at = *static_cast<const unsigned char*>(bytes);
    } else if (n > 0) {
        std::memcpy(at, bytes, static_cast<std::size_t>(n));
    }
}

// The current block gets another length, and the buffer what VMem has not.
inline void Change::SetCurLen(Content& c, std::int32_t n) {
    c.chain.SetLen(c.cur.ptr, c.cur.start, n);
    c.bufBlk = c.cur.ptr;
    c.bufDirty = true;
}

// The closing step of a change: a current block without bytes goes, unless it is the only one.
inline void Change::CheckCurLen(Content& c) {
    if (c.cur.ptr->len > BlkSize) Halt("VFile", "CheckCurLen", "cur.ptr->len > BlkSize");
    if (c.cur.ptr->len == 0) DropCurrent(c);
}

// The only one stays, without a page.
void Change::DropCurrent(Content& c) {
    if (c.cur.ix != 0) Halt("VFile", "CheckCurLen", "cur.ix!=0");
    BlkDesc* blk = c.cur.ptr;
    BlkDesc* next = blk->next;
    c.bufBlk = nullptr;
    c.bufDirty = false;
    if (!next && !blk->prev) return c.chain.GiveBackPage(blk);
    c.cur.ptr = next ? next : blk->prev;
    c.chain.Remove(blk, c.cur.start);
    if (next) return;
    c.cur.start -= c.cur.ptr->len;
    c.cur.ix = c.cur.ptr->len;
}

// The content has changed.
inline void Change::EndChange(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    f.len += n - oldLen;
    if (Content::Of(f).observers) return EndObserved(f, at, oldLen, n);
    if (Overrides(f, &VFile::PostChange)) return f.PostChange(at, oldLen, n);
    if (f.flags & vfTrackModified) f.VFile::PostChange(at, oldLen, n);
}

// To observers, what PostChange changes belongs to the change that it is called for.
void Change::EndObserved(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    Observed::TellAfter(f, at, oldLen, n);
    const HookRuns hook(f, at + n);
    f.PostChange(at, oldLen, n);
}

// SetPos, of which only a derived class would see the call.
inline void Change::GoBehind(VFile& f, std::int32_t p) {
    if (Overrides<void(std::int32_t)>(f, &VFile::SetPos)) return f.SetPos(p);
    Content::Place(f, std::min<std::int32_t>(p, f.len)); // PostChange may have cut it
    f.res = resDone;
    f.eof = false;
}

// All of a change. Put into both of its callers, since most changes are small.
[[gnu::always_inline]] inline void Change::Apply(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n,
                                                 const void* memory, Change* bulk) {
    if (!Clamp(f, at, oldLen, n)) return;
    if (oldLen > 0 || n > 0) {
        if (!InitChange(f, at, oldLen)) return;
        if (n > 0 && !bulk) CheckEOL(f, memory, n);
        Content& c = Content::Of(f);
        const std::int32_t ix = c.cur.ix;
        const std::int32_t rest = c.cur.ptr->len - ix - oldLen; // of the block, behind the cut, if that ends there
        if (rest >= 0 && n <= BlkSize - ix - rest && !(bulk && !bulk->text)) {
            if (!AskHook(f, at, oldLen, n)) return;
            PutBytes(c.buf + ix, oldLen, rest, bulk ? bulk->NextOfText(n) : memory, n);
            SetCurLen(c, ix + n + rest);
        } else if (!(bulk ? bulk->Finish(at, oldLen, n) : ByChain(f, at, oldLen, n, memory))) {
            return;
        }
        CheckCurLen(c);
        EndChange(f, at, oldLen, n);
    }
    GoBehind(f, at + n);
}

// All of a change as most are: nobody watches, and the block in the buffer takes it, behind bytes that stay. It does
// what Apply does, without what is known thereby. False, and nothing has happened, if it is another change.
inline bool Change::Quick(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* bytes) {
    Content& c = Content::Of(f);
    if (c.observers || !IsPlain(f) || (f.flags & (vfLocked | vfReadOnly | vfTrackModified))) return false;
    BlkDesc* blk = c.cur.ptr;
    std::int32_t ix = at - c.cur.start;
    if (ix == 0 && c.bufBlk && c.bufBlk == blk->prev && c.bufBlk->len < BlkSize) { // typing at the end of a block
        blk = c.bufBlk;
        ix = blk->len;
    }
    const std::int32_t behind = blk->len - ix;
    if (ix <= 0 || behind < oldLen || c.bufBlk != blk) return false;
    const std::int32_t rest = behind - oldLen;
    if (n > BlkSize - ix - rest || n + oldLen == 0 || f.len > MaxLen - BlkSize) return false;
    if (n > 0) CheckEOL(f, bytes, n);
    c.bufDirty = true;
    c.chain.SetLen(blk, at - ix, ix + n + rest);
    c.cur = {blk, at - ix, ix + n};
    if (rest == 0 && blk->next) c.cur = {blk->next, at + n, 0};
    f.len += n - oldLen;
    f.pos = at + n;
    f.eof = false;
    PutBytes(c.buf + ix, oldLen, rest, bytes, n);
    return true;
}

void Change::Make(std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    Apply(f, at, oldLen, n, nullptr, this);
}

void Change::Make(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory) {
    Apply(f, at, oldLen, n, memory, nullptr);
}

} // namespace vfile_internal

void VFile::ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (res != resDone) return;
    if (oldLen == SameLen) oldLen = n;
    if (at < 0 || oldLen < 0 || n < 0 || (!src && n > 0)) {
        res = resCallError;
        return;
    }
    if (!Change::Quick(*this, at, oldLen, n, src) && Change::Allowed(*this)) Change::Make(*this, at, oldLen, n, src);
}

namespace vfile_internal {

// ---- Through the private chain

bool Change::ByChain(VFile& f, std::int32_t at, std::int32_t oldLen, std::int32_t n, const void* memory) {
    Change change(f);
    return change.StageAll(memory, n) && change.Finish(at, oldLen, n);
}

// The new bytes are there, or come from text, and are read before the hook runs: it may well be their owner. False,
// with `res` set, if it refuses.
bool Change::Finish(std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    if (text && !giver && !StageAll(nullptr, n)) return false;
    if (!AskHook(f, at, oldLen, n)) return false;
    if (giver) TakeAll();
    DoChange(oldLen);
    return true;
}

// Adds a block of n bytes to the private chain.
void Change::Stage(const void* bytes, std::int32_t n) {
    BlkDesc* p = c.chain.NewBlock(p2, n);
    (p2 ? p2->next : p1) = p;
    p2 = p;
    c.chain.Fill(p, bytes);
}

// Reads n bytes of memory, or of text: what fits behind the cursor into the head, all else into the private chain.
// False, with `res` set, if the host stops it.
bool Change::StageAll(const void* memory, std::int32_t n) {
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
    if (!work.WasTold()) return true;
    c.chain.Find(c.cur, f.pos, true); // the host may have looked elsewhere
    if (!c.LoadBuf()) f.res = resHeapOverflow;
    return f.res == resDone;
}

// Cuts oldLen bytes out behind the cursor, which InitChange has placed, and puts the head and the private chain in.
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

// What survives of the current block behind the cut comes after the new run.
void Change::KeepTail(std::int32_t oldLen, std::int32_t tail) {
    const unsigned char* bytes = c.buf + c.cur.ix + oldLen;
    const std::int32_t adr = GrowLast(tail);
    if (adr == -1) return Stage(bytes, tail);
    if (p2->len > BlkSize) Halt("VFile", "DoChange", "Append: p2->len > BlkSize");
    c.chain.Set(adr, bytes, tail);
}

// Takes i bytes out behind the current block. Blocks that lie wholly in the cut go unread.
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

// The private chain becomes part of the object's, and takes in the block behind it if that fits.
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
