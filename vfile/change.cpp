// The change engine.
#include "vfile/change.h"

#include "foundation/halt.h"
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
    if (c.observers) c.RoomToRecord(oldLen);
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
        c.MakeRoom(1);
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

bool Change::AskAll(VFile& f, bool asked, std::int32_t at, std::int32_t oldLen, std::int32_t n) {
    Content& c = Content::Of(f);
    const Asking asking(c);
    if (asked) f.res = f.PreChange(at, oldLen, n);
    if (f.res != resDone) return false;
    if (c.observers) Observed::TellBefore(f, at, oldLen, n);
    return true;
}

// The change itself in the buffer, where `rest` bytes of the block stand after the cut.
inline void Change::PutBytes(unsigned char* at, std::int32_t oldLen, std::int32_t rest, const void* bytes,
                             std::int32_t n) {
    if (rest > 0 && oldLen != n) std::memmove(at + n, at + oldLen, static_cast<std::size_t>(rest));
    if (n == 1) { // typing
        *at = *static_cast<const unsigned char*>(bytes);
    } else if (n > 0) {
        std::memcpy(at, bytes, static_cast<std::size_t>(n));
    }
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
        const std::int32_t rest = c.cur.ptr->len - ix - oldLen; // of the block, after the cut, if that ends there
        if (rest >= 0 && n <= BlkSize - ix - rest && !(bulk && !bulk->text)) {
            if (!AskHook(f, at, oldLen, n)) return;
            PutBytes(c.buf + ix, oldLen, rest, bulk ? bulk->NextOfText(n) : memory, n);
            SetCurLen(c, ix + n + rest);
        } else if (!(bulk ? bulk->Finish(at, oldLen, n, nullptr) : ByChain(f, at, oldLen, n, memory))) {
            return;
        }
        CheckCurLen(c);
        EndChange(f, at, oldLen, n);
    }
    GoBehind(f, at + n);
}

// All of a change as most are: nobody watches, and the block in the buffer takes it, after bytes that stay. It does
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
