// Clocks. Internal.
#pragma once

#include <cstdint>

namespace platform {

// Local date and time as separate fields.
struct LocalTime {
    std::uint16_t year, month, day, hour, minute, second, millisecond; // month and day from 1
};

void GetLocalTime(LocalTime& t);
bool SetLocalTime(const LocalTime& t); // sets the machine's clock, if there is such a time and the process may

// Milliseconds of a clock that never goes back, wrapping at 32 bits.
std::uint32_t GetTickCount();

} // namespace platform
