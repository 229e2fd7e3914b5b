// Threads and processes, as /proc tells of them.
#include "platform/process_linux.h"

#include "platform/descriptor_linux.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

// Fields of a stat file, in the order in which it has them.
struct Stat {
    char state;
    long threads;
    unsigned long long started;
};

// False if there is no such file, or it can't be read.
bool ReadStat(const char* path, Stat& stat) {
    const int fd = OpenRetried(path, O_RDONLY, 0);
    if (fd < 0) return false;
    char line[1024];
    const ssize_t n = read(fd, line, sizeof line - 1);
    close(fd);
    line[n > 0 ? n : 0] = '\0';
    const char* field = std::strrchr(line, ')'); // ends field 2, the name, which may hold anything
    for (int i = 2; field && i < 22; ++i) {
        field = std::strchr(field + 1, ' ');
        if (field && i == 2) stat.state = field[1];
        if (field && i == 19) stat.threads = std::strtol(field, nullptr, 10);
    }
    if (field) stat.started = std::strtoull(field, nullptr, 10);
    return field != nullptr;
}

} // namespace

unsigned long long StartOfThread(pid_t thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", static_cast<int>(thread));
    Stat stat{};
    return ReadStat(path, stat) ? stat.started : 0;
}

bool AncestorLives(pid_t process) {
    const pid_t parent = getppid();
    if (parent == process || parent == 0) return true; // 0: the ancestors are in another namespace
    if (kill(process, 0) != 0 && errno == ESRCH) return false;
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(process));
    Stat of{}, own{};
    if (!ReadStat(path, of) || !ReadStat("/proc/self/stat", own)) return true;
    const bool ended = (of.state == 'Z' || of.state == 'X') && of.threads <= 1; // and nobody has asked how
    return !ended && of.started <= own.started;
}

} // namespace vfile_internal::platform
