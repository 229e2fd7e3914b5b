// VMem: its life, the tests of what a host asks for, and the short road of a transfer. The rooms do the rest.
#include "vmem/vmem.h"

#include "foundation/halt.h"
#include "platform/thread.h"
#include "vmem/memory.h"

#include <algorithm>
#include <cstring>

namespace platform = vfile_internal::platform;
using namespace vfile_internal;

namespace {

constexpr std::int16_t DefaultMaxCacheKb = 4000;

// An address that is past the end of all numbers is past the top like any other.
std::int32_t AdrPlus(std::int32_t adr, std::int32_t off) {
    const std::int64_t sum = std::int64_t{adr} + off;
    return sum > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(sum);
}

// Kilobytes as the older settings tell them.
std::int16_t Narrow(std::int32_t kb) {
    return static_cast<std::int16_t>(std::min<std::int32_t>(kb, INT16_MAX));
}

} // namespace

VMem::VMem() : owner(0), memory(new (std::nothrow) Memory) {
    if (memory) {
        owner = platform::CurrentThreadId();
        memory->cache.SetLimit(DefaultMaxCacheKb);
    } else {
        Halt("VMem", "NewCachePtr", "p==NIL");
    }
}

// In a forked child the swap file is the parent's, and its number may be that of another file here.
VMem::~VMem() {
    if (!memory) return;
    if (platform::IsFromBeforeFork(owner)) {
        if (!platform::IsOfForkingThread(owner)) return; // a thread that is not here may have been changing it
        memory->file.Abandon();
        owner = platform::CurrentThreadId();
    }
    DeallocAll();
    delete memory;
    memory = nullptr;
    owner = 0;
}

// The first test of each operation. False, after a halt procedure that returned, if there is nothing to work on.
inline bool VMem::Usable(int line) const {
    if (platform::IsCurrentThread(owner)) return true;
    HaltA("VMem", line);
    return memory != nullptr;
}

// The test of a range, and of the buffer. False also if nothing is to be moved.
inline bool VMem::CheckRange(std::int32_t adr, std::int16_t len, const void* buf, const char* proc) const {
    if (len == 0 || !memory->allocator.CheckAdr(adr, len)) return false;
    if (!buf) Halt("VMem", proc, "buffer address must not be 0");
    return buf != nullptr;
}

// The transfers. Get and Set serve a transfer that stays in a page which is found at once, and pass on all others.

// The page of a transfer that nothing stands against and that stays in one page, if that page holds its slot; else
// null.
inline CacheDesc* VMem::PageAtHand(std::int32_t adr, std::int16_t len) const {
    if (!platform::IsCurrentThread(owner) || !memory->allocator.Holds(adr, len)) return nullptr;
    CacheDesc* p = memory->cache.AtHand(PageOf(adr));
    return (adr & PageMask) + len <= PageSize ? p : nullptr;
}

void VMem::Get(Address adr, void* buf, Length len) {
    const CacheDesc* p = PageAtHand(adr, len);
    if (!p || !buf) {
        GetPages(adr, buf, len);
        return;
    }
    std::memcpy(buf, p->data + (adr & PageMask), static_cast<std::size_t>(len));
}

void VMem::Set(Address adr, const void* buf, Length len) {
    CacheDesc* p = PageAtHand(adr, len);
    if (!p || !buf) {
        SetPages(adr, buf, len);
        return;
    }
    p->dirty = true;
    std::memcpy(p->data + (adr & PageMask), buf, static_cast<std::size_t>(len));
}

// Get and Set in full. False if nothing was to be moved, or it halted and returned.

[[gnu::noinline]] bool VMem::GetPages(std::int32_t adr, void* buf, std::int16_t len) {
    return Usable(__LINE__) && CheckRange(adr, len, buf, "Get") && memory->cache.Get(adr, buf, len);
}

[[gnu::noinline]] bool VMem::SetPages(std::int32_t adr, const void* buf, std::int16_t len) {
    return Usable(__LINE__) && CheckRange(adr, len, buf, "Set") && memory->cache.Set(adr, buf, len);
}

// A page that is cached under this address is in use, or was until its content gave it back.
const unsigned char* VMem::Peek(std::int32_t adr, std::int16_t len) {
    const CacheDesc* p = platform::IsCurrentThread(owner) ? memory->cache.AtHand(PageOf(adr)) : nullptr;
    return p ? p->data + (adr & PageMask) : Bring(adr, len);
}

[[gnu::noinline]] const unsigned char* VMem::Bring(std::int32_t adr, std::int16_t len) {
    static const unsigned char nothing[PageSize] = {};
    if (!Usable(__LINE__) || !memory->allocator.CheckAdr(adr, len)) return nothing;
    const CacheDesc* p = memory->cache.FindPage(PageOf(adr));
    return p ? p->data + (adr & PageMask) : nothing;
}

void VMem::Lend(std::int32_t adr) {
    if (Usable(__LINE__)) memory->cache.Lend(PageOf(adr));
}

void VMem::TakeBack(std::int32_t adr) {
    if (Usable(__LINE__)) memory->cache.TakeBack(PageOf(adr));
}

