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
#include <vector>

namespace Faults {

enum Kind {
    Heap,   // malloc, calloc, realloc, new (std::nothrow)
    Open,   // open
    Read,   // read, pread
    Write,  // write, pwrite
    Lock,   // flock
    Copy,   // copy_file_range
    Rename, // rename, renameat2
    Other,  // every further system call of the library: close, lseek, ftruncate, stat, fsync, unlink, linkat, ...
    System  // any of them but Heap
};

// From now on the n-th call of this kind on the calling thread fails with this errno (heap: ENOMEM always); only that
// one, or with `lasting` all that follow, too.
void FailNth(Kind kind, int n, int error, bool lasting = false);

// From now on `count` bytes can still be written, by all files together, and then the disk is full.
void DiskFullAfter(int count);

void Disarm();
int Calls(Kind kind); // since FailNth or DiskFullAfter
bool Fired();

} // namespace Faults

// Runs its argument with the failure armed; true if the failure came up.
using Arm = std::function<bool(const std::function<void()>&)>;

// Gives `run`, in a child process each time, an Arm that fails the 1st, the 2nd, ... call, until no call is met; that
// last run must return "done". The result has one outcome for each n: what `run` returned or the text of a halt, LEAK
// behind it if memory of the library or a descriptor is left; "died" stands for any other end.
std::vector<std::string> ForEachFault(Faults::Kind kind, int error, const std::function<std::string(const Arm&)>& run,
                                      bool lasting = false);

using Outcomes = std::set<std::string>; // the different ones

inline Outcomes Different(const std::vector<std::string>& outcomes) {
    return {outcomes.begin(), outcomes.end()};
}
