// Numbers, strings, result codes; halts: the texts to the letter, the exchange of the procedure, the default one.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "platform/message.h"
#include "platform/platform.h"
#include "support/test.h"

#include <cmath>
#include <map>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

namespace platform = vfile_internal::platform;

static timespec now, setTo; // the machine's clock for these tests, while `now` is not 0

extern "C" int clock_gettime(clockid_t clock, timespec* t) noexcept {
    if (clock != CLOCK_REALTIME || now.tv_sec == 0) return static_cast<int>(syscall(SYS_clock_gettime, clock, t));
    *t = now;
    return 0;
}
extern "C" int clock_settime(clockid_t, const timespec* t) noexcept {
    setTo = *t;
    return 0;
}

namespace {

TEST(Dates, WhatIsReadAndSetAgainIsTheSameMomentInTheZoneOfNow) {
    const char *const york = "EST5EDT,M3.2.0,M11.1.0", *const howe = "LHST-10:30LHDT-11,M10.1.0,M4.1.0";
    const std::pair<const char*, long> rows[] = {{"UTC0", 1700000000}, {howe, 1700000000},
                                                 {howe, 1689000000},   {york, 1699162200}, // an hour that comes twice,
                                                 {york, 1699165800},                       // and its second pass
                                                 {york, 1688990400}};
    int day, month, year, hour, minute, second, ms;
    const auto isSetTo = [](long at, long millis) { return setTo.tv_sec == at && setTo.tv_nsec == millis * 1000000; };
    for (const auto& [zone, at] : rows) {
        setenv("TZ", zone, 1);
        now = {at, 123456789};
        GetDate(day, month, year), GetTime(hour, minute, second, ms);
        SetDate(day, month, year);
        EXPECT_TRUE(isSetTo(at, 123)) << zone << at;
        SetTime(hour, minute, second, 7);
        EXPECT_TRUE(isSetTo(at, 7)) << zone << at;
    }
    EXPECT_TRUE(day == 10 && month == 7 && year == 2023 && hour == 8 && minute == 0 && second == 0 && ms == 123);
    SetDate(10, 1, 2023); // the same hour in winter
    EXPECT_TRUE(isSetTo(1673355600, 123));
    now = {1678633200, 0}; // of the day that has no half past two
    SetTime(2, 30, 0, 0), SetTime(24, 0, 0, 0), SetDate(31, 4, 2023);
    EXPECT_TRUE(isSetTo(1673355600, 123));
    unsetenv("TZ");
    now = {};
}

TEST(Numbers, NarrowingCutsSaturatesOrHalts) {
    const std::pair<double, std::int32_t> cuts[] = {{0.999999, 0},
                                                    {9999.99, 9999},
                                                    {10000.0, 10000},
                                                    {2147483646.999, INT32_MAX - 1},
                                                    {2147483648.0, INT32_MAX},
                                                    {HUGE_VAL, INT32_MAX}};
    for (const auto& [x, whole] : cuts) EXPECT_TRUE(LongTrunc(x) == whole && LongTrunc(-x) == -whole) << x;
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
        char bytes[4], high, low;
        Short2(v, hi, lo), Extract4(v, bytes[3], bytes[2], bytes[1], bytes[0]);
        Extract2(static_cast<std::int16_t>(lo), high, low);
        EXPECT_TRUE(hi == bits >> 16 && lo == (bits & 0xFFFF) && hi == HI(v) && lo == LO(v) && v == Long2(hi, lo));
        for (int i = 0; i < 4; ++i) EXPECT_EQ(static_cast<char>(bits >> 8 * i), bytes[i]);
        EXPECT_TRUE(high == bytes[1] && low == bytes[0] && Build2(high, low) == static_cast<std::int16_t>(lo));
        EXPECT_EQ(v, Build4(bytes[3], bytes[2], bytes[1], bytes[0]));
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
    for (Res res = -1; res <= 25; ++res) GetTextResMsg(buf, sizeof buf, res), words += std::string(buf) + ",";
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
    for (int i = 0; i < 18; ++i) {
        const auto& [append, before, size, src, after] = rows[i / 2];
        std::string buf = std::string(before) + '\0' + "########", expected = buf;
        expected.replace(0, std::strlen(after) + 1, after, std::strlen(after) + 1);
        (i % 2 ? append ? AppendStr : AssignStr : append ? CondAppendStr : CondAssignStr)(buf.data(), size, src);
        EXPECT_EQ(expected, buf) << after << " in " << size;
    }
    char full[] = "abc";
    CondAssignStr(nullptr, 4, "x"), CondAppendStr(nullptr, 0, "x");
    static std::string told;
    InstallHaltProc([](const char* text) { told += halt_trap::IsAssertion(text, "HSys") ? "a" : text; }); // it returns
    for (const auto copy : {AssignStr, AppendStr}) copy(nullptr, 4, "x");
    for (const auto copy : {AssignStr, AppendStr, CondAssignStr, CondAppendStr}) copy(full, 0, "x");
    AppendStr(full, 3, "x"), AppendStr(full, 3, nullptr), GetTextResMsg(nullptr, 4, 0), GetTextResMsg(full, 0, 0);
    DeinstallHaltProc();
    EXPECT_TRUE(told == "aaaaaaaaaa" && full == std::string("abc")) << told;
}

TEST(Text, TrimmingTakesBlanksOffTheEnds) {
    for (int c = 0; c < 256; ++c) {
        const bool blank = c == 9 || c == 10 || c == 12 || c == 13 || c == 32;
        EXPECT_TRUE(IsBlank(static_cast<unsigned char>(c)) == blank && IsBlank(c) == blank) << c;
        EXPECT_FALSE(IsBlank(c + 256) || IsBlank(c - 256)) << c;
    }
    for (const auto trim : {Trim, TrimLeft, TrimRight, TrimZeroes}) // what needs no change is not written to
        trim(const_cast<char*>("a constant")), trim(const_cast<char*>("1.5"));
    EXPECT_TRUE(IsBlank(static_cast<const char*>(nullptr)) && IsBlank("") && IsBlank(" \t\n\f\r"));
    EXPECT_FALSE(IsBlank(" \v ") || IsBlank("\xA0") || IsBlank("  x"));
    // Each with what is left by Trim, TrimLeft, TrimRight.
    const std::array<std::string, 4> blanks[] = {{"\f\t a b\r\n", "a b", "a b\r\n", "\f\t a b"},
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
    EXPECT_TRUE(EqualStr("", "") && EqualStr("abc", "abc") && EqualStrI("aBz", "AbZ") && !EqualStr("aBz", "AbZ"));
    for (const auto& [a, b] : {std::pair("abc", "ab"), {"ab", "abc"}, {"[", "{"}, {"@", "`"}, {"\xC4", "\xE4"}})
        EXPECT_FALSE(EqualStr(a, b) || EqualStrI(a, b)) << a << " " << b;
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
        told.clear(), raise();
        EXPECT_EQ(text, told);
    }
    DeinstallHaltProc();
}

TEST(Halts, DefaultProcedureShowsTheWholeTextAndAborts) {
    const std::string text(100000, 'y');
    const auto halts = [&text](int way) {
        signal(SIGABRT, SIG_DFL);
        const rlimit noFiles{};
        if (way == 0) setrlimit(RLIMIT_NOFILE, &noFiles);
        for (int i = 0; i < way; ++i) InstallHaltProc([](const char*) {});
        if (way > 0) way == 1 ? InstallHaltProc(nullptr) : DeinstallHaltProc();
        Halt(text.c_str());
    };
    for (const int way : {0, 1, 2})
        EXPECT_EXIT(halts(way), testing::KilledBySignal(SIGABRT), testing::Eq("Program halted\n" + text + "\n"));
}

TEST(Halts, TextsGoOutOneByOneAndWaitForAReader) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends)); // a read gives what one write gave
    while (write(ends[1], "full", 4) == 4) {
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        std::thread other([] { platform::ShowMessage("One", "text"); });
        platform::ShowMessage("Two", std::string(10000, '2').c_str());
        other.join(), _exit(0);
    }
    usleep(20000), close(ends[1]); // it waits
    char piece[8192];
    std::string all, first;
    for (ssize_t n; (n = read(ends[0], piece, sizeof piece)) != 0;) {
        const std::string got(piece, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
        if (got != "full") all += got;
        if (got.find("One") == 0) first = got;
    }
    waitpid(child, nullptr, 0);
    const std::string one = "One\ntext\n", two = "Two\n" + std::string(10000, '2') + "\n";
    EXPECT_EQ(one, first);
    EXPECT_TRUE(all == one + two || all == two + one);
}

} // namespace
