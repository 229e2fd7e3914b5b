// VMem: its life, the byte transfers and the settings.
#include "vmem/vmem.h"

#include "foundation/halt.h"
#include "vmem/vmem_internal.h"

#include <cstdlib>
#include <cstring>

using namespace vfile_internal;

namespace {

constexpr std::int16_t DefaultMaxCacheKb = 4000;

std::int32_t PageOf(std::int32_t adr) {
    return adr & ~PageMask;
}

// An address that is past the end of all numbers is past the top like any other.
std::int32_t AdrPlus(std::int32_t adr, std::int32_t off) {
    const std::int64_t sum = std::int64_t{adr} + off;
    return sum > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(sum);
}

char* NewText(const char* s) {
    const std::size_t size = std::strlen(s) + 1;
    auto* text = static_cast<char*>(std::malloc(size));
    if (text) std::memcpy(text, s, size);
    return text;
}

} // namespace

VMem::VMem()
    : swapFile(InvalidHandle), tempDir(nullptr), swapName(nullptr), owner(platform::CurrentThreadId()),
      sparePage(nullptr), cacheHead(nullptr), cacheTail(nullptr), hashTable{}, chains(ownChains),
      chainCount(OwnChains), ownChains{}, moves(0), cacheCount(0), maxCacheCount(0), maxCacheKb(0), fileSize(0), runs{},
      lastRun(0), slabs(nullptr) {
    NewCachePtr(sparePage);
    ResetAllocator();
    SetMaxCacheSize(DefaultMaxCacheKb);
}

VMem::~VMem() {
    DeallocAll();
    if (chains != ownChains) std::free(chains);
    std::free(tempDir);
    tempDir = nullptr;
    owner = 0;
}

// The transfers. Get and Set serve a transfer that stays in a page which is found at once, and pass on all others.

// The page of a transfer that nothing stands against and that stays in one page, if that page holds its slot; else NIL.
inline CacheDesc* VMem::PageAtHand(std::int32_t adr, std::int16_t len) const {
    if (!OnOwnerThread() || len <= 0 || adr < 0 || std::int64_t{adr} + len > topAdr) return nullptr;
    CacheDesc* p = hashTable[SlotOf(adr)];
    return p && p->adr == PageOf(adr) && (adr & PageMask) + len <= PageSize ? p : nullptr;
}

void VMem::Get(std::int32_t adr, void* buf, std::int16_t len) {
    const CacheDesc* p = PageAtHand(adr, len);
    if (!p || !buf) {
        GetPages(adr, buf, len);
        return;
    }
    std::memcpy(buf, p->data + (adr & PageMask), static_cast<std::size_t>(len));
}

void VMem::Set(std::int32_t adr, const void* buf, std::int16_t len) {
    CacheDesc* p = PageAtHand(adr, len);
    if (!p || !buf) {
        SetPages(adr, buf, len);
        return;
    }
    p->dirty = true;
    std::memcpy(p->data + (adr & PageMask), buf, static_cast<std::size_t>(len));
}

// The bytes themselves, where a Get of them would copy from, with all that a Get does to the cache. The range lies in
// one page and is not empty. Good until the next access to this VMem, whatever it is; zeros after a halt that came
// back.
const unsigned char* VMem::Peek(std::int32_t adr, std::int16_t len) {
    static const unsigned char nothing[PageSize] = {};
    const CacheDesc* p = PageAtHand(adr, len);
    if (!p) {
        if (!OnOwnerThread()) HaltA("VMem", __LINE__);
        if (!CheckAdr(adr, len)) return nothing;
        p = FindPage(PageOf(adr));
    }
    return p ? p->data + (adr & PageMask) : nothing;
}

// Get and Set in full. False if it halted and came back: then the pages before the bad one have been moved, or nothing.

bool VMem::GetPages(std::int32_t adr, void* buf, std::int16_t len) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    if (len == 0) return true;
    if (!CheckAdr(adr, len)) return false;
    if (!buf) {
        Halt("VMem", "Get", "buffer address must not be 0");
        return false;
    }

    auto* to = static_cast<unsigned char*>(buf);
    for (std::int32_t left = len;;) {
        const CacheDesc* p = FindPage(PageOf(adr));
        if (!p) return false;
        const std::int32_t off = adr & PageMask;
        const std::int32_t n = left < PageSize - off ? left : PageSize - off;
        std::memcpy(to, p->data + off, static_cast<std::size_t>(n));
        left -= n;
        if (left == 0) return true;
        to += n;
        adr += n;
    }
}

