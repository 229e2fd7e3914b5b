/// @file
/// Strings: bounded copies that can't run past a buffer, trimming, comparison.
///
/// A string is a NUL-terminated run of bytes in no particular character set. A size is that of the whole buffer in
/// bytes, terminator included. All of it is stateless, allocates nothing, and can be called from any thread.
#pragma once

#include "../platform/export.h"

/// `dst` = `src`, cut at the end to fit `size` without any report. A null `src` leaves `dst` empty. Halts ("HSys") if
/// `dst` is null or `size` is 0; after a halt procedure that returned `dst` is as it was. The two must not overlap.
VFILE_API void AssignStr(char* dst, unsigned int size, const char* src);

/// Adds `src` after the string in `dst`, cut at the end to fit `size` without any report. A null `src` adds nothing.
/// Halts ("HSys") if `dst` is null, if `size` is 0, or if the string in `dst` leaves no room for its own terminator;
/// after a halt procedure that returned `dst` is as it was.
VFILE_API void AppendStr(char* dst, unsigned int size, const char* src);

/// AssignStr, or nothing at all if `dst` is null.
VFILE_API void CondAssignStr(char* dst, unsigned int size, const char* src);

/// AppendStr, or nothing at all if `dst` is null.
VFILE_API void CondAppendStr(char* dst, unsigned int size, const char* src);

/// True for the five blanks: tab (9), line feed (10), form feed (12), carriage return (13), space (32).
VFILE_API bool IsBlank(unsigned char c);

/// The same for any other number or character: only those five are blanks.
VFILE_LOCAL inline bool IsBlank(int c) {
    return c == static_cast<unsigned char>(c) && IsBlank(static_cast<unsigned char>(c));
}

/// True if `s` is null, empty, or holds blanks only.
VFILE_API bool IsBlank(const char* s);

/// Removes blanks at both ends, in place. Null is taken and left alone, here and in the three that follow, and a string
/// that needs no change is only read.
VFILE_API void Trim(char* s);

/// Removes blanks at the start, in place.
VFILE_API void TrimLeft(char* s);

/// Removes blanks at the end, in place.
VFILE_API void TrimRight(char* s);

/// Removes the trailing zeros of a decimal fraction, and a dot that then ends the number, in place: 1.500 becomes 1.5,
/// 1.000 becomes 1, 100 stays, .000 becomes 0. An empty string becomes "0", so the buffer needs room for two bytes.
VFILE_API void TrimZeroes(char* s);

/// True if the strings are equal byte for byte. Neither may be null.
VFILE_API bool EqualStr(const char* a, const char* b);

/// True if the strings are equal but for the case of the letters A to Z. No locale plays a part: bytes from 0x80 up are
/// equal only to themselves. Neither may be null.
VFILE_API bool EqualStrI(const char* a, const char* b);
