// A module that brings the library into a process that is already running.
#include "platform/export.h"
#include "vfile/vfile.h"

#include <string_view>

static VFile ofModule("goes with the module, or with the process");

extern "C" VFILE_API bool Does(const char* act);
bool Does(const char* act) {
    const std::string_view what = act;
    if (what == "ready") return VFile_IsThreadInitialized();
    if (what == "start") return VFile_InitializeThread();
    if (what == "stop") return VFile_UninitializeThread();
    VFile::SetMaxCacheSize(2);
    struct Counted : VFile {
        int reads = 0;
        void ReadByte(unsigned char& b) override { ++reads, VFile::ReadByte(b); }
    } f;
    f.Append('x', 10000);
    return f.LineStart(5000) == 0 && f.reads == 0 && f.LineEnd(0, true) == 10000 && f.reads == 10001;
}
