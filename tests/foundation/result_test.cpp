// Result codes: every system error, every code in words.
#include "foundation/result.h"

#include "platform/platform.h"
#include "tests/support/halt_trap.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {

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
}

TEST(Results, EveryCodeHasItsWordsCutToTheBuffer) {
    const char* const words[] = {"done",           "not done",          "call error",        "context error",
                                 "read only",      "not enough memory", "already exists",    "already open",
                                 "illegal drive",  "illegal path",      "illegal name",      "illegal file",
                                 "unknown drive",  "unknown path",      "not found",         "disk full",
                                 "too long",       "no permission",     "not supported",     "not implemented",
                                 "too many files", "device off",        "disk parity error", "hardware error",
                                 "network error"};
    char buf[64];
    for (Res code = -2; code < 28; ++code) {
        GetTextResMsg(buf, sizeof buf, code);
        EXPECT_STREQ(code >= 0 && code < 25 ? words[code] : "unknown error code", buf) << code;
    }
    char cut[] = "#########";
    GetTextResMsg(cut, 5, resNotDone);
    EXPECT_EQ(std::string("not \0####", 9), std::string(cut, 9));
    EXPECT_ASSERT_HALT("HSys", GetTextResMsg(nullptr, 5, 0));
    EXPECT_ASSERT_HALT("HSys", GetTextResMsg(cut, 0, 0));
}

} // namespace
