// The cursor: queries, positioning, reading, and the one block buffer.
#include "vfile/vfile_inline.h"

#include "foundation/halt.h"
#include "vfile/block_index.h"
#include "vmem/vmem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

std::int32_t VFile::Length() const {
    return len;
}

std::int32_t VFile::GetPos() const {
    return pos;
}

bool VFile::Eof() const {
    return pos >= len;
}

bool VFile::Bof() const {
    return pos <= 0;
}

void VFile::SetPos(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return;
    }
    PlaceAt(std::min<std::int32_t>(p, len));
    res = resDone;
    eof = false;
}

// PlaceAt for a place outside the current block, or at its end.
void VFile::PlaceFar(std::int32_t p) {
    const BlkRdr left = cur;
    FindBlk(cur, p, false);
    if (cur.ptr != left.ptr) LeaveBlk(left);
    pos = p;
}

void VFile::SetPos(std::int32_t offset, int origin) {
    std::int64_t target = offset;
    switch (origin) {
    case 0:
        break;
    case 1:
        target += pos;
        break;
    case 2:
        target += len;
        break;
    default:
        res = resCallError;
        return;
    }
    if (target > MaxLen) target = MaxLen; // beyond the end, wherever that is
    SetPos(static_cast<std::int32_t>(target));
}

void VFile::Reset() {
    SetPos(0);
}

// The cursor is leaving this block, or has just left it: what only the buffer has goes to VMem, and the index learns of
// the block's new length.
void VFile::LeaveBlk(const BlkRdr& left) {
    if (bufDirty) {
        vm->Set(left.ptr->adr, buf, left.ptr->len);
        bufDirty = false;
    }
    bufLoaded = false;
    if (indexLag != 0) {
        index->Adjust(left.start, indexLag);
        indexLag = 0;
    }
}

// The bytes of the current block, which has some, wherever the newest of them are. Good until the next call of VMem.
const unsigned char* VFile::BytesOfCur() const {
    return bufLoaded ? buf : vm->Peek(cur.ptr->adr, cur.ptr->len);
}

// Goes to the block that holds the byte at the cursor. False, and at the end of the last block, if there is none.
bool VFile::EnterBlkAhead() {
    while (cur.ix >= cur.ptr->len) {
        if (!cur.ptr->next) return false;
        LeaveBlk(cur);
        cur.start += cur.ptr->len;
        cur.ix = 0;
        cur.ptr = cur.ptr->next;
    }
    return true;
}

// Goes to the block that holds the byte before the cursor. False, and at the start of the first block, if there is
// none.
bool VFile::EnterBlkBefore() {
    while (cur.ix < 1) {
        if (cur.ptr == first) return false;
        LeaveBlk(cur);
        cur.ptr = cur.ptr->prev;
        cur.start -= cur.ptr->len;
        cur.ix = cur.ptr->len;
    }
    return true;
}

bool VFile::HaveBuf() {
    if (!buf) buf = static_cast<unsigned char*>(std::malloc(BlkSize));
    return buf != nullptr;
}

// Brings the current block into the buffer. False if the heap has no room for a buffer.
bool VFile::LoadBuf() {
    if (bufLoaded) return true;
    if (!HaveBuf()) return false;
    vm->Get(cur.ptr->adr, buf, cur.ptr->len);
    bufLoaded = true;
    return true;
}

// The byte at the cursor, which stands on one; past the buffer if there is no memory for it.
unsigned char VFile::ByteAtCursor() {
    if (LoadBuf()) return buf[cur.ix];
    unsigned char b;
    vm->Get(cur.ptr->adr + cur.ix, b);
    return b;
}

void VFile::ReadByte(unsigned char& b) {
    if (bufLoaded && cur.ix < cur.ptr->len) { // most bytes come this way
        const unsigned char c = buf[cur.ix];
        ++cur.ix;
        ++pos;
        eof = false;
        b = c; // last: it might be anything, as far as the compiler knows
        return;
    }
    if (!EnterBlkAhead()) {
        b = 0;
        eof = true;
        return;
    }
    b = ByteAtCursor();
    ++cur.ix;
    ++pos;
    eof = false;
}

void VFile::ReadPrevByte(unsigned char& b) {
    if (!EnterBlkBefore()) {
        b = 0;
        eof = true;
        return;
    }
    --cur.ix;
    b = ByteAtCursor();
    --pos;
    eof = false;
}

// Neither allocates nor loads the buffer: a bulk read copies straight from VMem.
int VFile::ReadBytes(void* dst, int n) {
    if (n < 0 || (!dst && n > 0)) {
        res = resCallError;
        return 0;
    }
    auto* to = static_cast<unsigned char*>(dst);
    int done = 0;
    while (done < n) {
        if (!EnterBlkAhead()) {
            eof = true;
            return done;
        }
        const auto k = static_cast<std::int16_t>(std::min<std::int32_t>(n - done, cur.ptr->len - cur.ix));
        if (bufLoaded) {
            std::memcpy(to + done, buf + cur.ix, static_cast<std::size_t>(k));
        } else {
            vm->Get(cur.ptr->adr + cur.ix, to + done, k);
        }
        done += k;
        pos += k;
        cur.ix = static_cast<std::int16_t>(cur.ix + k);
    }
    eof = false;
    return done;
}

void VFile::Flush() {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    LeaveBlk(cur);
    std::free(buf);
    buf = nullptr;
}
