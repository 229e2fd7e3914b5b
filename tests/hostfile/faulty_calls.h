// What the tests of host files share: calls of the system that fail on demand, and acts in a child process.
#pragma once

#include <functional>
#include <sys/wait.h>
#include <unistd.h>

// The error that a call fails with, 0 for the real call; it fails `times` times, behind `before` calls that go well.
struct Fault {
    int error = 0;
    int before = 0;
    int times = 1000;
    bool Strikes() { return error != 0 && before-- <= 0 && times-- > 0; }
};

struct Faults {
    Fault unnamedFile, renameNoReplace, link, copyRange, write, unlink;
};
extern Faults faults;

// Lets the faults of a test end with it.
struct FaultScope {
    ~FaultScope() { faults = Faults(); }
};

// Runs `act` in a child, for what would change the process, as a user without privileges if `plainUser`; what it
// returned, or -1 if it died.
inline int InChild(const std::function<int()>& act, bool plainUser = false) {
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        if (plainUser && geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) _exit(99);
        _exit(act());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
