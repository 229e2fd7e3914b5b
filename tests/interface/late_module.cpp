// A module that brings the library into a process that is already running.
#include "foundation/halt.h"
#include "platform/export.h"
#include "vfile/vfile.h"

extern "C" {
VFILE_API bool Ready();
VFILE_API bool Start();
VFILE_API bool Stop();
VFILE_API bool Work();
VFILE_API void TrapHalts(HaltProc proc);

bool Ready() {
    return VFile_IsThreadInitialized();
}
bool Start() {
    return VFile_InitializeThread();
}
bool Stop() {
    return VFile_UninitializeThread();
}
bool Work() {
    VFile::SetMaxCacheSize(2);
    VFile f('x', 10000);
    unsigned char b = 0;
    f.SetPos(5000);
    f.ReadByte(b);
    return f.Length() == 10000 && b == 'x';
}
void TrapHalts(HaltProc proc) {
    InstallHaltProc(proc);
}
}
