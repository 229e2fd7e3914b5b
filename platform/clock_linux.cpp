// Clocks on Linux.
#include "platform/clock.h"

#include <ctime>
#include <initializer_list>

namespace vfile_internal::platform {

void GetLocalTime(LocalTime& t) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    tzset(); // as mktime does; localtime_r goes by the zone of the first call
    localtime_r(&now.tv_sec, &fields);
    t.year = static_cast<std::uint16_t>(fields.tm_year + 1900);
    t.month = static_cast<std::uint16_t>(fields.tm_mon + 1);
    t.day = static_cast<std::uint16_t>(fields.tm_mday);
    t.hour = static_cast<std::uint16_t>(fields.tm_hour);
    t.minute = static_cast<std::uint16_t>(fields.tm_min);
    t.second = static_cast<std::uint16_t>(fields.tm_sec);
    t.millisecond = static_cast<std::uint16_t>(now.tv_nsec / 1000000);
    t.summer = fields.tm_isdst > 0;
}

bool SetLocalTime(const LocalTime& t) {
    if (t.hour > 23 || t.minute > 59 || t.second > 59 || t.millisecond > 999) return false;
    const int asNow = t.summer ? 1 : 0;
    const int asThen = -1;
    for (const int isDst : {asNow, asThen}) {
        tm fields{};
        fields.tm_year = t.year - 1900;
        fields.tm_mon = t.month - 1;
        fields.tm_mday = t.day;
        fields.tm_hour = t.hour;
        fields.tm_min = t.minute;
        fields.tm_sec = t.second;
        fields.tm_isdst = isDst;
        const timespec then{mktime(&fields), t.millisecond * 1000000L};
        const bool isThere = fields.tm_mon + 1 == t.month && fields.tm_mday == t.day && fields.tm_hour == t.hour &&
                             fields.tm_min == t.minute; // not some other time near it
        if (isThere) return clock_settime(CLOCK_REALTIME, &then) == 0;
    }
    return false;
}

std::uint32_t GetTickCount() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 1000000);
}

} // namespace vfile_internal::platform
