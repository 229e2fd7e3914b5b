// Clocks on Linux.
#include "platform/clock.h"

#include <ctime>

namespace platform {

void GetLocalTime(LocalTime& t) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    localtime_r(&now.tv_sec, &fields);
    t.year = static_cast<std::uint16_t>(fields.tm_year + 1900);
    t.month = static_cast<std::uint16_t>(fields.tm_mon + 1);
    t.day = static_cast<std::uint16_t>(fields.tm_mday);
    t.hour = static_cast<std::uint16_t>(fields.tm_hour);
    t.minute = static_cast<std::uint16_t>(fields.tm_min);
    t.second = static_cast<std::uint16_t>(fields.tm_sec);
    t.millisecond = static_cast<std::uint16_t>(now.tv_nsec / 1000000);
}

bool SetLocalTime(const LocalTime& t) {
    tm fields{};
    fields.tm_year = t.year - 1900;
    fields.tm_mon = t.month - 1;
    fields.tm_mday = t.day;
    fields.tm_hour = t.hour;
    fields.tm_min = t.minute;
    fields.tm_sec = t.second;
    fields.tm_isdst = -1;
    if (t.hour > 23 || t.minute > 59 || t.second > 59 || t.millisecond > 999) return false;
    const timespec then{mktime(&fields), t.millisecond * 1000000L};
    if (fields.tm_mday != t.day || fields.tm_mon + 1 != t.month) return false; // there is no such day
    return clock_settime(CLOCK_REALTIME, &then) == 0;
}

std::uint32_t GetTickCount() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 1000000);
}

} // namespace platform
