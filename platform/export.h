// What the library exports, and what stays with those who use it.
#pragma once

// VFILE_API: exported from the shared library, where everything else is hidden. In the static form, which is compiled
// with VFILE_STATIC, nothing is: a shared object that it is linked into keeps it for itself.
//
// VFILE_LOCAL: written out in a header. Each program has its own, and does not take that of another one, which may have
// been compiled with another version of the header.
#if defined(__GNUC__)
#ifdef VFILE_STATIC
#define VFILE_API
#else
#define VFILE_API __attribute__((visibility("default")))
#endif
#define VFILE_LOCAL __attribute__((visibility("hidden")))
#else
#define VFILE_API
#define VFILE_LOCAL
#endif
