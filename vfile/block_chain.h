// The chain of blocks in which a content lies, and the search for a position in it. Internal.
//
//     first -> {len 1024, adr 0} <-> {len 310, adr 5120} <-> {len 1024, adr 2048} <- last       descriptors, on the
//     heap
//                  |                      |                       |
//     VMem     | page 0              | page 5120             | page 2048                        bytes, one page per
//     block
//
//     index    inner {1334, 2358}  ->  leaf {1024, 1334} ...  made when a search has to go far
//
// Positions are those of the chain as it is: each block counts by its `len`, whatever a change that is under way still
// means to do. The index may not know yet what the last block to be resized has become: that is settled before the next
// use of the index, so that typing into one block costs it nothing. The chain stands without an index. It is given up
// when there is no memory for a node, or when a change takes out or puts in so many blocks that making it anew is
// cheaper, and made again at the next far search; without memory for it, a search walks.
//
// The chain does not know which block a buffer holds: the bytes of a block are those of its page.
#pragma once

#include "vfile/block_index.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

#include <cstdint>

namespace vfile_internal {

static_assert(BlkSize == VMem::PageSize);

// A block of at most BlkSize bytes, in a page of its own; or a run, of more bytes in pages side by side, all full but
// the last. A run is only read. What is to be changed, or to come into a buffer, is parted from it before.
struct BlkDesc {
    BlkDesc* prev;    // null at the first
    BlkDesc* next;    // null at the last
    std::int32_t len; // bytes in use, from the block's first byte on; of a run more than BlkSize
    std::int32_t adr; // VMem address of the block's page, or of the first one of a run, -1 if it has none

    bool IsRun() const { return len > BlkSize; }
};

// A place in a chain. Good until the chain changes.
struct BlkRdr {
    BlkDesc* ptr;       // the block
    std::int32_t start; // position of its first byte
    std::int32_t ix;    // index in the block, 0 to ptr->len
};

class BlockChain {
  public:
    // Of one empty block without a page, which is on the heap and belongs to the chain from now on.
    BlockChain(VMem& memory, BlkDesc* alone)
        : vm(&memory), first(alone), last(alone), index(nullptr), lagging(nullptr), total(0), lagStart(0), lag(0) {
        *alone = {nullptr, nullptr, 0, -1};
    }
    ~BlockChain();
    BlockChain(const BlockChain&) = delete;
    BlockChain& operator=(const BlockChain&) = delete;

    BlkDesc* First() const { return first; }
    BlkDesc* Last() const { return last; }
    std::int32_t Length() const { return total; }

    // Moves `rd` to the block of position p, 0 to the length; rd.ptr and rd.start must be valid, and the search begins
    // there. A position at the border of two blocks belongs to the later one; with `toPrev` to the end of the earlier
    // one, if that has room.
    void Find(BlkRdr& rd, std::int32_t p, bool toPrev);

    // The block that starts at `start` has n bytes now.
    void SetLen(BlkDesc* blk, std::int32_t start, std::int32_t n) {
        const std::int32_t more = n - blk->len;
        if (index) {
            if (lagging != blk) Settle();
            lagging = blk;
            lagStart = start;
            lag += more;
        }
        blk->len = n;
        total += more;
    }

    // Parts a run so that the page of rd.ix is a block of its own, and takes rd there; the descriptor of the run stays,
    // for what comes first. False, with nothing changed, if out of memory.
    bool Part(BlkRdr& rd);

    // Takes out the block that starts at `start`, and frees it. It must not be the only one.
    void Remove(BlkDesc* blk, std::int32_t start);

    // Links the blocks from p1 to p2 in after `blk`, which ends at `at`.
    void SpliceBehind(BlkDesc* blk, std::int32_t at, BlkDesc* p1, BlkDesc* p2);

    // Fills a block, which has bytes, from the one after it; true if that then is used up, and gone. `cur`, unless
    // null, keeps its place. Holds at every step: what halts on the way has changed nothing of the content. Also for
    // blocks that are not in the chain yet.
    bool FillFromNext(BlkDesc* blk, BlkRdr* cur);
    bool IsLoose() const; // its bytes would fit into fewer blocks

    void BeginAnew(BlkDesc* alone); // as constructed, with the blocks left to who has taken them
    bool HasIndex() const { return index != nullptr; }
    void DropIndex();
    void ForgetPages(); // they go with VMem, which need not take them back one by one
    std::int32_t FreePages() const { return vm->PagesLeft(); } // that contents of the thread can still take

    // Blocks in the chain, or on their way into it or out of it. A block always takes a whole page, however few bytes
    // it holds.
    BlkDesc* NewBlock(BlkDesc* prev, std::int32_t n); // linking the neighbours is the caller's work
    void Dispose(BlkDesc*& blk);
    void DisposeList(BlkDesc*& blk); // along `next`
    void TakePage(BlkDesc* blk) { vm->TakePage(blk->adr); }
    void GiveBackPage(BlkDesc* blk) {
        if (blk->adr == -1) return;
        if (blk->IsRun()) return vm->DiscardPages(blk->adr, (blk->len - 1) / BlkSize + 1);
        vm->DiscardPage(blk->adr);
    }
    BlkDesc* NewRun(Backing* file, std::int32_t n); // that has its n bytes from a file; null if there is no room for it
    SwapFile& Files() { return vm->Files(); }
    bool IsIntact() const; // no file that gives pages of the chain has changed

    // The bytes of a block's page, as many as it counts. What Peek gives is good until the next call of VMem.
    void Fill(const BlkDesc* blk, const void* bytes) {
        vm->FillPage(blk->adr, bytes, static_cast<std::int16_t>(blk->len));
    }
    void Load(const BlkDesc* blk, void* to) { vm->Get(blk->adr, to, blk->len); }
    void Load(const BlkDesc* blk, int ix, unsigned char& b) { vm->Get(blk->adr + ix, b); }
    const unsigned char* Peek(const BlkDesc* blk, std::int32_t ix, std::int32_t n) { // within one page
        return vm->Peek(blk->adr + ix, static_cast<std::int16_t>(n));
    }
    void Lend(std::int32_t adr) { vm->Lend(adr); } // what Peek gave stays, until TakeBack of the address
    void TakeBack(std::int32_t adr) { vm->TakeBack(adr); }
    void Set(std::int32_t adr, const void* bytes, std::int32_t n) { vm->Set(adr, bytes, n); }
    void Copy(std::int32_t to, std::int32_t from, std::int32_t n) { vm->CopyBytes(to, from, n); }

  private:
    friend class VFileCheck;

    void Seek(BlkRdr& rd, std::int32_t p);
    void Settle() {
        if (lag != 0) index->Adjust(lagStart, lag);
        lag = 0;
    }

    VMem* vm;              // the thread's; borrowed
    BlkDesc* first;        // never null
    BlkDesc* last;         // never null
    BlkIndex* index;       // null until a search has to go far
    BlkDesc* lagging;      // the block that was resized last, while there is an index
    std::int32_t total;    // the sum of the lengths
    std::int32_t lagStart; // where `lagging` starts, as long as it lags
    std::int32_t lag;      // by how much it is longer than the index knows; 0 without an index
};

} // namespace vfile_internal
