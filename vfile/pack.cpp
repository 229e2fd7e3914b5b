// Blocks that small changes have left part full are brought together: on the host's wish, and where the address space
// runs out.
//
//     {310} <-> {1024} <-> {40} <-> {500}      fill from next      {1024} <-> {850}
//
// Each step moves bytes between two neighbours, from page to page, and takes no room. A run stays as it is. After each
// step all holds, so that a halt or an exception in between leaves a sound content.
#include "foundation/halt.h"
#include "vfile/content.h"
#include "vfile/long_work.h"

#include <algorithm>

namespace vfile_internal {
namespace {

constexpr int Near = 64;           // blocks that may be rewritten for one that goes
constexpr int CostOfBlock = 16;    // that is passed over, to a meter
constexpr std::int32_t Spare = 80; // pages for what observers keep beside the bytes

// How many blocks after `blk` have to be moved up so that one goes; 0 if that takes too many.
int BlocksToMove(const BlkDesc* blk) {
    std::int32_t room = BlkSize - blk->len;
    int n = 0;
    for (const BlkDesc* b = blk->next; b && !b->IsRun() && n < Near; b = b->next) {
        ++n;
        room += BlkSize - b->len;
        if (room >= BlkSize) return n;
    }
    return 0;
}

} // namespace

bool BlockChain::FillFromNext(BlkDesc* blk, BlkRdr* cur) {
    BlkDesc* from = blk->next;
    const std::int32_t old = blk->len, k = std::min<std::int32_t>(BlkSize - old, from->len), rest = from->len - k;
    Copy(blk->adr + old, from->adr, k);
    if (rest > 0) Copy(from->adr, from->adr + k, rest); // within a page: all of it, or nothing
    if (cur && cur->ptr == from) {
        const bool stays = rest > 0 && cur->ix >= k;
        cur->start += stays ? k : -old;
        cur->ix += stays ? -k : old;
        if (!stays) cur->ptr = blk;
    }
    blk->len = old + k;
    from->len = rest;
    if (rest > 0) return false;
    blk->next = from->next;
    if (from->next) from->next->prev = blk;
    if (last == from) last = blk;
    Dispose(from);
    return true;
}

bool BlockChain::IsLoose() const {
    std::int64_t room = 0;
    for (const BlkDesc* blk = first; blk; blk = blk->next) room += std::max(BlkSize - blk->len, 0);
    return room >= BlkSize && first->next;
}

// While the host is told it may read, and so bring a block into the buffer, and make an index.
Content::Packing Content::Pack(bool whole, platform::Meter& work) {
    if (asking) return Packing::Busy;
    for (BlkDesc* blk = chain.First(); blk->next;) {
        const bool stays = blk->len >= BlkSize || blk->next->IsRun();
        int n = stays ? 0 : whole ? 1 : BlocksToMove(blk);
        if (n == 0) {
            if (!work.Step(blk->len, CostOfBlock)) return Packing::Stopped;
            blk = blk->next;
        }
        for (; n > 0; --n) {
            const std::int32_t passed = blk->next->len;
            WriteBack();
            chain.DropIndex();
            if (!chain.FillFromNext(blk, &cur)) blk = blk->next;
            if (!work.Step(passed)) return Packing::Stopped;
        }
    }
    return Packing::Done;
}

// First what costs little in all contents, then what is still loose.
void Content::PackForRoom(std::int32_t pages) {
    const platform::Silence within; // a change
    platform::Meter work(VFileWork::Compact, platform::Meter::Unknown);
    for (const bool whole : {false, true}) {
        for (Content* c = Newest(); c; c = c->next) {
            if (c->OnOwnerThread() && c->chain.IsLoose()) c->Pack(whole, work);
        }
        if (chain.FreePages() >= pages) return;
    }
}

void Content::RoomToRecord(std::int32_t n) {
    MakeRoom(n / BlkSize + Spare);
}

} // namespace vfile_internal

bool VFile::Compact() {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    vfile_internal::LongWork work(VFileWork::Compact, len, *this);
    const auto outcome = content->Pack(true, work);
    if (outcome == vfile_internal::Content::Packing::Done) return true;
    res = outcome == vfile_internal::Content::Packing::Busy ? resContextError : work.Outcome();
    return false;
}
