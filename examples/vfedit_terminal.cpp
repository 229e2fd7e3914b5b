// What vfedit tells people on standard error.
#include "vfedit_terminal.h"

#include "vfedit_system.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds FirstAfter{300}; // a short step shows nothing
constexpr std::chrono::milliseconds Every{100};
constexpr std::int64_t LookEvery = 1 << 20; // bytes from one look at the clock to the next

volatile std::sig_atomic_t lineStands = 0;

pthread_mutex_t reports = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP; // a thread may have several

} // namespace

void WipeProgressLine() {
    if (!lineStands) return;
    lineStands = 0;
    const char wipe[] = "\r\033[K";
    if (write(STDERR_FILENO, wipe, sizeof wipe - 1) < 0) return; // a terminal that is gone needs no wiping
}

bool Complain(const char* name, const char* format, ...) {
    char words[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(words, sizeof words, format, arguments);
    va_end(arguments);
    WipeProgressLine();
    std::fprintf(stderr, "vfedit: %s: %s\n", name, words);
    return false;
}

bool ComplainErrno(const char* name, int e) {
    return Complain(name, "%s", std::strerror(e));
}

bool Complain(const char* name, Res res) {
    if (res == resHeapOverflow) return ComplainErrno(name, ENOMEM);
    char words[64];
    GetTextResMsg(words, sizeof words, res);
    return Complain(name, "%s", words);
}

const char* InputName(const char* name) {
    return std::strcmp(name, "-") == 0 ? "standard input" : name;
}

const char* OutputName(const char* name) {
    return std::strcmp(name, "-") == 0 ? "standard output" : name;
}

Report::~Report() {
    if (holds) pthread_mutex_unlock(&reports);
}

void Report::Print(const char* format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    const int n = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    Put(line, static_cast<std::size_t>(n) < sizeof line ? static_cast<std::size_t>(n) : sizeof line - 1);
}

void Report::Put(const void* bytes, std::size_t n) {
    used = true;
    if (count + n > sizeof waiting) Empty();
    if (n > sizeof waiting) return Write(bytes, n);
    std::memcpy(waiting + count, bytes, n);
    count += n;
}

void Report::Empty() {
    if (count > 0) Write(waiting, count);
    count = 0;
}

void Report::Write(const void* bytes, std::size_t n) {
    if (!holds) pthread_mutex_lock(&reports);
    holds = true;
    if (error == 0 && !WriteAll(fd, bytes, n)) error = errno;
}

// A file system across a network may tell only at a closing that there is no
// room; that of a copy does, too.
bool Report::Deliver() {
    Empty();
    if (used && error == 0) {
        const int copy = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        if (copy < 0 || !Close(copy)) error = errno;
    }
    return error == 0 || ComplainErrno(fd == STDERR_FILENO ? "standard error" : "standard output", error);
}

Progress::Progress(bool wanted) : on(wanted && isatty(STDERR_FILENO)) {}

void Progress::Begin(const char* verb, std::int64_t total) {
    step = verb;
    all = total;
    lookAt = 0;
    begun = Clock::now();
    due = begun + FirstAfter;
}

void Progress::At(std::int64_t done) {
    if (!on || done < lookAt) return;
    lookAt = done + LookEvery;
    const Clock::time_point now = Clock::now();
    if (now < due) return;
    due = now + Every;
    lineStands = 1;
    const double megabyte = 1024.0 * 1024.0;
    const double doneMb = static_cast<double>(done) / megabyte, allMb = static_cast<double>(all) / megabyte;
    const double rate = doneMb / std::chrono::duration<double>(now - begun).count(); // begun FirstAfter ago, at least
    if (all > 0) {
        const double part = std::min(1.0, doneMb / allMb);
        std::fprintf(stderr, "\r\033[K%s: %3.0f %%, %.0f of %.0f MB, %.0f MB/s, %.0f s left", step, 100 * part, doneMb,
                     allMb, rate, rate > 0 ? (allMb - part * allMb) / rate : 0);
    } else {
        std::fprintf(stderr, "\r\033[K%s: %.0f MB, %.0f MB/s", step, doneMb, rate);
    }
    std::fflush(stderr);
}

void Progress::Within(std::int64_t done, std::int64_t rest) {
    At(done + std::max<std::int64_t>(0, all - rest));
}

void Progress::End() {
    WipeProgressLine();
}
