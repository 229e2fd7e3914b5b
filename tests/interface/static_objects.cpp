// A host whose objects live before main and after it, on the main thread and on others. It tells the first thing that
// is wrong by its exit code.
#include "vfile/vfile.h"

#include <cstdlib>
#include <thread>

namespace {

void Check(int what, bool ok) {
    if (!ok) std::_Exit(what);
}

// As early as a program may ask for.
__attribute__((init_priority(102))) VFile early;

struct User { // works before main and after it
    User() { early.Append("before main"); }
    ~User() {
        early.Append(", after main");
        Check(1, early == "before main, in main, after main");
        VFile late("late");
        Check(2, late == "late");
    }
} user;

thread_local VFile ofThread;

} // namespace

int main() {
    Check(3, VFile_IsThreadInitialized() && early == "before main");
    early.Append(", in main");
    ofThread.Append("main's");
    std::thread([] {
        ofThread.Append("the other's");
        Check(4, ofThread == "the other's");
    }).join();
    Check(5, ofThread == "main's");
}
