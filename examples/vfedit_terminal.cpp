// What vfedit tells people on standard error.
#include "vfedit_terminal.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds FirstAfter{300}; // a short step shows nothing
constexpr std::chrono::milliseconds Every{100};
constexpr std::int64_t LookEvery = 1 << 20; // bytes from one look at the clock to the next

volatile std::sig_atomic_t lineStands = 0;

} // namespace

void WipeProgressLine() {
    if (!lineStands) return;
    lineStands = 0;
    const char wipe[] = "\r\033[K";
    if (write(STDERR_FILENO, wipe, sizeof wipe - 1) < 0) return; // a terminal that is gone needs no wiping
}

bool Complain(const std::string& name, const std::string& words) {
    WipeProgressLine();
    std::fprintf(stderr, "vfedit: %s: %s\n", name.c_str(), words.c_str());
    return false;
}

bool Complain(const std::string& name, Res res) {
    char words[64];
    GetTextResMsg(words, sizeof words, res);
    return Complain(name, words);
}

bool ComplainErrno(const std::string& name, int e) {
    return Complain(name, std::strerror(e));
}

Progress::Progress(bool wanted) : on(wanted && isatty(STDERR_FILENO)) {}

void Progress::Begin(const char* verb, std::int64_t total) {
    step = verb;
    all = total;
    lookAt = 0;
    due = Clock::now() + FirstAfter;
}

void Progress::At(std::int64_t done) {
    if (!on || done < lookAt) return;
    lookAt = done + LookEvery;
    const Clock::time_point now = Clock::now();
    if (now < due) return;
    due = now + Every;
    lineStands = 1;
    const double megabyte = 1024.0 * 1024.0;
    const double doneMb = static_cast<double>(done) / megabyte;
    if (all > 0) {
        const double share = static_cast<double>(done) / static_cast<double>(all);
        std::fprintf(stderr, "\r\033[K%s: %3.0f %%, %.0f of %.0f MB", step, 100 * (share > 1 ? 1 : share), doneMb,
                     static_cast<double>(all) / megabyte);
    } else {
        std::fprintf(stderr, "\r\033[K%s: %.0f MB", step, doneMb);
    }
    std::fflush(stderr);
}

void Progress::End() {
    WipeProgressLine();
}
