// Lines, found by reading around a position, and reads of lines and stretches of text into a buffer.
#include "vfile/vfile.h"

#include "foundation/halt.h"
#include "foundation/number.h"

namespace {

constexpr unsigned char Cr = '\r';
constexpr unsigned char Lf = '\n';

// The byte at the position, or before it; 0 where the content ends.
unsigned char Next(VFile& f) {
    unsigned char c;
    f.ReadByte(c);
    return c;
}

unsigned char Prev(VFile& f) {
    unsigned char c;
    f.ReadPrevByte(c);
    return c;
}

} // namespace

std::int32_t VFile::LineStart(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    p = MinL(p, len);
    if (p == 0) return 0;

    SetPos(p);
    unsigned char c = Prev(*this);
    if (c == Cr) {
        SetPos(p);
        if (Next(*this) != Lf) return p;
        // Between the two of a pair: the search goes on before it.
        SetPos(p);
        Prev(*this);
        --p;
        c = Prev(*this);
    }
    while (p > 0 && c != Cr && c != Lf) {
        --p;
        c = Prev(*this);
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
    for (;;) {
        const unsigned char c = Next(*this);
        if (eof) return;
        ++size;
        if (c != Cr && c != Lf) continue;
        eolSize = 1;
        if (c == Cr && Next(*this) == Lf) {
            ++size;
            eolSize = 2;
        }
        return;
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
    while (Next(*this) == ' ') ++count;
    return count;
}

bool VFile::AfterCRLF(std::int32_t p) {
    SetPos(p);
    return Prev(*this) == Lf && Prev(*this) == Cr;
}

bool VFile::BeforeCRLF(std::int32_t p) {
    SetPos(p);
    return Next(*this) == Cr && Next(*this) == Lf;
}

bool VFile::BetweenCRLF(std::int32_t p) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 1) return false;
    SetPos(p - 1);
    return Next(*this) == Cr && Next(*this) == Lf;
}

int VFile::ReadLine(char* dst, int size) {
    if (!dst || size < 1) {
        res = resCallError;
        return 0;
    }
    int stored = 0;
    for (;;) {
        const unsigned char c = Next(*this);
        if (eof || c == Lf) break;
        if (c == Cr) {
            const std::int32_t behind = pos;
            const unsigned char follower = Next(*this);
            if (eof || follower != Lf) SetPos(behind);
            break;
        }
        if (stored < size - 1) dst[stored++] = static_cast<char>(c);
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
