// Strings: bounded copies, trimming, comparison.
#include "foundation/text.h"

#include "tests/support/halt_trap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

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
    const std::tuple<bool, const char*, unsigned int, const char*, const char*> rows[] = {
        {false, "", 4, "abc", "abc"},   {false, "", 4, "abcd", "abc"},  {false, "", 1, "abc", ""},
        {false, "", 4, nullptr, ""},    {false, "", 4, "", ""},         {true, "ab", 5, "cd", "abcd"},
        {true, "ab", 5, "cde", "abcd"}, {true, "ab", 5, nullptr, "ab"}, {true, "ab", 3, "c", "ab"},
        {true, "", 1, "c", ""}};
    for (const auto& [append, before, size, src, after] : rows) {
        for (const auto copy : {append ? AppendStr : AssignStr, append ? CondAppendStr : CondAssignStr}) {
            Marked buf(before);
            copy(buf.bytes, size, src);
            EXPECT_EQ(Expected(after, size, before), buf.All()) << after << " in " << size;
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
    for (const char* s : {static_cast<const char*>(nullptr), "", " \t\n\f\r"}) EXPECT_TRUE(IsBlank(s));
    for (const char* s : {" \v ", "\xA0", "  x"}) EXPECT_FALSE(IsBlank(s));
}

TEST(Text, TrimmingTakesBlanksOffTheEnds) {
    const char* const rows[][4] = {{"", "", "", ""},
                                   {"a", "a", "a", "a"},
                                   {" a b ", "a b", "a b ", " a b"},
                                   {"\f\t a\r\n", "a", "a\r\n", "\f\t a"},
                                   {" \t ", "", "", ""},
                                   {"\va\v", "\va\v", "\va\v", "\va\v"},
                                   {"\xA0 \xE4", "\xA0 \xE4", "\xA0 \xE4", "\xA0 \xE4"}};
    const auto by = [](void (*trim)(char*), const char* in) {
        char buf[16];
        std::strcpy(buf, in);
        trim(buf);
        return std::string(buf);
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row[1], by(Trim, row[0]));
        EXPECT_EQ(row[2], by(TrimLeft, row[0]));
        EXPECT_EQ(row[3], by(TrimRight, row[0]));
    }
    const char* const zeroes[][2] = {{"1.500", "1.5"},  {"1.000", "1"}, {"12.", "12"},    {"100", "100"},
                                     {"-0.50", "-0.5"}, {".5", ".5"},   {".000", "0"},    {"", "0"},
                                     {".", "0"},        {"0", "0"},     {"1.0.0", "1.0"}, {"1.50a", "1.50a"}};
    for (const auto& row : zeroes) EXPECT_EQ(row[1], by(TrimZeroes, row[0])) << row[0];
    for (void (*trim)(char*) : {Trim, TrimLeft, TrimRight, TrimZeroes}) trim(nullptr);
}

TEST(Text, ComparisonFoldsLettersOnly) {
    const std::tuple<const char*, const char*, bool, bool> rows[] = {
        {"", "", true, true},        {"abc", "abc", true, true},     {"aBz", "AbZ", false, true},
        {"abc", "ab", false, false}, {"ab", "abc", false, false},    {"[", "{", false, false},
        {"@", "`", false, false},    {"\xC4", "\xE4", false, false}, {"\xC4", "\xC4", true, true}};
    for (const auto& [a, b, equal, equalI] : rows) {
        EXPECT_EQ(equal, EqualStr(a, b)) << a << " " << b;
        EXPECT_EQ(equalI, EqualStrI(a, b)) << a << " " << b;
    }
}

} // namespace
