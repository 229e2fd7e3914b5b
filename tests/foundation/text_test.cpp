// Strings: bounded copies, trimming, comparison.
#include "foundation/text.h"

#include "tests/support/halt_trap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr std::size_t Room = 12;

// A buffer that is '#' but for the string at its start, so that a byte written too many shows.
struct Marked {
    explicit Marked(const char* text) {
        std::memset(bytes, '#', Room);
        std::memcpy(bytes, text, std::strlen(text) + 1);
    }
    std::string All() const { return {bytes, Room}; }
    char bytes[Room];
};

std::string Expected(const std::string& text, std::size_t untouchedFrom, const char* before) {
    std::string all = Marked(before).All();
    all.replace(0, text.size() + 1, text.c_str(), text.size() + 1);
    return all.substr(0, untouchedFrom) + std::string(Room - untouchedFrom, '#');
}

TEST(Text, CopiesAreCutAndNeverPassTheBuffer) {
    const struct {
        bool append;
        const char* before;
        unsigned int size;
        const char* src;
        const char* after;
    } rows[] = {
        {false, "", 4, "abc", "abc"},   {false, "", 4, "abcd", "abc"},  {false, "", 1, "abc", ""},
        {false, "", 4, nullptr, ""},    {false, "", 4, "", ""},         {true, "ab", 5, "cd", "abcd"},
        {true, "ab", 5, "cde", "abcd"}, {true, "ab", 5, nullptr, "ab"}, {true, "ab", 3, "c", "ab"},
        {true, "", 1, "c", ""},
    };
    for (const auto& row : rows) {
        for (const bool conditional : {false, true}) {
            Marked buf(row.before);
            if (row.append) {
                (conditional ? CondAppendStr : AppendStr)(buf.bytes, row.size, row.src);
            } else {
                (conditional ? CondAssignStr : AssignStr)(buf.bytes, row.size, row.src);
            }
            EXPECT_EQ(Expected(row.after, row.size, row.before), buf.All()) << row.after << " in " << row.size;
        }
    }
}

TEST(Text, CopiesHaltOnABufferThatIsNone) {
    char full[] = "abc";
    EXPECT_ASSERT_HALT("HSys", AssignStr(nullptr, 4, "x"));
    EXPECT_ASSERT_HALT("HSys", AssignStr(full, 0, "x"));
    EXPECT_ASSERT_HALT("HSys", AppendStr(nullptr, 4, "x"));
    EXPECT_ASSERT_HALT("HSys", AppendStr(full, 0, "x"));
    EXPECT_ASSERT_HALT("HSys", AppendStr(full, 3, "x"));
    EXPECT_ASSERT_HALT("HSys", AppendStr(full, 3, nullptr));
    EXPECT_ASSERT_HALT("HSys", CondAssignStr(full, 0, "x"));
    EXPECT_ASSERT_HALT("HSys", CondAppendStr(full, 0, "x"));
    CondAssignStr(nullptr, 4, "x");
    CondAppendStr(nullptr, 0, "x");
}

TEST(Text, FiveBytesAreBlanks) {
    for (unsigned int c = 0; c < 256; ++c) {
        const bool blank = c == 9 || c == 10 || c == 12 || c == 13 || c == 32;
        EXPECT_EQ(blank, IsBlank(static_cast<unsigned char>(c))) << c;
    }
    EXPECT_TRUE(IsBlank(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(IsBlank(""));
    EXPECT_TRUE(IsBlank(" \t\n\f\r"));
    EXPECT_FALSE(IsBlank(" \v "));
    EXPECT_FALSE(IsBlank("\xA0"));
}

TEST(Text, TrimmingTakesBlanksOffTheEnds) {
    const struct {
        const char *in, *both, *left, *right;
    } rows[] = {
        {"", "", "", ""},
        {"a", "a", "a", "a"},
        {" a b ", "a b", "a b ", " a b"},
        {"\f\t a\r\n", "a", "a\r\n", "\f\t a"},
        {" \t ", "", "", ""},
        {"\va\v", "\va\v", "\va\v", "\va\v"},
        {"\xA0 \xE4", "\xA0 \xE4", "\xA0 \xE4", "\xA0 \xE4"},
    };
    const auto by = [](void (*trim)(char*), const char* in) {
        char buf[16];
        std::strcpy(buf, in);
        trim(buf);
        return std::string(buf);
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.both, by(Trim, row.in));
        EXPECT_EQ(row.left, by(TrimLeft, row.in));
        EXPECT_EQ(row.right, by(TrimRight, row.in));
    }
    const char* const zeroes[][2] = {
        {"1.500", "1.5"}, {"1.000", "1"}, {"12.", "12"}, {"100", "100"}, {"-0.50", "-0.5"}, {".5", ".5"},
        {".000", "0"},    {"", "0"},      {".", "0"},    {"0", "0"},     {"1.0.0", "1.0"},  {"1.50a", "1.50a"},
    };
    for (const auto& row : zeroes) EXPECT_EQ(row[1], by(TrimZeroes, row[0])) << row[0];
    for (void (*trim)(char*) : {Trim, TrimLeft, TrimRight, TrimZeroes}) trim(nullptr);
}

TEST(Text, ComparisonFoldsLettersOnly) {
    const struct {
        const char *a, *b;
        bool equal, equalI;
    } rows[] = {
        {"", "", true, true},        {"abc", "abc", true, true},     {"aBz", "AbZ", false, true},
        {"abc", "ab", false, false}, {"ab", "abc", false, false},    {"[", "{", false, false},
        {"@", "`", false, false},    {"\xC4", "\xE4", false, false}, {"\xC4", "\xC4", true, true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.equal, EqualStr(row.a, row.b)) << row.a << " " << row.b;
        EXPECT_EQ(row.equalI, EqualStrI(row.a, row.b)) << row.a << " " << row.b;
    }
}

} // namespace
