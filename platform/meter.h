// How far long work has come, for the host that wants to know, and whether it is to go on. Internal.
//
//     operation --Step--> Meter --each 64 KiB--> the clock --each 4 MiB, or 50 ms--> the thread's callback
//                                                                   <--- on, or stop ---
//
// Without a callback a Step is two sums and a test. Work within other work is told of as a part of that.
#pragma once

#include <cstdint>

enum class VFileWork : int; // vfile/vfile_progress.h tells what there is

namespace vfile_internal::platform {

constexpr VFileWork CopyOfFile{2}; // the one kind of work below VFile

class Meter;

using ProgressCall = bool (*)(void* context, VFileWork work, std::int64_t done, std::int64_t total);

// What the host has set for the calling thread, and what is at work there.
struct Progress {
    ProgressCall call; // null: none
    void* context;
    Meter* running; // the innermost
    bool silent;    // the host is being told, or need not know
};
inline thread_local Progress progress{};

// Nobody is told of what is done while it lives.
class Silence {
  public:
    Silence() : before(progress.silent) { progress.silent = true; }
    ~Silence() { progress.silent = before; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    const bool before;
};

class Meter {
  public:
    static constexpr std::int64_t Unknown = -1;
    static constexpr std::int64_t Quantum = 64 * 1024;        // from one look at the clock to the next
    static constexpr std::int64_t Distance = 4 * 1024 * 1024; // from one call of the host to the next, at most
    static constexpr std::uint32_t Interval = 50;             // the same in milliseconds

    Meter(VFileWork what, std::int64_t toDo)
        : done(0), left(INT64_MAX), total(toDo), told(0), outer(nullptr), lastTold(0), work(what), stopped(false) {
        if (progress.call && !progress.silent) Begin();
    }
    virtual ~Meter() {
        if (IsOn()) progress.running = outer;
    }
    Meter(const Meter&) = delete;
    Meter& operator=(const Meter&) = delete;

    // So many bytes more are done, at so much cost, in bytes that are gone over in memory. False if the work ends here.
    // Nothing is held that the host could disturb.
    bool Step(std::int64_t bytes, std::int64_t cost) {
        done += bytes;
        left -= cost;
        return left > 0 || Look();
    }
    bool Step(std::int64_t bytes) { return Step(bytes, bytes); }
    bool StepSlow(std::int64_t bytes) { return Step(bytes, Quantum); } // a call of the system: the clock counts little

    bool IsOn() const { return progress.running == this; } // asked with no other work within
    bool IsStopped() const { return stopped; }
    std::int64_t Done() const { return done; }
    void SetTotal(std::int64_t toDo) { total = toDo; }

  protected:
    virtual bool Tell(); // the host; its answer

  private:
    void Begin();
    bool Look();

    std::int64_t done;
    std::int64_t left; // until the next look at the clock
    std::int64_t total;
    std::int64_t told; // of what is done
    Meter* outer;      // the work that this is a part of
    std::uint32_t lastTold;
    VFileWork work;
    bool stopped;
};

} // namespace vfile_internal::platform
