/// @file
/// The system's date and time, and the kind of line ends.
#pragma once

#include "../platform/export.h"

/// Kinds of line ends. Line ends of every kind are read alike, and the library writes CR LF where it writes one.
enum EolKind : int {
    eolDefault = 0, ///< the only one that GetEolKind returns
};

/// The local time of day; each field as people write it, milliseconds from 0 to 999. Can be called from any thread.
VFILE_API void GetTime(int& hour, int& minute, int& second, int& ms);

/// The local date; the month from 1, the year in full. Can be called from any thread.
VFILE_API void GetDate(int& day, int& month, int& year);

/// Sets the machine's clock to the date of the moment and this local time. The process needs the right to do so;
/// whether it worked is not told. The low 16 bits of each argument are taken; a time that does not exist leaves the
/// clock alone, and of an hour that comes twice the pass of the moment is meant. All operations on date and time go by
/// the zone that the environment (TZ) names when they are called.
VFILE_API void SetTime(int hour, int minute, int second, int ms);

/// Sets the machine's clock to this date and the local time of the moment; as SetTime.
VFILE_API void SetDate(int day, int month, int year);

/// Always eolDefault.
VFILE_API EolKind GetEolKind();
