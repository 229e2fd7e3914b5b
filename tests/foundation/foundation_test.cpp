// Numbers, strings, result codes; halts: the texts to the letter, the exchange of the procedure, the default one.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "platform/platform.h"
#include "support/test.h"

#include <cmath>
#include <map>

namespace {

TEST(Numbers, NarrowingCutsSaturatesOrHalts) {
    for (const auto& [x, whole] : {std::pair{0.999999, 0},
                                   {9999.99, 9999},
                                   {10000.0, 10000},
                                   {2147483646.999, INT32_MAX - 1},
                                   {2147483647.0, INT32_MAX},
                                   {2147483648.0, INT32_MAX},
                                   {HUGE_VAL, INT32_MAX}})
        EXPECT_TRUE(LongTrunc(x) == whole && LongTrunc(-x) == -whole) << x;
    const double nan = std::nan(""); // a comparison with it gives the second
    EXPECT_TRUE(MaxR(nan, 1.0) == 1.0 && MinR(nan, 1.0) == 1.0 && SignR(nan) == 0.0 && LongTrunc(nan) == 0);
    for (const int v : {0, -1, 65535, 40000, -40000, -65536, 32767}) EXPECT_EQ(static_cast<std::int16_t>(v), Short(v));
    for (const int v : {0, 65535}) EXPECT_EQ(v, ShortC(v));
    EXPECT_TRUE(Sign(0) == 0 && SignL(0) == 0 && SignS(0) == 0 && SignQ(0) == 0);
    for (const int v : {65536, INT32_MAX}) EXPECT_HALT("Fatal Error 1 in module HSys ", Short(v));
    for (const int v : {-65537, INT32_MIN}) EXPECT_HALT("Fatal Error 2 in module HSys ", Short(v));
    for (const int v : {-1, 65536}) EXPECT_HALT("Fatal Error 3 in module HSys ", ShortC(v));
    InstallHaltProc([](const char*) {}); // one that returns: the low half comes back
    EXPECT_TRUE(Short(65538) == 2 && ShortC(-1) == 65535);
    DeinstallHaltProc();
}

TEST(Numbers, WordsAndBytesSplitAndJoin) {
    for (const int v : {0x12345678, INT32_MIN, -0x7F0080FF}) {
        const auto bits = static_cast<std::uint32_t>(v);
        std::uint16_t hi, lo;
        Short2(v, hi, lo);
        EXPECT_TRUE(hi == bits >> 16 && lo == (bits & 0xFFFF) && hi == HI(v) && lo == LO(v) && v == Long2(hi, lo));
        char bytes[4], high, low;
        Extract4(v, bytes[3], bytes[2], bytes[1], bytes[0]);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(static_cast<char>(bits >> 8 * i), bytes[i]);
        EXPECT_EQ(v, Build4(bytes[3], bytes[2], bytes[1], bytes[0]));
        Extract2(static_cast<std::int16_t>(lo), high, low);
        EXPECT_TRUE(high == bytes[1] && low == bytes[0] && Build2(high, low) == static_cast<std::int16_t>(lo));
    }
}

TEST(Results, EverySystemErrorHasItsCode) {
    const std::map<std::uint32_t, Res> table = {
        {0, 0},    {1, 2},    {2, 14},   {3, 9},   {4, 20},  {5, 17},   {6, 2},    {8, 5},   {12, 17},
        {14, 5},   {15, 8},   {19, 4},   {20, 8},  {23, 22}, {32, 17},  {33, 17},  {36, 20}, {39, 15},
        {50, 18},  {51, 21},  {52, 10},  {53, 13}, {54, 24}, {55, 21},  {65, 17},  {80, 6},  {87, 2},
        {112, 15}, {120, 19}, {123, 10}, {161, 9}, {183, 6}, {267, 13}, {1006, 11}};
    for (std::uint32_t error = 0; error <= 0xFFFF; ++error) {
        const auto row = table.find(error);
        SetLastError(error | 0xABCD0000);
        ASSERT_EQ(row == table.end() ? 1 : row->second, GetFileRes()) << error;
        ASSERT_EQ(error | 0xABCD0000, GetLastError());
    }
    std::string words;
    char buf[64];
    for (Res res = -1; res <= 25; ++res) {
        GetTextResMsg(buf, sizeof buf, res);
        words += std::string(buf) + ",";
    }
    EXPECT_EQ("unknown error code,done,not done,call error,context error,read only,not enough memory,already exists,"
              "already open,illegal drive,illegal path,illegal name,illegal file,unknown drive,unknown path,not found,"
              "disk full,too long,no permission,not supported,not implemented,too many files,device off,"
              "disk parity error,hardware error,network error,unknown error code,",
              words);
    HFile::GetResMsg(buf, sizeof buf, resHeapOverflow);
    EXPECT_STREQ("heap overflow", buf); // the one that it words differently
    GetTextResMsg(buf, 5, resNotDone);
    EXPECT_STREQ("not ", buf);
}

TEST(Text, CopiesAreCutAndNeverPassTheBuffer) {
    const std::tuple<bool, const char*, unsigned int, const char*, const char*> rows[] = {
        {false, "", 4, "abc", "abc"},   {false, "", 4, "abcd", "abc"}, {false, "", 1, "abc", ""},
        {false, "", 4, nullptr, ""},    {true, "ab", 5, "cd", "abcd"}, {true, "ab", 5, "cde", "abcd"},
        {true, "ab", 5, nullptr, "ab"}, {true, "ab", 3, "c", "ab"},    {true, "", 1, "c", ""}};
    for (const auto& [append, before, size, src, after] : rows) {
        for (const auto copy : {append ? AppendStr : AssignStr, append ? CondAppendStr : CondAssignStr}) {
            std::string buf = std::string(before) + '\0' + "########", expected = buf;
            expected.replace(0, std::strlen(after) + 1, after, std::strlen(after) + 1);
            copy(buf.data(), size, src);
            EXPECT_EQ(expected, buf) << after << " in " << size;
        }
    }
    char full[] = "abc";
    for (const auto copy : {AssignStr, AppendStr}) EXPECT_ASSERT_HALT("HSys", copy(nullptr, 4, "x"));
    for (const auto copy : {AssignStr, AppendStr, CondAssignStr, CondAppendStr})
        EXPECT_ASSERT_HALT("HSys", copy(full, 0, "x"));
    for (const char* src : {"x", static_cast<const char*>(nullptr)})
        EXPECT_ASSERT_HALT("HSys", AppendStr(full, 3, src));
    CondAssignStr(nullptr, 4, "x");
    CondAppendStr(nullptr, 0, "x");
}

TEST(Text, TrimmingTakesBlanksOffTheEnds) {
    for (int c = 0; c < 256; ++c) {
        const bool blank = c == 9 || c == 10 || c == 12 || c == 13 || c == 32;
        EXPECT_EQ(blank, IsBlank(static_cast<unsigned char>(c))) << c;
    }
    EXPECT_TRUE(IsBlank(static_cast<const char*>(nullptr)) && IsBlank("") && IsBlank(" \t\n\f\r"));
    EXPECT_FALSE(IsBlank(" \v ") || IsBlank("\xA0") || IsBlank("  x"));
    // Each with what is left by Trim, TrimLeft, TrimRight.
    const std::array<std::string, 4> blanks[] = {{"", "", "", ""},
                                                 {" a b ", "a b", "a b ", " a b"},
                                                 {"\f\t a\r\n", "a", "a\r\n", "\f\t a"},
                                                 {" \t ", "", "", ""},
                                                 {"\xA0 \v", "\xA0 \v", "\xA0 \v", "\xA0 \v"}};
    const auto after = [](void (*trim)(char*), std::string s) {
        trim(nullptr);
        s += '\0'; // room for one more
        trim(s.data());
        return std::string(s.c_str());
    };
    for (const auto& [s, both, left, right] : blanks)
        EXPECT_TRUE(after(Trim, s) == both && after(TrimLeft, s) == left && after(TrimRight, s) == right) << s;
    const std::pair<const char*, const char*> zeroes[] = {{"1.500", "1.5"}, {"1.000", "1"},    {"", "0"},
                                                          {"12.", "12"},    {"100", "100"},    {".000", "0"},
                                                          {"1.0.0", "1.0"}, {"1.50a", "1.50a"}};
    for (const auto& [s, trimmed] : zeroes) EXPECT_EQ(trimmed, after(TrimZeroes, s));
}

TEST(Text, ComparisonFoldsLettersOnly) {
    const std::tuple<const char*, const char*, bool, bool> rows[] = {
        {"", "", true, true},        {"abc", "abc", true, true},    {"aBz", "AbZ", false, true},
        {"abc", "ab", false, false}, {"ab", "abc", false, false},   {"[", "{", false, false},
        {"@", "`", false, false},    {"\xC4", "\xE4", false, false}};
    for (const auto& [a, b, equal, equalI] : rows)
        EXPECT_TRUE(EqualStr(a, b) == equal && EqualStrI(a, b) == equalI) << a << " " << b;
}

TEST(Halts, FormsGiveTheirTextsAndComeBack) {
    static const std::string x(300, 'x');
    static std::string told;
    const std::pair<void (*)(), std::string> rows[] = {
        {[] { Halt("as it is: %s %d"); }, "as it is: %s %d"},
        {[] { Halt("Mod", "msg"); }, "Mod: msg"},
        {[] { Halt("VMem", "CheckAdr", "illegal address (<0)"); }, "VMem, CheckAdr():\nillegal address (<0)"},
        {[] { HaltA("VFile", 77); }, "VFile, line 77:\nAssertion failure"},
        {[] { HaltA("Mod", "Proc", -2147483647 - 1); }, "Mod, Proc(), line -2147483648:\nAssertion failure"},
        {[] { Fatal("HSys", 3); }, "Fatal Error 3 in module HSys "},
        {[] { Halt(x.c_str()); }, x}, // the host's own text; what is made here is cut
        {[] { Halt("M", x.c_str()); }, "M: " + x.substr(0, 256)},
        {[] { HaltA(x.c_str(), x.c_str(), 1); }, x.substr(0, 259)},
        {[] { Fatal(x.c_str(), 1); }, "Fatal Error 1 in module " + x.substr(0, 235)}};
    InstallHaltProc([](const char* text) { told += text; });
    for (const auto& [raise, text] : rows) {
        told.clear();
        raise();
        EXPECT_EQ(text, told);
    }
    DeinstallHaltProc();
}

TEST(Halts, DefaultProcedureShowsTheWholeTextAndAborts) {
    const std::string text(100000, 'y');
    const HaltProc silent = [](const char*) {};
    void (*const backToDefault[])(HaltProc) = {
        [](HaltProc) {}, [](HaltProc proc) { InstallHaltProc(proc), InstallHaltProc(proc), DeinstallHaltProc(); },
        [](HaltProc proc) { InstallHaltProc(proc), InstallHaltProc(nullptr); }};
    for (const auto prepare : backToDefault) {
        EXPECT_EXIT(signal(SIGABRT, SIG_DFL); prepare(silent); Halt(text.c_str()), testing::KilledBySignal(SIGABRT),
                                                               testing::Eq("Program halted\n" + text + "\n"));
    }
}

} // namespace
