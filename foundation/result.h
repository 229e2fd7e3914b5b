/// @file
/// Result codes: the one table that all objects share, how system errors become codes, and codes words.
///
/// An operation that fails in the ordinary course leaves a code in its object's field `res`, where it stays until a
/// successful positioning clears it, so that a row of calls can be tested once at its end.
#pragma once

#include "../platform/export.h"

#include <cstdint>

/// A result: resDone, or what went wrong.
using Res = std::int32_t;

constexpr Res resDone = 0;             ///< done
constexpr Res resNotDone = 1;          ///< not done, for a reason that has no code of its own
constexpr Res resCallError = 2;        ///< a wrong argument, or an object in the wrong state
constexpr Res resContextError = 3;     ///< the object is locked
constexpr Res resReadOnly = 4;         ///< the object or the file system takes no changes
constexpr Res resHeapOverflow = 5;     ///< not enough memory
constexpr Res resAlreadyExists = 6;    ///< there is such a file already
constexpr Res resAlreadyOpen = 7;      ///< not used by the library
constexpr Res resIllegalDrive = 8;     ///< no such drive
constexpr Res resIllegalPath = 9;      ///< a directory on the way is missing, or links lead to no end
constexpr Res resIllegalName = 10;     ///< no name for a file, or one too long
constexpr Res resIllegalFile = 11;     ///< not usable as a file
constexpr Res resUnknownDrive = 12;    ///< not used by the library
constexpr Res resUnknownPath = 13;     ///< not a directory, or a network path that is not found
constexpr Res resNotFound = 14;        ///< no such file
constexpr Res resDiskFull = 15;        ///< no room, or no quota, left
constexpr Res resTooLong = 16;         ///< a content would pass 0x7FFFFFFF bytes
constexpr Res resNoPermission = 17;    ///< access denied, or held by somebody else
constexpr Res resNotSupported = 18;    ///< the file can't do that (seek on a pipe)
constexpr Res resNotImplemented = 19;  ///< the system can't do that
constexpr Res resTooManyFiles = 20;    ///< no more files can be opened or locked
constexpr Res resDeviceOff = 21;       ///< the device is not there
constexpr Res resDiskParityError = 22; ///< the device could not read or write its data
constexpr Res resHardwareError = 23;   ///< not used by the library
constexpr Res resNetworkError = 24;    ///< the network below the file failed

/// Stopped by the host, which was told of its progress (vfile/vfile_progress.h). Far from the numbers above, which may
/// grow, and from any that a hook of a host may give: the letters STOP.
constexpr Res resStopped = 0x53544F50;

/// The code for the calling thread's last system error (platform/platform.h), of which only the low 16 bits count. To
/// be called straight after the failed call. Errors without a row in the table give resNotDone, and no error resDone;
/// what the host has stopped gives resStopped.
VFILE_API Res GetFileRes();

/// Puts a code into words: "done", "not found", ...; "stopped" for resStopped, "unknown error code" for anything
/// else outside 0 to 24.
/// `size` is the size of `buf` in bytes, terminator included; words that don't fit are cut. Halts ("HSys") if `buf` is
/// null or `size` is 0.
VFILE_API void GetTextResMsg(char* buf, unsigned int size, Res code);