bool VMem::SetPages(std::int32_t adr, const void* buf, std::int16_t len) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    if (len == 0) return true;
    if (!CheckAdr(adr, len)) return false;
    if (!buf) {
        Halt("VMem", "Set", "buffer address must not be 0");
        return false;
    }

    const auto* from = static_cast<const unsigned char*>(buf);
    for (std::int32_t left = len;;) {
        const std::int32_t off = adr & PageMask;
        const std::int32_t n = left < PageSize - off ? left : PageSize - off;
        CacheDesc* p = FindPage(PageOf(adr), n == PageSize);
        if (!p) return false;
        std::memcpy(p->data + off, from, static_cast<std::size_t>(n));
        p->dirty = true;
        left -= n;
        if (left == 0) return true;
        from += n;
        adr += n;
    }
}

// The typed family.

void VMem::Get(std::int32_t adr, char& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, signed char& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, unsigned char& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, short& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, unsigned short& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, int& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, unsigned int& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, unsigned long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, long long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, unsigned long long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, float& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, double& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(std::int32_t adr, long double& value) {
    double narrow = 0;
    Get(adr, narrow);
    value = narrow;
}
void VMem::Get(std::int32_t adr, void*& value) {
    Get(adr, &value, sizeof value);
}

void VMem::Set(std::int32_t adr, char value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, signed char value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, unsigned char value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, short value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, unsigned short value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, int value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, unsigned int value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, unsigned long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, long long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, unsigned long long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, float value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, double value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(std::int32_t adr, long double value) {
    Set(adr, static_cast<double>(value));
}
void VMem::Set(std::int32_t adr, void* value) {
    Set(adr, &value, sizeof value);
}

void VMem::CopyBytes(std::int32_t dst, std::int32_t src, std::int16_t len) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    if (len < 0) return Halt("VMem", "CopyBytes", "len must be >=0");
    if (len == 0 || dst == src) return;

    // A piece is read whole before it is written, and the one that the next would overwrite goes first.
    std::int32_t done = 0;
    while (done < len) {
        const std::int32_t n = len - done < PageSize ? len - done : PageSize;
        const std::int32_t off = dst > src ? len - done - n : done;
        if (!MovePiece(AdrPlus(dst, off), AdrPlus(src, off), static_cast<std::int16_t>(n))) return;
        done += n;
    }
}

// A Get of at most a page and a Set of the same bytes; where both are found at once, without the copy in between. False
// as from GetPages.
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

std::int16_t VMem::GetCacheSize() {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    return static_cast<std::int16_t>(cacheCount * DescriptorSize / 1024);
}

std::int16_t VMem::GetMaxCacheSize() {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    return maxCacheKb;
}

void VMem::SetMaxCacheSize(std::int16_t kb) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    maxCacheKb = kb < 0 ? std::int16_t{0} : kb;
    maxCacheCount = static_cast<std::int16_t>(maxCacheKb * 1024 / DescriptorSize);
    if (maxCacheCount < GatherFrom) DropBuffers();
    ShrinkTo(maxCacheCount);
    PackSlabs();
    FitChains();
}

const char* VMem::GetTempDir() {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    return tempDir;
}

void VMem::SetTempDir(const char* dir) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    char* text = dir && *dir ? NewText(dir) : nullptr; // before the old text goes: it may be `dir` itself
    std::free(tempDir);
    tempDir = text;
}

void VMem::FlushCache() {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    for (CacheDesc* p = cacheHead; p; p = p->next) FlushCachePtr(p);
}

void VMem::ReleaseCache() {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    ShrinkTo(0);
    DropBuffers();
}

void VMem::WriteStatus() {}

bool VMem::HaltOnAdr(std::int32_t adr, std::int16_t len) const {
    const char* text = len < 1   ? "length of specified virt.memory must be >0"
                       : adr < 0 ? "illegal address (<0)"
                                 : "illegal address (>max.address)";
    Halt("VMem", "CheckAdr", text);
    return false;
}
