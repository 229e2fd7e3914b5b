// Date and time. The program is linked so that the call that sets the clock ends here: the machine's clock stays.
#include "foundation/datetime.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <vector>

namespace {

std::vector<timespec> settings;

} // namespace

extern "C" int __wrap_clock_settime(clockid_t clock, const timespec* t);
extern "C" int __wrap_clock_settime(clockid_t clock, const timespec* t) {
    EXPECT_EQ(CLOCK_REALTIME, clock);
    settings.push_back(*t);
    return -1;
}

namespace {

tm Fields(std::time_t t) {
    tm fields;
    localtime_r(&t, &fields);
    return fields;
}

TEST(DateTime, FieldsAreThoseOfTheLocalClock) {
    setenv("TZ", "XYZ-05:30", 1);
    tzset();
    for (;;) {
        const std::time_t before = std::time(nullptr);
        int hour, minute, second, ms, day, month, year;
        GetTime(hour, minute, second, ms);
        GetDate(day, month, year);
        if (std::time(nullptr) != before) continue; // the second has changed in between
        const tm f = Fields(before);
        EXPECT_EQ(f.tm_hour * 3600 + f.tm_min * 60 + f.tm_sec, hour * 3600 + minute * 60 + second);
        EXPECT_TRUE(ms >= 0 && ms < 1000);
        EXPECT_EQ(f.tm_mday, day);
        EXPECT_EQ(f.tm_mon + 1, month);
        EXPECT_EQ(f.tm_year + 1900, year);
        break;
    }
    EXPECT_EQ(0, GetEolKind());
}

TEST(DateTime, SettingReplacesItsFieldsAndKeepsTheOthers) {
    settings.clear();
    SetTime(0x10000 + 13, 14, 15, 167); // the low 16 bits count
    SetDate(29, 2, 2028);
    ASSERT_EQ(2U, settings.size());
    const tm time = Fields(settings[0].tv_sec);
    EXPECT_EQ(13 * 3600 + 14 * 60 + 15, time.tm_hour * 3600 + time.tm_min * 60 + time.tm_sec);
    EXPECT_EQ(167000000, settings[0].tv_nsec);
    const tm date = Fields(settings[1].tv_sec);
    EXPECT_EQ(2028, date.tm_year + 1900);
    EXPECT_EQ(2, date.tm_mon + 1);
    EXPECT_EQ(29, date.tm_mday);
}

TEST(DateTime, TimesAndDaysThatDoNotExistLeaveTheClockAlone) {
    settings.clear();
    SetTime(24, 0, 0, 0);
    SetTime(0, 60, 0, 0);
    SetTime(0, 0, -1, 0);
    SetTime(0, 0, 0, 1000);
    SetDate(30, 2, 2028);
    SetDate(0, 1, 2028);
    SetDate(1, 13, 2028);
    EXPECT_TRUE(settings.empty());
}

} // namespace
