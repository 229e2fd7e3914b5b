// Lines and searches found the plain way, and the searches of an object compared with them, down to what they leave.
#pragma once

#include "vfile/vfile.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <string>
#include <vector>

struct Line {
    int start, end, eolSize;
};

inline char ByteAt(const std::string& s, int i) {
    return i >= 0 && i < static_cast<int>(s.size()) ? s[static_cast<std::size_t>(i)] : '\0';
}

inline std::string Part(const std::string& s, int from, int n) {
    return s.substr(std::min(s.size(), static_cast<std::size_t>(from)), static_cast<std::size_t>(n));
}

// In order; the last one has no line end.
inline std::vector<Line> LinesOf(const std::string& s) {
    std::vector<Line> lines{{0, 0, 0}};
    for (int i = 0; i < static_cast<int>(s.size()); ++i) {
        lines.back().end = i + 1;
        if (ByteAt(s, i) != '\r' && ByteAt(s, i) != '\n') continue;
        const int eolSize = ByteAt(s, i) == '\r' && ByteAt(s, i + 1) == '\n' ? 2 : 1;
        i += eolSize - 1;
        lines.back().end = i + 1;
        lines.back().eolSize = eolSize;
        lines.push_back({i + 1, i + 1, 0});
    }
    return lines;
}

// The start of the first match on the way from `at` in steps of `step`, -1 if there is none. Going back, the match ends
// at `at` at the latest. What matches but is no word is passed over whole.
inline int FindPlainly(const std::string& s, int at, int step, const std::string& pattern, bool fold, bool word) {
    const auto same = [fold](char a, char b) {
        return a == b || (fold && (a ^ b) == 0x20 && std::isalpha(static_cast<unsigned char>(a)));
    };
    const int n = static_cast<int>(pattern.size());
    const int size = static_cast<int>(s.size());
    for (int i = step > 0 ? at : at - n; i >= 0 && i + n <= size; i += step) {
        if (!std::equal(pattern.begin(), pattern.end(), s.begin() + i, same)) continue;
        if (!word || (!std::isalnum(ByteAt(s, i - 1)) && !std::isalnum(ByteAt(s, i + n)))) return i;
        i += step * (n - 1);
    }
    return -1;
}

// Both searches from `at`, 0 to the length of `s`, which is the content of `f`.
inline void CheckSearch(VFile& f, const std::string& s, const std::string& pattern, int at, bool fold, bool word) {
    const int len = static_cast<int>(s.size());
    const int n = static_cast<int>(pattern.size());
    for (const int step : {1, -1}) {
        const int start = FindPlainly(s, at, step, pattern, fold, word);
        const bool found = start >= 0;
        std::int32_t got = at;
        EXPECT_EQ(found,
                  step > 0 ? f.Find(got, pattern.c_str(), fold, word) : f.FindBack(got, pattern.c_str(), fold, word));
        EXPECT_EQ(step < 0 ? start : found ? start + n : len + 1, got);
        // The last byte looked at lies beyond the match; for a word, which is looked at on both sides, before it.
        const bool ahead = found ? (step > 0) != word : step > 0;
        const int beyond = !found ? (ahead ? len + 1 : -1) : ahead ? start + n + 1 : start - 1;
        EXPECT_EQ(std::clamp(beyond, 0, len), f.GetPos());
        EXPECT_EQ(beyond < 0 || beyond > len, f.eof);
    }
}
