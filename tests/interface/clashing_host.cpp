// A host with functions of its own that are called as some of the library's, and with names that the library uses
// within: the library goes on calling its own, and takes no name that is not of its interface.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

static int calls = 0, halts = 0;
int platform = 0, BlkDesc = 0, BlkRdr = 0, FindEither = 0, NoSlot = 0, CheckVFile = 0;

#define OWN(name, ...)                                                                                                 \
    void name(__VA_ARGS__) {                                                                                           \
        ++calls;                                                                                                       \
    }
OWN(Halt, const char*)
OWN(Halt, const char*, const char*, const char*)
OWN(Fatal, const char*, std::int32_t)
OWN(AssignStr, char*, unsigned int, const char*)

int main() {
    static VMem vm;
    char c = 0, name[261] = "", words[64] = "";
    InstallHaltProc([](const char*) { ++halts; });
    vm.Get(5000, c);
    VFile f;
    std::int32_t at = 100;
    for (int i = 0; i < 100; ++i) f.Append("a line of text\n");
    if (f.ReplaceGlobal("text", "words", false, true) != 100 || !f.Find(at, "words", true, false)) return 3;
    HFile::GetFullName(name, "x");
    GetTextResMsg(words, sizeof words, resNotFound);
    return halts == 1 && f.Length() == 1600 && words[0] && name[0] && calls == 0 ? 0 : 4;
}
