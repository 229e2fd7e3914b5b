// What matches a run of bytes that is looked for.
#include "vfile/byte_pattern.h"

#include <cctype>
#include <cstring>

namespace vfile_internal {
namespace {

// The compiler takes toupper of an ASCII byte for ASCII, which it isn't in every locale: the call goes where it can't
// look.
int (*const volatile upperCase)(int) = std::toupper;

struct ByteTable {
    unsigned char of[256];
};

// Copied for each search: that is far less work than making it anew, where matches lie close together.
constexpr ByteTable EachItself = [] {
    ByteTable t{};
    for (int c = 0; c < 256; ++c) t.of[c] = static_cast<unsigned char>(c);
    return t;
}();

} // namespace

Folding::Folding(bool ignoreCase) : folds(ignoreCase), plainAscii(true) {
    std::memcpy(folded, EachItself.of, sizeof folded);
    for (int c = 0; ignoreCase && c <= 0x7F; ++c) {
        const int upper = upperCase(c);
        if (upper >= 0 && upper <= 0x7F) folded[c] = static_cast<unsigned char>(upper);
        plainAscii = plainAscii && folded[c] == (c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    }
}

// How far the pattern moves on after m matched bytes: the least shift that still agrees with all of them.
std::size_t BytePattern::Shift(std::size_t m) const {
    for (std::size_t s = 1;; ++s) {
        std::size_t k = 0;
        while (k < m - s && folding.Match(At(s + k), At(k))) ++k;
        if (k == m - s) return s;
    }
}

// Three bytes of the pattern, given by their places in it, which rise.
ByteTriple BytePattern::Triple(std::size_t i, std::size_t j, std::size_t k) const {
    ByteTriple triple;
    const std::size_t places[] = {i, j, k};
    for (int t = 0; t < 3; ++t) {
        const auto byte = static_cast<unsigned char>(text[places[t]]);
        triple.mask[t] = folding.Mask(byte);
        triple.byte[t] = static_cast<unsigned char>(byte | triple.mask[t]);
        triple.at[t] = places[t] - i;
    }
    return triple;
}

// How many of the `size` bytes that come next can't begin a match, seen from bytes[0] forward or from bytes[size - 1]
// backward. Where the whole pattern fits, its first, middle and last byte must stand at their distances; in the stretch
// that is too short for it, the byte that the scan meets first is looked for alone.
std::size_t BytePattern::Leap(const unsigned char* bytes, std::size_t size) const {
    if (!folding.PlainAscii()) return 0;
    if (back) {
        std::size_t left = size; // bytes[left - 1] comes next
        if (size >= n) {
            const std::size_t i = FindTripleBack(bytes, size, whole);
            if (i < size) return size - (i + n);
            left = n - 1;
        }
        const std::size_t i = FindTripleBack(bytes, size, start, left);
        return i < size ? size - 1 - i : size;
    }
    std::size_t from = 0;
    if (size >= n) {
        const std::size_t i = FindTriple(bytes, size, whole);
        if (i < size) return i;
        from = size - (n - 1);
    }
    return FindTriple(bytes, size, start, from);
}

std::size_t BytePattern::Pass(const Span& s, std::size_t& m, bool ended) const {
    std::size_t done = 0;
    while (done < s.size && m < n) {
        if (m == 0) {
            if (ended) break;
            if (s.size > 1) done += Leap(back ? s.bytes : s.bytes + done, s.size - done);
            if (done == s.size) break;
        }
        if (folding.Match(s.bytes[back ? s.size - 1 - done : done], At(m))) {
            ++m;
            ++done;
        } else if (m == 0) {
            ++done;
        } else {
            m -= Shift(m);
        }
    }
    return done;
}

} // namespace vfile_internal
