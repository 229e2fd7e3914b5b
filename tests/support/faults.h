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

struct Faults {
    enum Kind {
        Heap,  // malloc, calloc, realloc
        Open,  // open
        Read,  // read, pread
        Write, // write, pwrite, pwritev
        Lock,  // flock
        Close, // close, which has closed the descriptor all the same
        Flush, // fsync
        Other, // every further system call of the library: lseek, ftruncate, stat, unlink, rename, ...
        System // any of them but Heap
    };
    struct Order {
        Kind kind = Heap;
        int left = 0;  // calls until the failure, 0 when none is ordered
        int error = 0; // errno; for the heap it is always ENOMEM
        bool lasting = false;
        int room = -1;             // bytes until the disk is full, -1 without limit
        std::function<void()> act; // instead of the failure
    };
    static void Give(const Order& o); // to the calling thread, instead of the one before

    // From now on the n-th call of this kind on the calling thread fails with this errno; only that one, or with
    // `lasting` all that follow, too.
    static void FailNth(Kind kind, int n, int error, bool lasting = false) { Give({kind, n, error, lasting, -1, {}}); }
    // From now on `count` bytes can still be written, by all files together, and then the disk is full.
    static void DiskFullAfter(int count) { Give({Heap, 0, 0, false, count, {}}); }
    // The n-th system call of the calling thread from now on finds that `act` has been done just before.
    static void CallAt(int n, const std::function<void()>& act) { Give({System, n, 0, false, -1, act}); }
    static void Disarm(); // Fired() stays
    static bool Fired();  // since the last order

    static inline bool plainCopies = false; // the system does not copy by itself, so that a copy reads and writes
    static inline bool plainMoves = false;  // the file system knows no renaming that never replaces
};

// Runs its argument with the failure armed; true if the failure came up.
using Arm = std::function<bool(const std::function<void()>&)>;

// Gives `run`, in a child process each time, an Arm that fails the 1st, the 2nd, ... call, until no call is met; that
// last run must return "done". The result are the different outcomes: what `run` returned or the text of a halt, with
// " LEAK" added if memory of the library or a descriptor is left, and "died" for any other end.
std::set<std::string> ForEachFault(Faults::Kind kind, int error, const std::function<std::string(const Arm&)>& run,
                                   bool lasting = false);
