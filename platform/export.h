// Marks what the shared library exports. Everything else is hidden.
#pragma once

#if defined(__GNUC__)
#define VFILE_API __attribute__((visibility("default")))
#else
#define VFILE_API
#endif
