// Date and time. The program is linked so that the call that sets the clock ends here: the machine's clock stays.
#include "foundation/datetime.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <vector>

static std::vector<timespec> settings;

extern "C" int __wrap_clock_settime(clockid_t clock, const timespec* t);
extern "C" int __wrap_clock_settime(clockid_t clock, const timespec* t) {
    EXPECT_EQ(CLOCK_REALTIME, clock);
    settings.push_back(*t);
    return -1;
}

static std::string Local(std::time_t t) {
    char text[40];
    tm fields;
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&t, &fields));
    return text;
}

TEST(DateTime, FieldsAreThoseOfTheLocalClock) {
    setenv("TZ", "XYZ-05:30", 1);
    tzset();
    int hour, minute, second, ms, day, month, year;
    std::string before;
    do { // again if the second has changed in between
        before = Local(std::time(nullptr));
        GetTime(hour, minute, second, ms);
        GetDate(day, month, year);
    } while (before != Local(std::time(nullptr)));
    char text[100];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
    EXPECT_EQ(before, text);
    EXPECT_TRUE(ms >= 0 && ms < 1000);
    EXPECT_EQ(0, GetEolKind());
}

TEST(DateTime, SettingReplacesItsFieldsIfTheyExist) {
    SetTime(24, 0, 0, 0), SetTime(0, 60, 0, 0), SetTime(0, 0, -1, 0), SetTime(0, 0, 0, 1000);
    SetDate(30, 2, 2028), SetDate(0, 1, 2028), SetDate(1, 13, 2028);
    EXPECT_TRUE(settings.empty());
    SetTime(0x10000 + 13, 14, 15, 167); // the low 16 bits count
    SetDate(29, 2, 2028);
    ASSERT_EQ(2U, settings.size());
    EXPECT_EQ("13:14:15", Local(settings[0].tv_sec).substr(11));
    EXPECT_EQ(167000000, settings[0].tv_nsec);
    EXPECT_EQ("2028-02-29", Local(settings[1].tv_sec).substr(0, 10));
}
