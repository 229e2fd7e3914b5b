// A run of bytes that is looked for, met by bytes in either direction. Internal.
//
// Both directions are one scan, which takes the pattern in the order in which the content comes in: going back, its
// last byte first. Each byte of the content is read once and never again: after a mismatch as much stays matched as is
// both an end of what was matched and a beginning of the pattern.
//
//     pattern  a b c a b d         matched 5, then c instead of d
//     content  a b c a b c a b d   shift 3: "ab" stays matched, and the same c is compared with the pattern's c
//              . . . ^ ^
#pragma once

#include "foundation/byte_scan.h"
#include "vfile/span_reader.h"

#include <cstddef>

namespace vfile_internal {

// What two bytes must have in common to match: themselves, or their upper case. The case of ASCII letters is that of
// the host's locale; all bytes outside ASCII stand for themselves.
class Folding {
  public:
    explicit Folding(bool ignoreCase);
    bool Match(unsigned char a, unsigned char b) const { return folded[a] == folded[b]; }
    bool PlainAscii() const { return plainAscii; } // only the letters a to z fold, if any do

    // For a ByteTriple: the bit in which the cases of `c` differ.
    unsigned char Mask(unsigned char c) const {
        const auto lower = static_cast<unsigned char>(c | 0x20);
        return folds && lower >= 'a' && lower <= 'z' ? 0x20 : 0;
    }

  private:
    unsigned char folded[256];
    bool folds;
    bool plainAscii;
};

// A pattern of at least one byte. Bytes and folding are borrowed.
class BytePattern {
  public:
    BytePattern(const char* bytes, std::size_t size, bool backward, const Folding& fold)
        : text(bytes), n(size), back(backward), folding(fold), whole(Triple(0, n / 2, n - 1)),
          start(back ? Triple(n - 1, n - 1, n - 1) : Triple(0, 0, 0)) {}

    std::size_t Size() const { return n; }
    bool Back() const { return back; }

    // Goes over the bytes of a run, with m matched before them, up to a whole match; how many of them it was. `ended`
    // is for the end of a content, where a byte begins no match.
    std::size_t Pass(const Span& s, std::size_t& m, bool ended) const;

  private:
    ByteTriple Triple(std::size_t i, std::size_t j, std::size_t k) const;
    std::size_t Leap(const unsigned char* bytes, std::size_t size) const;
    std::size_t Shift(std::size_t m) const;

    // The k-th byte as the scan meets them.
    unsigned char At(std::size_t k) const { return static_cast<unsigned char>(text[back ? n - 1 - k : k]); }

    const char* text;
    std::size_t n;
    bool back;
    const Folding& folding;
    const ByteTriple whole; // of the whole pattern
    const ByteTriple start; // of the byte that the scan meets first
};

} // namespace vfile_internal
