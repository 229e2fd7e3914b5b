// What the tests of the platform layer have in common.
#pragma once

#include "platform/file.h"
#include "tests/support/halt_trap.h"
#include "tests/support/temp_dir.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;

// What `act` returns in a forked child; "died" if it does not come to that.
inline std::string InChild(const std::function<std::string()>& act) {
    return halt_trap::TextOf([&] { halt_trap::SendHome(act().c_str()); });
}

inline FileHandle OpenAs(const std::string& name, Disposition disposition = Disposition::OpenExisting,
                         Access access = Access::ReadWrite, Sharing sharing = Sharing::None) {
    return OpenFile(name.c_str(), access, sharing, disposition, Pattern::Sequential);
}

// The last error that `act` leaves; 0 if it sets none.
inline std::uint32_t ErrorOf(const std::function<void()>& act) {
    SetLastError(0);
    act();
    return GetLastError();
}
