// A host whose objects live before main and after it, on the main thread and on others.
#include "vfile/vfile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

void Check(bool ok, const char* what) {
    if (ok) return;
    std::printf("wrong: %s\n", what);
    std::fflush(stdout);
    std::_Exit(1);
}

void Put(VFile& f, const char* text) {
    f.ReplaceBuf(f.Length(), 0, text, static_cast<int>(std::strlen(text)));
}

bool Holds(VFile& f, const char* text) {
    char bytes[64] = "";
    f.SetPos(0);
    return f.ReadBytes(bytes, sizeof bytes - 1) == f.Length() && std::strcmp(bytes, text) == 0;
}

// As early as a program may ask for.
__attribute__((init_priority(102))) VFile early;

struct User { // works before main and after it
    User() { Put(early, "before main"); }
    ~User() {
        Put(early, ", after main");
        Check(Holds(early, "before main, in main, after main"), "content after main");
        VFile late;
        Put(late, "late");
        Check(Holds(late, "late"), "an object made after main");
    }
} user;

thread_local VFile ofThread;

} // namespace

int main() {
    Check(VFile_IsThreadInitialized(), "main's thread is set up");
    Check(Holds(early, "before main"), "content made before main");
    Put(early, ", in main");
    Put(ofThread, "main's");
    std::thread([] {
        Put(ofThread, "the other's");
        Check(Holds(ofThread, "the other's"), "an object of the thread");
    }).join();
    Check(Holds(ofThread, "main's"), "an object of main's thread");
}
