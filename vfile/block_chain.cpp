// The block chain: an object's beginning and end, the making and freeing of blocks, the search for a position.
#include "vfile/vfile.h"

#include "foundation/halt.h"
#include "foundation/number.h"
#include "platform/thread.h"
#include "vmem/vmem.h"

#include <cstdlib>

namespace {

void WalkForward(BlkRdr& rd, std::int32_t p) {
    while (rd.ptr->next && p - rd.start >= rd.ptr->len) {
        rd.start += rd.ptr->len;
        rd.ptr = rd.ptr->next;
    }
}

void StepBack(BlkRdr& rd) {
    rd.ptr = rd.ptr->prev;
    rd.start -= rd.ptr->len;
}

void WalkBackward(BlkRdr& rd, std::int32_t p) {
    while (p < rd.start && rd.ptr->prev) StepBack(rd);
}

bool HasRoom(const BlkDesc* blk) {
    return blk && blk->len < BlkSize;
}

} // namespace

VFile::VFile() {
    Init();
}

void VFile::Init() {
    vm = JoinThread();
    res = resDone;
    eof = false;
    pos = 0;
    len = 0;
    flags = 0;
    type = 0;

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

bool VFile::OnOwnerThread() const {
    return owner == platform::CurrentThreadId();
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

// Takes a block out of the object's chain and frees it. It must not be the only one, and not the cursor's.
void VFile::RemoveBlk(BlkDesc* blk) {
    (blk->prev ? blk->prev->next : first) = blk->next;
    (blk->next ? blk->next->prev : last) = blk->prev;
    DisposeBlkPtr(blk);
}

// Links the private chain from p1 to p2 into the object's, behind `blk`.
void VFile::SpliceBehind(BlkDesc* blk, BlkDesc* p1, BlkDesc* p2) {
    BlkDesc* behind = blk->next;
    blk->next = p1;
    p1->prev = blk;
    p2->next = behind;
    (behind ? behind->prev : last) = p2;
}

// Moves `rd` to the block of position p by the shortest of the walks from `first`, `rd` and `last`. Needs a valid
// rd.ptr and rd.start and p from 0 to total. A position at the border of two blocks belongs to the later one; with
// `toPrev` to the end of the earlier one, if that has room.
void VFile::FindBlk(BlkRdr& rd, BlkDesc* first, BlkDesc* last, std::int32_t total, std::int32_t p, bool toPrev) {
    if (p < rd.start) {
        if (p < first->len) {
            rd.ptr = first;
            rd.start = 0;
        } else if (p < rd.start / 2) {
            rd.ptr = first;
            rd.start = 0;
            WalkForward(rd, p);
        } else {
            WalkBackward(rd, p);
        }
    } else if (p - rd.start >= rd.ptr->len) {
        const std::int32_t lastStart = total - last->len;
        if (p >= lastStart) {
            rd.ptr = last;
            rd.start = lastStart;
        } else if (p - rd.start < (total - rd.start) / 2) {
            WalkForward(rd, p);
        } else {
            rd.ptr = last;
            rd.start = lastStart;
            WalkBackward(rd, p);
        }
    }
    if (toPrev && p == rd.start && HasRoom(rd.ptr->prev)) {
        do {
            StepBack(rd);
        } while (rd.ptr->len == 0 && HasRoom(rd.ptr->prev));
    }
    rd.ix = Short(p - rd.start);
}
