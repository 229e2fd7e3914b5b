// The block chain: the search for a position, blocks coming and going.
#include "vfile/block_chain.h"

#include "foundation/halt.h"
#include "foundation/number.h"
#include "vmem/swap_file.h"

#include <algorithm>
#include <cstdlib>

namespace vfile_internal {
namespace {

// Blocks that a search passes one by one before it asks the index, and before it has one made.
constexpr int NearSteps = 12;
constexpr int StepsWithoutIndex = 128;

void StepBack(BlkRdr& rd) {
    rd.ptr = rd.ptr->prev;
    rd.start -= rd.ptr->len;
}

// Walks towards position p, over at most so many blocks. True if rd has arrived at its block.
bool WalkTo(BlkRdr& rd, std::int32_t p, std::int32_t steps) {
    for (; p < rd.start && steps > 0; --steps) StepBack(rd);
    for (; p - rd.start >= rd.ptr->len && steps > 0; --steps) {
        rd.start += rd.ptr->len;
        rd.ptr = rd.ptr->next;
    }
    return p >= rd.start && p - rd.start < rd.ptr->len;
}

bool HasRoom(const BlkDesc* blk) {
    return blk && blk->len < BlkSize;
}

} // namespace

BlockChain::~BlockChain() {
    DropIndex();
    DisposeList(first);
}

void BlockChain::BeginAnew(BlkDesc* alone) {
    DropIndex();
    first = last = alone;
    total = 0;
}

BlkDesc* BlockChain::NewBlock(BlkDesc* prev, std::int32_t n) {
    auto* p = static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc)));
    if (!p) Halt("VFile", "NewBlkPtr", "p==NIL");
    *p = {prev, nullptr, n, -1};
    if (n < 0) Halt("VFile", "NewBlkPtr", "len<0");
    if (n > 0) {
        if (n > BlkSize) Halt("VFile", "NewBlkPtr", "len>BlkSize");
        TakePage(p);
    }
    return p;
}

void BlockChain::Dispose(BlkDesc*& blk) {
    if (!blk) Halt("VFile", "DisposeBlkPtr", "p==NIL");
    GiveBackPage(blk);
    std::free(blk);
    blk = nullptr;
}

void BlockChain::DisposeList(BlkDesc*& blk) {
    while (blk) {
        BlkDesc* gone = blk;
        blk = gone->next;
        Dispose(gone);
    }
}

void BlockChain::ForgetPages() {
    for (BlkDesc* blk = first; blk; blk = blk->next) blk->adr = -1;
}

void BlockChain::Remove(BlkDesc* blk, std::int32_t start) {
    if (index) {
        if (lagging == blk) lag = 0; // the index knows a length that goes, too
        Settle();
        lagging = nullptr;
        index->Erase(start);
        if (index->Count() == 1) DropIndex(); // a block alone may be empty, and an index holds no empty ones
    }
    total -= blk->len;
    (blk->prev ? blk->prev->next : first) = blk->next;
    (blk->next ? blk->next->prev : last) = blk->prev;
    Dispose(blk);
}

void BlockChain::SpliceBehind(BlkDesc* blk, std::int32_t at, BlkDesc* p1, BlkDesc* p2) {
    BlkDesc* behind = blk->next;
    blk->next = p1;
    p1->prev = blk;
    p2->next = behind;
    (behind ? behind->prev : last) = p2;

    Settle();
    std::int32_t most = index ? index->Count() / 4 : 0; // for more it is made anew, when it is next needed
    for (BlkDesc* b = p1; b != behind; b = b->next) {
        if (index && (most-- <= 0 || !index->Insert(at, b))) DropIndex();
        at += b->len;
        total += b->len;
    }
}

bool BlockChain::Part(BlkRdr& rd) {
    BlkDesc* run = rd.ptr;
    const std::int32_t len = run->len;
    const std::int32_t from = std::min(rd.ix, len - 1) / BlkSize * BlkSize;
    const std::int32_t n = std::min<std::int32_t>(BlkSize, len - from);
    const bool hasBehind = from + n < len;
    auto* block = from > 0 ? static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc))) : run;
    auto* behind = hasBehind ? static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc))) : block;
    if (!block || !behind) {
        if (from > 0) std::free(block);
        if (hasBehind) std::free(behind);
        return false;
    }
    SetLen(run, rd.start, from > 0 ? from : n);
    if (hasBehind) *behind = {block, nullptr, len - from - n, run->adr + from + n};
    if (from > 0) *block = {run, hasBehind ? behind : nullptr, n, run->adr + from};
    SpliceBehind(run, rd.start + run->len, from > 0 ? block : behind, behind);
    rd.ptr = block;
    rd.start += from;
    rd.ix -= from;
    return true;
}

BlkDesc* BlockChain::NewRun(Backing* file, std::int32_t n) {
    auto* p = static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc)));
    std::int32_t adr;
    if (p && vm->TakeFile(adr, file)) {
        *p = {nullptr, nullptr, n, adr};
        return p;
    }
    std::free(p);
    return nullptr;
}

bool BlockChain::IsIntact() const {
    const Backings& files = vm->Files().backings;
    for (const Backing* b = files.First(); b; b = b->next) {
        if (b->IsIntact()) continue;
        for (const BlkDesc* blk = first; blk; blk = blk->next) {
            for (std::int32_t at = 0; at < blk->len; at += BlkSize) {
                if (b->Gives(std::int64_t{blk->adr} + at)) return false;
            }
        }
    }
    return true;
}

void BlockChain::DropIndex() {
    BlkIndex::Dispose(index);
    lagging = nullptr;
    lag = 0;
}

void BlockChain::Find(BlkRdr& rd, std::int32_t p, bool toPrev) {
    if (p < rd.start || p - rd.start >= rd.ptr->len) {
        const std::int32_t lastStart = total - last->len;
        if (p - rd.start == rd.ptr->len && rd.ptr->next) { // after what was typed at the end of a block
            rd.start = p;
            rd.ptr = rd.ptr->next;
        } else if (p < first->len) {
            rd.ptr = first;
            rd.start = 0;
        } else if (p >= lastStart) {
            rd.ptr = last;
            rd.start = lastStart;
        } else {
            Seek(rd, p);
        }
    }
    if (toPrev && p == rd.start && HasRoom(rd.ptr->prev)) {
        do {
            StepBack(rd);
        } while (rd.ptr->len == 0 && HasRoom(rd.ptr->prev));
    }
    const std::int32_t ix = p - rd.start;
    rd.ix = ix >= 0 && ix <= rd.ptr->len ? ix : Short(ix); // which may halt: the chain is broken
}

// The search for an inner block: from the nearest of the first block, `rd` and the last one if it is a few steps away,
// else through the index.
void BlockChain::Seek(BlkRdr& rd, std::int32_t p) {
    BlkRdr at = rd;
    if (p < rd.start / 2) at = {first, 0, 0};
    if (p - rd.start >= (total - rd.start) / 2) at = {last, total - last->len, 0};
    const std::int32_t distance = p < at.start ? at.start - p : p - at.start;
    bool there = distance < NearSteps * BlkSize && WalkTo(at, p, NearSteps);
    if (!there && !index) {
        there = WalkTo(at, p, StepsWithoutIndex);
        if (!there) index = BlkIndex::Make(first);
        if (!there && !index) there = WalkTo(at, p, INT32_MAX); // no memory: all the way on foot
    }
    if (!there) {
        Settle();
        index->Find(at, p);
    }
    rd.ptr = at.ptr;
    rd.start = at.start;
}

} // namespace vfile_internal
