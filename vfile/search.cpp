// Search in both directions, and global replacement.
//
// Both directions are one scan, which takes the pattern in the order in which the content comes in: going back, its
// last byte first. Each byte of the content is read once and never again: after a mismatch as much stays matched as is
// both an end of what was matched and a beginning of the pattern.
//
//     pattern  a b c a b d         matched 5, then c instead of d
//     content  a b c a b c a b d   shift 3: "ab" stays matched, and the same c is compared with the pattern's c
//              . . . ^ ^
#include "vfile/vfile_inline.h"

#include "foundation/byte_scan.h"
#include "foundation/halt.h"
#include "vfile/edit_internal.h"

#include <algorithm>
#include <cctype>
#include <cstring>

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

// The compiler takes toupper of an ASCII byte for ASCII, which it isn't in every locale: the call goes where it can't
// look.
static int (*const volatile upperCase)(int) = std::toupper;

struct ByteTable {
    unsigned char of[256];
};

// Copied for each search: that is far less work than making it anew, where matches lie close together.
static constexpr ByteTable EachItself = [] {
    ByteTable t{};
    for (int c = 0; c < 256; ++c) t.of[c] = static_cast<unsigned char>(c);
    return t;
}();

Folding::Folding(bool ignoreCase) : folds(ignoreCase), plainAscii(true) {
    std::memcpy(folded, EachItself.of, sizeof folded);
    for (int c = 0; ignoreCase && c <= 0x7F; ++c) {
        const int upper = upperCase(c);
        if (upper >= 0 && upper <= 0x7F) folded[c] = static_cast<unsigned char>(upper);
        plainAscii = plainAscii && folded[c] == (c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    }
}

// One search, in either direction.
class Scan {
  public:
    Scan(VFile& file, const char* text, bool backward, const Folding& fold, std::int64_t from)
        : f(file), pattern(text), n(std::strlen(text)), back(backward), folding(fold), whole(Triple(0, n / 2, n - 1)),
          start(back ? Triple(n - 1, n - 1, n - 1) : Triple(0, 0, 0)), at(from), c(0) {}

    // From `at` to the next match, and then `at` is its far end in the direction of the scan; one step beyond the
    // content if there is none.
    bool Run(bool wholeWord);
    std::int64_t At() const { return at; }

  private:
    bool RunAnywhere();
    bool RunByByte();
    bool RunByBlock();
    ByteTriple Triple(std::size_t i, std::size_t j, std::size_t k) const;
    std::size_t Leap(const unsigned char* bytes, std::size_t size) const;
    bool InsideWord();
    bool WordByteAt(std::int64_t p);
    bool WordByteBefore(std::int64_t p);
    void Next();

    // The k-th byte of the pattern as the scan meets them.
    unsigned char Pattern(std::size_t k) const { return static_cast<unsigned char>(pattern[back ? n - 1 - k : k]); }
    std::size_t Shift(std::size_t m) const;

    VFile& f;
    const char* pattern;
    std::size_t n;
    bool back;
    const Folding& folding;
    const ByteTriple whole; // of the whole pattern
    const ByteTriple start; // of the byte that the scan meets first
    std::int64_t at;        // behind the last byte read, in the direction of the scan; one step too far at the end
    unsigned char c;        // the last byte read, 0 at the end
};

// The only place where content comes in byte by byte.
void Scan::Next() {
    if (back) {
        f.ReadPrevByte(c);
        --at;
    } else {
        f.ReadByte(c);
        ++at;
    }
}

// How far the pattern moves on behind m matched bytes: the least shift that still agrees with all of them.
std::size_t Scan::Shift(std::size_t m) const {
    for (std::size_t s = 1;; ++s) {
        std::size_t k = 0;
        while (k < m - s && folding.Match(Pattern(s + k), Pattern(k))) ++k;
        if (k == m - s) return s;
    }
}

// The end of the content needs no test while bytes are matched: its 0 matches no byte of a string.
bool Scan::RunByByte() {
    std::size_t m = 0;
    f.SetPos(static_cast<std::int32_t>(at));
    Next();
    for (;;) {
        if (m == 0) {
            while (!f.eof && !folding.Match(c, Pattern(0))) Next();
            if (f.eof) return false;
        }
        while (m < n && folding.Match(c, Pattern(m))) {
            ++m;
            Next();
        }
        if (m == n) break;
        m -= Shift(m);
    }
    at += back ? 1 : -1;
    return true;
}

// Three bytes of the pattern, given by their places in it, which rise.
ByteTriple Scan::Triple(std::size_t i, std::size_t j, std::size_t k) const {
    ByteTriple triple;
    const std::size_t places[] = {i, j, k};
    for (int t = 0; t < 3; ++t) {
        const auto byte = static_cast<unsigned char>(pattern[places[t]]);
        triple.mask[t] = folding.Mask(byte);
        triple.byte[t] = static_cast<unsigned char>(byte | triple.mask[t]);
        triple.at[t] = places[t] - i;
    }
    return triple;
}

// How many of the `size` bytes that come next can't begin a match, seen from bytes[0] forward or from bytes[size - 1]
// backward. Where the whole pattern fits, its first, middle and last byte must stand at their distances; in the stretch
// that is too short for it, the byte that the scan meets first is looked for alone.
std::size_t Scan::Leap(const unsigned char* bytes, std::size_t size) const {
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

// The same as RunByByte, on an object whose single reads nobody sees: over the bytes of each block where they lie, and
// in leaps over what can't begin a match.
bool Scan::RunByBlock() {
    std::size_t m = 0;
    f.SetPos(static_cast<std::int32_t>(at));
    while (m < n && (back ? f.EnterBlkBefore() : f.EnterBlkAhead())) {
        const unsigned char* bytes = f.BytesOfCur() + (back ? 0 : f.cur.ix);
        const auto size = static_cast<std::size_t>(back ? f.cur.ix : f.cur.ptr->len - f.cur.ix);
        std::size_t done = 0;
        while (done < size && m < n) {
            if (m == 0) {
                done += Leap(back ? bytes : bytes + done, size - done);
                if (done == size) break;
            }
            if (folding.Match(bytes[back ? size - 1 - done : done], Pattern(m))) {
                ++m;
                ++done;
            } else if (m == 0) {
                ++done;
            } else {
                m -= Shift(m);
            }
        }
        const auto moved =
            static_cast<int>(back ? -static_cast<std::ptrdiff_t>(done) : static_cast<std::ptrdiff_t>(done));
        f.Advance(moved);
        at += moved;
    }
    Next(); // the byte beyond the match, or the end of the content
    if (m < n) return false;
    at += back ? 1 : -1;
    return true;
}

bool Scan::RunAnywhere() {
    return f.IsPlain() ? RunByBlock() : RunByByte();
}

// Reading beside a match. The edges of the content are no word bytes.
bool Scan::WordByteAt(std::int64_t p) {
    f.SetPos(static_cast<std::int32_t>(p));
    f.ReadByte(c);
    return std::isalnum(c) != 0;
}

bool Scan::WordByteBefore(std::int64_t p) {
    f.SetPos(static_cast<std::int32_t>(p));
    f.ReadPrevByte(c);
    return std::isalnum(c) != 0;
}

// A match inside a longer word. The byte beyond its far end is looked at first.
bool Scan::InsideWord() {
    const auto size = static_cast<std::int64_t>(n);
    if (back) return WordByteBefore(at) || WordByteAt(at + size);
    return WordByteAt(at) || WordByteBefore(at - size);
}

bool Scan::Run(bool wholeWord) {
    while (RunAnywhere()) {
        if (!wholeWord || !InsideWord()) return true;
    }
    return false;
}

} // namespace vfile_internal

using namespace vfile_internal;

bool VFile::Find(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (at < 0) {
        res = resCallError;
        return false;
    }
    if (!*pattern) return true;
    return FindFolded(at, pattern, Folding(ignoreCase), wholeWord);
}

bool VFile::FindBack(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (at < 0) {
        res = resCallError;
        return false;
    }
    if (!*pattern) return true;
    const Folding folding(ignoreCase);
    Scan scan(*this, pattern, true, folding, std::min(at, len));
    const bool found = scan.Run(wholeWord);
    at = static_cast<std::int32_t>(scan.At());
    return found;
}

// The body of Find, for a pattern that is not empty.
bool VFile::FindFolded(std::int32_t& at, const char* pattern, const Folding& folding, bool wholeWord) {
    Scan scan(*this, pattern, false, folding, at);
    const bool found = scan.Run(wholeWord);
    at = static_cast<std::int32_t>(std::min<std::int64_t>(scan.At(), MaxLen));
    return found;
}

std::int32_t VFile::ReplaceGlobal(const char* pattern, const char* replacement, bool ignoreCase, bool wholeWord) {
    const int oldLen = TextLength(pattern);
    const int newLen = TextLength(replacement);
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (oldLen == 0) return 0; // it would be found for ever
    std::int32_t count = 0;
    std::int32_t at = 0;
    const Folding folding(ignoreCase);
    while (FindFolded(at, pattern, folding, wholeWord)) {
        ReplaceBuf(at - oldLen, oldLen, replacement, newLen);
        if (res != resDone) break;
        at = pos;
        ++count;
    }
    return count;
}
