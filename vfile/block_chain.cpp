// The block chain: an object's beginning and end, the making and freeing of blocks, the search for a position.
#include "vfile/vfile_inline.h"

#include "foundation/halt.h"
#include "foundation/number.h"
#include "platform/thread.h"
#include "vfile/block_index.h"
#include "vmem/vmem.h"

#include <cstdlib>
#include <cstring>

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

VFile::VFile() {
    Init();
}

void VFile::Init() {
    std::memcpy(&plainTable, static_cast<const void*>(this), sizeof plainTable); // a constructor sees its own class's
    vm = JoinThread();
    res = resDone;
    eof = false;
    pos = 0;
    len = 0;
    flags = 0;
    type = 0;
    index = nullptr;
    indexLag = 0;

    first = static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc)));
    if (!first) Halt("VFile", "Init", "first==NIL, heap overflow");
    *first = {nullptr, nullptr, 0, -1};
    last = first;

    cur = {first, 0, 0};
    buf = nullptr;
    bufLoaded = false;
    bufDirty = false;
    base = 10;
    owner = platform::CurrentThreadId();
}

// Nothing is written back: the content goes with the object.
VFile::~VFile() {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (ThreadVFileCount() == 0) HaltA("VFile", __LINE__);
    res = resDone;
    eof = false;
    pos = 0;
    len = 0;
    flags = 0;
    DropIndex();
    if (ThreadVFileCount() == 1)
        ForgetPages(); // they go with the thread's VMem, which need not take them back one by one
    DisposeBlkPtrList(first);
    last = nullptr;
    cur = {nullptr, 0, 0};
    std::free(buf);
    buf = nullptr;
    bufLoaded = false;
    bufDirty = false;
    owner = 0;
    vm = nullptr;
    LeaveThread();
}

// A block always takes a whole page, however few bytes it will hold.
void VFile::AllocBuf(std::int32_t& adr, std::int16_t n) {
    if (n == BlkSize) {
        vm->AllocPage(adr);
    } else {
        vm->Alloc(adr, n);
    }
}

// Linking the neighbours is the caller's work.
BlkDesc* VFile::NewBlkPtr(BlkDesc* prev, BlkDesc* next, std::int16_t n) {
    auto* p = static_cast<BlkDesc*>(std::malloc(sizeof(BlkDesc)));
    if (!p) Halt("VFile", "NewBlkPtr", "p==NIL");
    *p = {prev, next, n, -1};
    if (n < 0) Halt("VFile", "NewBlkPtr", "len<0");
    if (n > 0) {
        if (n > BlkSize) Halt("VFile", "NewBlkPtr", "len>BlkSize");
        AllocBuf(p->adr, BlkSize);
    }
    return p;
}

void VFile::DisposeBlkPtr(BlkDesc*& p) {
    if (!p) Halt("VFile", "DisposeBlkPtr", "p==NIL");
    if (p->adr != -1) vm->Dealloc(p->adr, BlkSize);
    std::free(p);
    p = nullptr;
}

void VFile::DisposeBlkPtrList(BlkDesc*& p) {
    while (p) {
        BlkDesc* blk = p;
        p = blk->next;
        DisposeBlkPtr(blk);
    }
}

void VFile::ForgetPages() {
    for (BlkDesc* blk = first; blk; blk = blk->next) blk->adr = -1;
}

// Takes a block out of the object's chain and frees it. It must not be the only one. `at` is where the index has it.
void VFile::RemoveBlk(BlkDesc* blk, std::int32_t at) {
    if (index) {
        index->Erase(at);
        if (index->Count() == 1) DropIndex(); // a block alone may be empty, and an index holds no empty ones
    }
    (blk->prev ? blk->prev->next : first) = blk->next;
    (blk->next ? blk->next->prev : last) = blk->prev;
    DisposeBlkPtr(blk);
}

// Links the private chain from p1 to p2 into the object's, behind `blk`. `at` is where the index has what follows.
void VFile::SpliceBehind(BlkDesc* blk, BlkDesc* p1, BlkDesc* p2, std::int32_t at) {
    BlkDesc* behind = blk->next;
    blk->next = p1;
    p1->prev = blk;
    p2->next = behind;
    (behind ? behind->prev : last) = p2;

    std::int32_t most = index ? index->Count() / 4 : 0; // for more it is made anew, when it is next needed
    for (BlkDesc* b = p1; index && b != behind; b = b->next) {
        if (most-- <= 0 || !index->Insert(at, b)) DropIndex();
        at += b->len;
    }
}

void VFile::DropIndex() const {
    vfile_internal::BlkIndex::Dispose(index);
    indexLag = 0;
}

// Where the index has the block behind the current one.
std::int32_t VFile::IndexBehindCur() const {
    return cur.start + cur.ptr->len - indexLag;
}

// Moves `rd` to the block of position p, 0 to len; rd.ptr and rd.start must be valid. A position at the border of two
// blocks belongs to the later one; with `toPrev` to the end of the earlier one, if that has room.
void VFile::FindBlk(BlkRdr& rd, std::int32_t p, bool toPrev) const {
    if (p < rd.start || p - rd.start >= rd.ptr->len) {
        const std::int32_t lastStart = len - last->len;
        if (p < first->len) {
            rd.ptr = first;
            rd.start = 0;
        } else if (p >= lastStart) {
            rd.ptr = last;
            rd.start = lastStart;
        } else {
            SeekBlk(rd, p);
        }
    }
    if (toPrev && p == rd.start && HasRoom(rd.ptr->prev)) {
        do {
            StepBack(rd);
        } while (rd.ptr->len == 0 && HasRoom(rd.ptr->prev));
    }
    const std::int32_t ix = p - rd.start;
    rd.ix = ix >= 0 && ix <= BlkSize ? static_cast<std::int16_t>(ix) : Short(ix); // which halts: the chain is broken
}

// The search for an inner block: from the nearest of the first block, `rd` and the last one if it is a few steps away,
// else through the index.
void VFile::SeekBlk(BlkRdr& rd, std::int32_t p) const {
    BlkRdr at = rd;
    if (p < rd.start / 2) at = {first, 0, 0};
    if (p - rd.start >= (len - rd.start) / 2) at = {last, len - last->len, 0};
    const std::int32_t distance = p < at.start ? at.start - p : p - at.start;
    bool there = distance < NearSteps * BlkSize && WalkTo(at, p, NearSteps);
    if (!there && !index) {
        there = WalkTo(at, p, StepsWithoutIndex);
        if (!there) index = vfile_internal::BlkIndex::Make(first);
        if (!there && !index) there = WalkTo(at, p, MaxLen); // no memory: all the way on foot
    }
    if (!there) {
        const bool behindCur = p - cur.start >= cur.ptr->len;
        if (!behindCur && p >= cur.start) {
            at = cur;
        } else {
            const std::int32_t lag = behindCur ? indexLag : 0;
            index->Find(at, p - lag);
            at.start += lag;
        }
    }
    rd.ptr = at.ptr;
    rd.start = at.start;
}
