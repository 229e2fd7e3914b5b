// The allocator: a heap in the memory that it manages. Free blocks are chained through their own first bytes.
#include "vmem/vmem_internal.h"

#include "foundation/halt.h"

#include <cstring>

using namespace vfile_internal;

namespace {

constexpr std::int16_t MinBlock = 4;      // room for a link
constexpr std::int16_t MinMixedBlock = 6; // room for a link and a length
constexpr std::int16_t SplitMargin = 4;   // what a split leaves must hold a link
constexpr std::int16_t PresetLen[] = {4, 5, VMem::PageSize};
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

void VMem::Alloc(std::int32_t& adr, std::int16_t len) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    if (len < 1) {
        adr = NoAdr;
        return Halt("VMem", "Alloc", NoLength);
    }
    if (len < MinBlock) len = MinBlock;

    if (len == PageSize && freePages != NoAdr) {
        adr = PopFree(freePages, freePageCount);
        return;
    }
    const int i = ClassOf(len);
    if (i > 0 && freeHead[i] != NoAdr) {
        adr = PopFree(freeHead[i], freeCount[i]);
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

void VMem::AllocPage(std::int32_t& adr) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    if (freePages != NoAdr) {
        adr = PopFree(freePages, freePageCount);
        return;
    }

    std::int32_t gap = (PageSize - (topAdr & PageMask)) & PageMask;
    if (gap > 0 && gap < MinBlock) gap += PageSize; // the bytes below the page must be able to hold a link
    if (std::int64_t{topAdr} + gap + PageSize > INT32_MAX) {
        adr = NoAdr;
        return Halt("VMem", "AllocPage", "illegal address (>max.address)");
    }
    std::int32_t gapAdr = topAdr;
    adr = topAdr + gap;
    if ((adr & PageMask) != 0) Halt("VMem", "AllocPage", NoPageAdr);
    topAdr = adr + PageSize;
    if (gap > 0) Dealloc0(gapAdr, static_cast<std::int16_t>(gap), false);
}

void VMem::Dealloc(std::int32_t& adr, std::int16_t len) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    Dealloc0(adr, len, true);
}

void VMem::DeallocPage(std::int32_t& adr) {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    if ((adr & PageMask) != 0) return Halt("VMem", "DeallocPage", NoPageAdr);
    Dealloc(adr, PageSize);
}

void VMem::DeallocAll() {
    if (!OnOwnerThread()) HaltA("VMem", __LINE__);
    DropAllPages();
    ResetAllocator();
    CloseSwap();
}

void VMem::ResetAllocator() {
    topAdr = 0;
    for (int i = 0; i <= MaxClasses; ++i) {
        freeHead[i] = NoAdr;
        classLen[i] = 0;
        freeCount[i] = 0;
    }
    for (int i = 1; i <= PresetClasses; ++i) classLen[i] = PresetLen[i - 1];
    classCount = PresetClasses;
    freePages = NoAdr;
    freePageCount = 0;
}

// The class of this block length, 0 if there is none.
int VMem::ClassOf(std::int16_t len) const {
    int i = classCount;
    while (i > 0 && classLen[i] != len) --i;
    return i;
}

// The lists of free pages and of the classes: last in, first out. A list changes only when its block has been read or
// written, and not if that halted and came back: there is no block then, or it does not get onto the list.

std::int32_t VMem::PopFree(std::int32_t& head, std::int32_t& count) {
    const std::int32_t adr = head;
    std::int32_t next;
    if (!GetPages(adr, &next, sizeof next)) return NoAdr;
    head = next;
    --count;
    return adr;
}

bool VMem::PushFree(std::int32_t adr, std::int32_t& head, std::int32_t& count) {
    if (!SetPages(adr, &head, sizeof head)) return false;
    head = adr;
    ++count;
    return true;
}

// A class that holds no block any more makes room for another length.
void VMem::RetireClass(int i) {
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
// hold a link. False if neither is there. NoAdr after a halt that came back.
bool VMem::TakeFromMixed(std::int32_t& adr, std::int16_t len) {
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
            adr = UnlinkMixed(prev, head.next) ? at : NoAdr;
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

    if (!UnlinkMixed(largestPrev, largest.next)) {
        adr = NoAdr;
        return true;
    }
    adr = largestAdr;
    std::int32_t rest = largestAdr + len;
    Dealloc0(rest, static_cast<std::int16_t>(largest.len - len), false);
    return true;
}

// The mixed list: like that of PopFree and PushFree, it changes only where its block could be read or written. A link
// to be written over that lies on the edge of two pages may have been changed in half.

bool VMem::ReadMixed(std::int32_t adr, std::int32_t& next, std::int16_t& len) {
    unsigned char bytes[MixedHeadSize];
    if (!GetPages(adr, bytes, MixedHeadSize)) return false;
    std::memcpy(&next, bytes, sizeof next);
    std::memcpy(&len, bytes + sizeof next, sizeof len);
    return true;
}

bool VMem::UnlinkMixed(std::int32_t prev, std::int32_t next) {
    if (prev == NoAdr) {
        freeHead[0] = next;
    } else if (!SetPages(prev, &next, sizeof next)) {
        return false;
    }
    --freeCount[0];
    return true;
}

bool VMem::PushMixed(std::int32_t adr, std::int16_t len) {
    unsigned char bytes[MixedHeadSize];
    std::memcpy(bytes, &freeHead[0], sizeof freeHead[0]);
    std::memcpy(bytes + sizeof freeHead[0], &len, sizeof len);
    if (!SetPages(adr, bytes, MixedHeadSize)) return false;
    freeHead[0] = adr;
    ++freeCount[0];
    return true;
}

// Gives a block back; the first place that takes it wins. `toClass` is false for what a split or the alignment of a
// page has left: such a rest opens no class, and joins none unless it is too short for the mixed list.
void VMem::Dealloc0(std::int32_t& adr, std::int16_t len, bool toClass) {
    if (len < 1) return Halt("VMem", "Dealloc0", NoLength);
    if (len < MinBlock) len = MinBlock;
    if (!CheckAdr(adr, len)) return;

    if (adr + len == topAdr) {
        topAdr = adr;
    } else if (len == PageSize && (adr & PageMask) == 0) {
        if (!PushFree(adr, freePages, freePageCount)) return;
    } else if (const int i = toClass || len < MinMixedBlock ? ClassFor(len) : 0; i > 0) {
        if (!PushFree(adr, freeHead[i], freeCount[i])) return;
        classLen[i] = len;
        if (i > classCount) classCount = static_cast<std::int16_t>(i);
    } else {
        if (len < MinMixedBlock) return Halt("VMem", "Dealloc0", "len must be >=6");
        if (!PushMixed(adr, len)) return;
    }
    adr = NoAdr;
}

// The class that takes a block of this length: its own, or the next entry if it has none yet; 0 if all are in use.
int VMem::ClassFor(std::int16_t len) const {
    const int i = ClassOf(len);
    return i > 0 || classCount == MaxClasses ? i : classCount + 1;
}
