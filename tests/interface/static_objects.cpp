// A host whose objects live before main and after it, on the main thread and on others, and in the child of a fork as
// copies. It tells the first thing that is wrong by its exit code.
#include "vfile/vfile.h"

#include <cstdlib>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

void Check(int what, bool ok) {
    if (!ok) std::_Exit(what);
}

// As early as a program may ask for.
__attribute__((init_priority(101))) VFile early;

bool inChild = false;

struct User { // works before main and after it
    User() { early.Append("before main"); }
    ~User() {
        if (inChild) return;
        early.Append(", after main");
        Check(1, early == "before main, in main, after main" && VFile("late") == "late");
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
    inChild = fork() == 0;
    if (inChild) return 0; // all copies go as on any other exit
    int status = -1;
    Check(6, wait(&status) > 0 && status == 0);
}
