// Failures to order: lets the n-th heap allocation or system call of the calling thread fail, and goes through all n.
//
// Works by the linker: a program made with vfile_fault_test() (tests/CMakeLists.txt) has the calls of the library's
// objects wrapped, under the sanitizers too.
//
//   const auto outcomes = ForEachFault(Faults::Heap, 0, [](const Arm& arm) {
//       VFile f;                                // made in a child process, before anything fails
//       arm([&] { f.Append("abc"); });          // the n-th allocation in here fails
//       return f.res == resDone ? "done" : "refused";
//   });                                         // the outcomes: what came back, or the text of the halt
#pragma once

#include <functional>
#include <set>
#include <string>

namespace Faults {

enum Kind {
    Heap,  // malloc, calloc, realloc, new (std::nothrow)
    Open,  // open
    Read,  // read, pread
    Write, // write, pwrite, pwritev
    Lock,  // flock
    Other, // every further system call of the library: close, lseek, ftruncate, stat, fsync, unlink, rename, ...
    System // any of them but Heap
};

// From now on the n-th call of this kind on the calling thread fails with this errno (heap: ENOMEM always); only that
// one, or with `lasting` all that follow, too.
void FailNth(Kind kind, int n, int error, bool lasting = false);

// From now on `count` bytes can still be written, by all files together, and then the disk is full.
void DiskFullAfter(int count);

extern bool plainCopies; // the system does not copy by itself, so that a copy reads and writes

void Disarm();
bool Fired(); // since FailNth or DiskFullAfter

} // namespace Faults

// Runs its argument with the failure armed; true if the failure came up.
using Arm = std::function<bool(const std::function<void()>&)>;

// Gives `run`, in a child process each time, an Arm that fails the 1st, the 2nd, ... call, until no call is met; that
// last run must return "done". The result are the different outcomes: what `run` returned or the text of a halt, with
// " LEAK" added if memory of the library or a descriptor is left, and "died" for any other end.
std::set<std::string> ForEachFault(Faults::Kind kind, int error, const std::function<std::string(const Arm&)>& run,
                                   bool lasting = false);
