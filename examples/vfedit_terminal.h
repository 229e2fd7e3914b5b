// What vfedit tells people: what edits print, failures, and how far a long step
// has come. Nothing here takes memory from the heap, so that also a lack of it
// can be told.
#pragma once

#include "foundation/result.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

// "vfedit: NAME: words", words as of printf. A progress line that stands is
// wiped first. Always false, so that a step can end with it.
__attribute__((format(printf, 2, 3))) bool Complain(const char* name, const char* format, ...);
bool ComplainErrno(const char* name,
                   int e); // the system's words for the system's failures
bool Complain(const char* name,
              Res res); // what the library refuses, in its words

// "-" is standard input or output to people.
const char* InputName(const char* name);
const char* OutputName(const char* name);

// Writes what is asked for to standard output or standard error. The first
// failure stays, and nothing is written after it.
class Report {
  public:
    explicit Report(int descriptor) : fd(descriptor) {}
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    __attribute__((format(printf, 2, 3))) void Print(const char* format, ...);
    void Put(const void* bytes, std::size_t n);
    bool Failed() const { return error != 0; }

    // Everything has gone out, or it is told.
    bool Deliver();

  private:
    void Empty();
    void Write(const void* bytes, std::size_t n);

    char waiting[16384];
    std::size_t count = 0;
    int fd;
    bool used = false;
    bool holds = false; // from its first bytes to its end no other report to the
                        // same place is written
    int error = 0;
};

// A line on the terminal that is written over and over while a step goes on;
// nothing if standard error is no terminal.
class Progress {
  public:
    explicit Progress(bool wanted);

    void Begin(const char* verb, std::int64_t total);  // total -1: not known
    void At(std::int64_t done);                        // cheap enough for each match or line
    void Within(std::int64_t done, std::int64_t rest); // of the rest of the step
    bool IsShown() const { return on; }
    void End();

  private:
    using Clock = std::chrono::steady_clock;
    bool on;
    const char* step = "";
    std::int64_t all = -1;
    std::int64_t lookAt = 0; // nothing is told below it
    Clock::time_point begun;
    Clock::time_point due;
};

// Wipes the line that stands, if there is one. Also called when the program is
// being interrupted.
void WipeProgressLine();
