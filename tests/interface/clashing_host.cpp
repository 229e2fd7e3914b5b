// A host with functions of its own that are called as some of the library's: the library goes on calling its own.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

static int calls = 0, halts = 0;

#define OWN(type, name, ...)                                                                                           \
    type name(__VA_ARGS__) {                                                                                           \
        ++calls;                                                                                                       \
        return type(77);                                                                                               \
    }
OWN(void, Halt, const char*)
OWN(void, Halt, const char*, const char*, const char*)
OWN(void, Fatal, const char*, std::int32_t)
OWN(std::int32_t, MinL, std::int32_t, std::int32_t)
OWN(void, AssignStr, char*, unsigned int, const char*)

int main() {
    static VMem vm;
    char c = 0, name[261] = "", words[64] = "";
    InstallHaltProc([](const char*) { ++halts; });
    vm.Get(5000, c);
    VFile f;
    for (int i = 0; i < 100; ++i) f.Append("a line of text\n");
    std::int32_t at = 100;
    if (f.ReplaceGlobal("text", "words", false, true) != 100 || !f.Find(at, "words", true, false)) return 3;
    HFile::GetFullName(name, "x");
    GetTextResMsg(words, sizeof words, resNotFound);
    return halts == 1 && f.Length() == 1600 && words[0] && name[0] && calls == 0 ? 0 : 4;
}
