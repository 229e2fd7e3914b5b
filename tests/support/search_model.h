// Search the plain way, and the comparison of both searches of an object with it, down to what they leave behind.
#pragma once

#include "vfile/vfile.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <string>

inline bool MatchesAt(const std::string& s, int at, const std::string& pattern, bool ignoreCase) {
    if (at < 0 || at + static_cast<int>(pattern.size()) > static_cast<int>(s.size())) return false;
    return std::equal(pattern.begin(), pattern.end(), s.begin() + at, [ignoreCase](char a, char b) {
        return a == b || (ignoreCase && (a ^ b) == 0x20 && std::isalpha(static_cast<unsigned char>(a)));
    });
}

inline bool IsWord(const std::string& s, int at, int n) {
    const auto wordByte = [&s](int i) {
        return i >= 0 && i < static_cast<int>(s.size()) &&
               std::isalnum(static_cast<unsigned char>(s[static_cast<std::size_t>(i)]));
    };
    return !wordByte(at - 1) && !wordByte(at + n);
}

// The start of the match that a search from `at` gives, -1 if none. A match that is no word is passed over whole.
inline int FindPlainly(const std::string& s, int at, const std::string& pattern, bool ignoreCase, bool wholeWord) {
    const int n = static_cast<int>(pattern.size());
    for (; at + n <= static_cast<int>(s.size()); ++at) {
        if (!MatchesAt(s, at, pattern, ignoreCase)) continue;
        if (!wholeWord || IsWord(s, at, n)) return at;
        at += n - 1;
    }
    return -1;
}

inline int FindBackPlainly(const std::string& s, int end, const std::string& pattern, bool ignoreCase, bool wholeWord) {
    const int n = static_cast<int>(pattern.size());
    for (; end >= n; --end) {
        if (!MatchesAt(s, end - n, pattern, ignoreCase)) continue;
        if (!wholeWord || IsWord(s, end - n, n)) return end - n;
        end -= n - 1;
    }
    return -1;
}

// Both searches from `at`, which is 0 to the length of `s`, the content of `f`.
inline void CheckSearch(VFile& f, const std::string& s, const std::string& pattern, int at, bool ignoreCase,
                        bool wholeWord) {
    const int len = static_cast<int>(s.size());
    const int n = static_cast<int>(pattern.size());
    if (n == 0) return;
    const int start = FindPlainly(s, at, pattern, ignoreCase, wholeWord);
    std::int32_t found = at;
    EXPECT_EQ(start >= 0, f.Find(found, pattern.c_str(), ignoreCase, wholeWord));
    EXPECT_EQ(start >= 0 ? start + n : len + 1, found);
    const bool back = start >= 0 && wholeWord; // the last byte read stands before the match
    EXPECT_EQ(back ? std::max(start - 1, 0) : start >= 0 ? std::min(start + n + 1, len) : len, f.GetPos());
    EXPECT_EQ(back ? start == 0 : start < 0 || start + n == len, f.eof);

    const int first = FindBackPlainly(s, at, pattern, ignoreCase, wholeWord);
    found = at;
    EXPECT_EQ(first >= 0, f.FindBack(found, pattern.c_str(), ignoreCase, wholeWord));
    EXPECT_EQ(first, found);
    const bool ahead = first >= 0 && wholeWord;
    EXPECT_EQ(ahead ? std::min(first + n + 1, len) : std::max(first - 1, 0), f.GetPos());
    EXPECT_EQ(ahead ? first + n == len : first <= 0, f.eof);
    EXPECT_EQ(resDone, f.res);
}
