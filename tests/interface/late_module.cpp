// A module that brings the library into a process that is already running.
#include "platform/export.h"
#include "vfile/vfile.h"

#include <string_view>

extern "C" VFILE_API bool Does(const char* act);
bool Does(const char* act) {
    const std::string_view what = act;
    if (what == "ready") return VFile_IsThreadInitialized();
    if (what == "start") return VFile_InitializeThread();
    if (what == "stop") return VFile_UninitializeThread();
    VFile::SetMaxCacheSize(2);
    VFile f('x', 10000);
    unsigned char b = 0;
    f.SetPos(5000);
    f.ReadByte(b);
    return f.Length() == 10000 && b == 'x';
}
