// Lines, found by reading around a position, and reads of lines and stretches of text into a buffer.
#include "vfile/vfile_inline.h"

#include "foundation/byte_scan.h"
#include "foundation/halt.h"

#include <algorithm>
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

// Goes over the text that comes next, up to a line end or the end, storing what `room` allows; how many bytes it was.
// None if somebody would see the reads: they are then the caller's, byte by byte.
std::int32_t VFile::PassText(char* dst, int room) {
    std::int32_t passed = 0;
    bool atEol = !IsPlain();
    while (!atEol && EnterBlkAhead()) {
        const unsigned char* bytes = BytesOfCur() + cur.ix;
        const auto size = static_cast<std::size_t>(cur.ptr->len - cur.ix);
        const std::size_t i = FindEither(bytes, size, Cr, Lf);
        if (passed < room) std::memcpy(dst + passed, bytes, std::min(i, static_cast<std::size_t>(room - passed)));
        Advance(static_cast<int>(i));
        passed += static_cast<std::int32_t>(i);
        atEol = i < size;
    }
    return passed;
}

// The same going back, to behind a line end or to the start.
std::int32_t VFile::PassTextBack() {
    std::int32_t passed = 0;
    bool atEol = !IsPlain();
    while (!atEol && EnterBlkBefore()) {
        const auto size = static_cast<std::size_t>(cur.ix);
        const std::size_t i = FindEitherBack(BytesOfCur(), size, Cr, Lf);
        atEol = i < size;
        const auto n = static_cast<int>(atEol ? size - 1 - i : size);
        Advance(-n);
        passed += n;
    }
    return passed;
}

std::int32_t VFile::LineStart(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    p = std::min<std::int32_t>(p, len);
    if (p == 0) return 0;

    SetPos(p);
    unsigned char c = PrevByte();
    if (c == Cr) {
        SetPos(p);
        if (NextByte() != Lf) return p;
        // Between the two of a pair: the search goes on before it.
        SetPos(p);
        PrevByte();
        --p;
        c = PrevByte();
    }
    while (p > 0 && !IsEol(c)) {
        p -= PassTextBack() + 1;
        c = PrevByte();
    }
    return p;
}

void VFile::LineSize(std::int32_t p, std::int32_t& start, std::int32_t& size, std::int32_t& eolSize) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return;
    }
    start = LineStart(p);
    SetPos(start);
    size = 0;
    eolSize = 0;
    while (eolSize == 0) {
        size += PassText(nullptr, 0);
        const unsigned char c = NextByte();
        if (eof) return;
        ++size;
        if (!IsEol(c)) continue;
        eolSize = c == Cr && NextByte() == Lf ? 2 : 1;
        size += eolSize - 1;
    }
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
    const int room = size - 1;
    int stored = 0;
    for (;;) {
        stored += std::min<std::int32_t>(PassText(dst + stored, room - stored), room - stored);
        const unsigned char c = NextByte();
        if (eof || c == Lf) break;
        if (c == Cr) {
            const std::int32_t behind = pos;
            const unsigned char follower = NextByte();
            if (eof || follower != Lf) SetPos(behind);
            break;
        }
        if (stored < room) dst[stored++] = static_cast<char>(c);
    }
    dst[stored] = '\0';
    return stored;
}

int VFile::ReadTxt(char* dst, int size, std::int32_t from, std::int32_t count) {
    if (!dst || size < 1 || from < 0 || count < 0) {
        res = resCallError;
        return 0;
    }
    from = std::min<std::int32_t>(from, len);
    count = std::min<std::int32_t>(count, len - from);
    SetPos(from);
    count = std::min<std::int32_t>(count, size - 1);
    const int stored = ReadBytes(dst, count);
    dst[std::clamp<std::int32_t>(stored, 0, count)] = '\0'; // a derived class may tell of more than it was asked for
    return stored;
}
