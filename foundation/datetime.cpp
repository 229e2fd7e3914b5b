// Date and time from the system's clock.
#include "foundation/datetime.h"

#include "platform/clock.h"

#include <cstdint>

namespace platform = vfile_internal::platform;

void GetTime(int& hour, int& minute, int& second, int& ms) {
    platform::LocalTime now;
    platform::GetLocalTime(now);
    hour = now.hour;
    minute = now.minute;
    second = now.second;
    ms = now.millisecond;
}

void GetDate(int& day, int& month, int& year) {
    platform::LocalTime now;
    platform::GetLocalTime(now);
    day = now.day;
    month = now.month;
    year = now.year;
}

void SetTime(int hour, int minute, int second, int ms) {
    platform::LocalTime t;
    platform::GetLocalTime(t);
    t.hour = static_cast<std::uint16_t>(hour);
    t.minute = static_cast<std::uint16_t>(minute);
    t.second = static_cast<std::uint16_t>(second);
    t.millisecond = static_cast<std::uint16_t>(ms);
    platform::SetLocalTime(t);
}

void SetDate(int day, int month, int year) {
    platform::LocalTime t;
    platform::GetLocalTime(t);
    t.day = static_cast<std::uint16_t>(day);
    t.month = static_cast<std::uint16_t>(month);
    t.year = static_cast<std::uint16_t>(year);
    platform::SetLocalTime(t);
}

EolKind GetEolKind() {
    return eolDefault;
}
