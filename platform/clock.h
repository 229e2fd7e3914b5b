// Clocks. Internal.
#pragma once

#include <cstdint>

namespace vfile_internal::platform {

// Local date and time as separate fields, all of one reading of the clock.
struct LocalTime {
    std::uint16_t year, month, day, hour, minute, second, millisecond; // month and day from 1
    bool summer; // tells the two passes of an hour that comes twice; elsewhere it does not count
};

// Both by the zone that the environment names at the moment of the call.
void GetLocalTime(LocalTime& t);
bool SetLocalTime(const LocalTime& t); // sets the machine's clock, if there is such a time and the process may

// Milliseconds of a clock that never goes back, wrapping at 32 bits.
std::uint32_t GetTickCount();

} // namespace vfile_internal::platform
