/// @file
/// Comparison of a VFile with another one, or with a string.
#pragma once

#include "../platform/export.h"

#include <cstddef>

class VFile;

/// @name Comparison
///
/// Of whole contents, as strings of bytes: the first byte that differs decides, taken as 0 to 255; a content that the
/// other one begins with is the lesser of the two. No letters are folded and no locale plays a part. A NUL in an object
/// is a byte like any other; a string ends at its first NUL and must not be null.
///
/// The objects stay exactly as they are: the bytes come through a cursor beside theirs, which also sees what has not
/// left their buffers yet. Both must belong to the calling thread, else a halt ("VFile").
///
/// Cost: == and != look at the lengths first. All go over 1024 bytes of each side at a time, up to the first
/// difference, and allocate nothing.
/// @{
VFILE_API bool operator==(const VFile& a, const VFile& b); ///< what the sign says, of the two contents
VFILE_API bool operator==(const VFile& v, const char* s);
VFILE_API bool operator<(const VFile& a, const VFile& b);
VFILE_API bool operator<(const VFile& v, const char* s);
VFILE_API bool operator<=(const VFile& a, const VFile& b);
VFILE_API bool operator<=(const VFile& v, const char* s);

bool operator==(const VFile& v, std::nullptr_t) = delete; // no string
bool operator!=(const VFile& v, std::nullptr_t) = delete;
bool operator==(std::nullptr_t, const VFile& v) = delete;
bool operator!=(std::nullptr_t, const VFile& v) = delete;

VFILE_LOCAL inline bool operator==(const char* s, const VFile& v) {
    return v == s;
}
VFILE_LOCAL inline bool operator!=(const VFile& a, const VFile& b) {
    return !(a == b);
}
VFILE_LOCAL inline bool operator!=(const VFile& v, const char* s) {
    return !(v == s);
}
VFILE_LOCAL inline bool operator!=(const char* s, const VFile& v) {
    return !(v == s);
}
VFILE_LOCAL inline bool operator<(const char* s, const VFile& v) {
    return !(v <= s);
}
VFILE_LOCAL inline bool operator<=(const char* s, const VFile& v) {
    return !(v < s);
}
VFILE_LOCAL inline bool operator>(const VFile& a, const VFile& b) {
    return b < a;
}
VFILE_LOCAL inline bool operator>(const VFile& v, const char* s) {
    return !(v <= s);
}
VFILE_LOCAL inline bool operator>(const char* s, const VFile& v) {
    return v < s;
}
VFILE_LOCAL inline bool operator>=(const VFile& a, const VFile& b) {
    return b <= a;
}
VFILE_LOCAL inline bool operator>=(const VFile& v, const char* s) {
    return !(v < s);
}
VFILE_LOCAL inline bool operator>=(const char* s, const VFile& v) {
    return v <= s;
}
/// @}
