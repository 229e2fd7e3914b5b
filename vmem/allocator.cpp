// The allocator: a heap in the memory that it manages. Free blocks are chained through their own first bytes.
#include "vmem/allocator.h"

#include "foundation/halt.h"

#include <cstring>

namespace vfile_internal {
namespace {

constexpr std::int16_t MinBlock = 4;      // room for a link
constexpr std::int16_t MinMixedBlock = 6; // room for a link and a length
constexpr std::int16_t SplitMargin = 4;   // what a split leaves must hold a link
constexpr std::int16_t PresetLen[] = {4, 5, PageSize};
constexpr int PresetClasses = 3;

const char NoLength[] = "len must be >0";
const char NoPageAdr[] = "address is not a page address";

// How a block on the mixed list begins: a link of 4 bytes and a length of 2.
struct MixedHead {
    std::int32_t next;
    std::int16_t len;
};
constexpr std::int16_t MixedHeadSize = 6;

} // namespace

void Allocator::Alloc(std::int32_t& adr, std::int16_t len) {
    if (len < 1) {
        adr = NoAdr;
        return Halt("VMem", "Alloc", NoLength);
    }
    if (len < MinBlock) len = MinBlock;

    if (len == PageSize && freePages.Count() > 0) {
        adr = PopPage(true);
        return;
    }
    const int i = ClassOf(len);
    if (i > 0 && freeHead[i] != NoAdr) {
        adr = PopBlock(i);
        if (freeHead[i] == NoAdr && i > PresetClasses) RetireClass(i);
        return;
    }
    if (TakeFromMixed(adr, len)) return;
    if (std::int64_t{topAdr} + len > INT32_MAX) {
        adr = NoAdr;
        return Halt("VMem", "Alloc", "illegal address (>max.address)");
    }
    adr = topAdr;
    topAdr += len;
}

void Allocator::AllocPage(std::int32_t& adr) {
    if (freePages.Count() > 0) {
        adr = PopPage(true);
    } else {
        NewPage(adr);
    }
}

// AllocPage for one who never looks at the bytes before he has filled them.
void Allocator::TakePage(std::int32_t& adr) {
    if (freePages.Count() > 0) {
        adr = PopPage(false);
    } else {
        NewPage(adr);
    }
}

std::int32_t Allocator::PagesLeft() const {
    return freePages.Count() + (INT32_MAX - topAdr) / PageSize;
}

// So many pages side by side above the top, which nobody looks at before he has filled them, or that have their bytes
// from elsewhere. False if there is no room for them.
bool Allocator::TakeRange(std::int32_t& adr, std::int32_t count) {
    adr = NoAdr;
    if (std::int64_t{topAdr} + GapToPage() + std::int64_t{count} * PageSize > INT32_MAX) return false;
    NewPage(adr);
    if (adr == NoAdr) return false;
    topAdr += (count - 1) * PageSize;
    return true;
}

// The bytes below the next page must be none, or able to hold a link.
std::int32_t Allocator::GapToPage() const {
    const std::int32_t gap = (PageSize - (topAdr & PageMask)) & PageMask;
    return gap > 0 && gap < MinBlock ? gap + PageSize : gap;
}

// A page above the top. What is left below it becomes a free block, before the page is there: if that halts, none is.
void Allocator::NewPage(std::int32_t& adr) {
    adr = NoAdr;
    const std::int32_t gap = GapToPage();
    if (std::int64_t{topAdr} + gap + PageSize > INT32_MAX)
        return Halt("VMem", "AllocPage", "illegal address (>max.address)");
    const std::int32_t page = topAdr + gap;
    if ((page & PageMask) != 0) Halt("VMem", "AllocPage", NoPageAdr);
    const auto len = static_cast<std::int16_t>(gap);
    if (gap > 0 && !(len < MinMixedBlock ? PushBlock(topAdr, ClassOf(len)) : PushMixed(topAdr, len))) return;
    topAdr = page + PageSize;
    adr = page;
}

void Allocator::Dealloc(std::int32_t& adr, std::int16_t len) {
    Dealloc0(adr, len, true);
}

void Allocator::DeallocPage(std::int32_t& adr) {
    if ((adr & PageMask) != 0) return Halt("VMem", "DeallocPage", NoPageAdr);
    Dealloc(adr, PageSize);
}

// Dealloc of a page whose bytes are of no more use: its place on the list is kept in RAM, if there is memory for it.
void Allocator::DiscardPage(std::int32_t& adr) {
    if (!CheckAdr(adr, PageSize)) return;
    cache.Forget(adr);
    if (adr + PageSize == topAdr) {
        topAdr = adr;
    } else if (!freePages.Push(adr)) {
        const std::int32_t next = freePages.Head();
        if (!cache.Fill(adr, &next, sizeof next)) return;
        freePages.PushLinked(adr);
    }
    adr = NoAdr;
}

void Allocator::Reset() {
    topAdr = 0;
    for (int i = 0; i <= MaxClasses; ++i) {
        freeHead[i] = NoAdr;
        classLen[i] = 0;
        freeCount[i] = 0;
    }
    for (int i = 1; i <= PresetClasses; ++i) classLen[i] = PresetLen[i - 1];
    classCount = PresetClasses;
    mixedBytes = 0;
    freePages.Clear();
}

std::int32_t Allocator::Free() const {
    std::int32_t bytes = freePages.Count() * PageSize + mixedBytes;
    for (int i = 1; i <= classCount; ++i) bytes += freeCount[i] * classLen[i];
    return bytes;
}

bool Allocator::HaltOnAdr(std::int32_t adr, std::int16_t len) {
    const char* text = len < 1   ? "length of specified virt.memory must be >0"
                       : adr < 0 ? "illegal address (<0)"
                                 : "illegal address (>max.address)";
    Halt("VMem", "CheckAdr", text);
    return false;
}

// The class of this block length, 0 if there is none.
int Allocator::ClassOf(std::int16_t len) const {
    int i = classCount;
    while (i > 0 && classLen[i] != len) --i;
    return i;
}

// The lists of free pages and of the classes: last in, first out. A list changes only when its block has been read or
// written, and not if that halted and returned: there is no block then, or it does not get onto the list.

bool Allocator::ReadLink(std::int32_t adr, std::int32_t& next) {
    return CheckAdr(adr, sizeof next) && cache.Get(adr, &next, sizeof next);
}

// A page of which the list holds no more than the place gets its link now, for one who can see it.
std::int32_t Allocator::PopPage(bool withLink) {
    const std::int32_t adr = freePages.Head();
    std::int32_t next;
    if (freePages.Linked()) {
        if (!ReadLink(adr, next)) return NoAdr;
    } else {
        next = freePages.Next();
        if (withLink && !cache.SetWhole(adr, &next, sizeof next)) return NoAdr;
    }
    freePages.Pop(next);
    return adr;
}

bool Allocator::PushPage(std::int32_t adr) {
    const std::int32_t next = freePages.Head();
    if (!cache.SetWhole(adr, &next, sizeof next)) return false;
    freePages.PushLinked(adr);
    return true;
}

std::int32_t Allocator::PopBlock(int i) {
    const std::int32_t adr = freeHead[i];
    std::int32_t next;
    if (!ReadLink(adr, next)) return NoAdr;
    freeHead[i] = next;
    --freeCount[i];
    return adr;
}

bool Allocator::PushBlock(std::int32_t adr, int i) {
    if (!cache.SetWhole(adr, &freeHead[i], sizeof freeHead[i])) return false;
    freeHead[i] = adr;
    ++freeCount[i];
    return true;
}

// A class that holds no block any more makes room for another length.
void Allocator::RetireClass(int i) {
    for (; i < classCount; ++i) {
        freeHead[i] = freeHead[i + 1];
        classLen[i] = classLen[i + 1];
        freeCount[i] = freeCount[i + 1];
    }
    freeHead[i] = NoAdr;
    classLen[i] = 0;
    freeCount[i] = 0;
    --classCount;
}

// The first block of exactly this length, or else the front of the first of the largest ones, if what that leaves can
// hold a link. False if neither is there. NoAdr after a halt procedure that returned.
bool Allocator::TakeFromMixed(std::int32_t& adr, std::int16_t len) {
    std::int32_t prev = NoAdr;
    std::int32_t largestAdr = NoAdr;
    std::int32_t largestPrev = NoAdr;
    MixedHead largest{NoAdr, 0};
    std::int32_t at = freeHead[0];
    while (at != NoAdr) {
        MixedHead head;
        if (!ReadMixed(at, head.next, head.len)) {
            adr = NoAdr;
            return true;
        }
        if (head.len == len) {
            const bool unlinked = LinkMixed(prev, head.next);
            adr = unlinked ? at : NoAdr;
            if (unlinked) CountMixed(-1, len);
            return true;
        }
        if (head.len > largest.len) {
            largest = head;
            largestAdr = at;
            largestPrev = prev;
        }
        prev = at;
        at = head.next;
    }
    if (largest.len < len + SplitMargin) return false;

    adr = NoAdr;
    if (!LinkMixed(largestPrev, largest.next)) return true;
    CountMixed(-1, largest.len);
    std::int32_t rest = largestAdr + len;
    Dealloc0(rest, static_cast<std::int16_t>(largest.len - len), false);
    if (rest == NoAdr) {
        adr = largestAdr;
    } else if (LinkMixed(largestPrev, largestAdr)) { // the rest could not go back: as before, or the block is lost
        CountMixed(1, largest.len);
    }
    return true;
}

// The mixed list: like the others, it changes only where its block could be read or written.

bool Allocator::ReadMixed(std::int32_t adr, std::int32_t& next, std::int16_t& len) {
    unsigned char bytes[MixedHeadSize];
    if (!CheckAdr(adr, MixedHeadSize) || !cache.Get(adr, bytes, MixedHeadSize)) return false;
    std::memcpy(&next, bytes, sizeof next);
    std::memcpy(&len, bytes + sizeof next, sizeof len);
    return true;
}

// Lets `next` follow `prev`, or be the first if that is none.
bool Allocator::LinkMixed(std::int32_t prev, std::int32_t next) {
    if (prev != NoAdr) return cache.SetWhole(prev, &next, sizeof next);
    freeHead[0] = next;
    return true;
}

bool Allocator::PushMixed(std::int32_t adr, std::int16_t len) {
    unsigned char bytes[MixedHeadSize];
    std::memcpy(bytes, &freeHead[0], sizeof freeHead[0]);
    std::memcpy(bytes + sizeof freeHead[0], &len, sizeof len);
    if (!cache.SetWhole(adr, bytes, MixedHeadSize)) return false;
    freeHead[0] = adr;
    CountMixed(1, len);
    return true;
}

void Allocator::CountMixed(int blocks, std::int16_t len) {
    freeCount[0] += blocks;
    mixedBytes += blocks * len;
}

// Gives a block back; the first place that takes it wins. `toClass` is false for what a split or the alignment of a
// page has left: such a rest opens no class, and joins none unless it is too short for the mixed list.
void Allocator::Dealloc0(std::int32_t& adr, std::int16_t len, bool toClass) {
    if (len < 1) return Halt("VMem", "Dealloc0", NoLength);
    if (len < MinBlock) len = MinBlock;
    if (!CheckAdr(adr, len)) return;

    if (adr + len == topAdr) {
        topAdr = adr;
    } else if (len == PageSize && (adr & PageMask) == 0) {
        if (!PushPage(adr)) return;
    } else if (const int i = toClass || len < MinMixedBlock ? ClassFor(len) : 0; i > 0) {
        if (!PushBlock(adr, i)) return;
        classLen[i] = len;
        if (i > classCount) classCount = static_cast<std::int16_t>(i);
    } else {
        if (len < MinMixedBlock) return Halt("VMem", "Dealloc0", "len must be >=6");
        if (!PushMixed(adr, len)) return;
    }
    adr = NoAdr;
}

// The class that takes a block of this length: its own, or the next entry if it has none yet; 0 if all are in use.
int Allocator::ClassFor(std::int16_t len) const {
    const int i = ClassOf(len);
    return i > 0 || classCount == MaxClasses ? i : classCount + 1;
}

} // namespace vfile_internal
