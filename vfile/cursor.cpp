// The cursor: queries, positioning, reading, and the one block buffer.
#include "vfile/content.h"

#include "foundation/halt.h"
#include "vfile/span_reader.h"

#include <algorithm>
#include <cstdlib>

using vfile_internal::BlkRdr;
using vfile_internal::BytesAhead;
using vfile_internal::Content;
using vfile_internal::EnterAhead;
using vfile_internal::EnterBefore;

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
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return;
    }
    Content::Place(*this, std::min<std::int32_t>(p, len));
    res = resDone;
    eof = false;
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

namespace vfile_internal {

void Content::WriteBack() {
    if (bufDirty) {
        chain.Fill(bufBlk, buf);
        bufDirty = false;
    }
    bufBlk = nullptr;
}

void Content::FreeBuf() {
    if (buf) vm.buffers.Give(*this);
    bufBlk = nullptr;
    bufDirty = false;
}

bool Content::LoadBuf() {
    if (bufBlk == cur.ptr) return true;
    if (!HaveBuf() || (cur.ptr->IsRun() && !chain.Part(cur))) return false;
    WriteBack();
    chain.Load(cur.ptr, buf);
    bufBlk = cur.ptr;
    return true;
}

// The byte at the cursor, which stands on one; past the buffer if there is no memory for it.
unsigned char Content::ByteAtCursor() {
    if (LoadBuf()) return buf[cur.ix];
    unsigned char b;
    chain.Load(cur.ptr, cur.ix, b);
    return b;
}

} // namespace vfile_internal

void VFile::ReadByte(unsigned char& b) {
    Content& c = *content;
    BlkRdr& cur = c.cur;
    if (c.bufBlk != cur.ptr || cur.ix >= cur.ptr->len) return Content::ReadByteFar(*this, b);
    const unsigned char byte = c.buf[cur.ix]; // most bytes come this way
    ++cur.ix;
    ++pos;
    eof = false;
    b = byte; // last: it might be anything, as far as the compiler knows
}

// ReadByte where the buffer does not have the byte. By itself, so that the short way saves no registers.
[[gnu::noinline]] void Content::ReadByteFar(VFile& f, unsigned char& b) {
    BlkRdr& cur = f.content->cur;
    if (!EnterAhead(cur)) {
        b = 0;
        f.eof = true;
        return;
    }
    b = f.content->ByteAtCursor();
    ++cur.ix;
    ++f.pos;
    f.eof = false;
}

void VFile::ReadPrevByte(unsigned char& b) {
    BlkRdr& cur = content->cur;
    if (!EnterBefore(cur)) {
        b = 0;
        eof = true;
        return;
    }
    --cur.ix;
    --pos; // before a halt that leaves by an exception could come between the two
    b = content->ByteAtCursor();
    eof = false;
}

// Neither allocates nor loads the buffer: a bulk read copies straight from VMem.
int VFile::ReadBytes(void* dst, int n) {
    if (n < 0 || (!dst && n > 0)) {
        res = resCallError;
        return 0;
    }
    BlkRdr& cur = content->cur;
    auto* to = static_cast<unsigned char*>(dst);
    int done = 0;
    while (done < n && EnterAhead(cur)) {
        const int k = std::min<std::int32_t>(n - done, BytesAhead(cur));
        std::memcpy(to + done, content->BytesOf(cur.ptr, cur.ix, k), static_cast<std::size_t>(k));
        done += k;
        pos += k;
        cur.ix += k;
    }
    eof = done < n;
    return done;
}

void VFile::Flush() {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    content->WriteBack();
    content->FreeBuf();
}
