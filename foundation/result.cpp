// Result codes: the table of system errors, and the words.
#include "foundation/result.h"

#include "foundation/text.h"
#include "platform/error.h"
#include "platform/platform.h"

namespace {

struct Row {
    std::uint16_t error;
    Res res;
};

constexpr Row rows[] = {
    {0, resDone},             // success
    {1, resCallError},        // invalid function
    {2, resNotFound},         // file not found
    {3, resIllegalPath},      // path not found
    {4, resTooManyFiles},     // too many open files
    {5, resNoPermission},     // access denied
    {6, resCallError},        // invalid handle
    {8, resHeapOverflow},     // not enough memory
    {12, resNoPermission},    // invalid access
    {14, resHeapOverflow},    // out of memory
    {15, resIllegalDrive},    // invalid drive
    {19, resReadOnly},        // write protect
    {20, resIllegalDrive},    // bad unit
    {23, resDiskParityError}, // CRC
    {32, resNoPermission},    // sharing violation
    {33, resNoPermission},    // lock violation
    {36, resTooManyFiles},    // sharing buffer exceeded
    {39, resDiskFull},        // handle disk full
    {50, resNotSupported},    // not supported
    {51, resDeviceOff},       // remote not listening
    {52, resIllegalName},     // duplicate name
    {53, resUnknownPath},     // bad network path
    {54, resNetworkError},    // network busy
    {55, resDeviceOff},       // device does not exist
    {65, resNoPermission},    // network access denied
    {80, resAlreadyExists},   // file exists
    {87, resCallError},       // invalid parameter
    {112, resDiskFull},       // disk full
    {120, resNotImplemented}, // call not implemented
    {123, resIllegalName},    // invalid name
    {161, resIllegalPath},    // bad path name
    {183, resAlreadyExists},  // already exists
    {267, resUnknownPath},    // not a directory
    {1006, resIllegalFile},   // file invalid
};

constexpr const char* words[] = {
    "done",           "not done",        "call error",     "context error", "read only",         "not enough memory",
    "already exists", "already open",    "illegal drive",  "illegal path",  "illegal name",      "illegal file",
    "unknown drive",  "unknown path",    "not found",      "disk full",     "too long",          "no permission",
    "not supported",  "not implemented", "too many files", "device off",    "disk parity error", "hardware error",
    "network error",
};
static_assert(sizeof words / sizeof *words == resNetworkError + 1);

} // namespace

Res GetFileRes() {
    if (GetLastError() == vfile_internal::platform::ErrorStopped) return resStopped;
    const auto error = static_cast<std::uint16_t>(GetLastError());
    for (const Row& row : rows) {
        if (row.error == error) return row.res;
    }
    return resNotDone;
}

void GetTextResMsg(char* buf, unsigned int size, Res code) {
    const bool known = code >= resDone && code <= resNetworkError;
    AssignStr(buf, size, known ? words[code] : code == resStopped ? "stopped" : "unknown error code");
}
