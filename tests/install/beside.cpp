// A shared object with the library inside, or, without a NAME, a program that has it, too, and two such objects.
#include "hostfile/hfile.h"
#include "vfile/vfile.h"

#ifdef NAME
extern "C" int NAME(const char* folder);
#else
#define NAME Use
extern "C" int first(const char*folder), second(const char*folder);
int main(int, char** argv) {
    int NAME(const char* folder);
    return NAME(argv[1]) + 10 * first(argv[1]) + 100 * second(argv[1]);
}
#endif

int NAME(const char* folder) {
    static VFile text("12");                        // until the process ends
    if (VFile::GetMaxCacheSize() != 4000) return 1; // the other one's
    VFile::SetMaxCacheSize(9000);
    char name[300];
    HFile file;
    if (!HFile::CreateTempFile(file, name, "~b", nullptr, folder, false)) return 2;
    file.WriteWord(0x3433L); // by inline members
    file.Reset();
    text.Append(file, MaxLen);
    return HFile::Remove(name) && "1234" == text ? 0 : 3;
}
