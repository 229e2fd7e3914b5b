// A host with functions of its own that are called as some of the library's: the library goes on calling its own.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

#include <csetjmp>
#include <cstdio>
#include <cstring>

namespace {

int calls = 0;
char halted[300] = "";
std::jmp_buf back;

void OnHalt(const char* text) {
    std::snprintf(halted, sizeof halted, "%s", text);
    std::longjmp(back, 1);
}

template <class Act>
const char* HaltOf(Act act) {
    std::strcpy(halted, "none");
    if (setjmp(back) == 0) act();
    return halted;
}

} // namespace

void Halt(const char*) {
    ++calls;
}
void Halt(const char*, const char*) {
    ++calls;
}
void Halt(const char*, const char*, const char*) {
    ++calls;
}
void HaltA(const char*, std::int32_t) {
    ++calls;
}
void HaltA(const char*, const char*, std::int32_t) {
    ++calls;
}
void Fatal(const char*, std::int32_t) {
    ++calls;
}
std::int16_t Short(std::int32_t) {
    ++calls;
    return 77;
}
std::int32_t MinL(std::int32_t, std::int32_t) {
    ++calls;
    return -77;
}
void AssignStr(char*, unsigned int, const char*) {
    ++calls;
}

int main() {
    Halt("own"); // these are the host's, for the host
    if (calls != 1 || MinL(1, 2) != -77 || Short(1) != 77) return 1;
    calls = 0;

    InstallHaltProc(OnHalt);
    char c = 0;
    static VMem vm;
    const bool byHalt = std::strstr(HaltOf([&] { vm.Get(5000, c); }), "illegal address") != nullptr;
    const bool byHaltA = std::strcmp(HaltOf([] { HFile::GetTempDir(nullptr, 0); }), "none") != 0;
    VFile f;
    for (int i = 0; i < 100; ++i) f.Append("a line of text\n");
    f.ReplaceGlobal("text", "words", false, true);
    std::int32_t at = 100;
    const bool found = f.Find(at, "words", true, false);
    VFile g(f, 10, 1000);
    g.ReplaceTxt(5, SameLen, f, 0, MaxLen);
    char name[261] = "";
    HFile::GetFullName(name, "x");
    char words[64];
    GetTextResMsg(words, sizeof words, resNotFound);
    std::printf("halts %d %d, found %d, lengths %d %d, name %s, %s, calls of the host's %d\n", byHalt, byHaltA, found,
                f.Length(), g.Length(), name, words, calls);
    return byHalt && byHaltA && found && f.Length() == 1600 && g.Length() == 1605 && words[0] && name[0] && calls == 0
               ? 0
               : 1;
}
