// Lines, found by reading around a position, and reads of lines and stretches of text into a buffer.
#include "vfile/vfile.h"

#include "foundation/byte_scan.h"
#include "foundation/halt.h"
#include "foundation/number.h"

#include <cstring>

namespace {

constexpr unsigned char Cr = '\r';
constexpr unsigned char Lf = '\n';

bool IsEol(unsigned char c) {
    return c == Cr || c == Lf;
}

} // namespace

// The byte at the position, or before it, as ReadByte and ReadPrevByte give it: through them, or where nobody would see
// the call, from the block where it lies.

unsigned char VFile::NextByte() {
    unsigned char c = 0;
    if (!IsPlain()) {
        ReadByte(c);
        return c;
    }
    eof = !EnterBlkAhead();
    if (eof) return 0;
    c = BytesOfCur()[cur.ix];
    Advance(1);
    return c;
}

unsigned char VFile::PrevByte() {
    unsigned char c = 0;
    if (!IsPlain()) {
        ReadPrevByte(c);
        return c;
    }
    eof = !EnterBlkBefore();
    if (eof) return 0;
    Advance(-1);
    return BytesOfCur()[cur.ix];
}

// Reads back over text; the line end that it meets, which is read too, or 0 at the start.
unsigned char VFile::PrevEol() {
    if (!IsPlain()) {
        unsigned char c = PrevByte();
        while (!eof && !IsEol(c)) c = PrevByte();
        return c;
    }
    while (EnterBlkBefore()) {
        const auto size = static_cast<std::size_t>(cur.ix);
        const std::size_t i = FindEitherBack(BytesOfCur(), size, Cr, Lf);
        Advance(-static_cast<int>(i < size ? size - i - 1 : size));
        if (i < size) break;
    }
    return PrevByte();
}

// Reads over text, storing what `room` allows; the line end that it meets, which is read too, or 0 at the end.
unsigned char VFile::NextEol(char* dst, int room, int& stored) {
    if (!IsPlain()) {
        unsigned char c = NextByte();
        for (; !eof && !IsEol(c); c = NextByte()) {
            if (stored < room) dst[stored++] = static_cast<char>(c);
        }
        return c;
    }
    while (EnterBlkAhead()) {
        const unsigned char* bytes = BytesOfCur() + cur.ix;
        const auto size = static_cast<std::size_t>(cur.ptr->len - cur.ix);
        const std::size_t i = FindEither(bytes, size, Cr, Lf);
        const int n = Min(static_cast<int>(i), room - stored);
        if (n > 0) std::memcpy(dst + stored, bytes, static_cast<std::size_t>(n));
        stored += Max(n, 0);
        Advance(static_cast<int>(i));
        if (i < size) break;
    }
    return NextByte();
}

std::int32_t VFile::LineStart(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    p = MinL(p, len);
    if (p == 0) return 0;

    SetPos(p);
    unsigned char c = PrevByte();
    if (c == Cr) {
        SetPos(p);
        if (NextByte() != Lf) return p;
        // Between the two of a pair: the search goes on before it.
        SetPos(p);
        PrevByte();
        c = PrevByte();
    }
    if (!eof && !IsEol(c)) PrevEol();
    return eof ? 0 : pos + 1;
}

void VFile::LineSize(std::int32_t p, std::int32_t& start, std::int32_t& size, std::int32_t& eolSize) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return;
    }
    start = LineStart(p);
    SetPos(start);
    int stored = 0;
    const unsigned char c = NextEol(nullptr, 0, stored);
    size = pos - start;
    eolSize = eof ? 0 : 1;
    if (c != Cr || NextByte() != Lf) return;
    ++size;
    eolSize = 2;
}

std::int32_t VFile::LineEnd(std::int32_t p, bool withEol) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    std::int32_t start;
    std::int32_t size;
    std::int32_t eolSize;
    LineSize(p, start, size, eolSize);
    return withEol ? start + size : start + size - eolSize;
}

std::int32_t VFile::LineIndent(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    SetPos(LineStart(p));
    std::int32_t count = 0;
    while (NextByte() == ' ') ++count;
    return count;
}

bool VFile::AfterCRLF(std::int32_t p) {
    SetPos(p);
    return PrevByte() == Lf && PrevByte() == Cr;
}

bool VFile::BeforeCRLF(std::int32_t p) {
    SetPos(p);
    return NextByte() == Cr && NextByte() == Lf;
}

bool VFile::BetweenCRLF(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 1) return false;
    SetPos(p - 1);
    return NextByte() == Cr && NextByte() == Lf;
}

int VFile::ReadLine(char* dst, int size) {
    if (!dst || size < 1) {
        res = resCallError;
        return 0;
    }
    int stored = 0;
    if (NextEol(dst, size - 1, stored) == Cr) {
        const std::int32_t behind = pos;
        const unsigned char follower = NextByte();
        if (eof || follower != Lf) SetPos(behind);
    }
    dst[stored] = '\0';
    return stored;
}

int VFile::ReadTxt(char* dst, int size, std::int32_t from, std::int32_t count) {
    if (!dst || size < 1 || from < 0 || count < 0) {
        res = resCallError;
        return 0;
    }
    from = MinL(from, len);
    count = MinL(count, len - from);
    SetPos(from);
    const int stored = ReadBytes(dst, Min(count, size - 1));
    dst[stored] = '\0';
    return stored;
}
