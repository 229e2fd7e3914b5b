// What a VFile consists of after its class: the chain of blocks, the cursor, the block buffer. Internal; for the
// sources of VFile alone.
//
//     VFile    res eof base pos len flags type        what its class shows, and derived classes use
//       |
//     Content  chain   first <-> ... <-> cur.ptr <-> ... <-> last
//              cur                       the block of pos
//              buf     the bytes of one block, bufBlk; newer than its page while bufDirty; from the thread's pool
//
// True between any two operations of a live object:
//
//  - B1 `next` from the first block and `prev` from the last one visit the same blocks; both ends are null.
//  - B2 The blocks' `len` add up to that of the chain and to that of the object; each is 1 to 1024, or more for a run,
//    or 0 if the block is alone.
//  - B3 A block that holds bytes has a page, or as many as a run needs, and no two blocks have the same one.
//  - B4 cur.ptr is in the chain, cur.start is the sum before it, cur.ix is 0 to cur.ptr->len, pos = cur.start + cur.ix.
//  - B5 bufDirty implies bufBlk implies buf. bufBlk is in the chain, and no run; buf is right for it, and VMem may lag,
//  there only,
//    while bufDirty.
#pragma once

#include "foundation/from_heap.h"
#include "platform/meter.h"
#include "platform/thread.h"
#include "vfile/block_chain.h"
#include "vfile/thread_env.h"
#include "vfile/vfile.h"

namespace vfile_internal {

struct Observer;

struct Content : FromHeap {
    static Content* Make(ThreadsVMem& vm); // of an object of the calling thread; null if out of memory
    static void ReleaseAll();              // what the contents of the calling thread can do without
    static Content* Newest();              // of the calling thread; after a fork, copies of the parent's among them
    static Content& Of(const VFile& f) { return *f.content; }
    static void Exchange(VFile& a, VFile& b); // what the two are, but for their kind numbers

    Content(ThreadsVMem& memory, BlkDesc* alone);
    ~Content();
    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;

    bool OnOwnerThread() const { return platform::IsCurrentThread(owner); }

    // Moves the cursor to p, 0 to the length; most moves end in the current block.
    void Place(std::int32_t p) {
        const std::int32_t ix = p - cur.start;
        if (ix < 0 || ix >= cur.ptr->len) return chain.Find(cur, p, false);
        cur.ix = ix;
    }
    static void Place(VFile& f, std::int32_t p) { // and the object's position with it
        f.content->Place(p);
        f.pos = p;
    }

    // The buffer (cursor.cpp).
    void WriteBack(); // what only the buffer has goes to VMem, and the buffer is free then
    void FreeBuf();
    bool HaveBuf() { // false if there is no memory for one
        return buf || (OnOwnerThread() && vm.buffers.Take(*this));
    }
    bool LoadBuf(); // the current block comes into the buffer; false as HaveBuf
    unsigned char ByteAtCursor();
    static void ReadByteFar(VFile& f, unsigned char& b);

    // Packing (pack.cpp): the blocks are filled from those after them, in place; the content and its observers see
    // nothing of it. With `whole`, all but the last one; else only where a block goes for a few that are rewritten.
    enum class Packing { Done, Busy, Stopped };
    Packing Pack(bool whole, platform::Meter& work);
    void MakeRoom(std::int32_t pages) { // packs contents of the thread until there are so many, or nothing helps
        if (chain.FreePages() < pages) PackForRoom(pages);
    }
    void PackForRoom(std::int32_t pages);
    void RoomToRecord(std::int32_t n); // the same for what observers keep of n bytes

    // n bytes of a block from ix on, which lie in one page, wherever the newest of them are. Good until the next call
    // of VMem.
    const unsigned char* BytesOf(const BlkDesc* blk, std::int32_t ix, std::int32_t n) {
        return blk == bufBlk ? buf + ix : chain.Peek(blk, ix, n);
    }

    ThreadsVMem& vm;
    BlockChain chain;
    BlkRdr cur;         // the block of the current position
    unsigned char* buf; // BlkSize bytes for one block, null until first needed
    BlkDesc* bufBlk;    // the block whose bytes it holds, null if none
    Content* older;     // in the pool of buffers, while it has one
    Content* newer;
    Observer* observers;    // who is told of each change: histories, marks; null as a rule
    std::int32_t posBefore; // the position when the last change began; for them
    std::uint32_t owner;    // the thread that made the object
    bool bufDirty;          // buf holds changes that VMem has not got
    bool asking;            // PreChange runs, or a host looks: buffer and blocks stay as they are
    Content* next;          // of the same thread; after a fork, copies of the parent's among them
    Content** link;         // what points here
};

} // namespace vfile_internal