void VMem::FillPage(std::int32_t adr, const void* buf, std::int16_t len) {
    CacheDesc* p = PageAtHand(adr, len);
    if (p) {
        p->dirty = true;
        std::memcpy(p->data, buf, static_cast<std::size_t>(len));
    } else if (Usable(__LINE__) && CheckRange(adr, len, buf, "Set")) {
        memory->cache.Fill(adr, buf, len);
    }
}

void VMem::CopyBytes(Address dst, Address src, Length len) {
    if (!Usable(__LINE__)) return;
    if (len < 0) return Halt("VMem", "CopyBytes", "len must be >=0");
    if (len == 0 || dst == src) return;

    // A piece is read whole before it is written, and the one that the next would overwrite goes first.
    std::int32_t done = 0;
    while (done < len) {
        const std::int32_t n = std::min<std::int32_t>(len - done, PageSize);
        const std::int32_t off = dst > src ? len - done - n : done;
        if (!MovePiece(AdrPlus(dst, off), AdrPlus(src, off), static_cast<std::int16_t>(n))) return;
        done += n;
    }
}

// A Get of at most a page and a Set of the same bytes; where both are found at once, without the copy in between. False
// after a halt procedure that returned.
bool VMem::MovePiece(std::int32_t dst, std::int32_t src, std::int16_t len) {
    const CacheDesc* from = PageAtHand(src, len);
    CacheDesc* to = PageAtHand(dst, len);
    if (from && to) {
        to->dirty = true;
        std::memmove(to->data + (dst & PageMask), from->data + (src & PageMask), static_cast<std::size_t>(len));
        return true;
    }
    unsigned char piece[PageSize];
    return GetPages(src, piece, len) && SetPages(dst, piece, len);
}

// The settings.

std::int16_t VMem::GetCacheSize() const {
    return Narrow(GetCacheUse());
}

std::int16_t VMem::GetMaxCacheSize() const {
    return Narrow(GetCacheLimit());
}

void VMem::SetMaxCacheSize(Kilobytes kb) {
    SetCacheLimit(kb);
}

std::int32_t VMem::GetCacheUse() const {
    return Usable(__LINE__) ? memory->cache.SizeKb() : 0;
}

std::int32_t VMem::GetCacheLimit() const {
    return Usable(__LINE__) ? memory->cache.LimitKb() : 0;
}

void VMem::SetCacheLimit(std::int32_t kb) {
    if (Usable(__LINE__)) memory->cache.SetLimit(kb);
}

std::int32_t VMem::GetSpaceUsed() const {
    return Usable(__LINE__) ? memory->allocator.Used() : 0;
}

std::int32_t VMem::GetSpaceFree() const {
    return Usable(__LINE__) ? memory->allocator.Free() : 0;
}

std::int64_t VMem::GetSwapFileSize() const {
    return Usable(__LINE__) ? memory->file.Size() : 0;
}

const char* VMem::GetTempDir() const {
    return Usable(__LINE__) ? memory->file.Dir() : nullptr;
}

void VMem::SetTempDir(const char* dir) {
    if (Usable(__LINE__)) memory->file.SetDir(dir);
}

std::int32_t VMem::Bequeath(char*& dir) {
    if (!memory) return DefaultMaxCacheKb;
    memory->file.ExchangeDir(dir);
    return memory->cache.LimitKb();
}

void VMem::FlushCache() {
    if (Usable(__LINE__)) memory->cache.Flush();
}

void VMem::ReleaseCache() {
    if (Usable(__LINE__)) memory->cache.Release();
}

void VMem::WriteStatus() {}

// The space.

void VMem::Alloc(std::int32_t& adr, Length len) {
    adr = NoAdr;
    if (Usable(__LINE__)) memory->allocator.Alloc(adr, len);
}

void VMem::AllocPage(std::int32_t& adr) {
    adr = NoAdr;
    if (Usable(__LINE__)) memory->allocator.AllocPage(adr);
}

void VMem::TakePage(std::int32_t& adr) {
    adr = NoAdr;
    if (Usable(__LINE__)) memory->allocator.TakePage(adr);
}

void VMem::Dealloc(std::int32_t& adr, Length len) {
    if (Usable(__LINE__)) memory->allocator.Dealloc(adr, len);
}

void VMem::DeallocPage(std::int32_t& adr) {
    if (Usable(__LINE__)) memory->allocator.DeallocPage(adr);
}

void VMem::DiscardPage(std::int32_t& adr) {
    if (Usable(__LINE__)) memory->allocator.DiscardPage(adr);
}

bool VMem::TakeFile(std::int32_t& adr, Backing* file) {
    adr = NoAdr;
    if (!Usable(__LINE__) || !memory->allocator.TakeRange(adr, file->PageCount())) return false;
    memory->file.backings.Add(file, adr);
    memory->cache.ForgetRange(file->Start(), file->End());
    return true;
}

// From the last one on: where they end at the top, that goes down.
void VMem::DiscardPages(std::int32_t adr, std::int32_t count) {
    if (!Usable(__LINE__)) return;
    while (count > 0) {
        std::int32_t page = adr + --count * PageSize;
        memory->allocator.DiscardPage(page);
    }
}

SwapFile& VMem::Files() {
    return memory->file;
}

std::int32_t VMem::PagesLeft() const {
    return memory ? memory->allocator.PagesLeft() : 0;
}

void VMem::DeallocAll() {
    if (!Usable(__LINE__)) return;
    memory->cache.DropAll();
    memory->allocator.Reset();
    memory->file.Close();
}
