// Lines, found by reading around a position, and reads of lines and stretches of text into a buffer.
#include "vfile/content.h"

#include "foundation/byte_scan.h"
#include "foundation/halt.h"
#include "vfile/span_reader.h"

#include <algorithm>
#include <cstring>

using vfile_internal::FindEither;
using vfile_internal::FindEitherBack;
using vfile_internal::Span;
using vfile_internal::SpanReader;
using Way = SpanReader::Way;

namespace {

constexpr unsigned char Cr = '\r';
constexpr unsigned char Lf = '\n';

// Goes over the text that comes next, storing what `room` allows, and over the first byte of the line end after it,
// which it returns; 0 with the object's `eof` if there is none. `size` becomes the length of the text.
unsigned char SkipText(SpanReader& in, const bool& eof, char* dst, int room, std::int32_t& size) {
    size = 0;
    for (;;) {
        const Span s = in.Next();
        if (eof) return 0;
        const std::size_t i = FindEither(s.bytes, s.size, Cr, Lf);
        if (size < room) std::memcpy(dst + size, s.bytes, std::min(i, static_cast<std::size_t>(room - size)));
        size += static_cast<std::int32_t>(i);
        if (i < s.size) {
            const unsigned char c = s.bytes[i];
            in.Take(i + 1);
            return c;
        }
        in.Take(i);
    }
}

} // namespace

std::int32_t VFile::LineStart(std::int32_t p) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    p = std::min<std::int32_t>(p, len);
    if (p == 0) return 0;

    SetPos(p);
    SpanReader back(*this, Way::Back);
    Span s = back.Next();
    if (s.bytes[s.size - 1] == Cr) {
        back.Take(1);
        SetPos(p);
        if (SpanReader(*this, Way::Ahead).Byte() != Lf) return p;
        // Between the two of a pair: the search goes on before it.
        SetPos(p);
        back.Byte();
        --p;
        s = back.Next();
    }
    while (p > 0) { // s ends at p
        const std::size_t i = FindEitherBack(s.bytes, s.size, Cr, Lf);
        if (i < s.size) {
            back.Take(s.size - i);
            return p - static_cast<std::int32_t>(s.size - 1 - i);
        }
        back.Take(s.size);
        p -= static_cast<std::int32_t>(s.size);
        s = back.Next(); // also at the start of the content
    }
    return p;
}

void VFile::LineSize(std::int32_t p, std::int32_t& start, std::int32_t& size, std::int32_t& eolSize) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return;
    }
    start = LineStart(p);
    SetPos(start);
    SpanReader in(*this, Way::Ahead);
    const unsigned char c = SkipText(in, eof, nullptr, 0, size);
    eolSize = 0;
    if (eof) return;
    eolSize = c == Cr && in.Byte() == Lf ? 2 : 1;
    size += eolSize;
}

std::int32_t VFile::LineEnd(std::int32_t p, bool withEol) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
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
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    SetPos(LineStart(p));
    SpanReader in(*this, Way::Ahead);
    std::int32_t count = 0;
    while (in.Byte() == ' ') ++count;
    return count;
}

bool VFile::AfterCRLF(std::int32_t p) {
    SetPos(p);
    SpanReader back(*this, Way::Back);
    return back.Byte() == Lf && back.Byte() == Cr;
}

bool VFile::BeforeCRLF(std::int32_t p) {
    SetPos(p);
    SpanReader in(*this, Way::Ahead);
    return in.Byte() == Cr && in.Byte() == Lf;
}

bool VFile::BetweenCRLF(std::int32_t p) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 1) return false;
    return BeforeCRLF(p - 1);
}

int VFile::ReadLine(char* dst, int size) {
    if (!dst || size < 1) {
        res = resCallError;
        return 0;
    }
    SpanReader in(*this, Way::Ahead);
    std::int32_t passed;
    const unsigned char c = SkipText(in, eof, dst, size - 1, passed);
    if (!eof && c == Cr) {
        const std::int32_t behind = pos;
        const unsigned char follower = in.Byte();
        if (eof || follower != Lf) SetPos(behind);
    }
    const int stored = std::min(passed, size - 1);
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
