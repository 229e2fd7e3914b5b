// What vfedit tells people on standard error: failures, and how far a long step has come.
#pragma once

#include "foundation/result.h"

#include <chrono>
#include <cstdint>
#include <string>

// "vfedit: NAME: words". A progress line that stands is wiped first. Always false, so that a step can end with it.
bool Complain(const std::string& name, const std::string& words);
bool Complain(const std::string& name, Res res);    // the library's words for the code
bool ComplainErrno(const std::string& name, int e); // the system's words for errno

// A line on the terminal that is written over and over while a step goes on; nothing if standard error is no terminal.
class Progress {
  public:
    explicit Progress(bool wanted);

    void Begin(const char* verb, std::int64_t total); // total -1: not known
    void At(std::int64_t done);                       // cheap enough for each match or line
    void End();

  private:
    using Clock = std::chrono::steady_clock;
    bool on;
    const char* step = "";
    std::int64_t all = -1;
    std::int64_t lookAt = 0; // nothing is told below it
    Clock::time_point due;
};

// Wipes the line that stands, if there is one. Also called when the program is being interrupted.
void WipeProgressLine();
