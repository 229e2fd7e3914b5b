// Strings: bounded copies, trimming, comparison.
#include "foundation/text.h"

#include "tests/support/halt_trap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

namespace {

TEST(Text, CopiesAreCutAndNeverPassTheBuffer) {
    const std::tuple<bool, const char*, unsigned int, const char*, const char*> rows[] = {
        {false, "", 4, "abc", "abc"},   {false, "", 4, "abcd", "abc"},  {false, "", 1, "abc", ""},
        {false, "", 4, nullptr, ""},    {false, "", 4, "", ""},         {true, "ab", 5, "cd", "abcd"},
        {true, "ab", 5, "cde", "abcd"}, {true, "ab", 5, nullptr, "ab"}, {true, "ab", 3, "c", "ab"},
        {true, "", 1, "c", ""}};
    for (const auto& [append, before, size, src, after] : rows) {
        for (const auto copy : {append ? AppendStr : AssignStr, append ? CondAppendStr : CondAssignStr}) {
            std::string buf = std::string(before) + '\0' + "########";
            const std::string expected =
                std::string(buf).replace(0, std::strlen(after) + 1, after, std::strlen(after) + 1);
            copy(buf.data(), size, src);
            EXPECT_EQ(expected, buf) << after << " in " << size;
        }
    }
}

TEST(Text, CopiesHaltOnABufferThatIsNone) {
    char full[] = "abc";
    for (const auto copy : {AssignStr, AppendStr}) EXPECT_ASSERT_HALT("HSys", copy(nullptr, 4, "x"));
    for (const auto copy : {AssignStr, AppendStr, CondAssignStr, CondAppendStr}) {
        EXPECT_ASSERT_HALT("HSys", copy(full, 0, "x"));
    }
    EXPECT_ASSERT_HALT("HSys", AppendStr(full, 3, "x"));
    EXPECT_ASSERT_HALT("HSys", AppendStr(full, 3, nullptr));
    CondAssignStr(nullptr, 4, "x");
    CondAppendStr(nullptr, 0, "x");
}

TEST(Text, TrimmingTakesBlanksOffTheEnds) {
    for (unsigned int c = 0; c < 256; ++c) {
        const bool blank = c == 9 || c == 10 || c == 12 || c == 13 || c == 32;
        EXPECT_EQ(blank, IsBlank(static_cast<unsigned char>(c))) << c;
    }
    EXPECT_TRUE(IsBlank(static_cast<const char*>(nullptr)) && IsBlank("") && IsBlank(" \t\n\f\r"));
    EXPECT_FALSE(IsBlank(" \v ") || IsBlank("\xA0") || IsBlank("  x"));

    const auto by = [](void (*trim)(char*), const char* in) {
        char buf[16];
        trim(nullptr);
        trim(std::strcpy(buf, in));
        return std::string(buf);
    };
    const char* const rows[][4] = {{"", "", "", ""},
                                   {"a", "a", "a", "a"},
                                   {" a b ", "a b", "a b ", " a b"},
                                   {"\f\t a\r\n", "a", "a\r\n", "\f\t a"},
                                   {" \t ", "", "", ""},
                                   {"\xA0 \xE4\v", "\xA0 \xE4\v", "\xA0 \xE4\v", "\xA0 \xE4\v"}};
    for (const auto& row : rows) {
        EXPECT_EQ(row[1], by(Trim, row[0]));
        EXPECT_EQ(row[2], by(TrimLeft, row[0]));
        EXPECT_EQ(row[3], by(TrimRight, row[0]));
    }
    const char* const zeroes[][2] = {{"1.500", "1.5"},  {"1.000", "1"}, {"12.", "12"},    {"100", "100"},
                                     {"-0.50", "-0.5"}, {".5", ".5"},   {".000", "0"},    {"", "0"},
                                     {".", "0"},        {"0", "0"},     {"1.0.0", "1.0"}, {"1.50a", "1.50a"}};
    for (const auto& row : zeroes) EXPECT_EQ(row[1], by(TrimZeroes, row[0])) << row[0];
}

TEST(Text, ComparisonFoldsLettersOnly) {
    const std::tuple<const char*, const char*, bool, bool> rows[] = {
        {"", "", true, true},        {"abc", "abc", true, true},     {"aBz", "AbZ", false, true},
        {"abc", "ab", false, false}, {"ab", "abc", false, false},    {"[", "{", false, false},
        {"@", "`", false, false},    {"\xC4", "\xE4", false, false}, {"\xC4", "\xC4", true, true}};
    for (const auto& [a, b, equal, equalI] : rows) {
        EXPECT_TRUE(EqualStr(a, b) == equal && EqualStrI(a, b) == equalI) << a << " " << b;
    }
}

} // namespace
