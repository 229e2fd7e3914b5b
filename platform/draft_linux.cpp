// Files in the making on Linux.
#include "platform/draft_linux.h"

#include "platform/place_linux.h"
#include "platform/signal_guard_linux.h"
#include "platform/transfer_linux.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>

namespace vfile_internal::platform {
namespace {

constexpr int NameTries = 100; // for a free name

} // namespace

void DraftName(char* name) {
    static std::atomic<unsigned> counter{0};
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    std::snprintf(name, DraftNameSize, ".~hf%x-%lx-%x.tmp", static_cast<unsigned>(getpid()),
                  static_cast<unsigned long>(now.tv_nsec), counter.fetch_add(1));
}

bool Draft::Create(int directory, mode_t mode) {
    dir = directory;
    maker = getpid();
    // A file without a name can get one later only through the list of open files.
    const bool done = access("/proc/self/fd", X_OK) == 0 && file.OpenAt(dir, ".", O_TMPFILE | O_RDWR, mode);
    return (done || CreateNamed(mode)) && fstat(file.Number(), &made) == 0;
}

bool Draft::CreateNamed(mode_t mode) {
    const SignalsHeld signals;
    for (int i = 0; i < NameTries; ++i) {
        char candidate[DraftNameSize];
        DraftName(candidate);
        if (file.OpenAt(dir, candidate, O_RDWR | O_CREAT | O_EXCL, mode)) {
            std::strcpy(name, candidate);
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool Draft::LinkTo(const char* to) const {
    char open[64];
    std::snprintf(open, sizeof open, "/proc/self/fd/%d", file.Number());
    return linkat(AT_FDCWD, open, dir, to, AT_SYMLINK_FOLLOW) == 0;
}

bool Draft::TakeName() {
    for (int i = 0; i < NameTries; ++i) {
        char candidate[DraftNameSize];
        DraftName(candidate);
        if (LinkTo(candidate)) {
            std::strcpy(name, candidate);
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool Draft::Publish(const char* target, bool replace) {
    if (!IsTaken(file.Number())) return false;
    const SignalsHeld signals;
    return Ready(replace) && Place(target, replace);
}

bool Draft::Place(const char* target, bool replace) {
    if (!name[0]) return LinkTo(target);
    if (replace ? renameat(dir, name, dir, target) != 0 : !MoveNew(dir, name, target)) return false;
    name[0] = '\0';
    return true;
}

void Draft::RemoveName() {
    if (name[0] && maker == getpid()) unlinkat(dir, name, 0);
    name[0] = '\0';
}

void Draft::Discard() {
    const ErrnoKept kept;
    RemoveName();
    file.Close();
}

} // namespace vfile_internal::platform
