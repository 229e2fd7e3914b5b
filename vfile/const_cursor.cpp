// Reading without touching the object: a private cursor over the chain, which sees what stands only in the buffer.
#include "vfile/vfile.h"

#include "foundation/halt.h"
#include "vmem/vmem.h"

#include <algorithm>
#include <cstring>

// The cursor stays valid until the next change of the object.
void VFile::SetPosC(BlkRdr& rd, std::int32_t p) const {
    if (p < 0) Halt("VFile", "SetPosC", "call error");
    rd = cur; // the nearest place that is known
    FindBlk(rd, std::min<std::int32_t>(p, len), false);
}

// Goes to the block that holds the byte at the cursor; there is one.
void VFile::EnterBlkAheadC(BlkRdr& rd, const char* proc) {
    while (rd.ix >= rd.ptr->len) {
        if (!rd.ptr->next) Halt("VFile", proc, "rd.ptr->next==NIL");
        rd.start += rd.ptr->len;
        rd.ix = 0;
        rd.ptr = rd.ptr->next;
    }
}

void VFile::ReadByteC(BlkRdr& rd, unsigned char& b) const {
    if (rd.start + rd.ix >= len) Halt("VFile", "ReadByteC", "call error");
    EnterBlkAheadC(rd, "ReadByteC");
    if (rd.ptr == cur.ptr && bufLoaded) {
        b = buf[rd.ix];
    } else {
        vm->Get(rd.ptr->adr + rd.ix, b);
    }
    ++rd.ix;
}

void VFile::ReadBytesC(BlkRdr& rd, void* dst, int n) const {
    if (n > len - (rd.start + rd.ix) || n < 0 || !dst) Halt("VFile", "ReadBytesC", "call error");
    auto* to = static_cast<unsigned char*>(dst);
    while (n > 0) {
        EnterBlkAheadC(rd, "ReadBytesC");
        const auto k = static_cast<std::int16_t>(std::min<std::int32_t>(n, rd.ptr->len - rd.ix));
        if (rd.ptr == cur.ptr && bufLoaded) {
            std::memmove(to, buf + rd.ix, static_cast<std::size_t>(k));
        } else {
            vm->Get(rd.ptr->adr + rd.ix, to, k);
        }
        to += k;
        n -= k;
        rd.ix = static_cast<std::int16_t>(rd.ix + k);
    }
}

// The next bytes where they lie, up to n of them, and the cursor behind them; k says how many. Good until the next call
// of VMem. There are n bytes.
const unsigned char* VFile::PieceC(BlkRdr& rd, int n, int& k) const {
    EnterBlkAheadC(rd, "ReadBytesC");
    k = std::min<std::int32_t>(n, rd.ptr->len - rd.ix);
    const bool inBuf = rd.ptr == cur.ptr && bufLoaded;
    const unsigned char* bytes = inBuf ? buf + rd.ix : vm->Peek(rd.ptr->adr + rd.ix, static_cast<std::int16_t>(k));
    rd.ix = static_cast<std::int16_t>(rd.ix + k);
    return bytes;
}
