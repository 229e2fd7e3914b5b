// Numbers of the last system error, and their making from what the system reports. Internal.
#pragma once

#include <cstdint>

namespace vfile_internal::platform {

// Only the numbers that the layer itself produces. GetFileRes() knows what each means for a caller.
enum : std::uint32_t {
    ErrorFileNotFound = 2,
    ErrorPathNotFound = 3,
    ErrorTooManyOpenFiles = 4,
    ErrorAccessDenied = 5,
    ErrorInvalidHandle = 6,
    ErrorNotEnoughMemory = 8,
    ErrorWriteProtect = 19,
    ErrorCrc = 23,
    ErrorGeneralFailure = 31, // has no row in the table of results: "not done"
    ErrorSharingViolation = 32,
    ErrorNotSupported = 50,
    ErrorNetworkBusy = 54,
    ErrorDeviceNotExist = 55,
    ErrorFileExists = 80,
    ErrorInvalidParameter = 87,
    ErrorBrokenPipe = 109, // has no row either
    ErrorDiskFull = 112,
    ErrorCallNotImplemented = 120,
    ErrorInvalidName = 123,
    ErrorBadPathName = 161,
    ErrorStopped = 0x200004C7, // by the host; the bit says that the number is not the system's
};

// Translates the system's errno into the thread's last error. Call it straight after the failing call.
void SetErrorFromErrno();

// The same for a call that took a name: a missing file (2) is told from a missing directory on its way (3).
// `name` is in the system's own spelling.
void SetErrorFromErrno(const char* name);

} // namespace vfile_internal::platform
