// Search in both directions, and global replacement.
//
// Both directions are one scan, which takes the pattern in the order in which the content comes in: going back, its
// last byte first. Each byte of the content is read once and never again: after a mismatch as much stays matched as is
// both an end of what was matched and a beginning of the pattern.
//
//     pattern  a b c a b d         matched 5, then c instead of d
//     content  a b c a b c a b d   shift 3: "ab" stays matched, and the same c is compared with the pattern's c
//              . . . ^ ^
#include "vfile/vfile.h"

#include "foundation/halt.h"
#include "vfile/edit_internal.h"

#include <algorithm>
#include <cctype>

namespace {

// The upper case of an ASCII letter as the host's locale has it. All bytes outside ASCII stand for themselves.
unsigned char Folded(unsigned char c) {
    if (c > 0x7F) return c;
    const int upper = std::toupper(c);
    return upper >= 0 && upper <= 0x7F ? static_cast<unsigned char>(upper) : c;
}

struct Scan {
    VFile& f;
    const char* pattern;
    std::size_t n;
    bool back;
    bool ignoreCase;
    std::int64_t at; // behind the last byte read, in the direction of the scan; one step too far at the end
    unsigned char c; // the last byte read, 0 at the end

    // The only place where content comes in.
    void Next() {
        if (back) {
            f.ReadPrevByte(c);
            --at;
        } else {
            f.ReadByte(c);
            ++at;
        }
    }

    // The k-th byte of the pattern as the scan meets them.
    unsigned char Pattern(std::size_t k) const { return static_cast<unsigned char>(pattern[back ? n - 1 - k : k]); }

    bool Match(unsigned char a, unsigned char b) const { return a == b || (ignoreCase && Folded(a) == Folded(b)); }

    // How far the pattern moves on behind m matched bytes: the least shift that still agrees with all of them.
    std::size_t Shift(std::size_t m) const {
        for (std::size_t s = 1;; ++s) {
            std::size_t k = 0;
            while (k < m - s && Match(Pattern(s + k), Pattern(k))) ++k;
            if (k == m - s) return s;
        }
    }

    // From `at` to the next match, and then `at` is its far end in the direction of the scan. The end of the content
    // needs no test while bytes are matched: its 0 matches no byte of a string.
    bool Run() {
        std::size_t m = 0;
        f.SetPos(static_cast<std::int32_t>(at));
        Next();
        for (;;) {
            if (m == 0) {
                while (!f.eof && !Match(c, Pattern(0))) Next();
                if (f.eof) return false;
            }
            while (m < n && Match(c, Pattern(m))) {
                ++m;
                Next();
            }
            if (m == n) break;
            m -= Shift(m);
        }
        at += back ? 1 : -1;
        return true;
    }

    // Reading beside a match. The edges of the content are no word bytes.
    bool WordByteAt(std::int64_t p) {
        f.SetPos(static_cast<std::int32_t>(p));
        f.ReadByte(c);
        return std::isalnum(c) != 0;
    }
    bool WordByteBefore(std::int64_t p) {
        f.SetPos(static_cast<std::int32_t>(p));
        f.ReadPrevByte(c);
        return std::isalnum(c) != 0;
    }

    // A match inside a longer word. The byte beyond its far end is looked at first.
    bool InsideWord() {
        const auto size = static_cast<std::int64_t>(n);
        if (back) return WordByteBefore(at) || WordByteAt(at + size);
        return WordByteAt(at) || WordByteBefore(at - size);
    }

    bool RunToWord() {
        while (Run()) {
            if (!InsideWord()) return true;
        }
        return false;
    }
};

} // namespace

bool VFile::Find(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (at < 0) {
        res = resCallError;
        return false;
    }
    const std::size_t n = std::strlen(pattern);
    if (n == 0) return true;
    Scan scan{*this, pattern, n, false, ignoreCase, at, 0};
    const bool found = wholeWord ? scan.RunToWord() : scan.Run();
    at = static_cast<std::int32_t>(std::min<std::int64_t>(scan.at, MaxLen));
    return found;
}

bool VFile::FindBack(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord) {
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (at < 0) {
        res = resCallError;
        return false;
    }
    const std::size_t n = std::strlen(pattern);
    if (n == 0) return true;
    Scan scan{*this, pattern, n, true, ignoreCase, std::min(at, len), 0};
    const bool found = wholeWord ? scan.RunToWord() : scan.Run();
    at = static_cast<std::int32_t>(scan.at);
    return found;
}

std::int32_t VFile::ReplaceGlobal(const char* pattern, const char* replacement, bool ignoreCase, bool wholeWord) {
    const int oldLen = TextLength(pattern);
    const int newLen = TextLength(replacement);
    if (!OnOwnerThread()) HaltA("VFile", __LINE__);
    if (oldLen == 0) return 0; // it would be found for ever
    std::int32_t count = 0;
    std::int32_t at = 0;
    while (Find(at, pattern, ignoreCase, wholeWord)) {
        ReplaceBuf(at - oldLen, oldLen, replacement, newLen);
        if (res != resDone) break;
        at = pos;
        ++count;
    }
    return count;
}
