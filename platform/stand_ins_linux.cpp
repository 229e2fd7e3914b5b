// Stand-ins on Linux: descriptors of the root directory that allow nothing.
#include "platform/stand_ins_linux.h"

#include "platform/descriptor_linux.h"

#include <atomic>
#include <fcntl.h>
#include <pthread.h>

namespace vfile_internal::platform {
namespace {

// Who is about to open a file counts himself first and looks afterwards: what he then finds stays until he is done.
std::atomic<int> opening{0};
std::atomic<unsigned> placed{0}; // bit n: a stand-in has number n
std::atomic<bool> everPlaced{false};
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

struct Locked {
    Locked() { pthread_mutex_lock(&lock); }
    ~Locked() { pthread_mutex_unlock(&lock); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
};

bool OneIsFree() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) return true;
    }
    return false;
}

// The system gives out the lowest number that is free.
void Fill() {
    const Locked locked;
    everPlaced = true;
    while (OneIsFree()) {
        const int fd = open("/", O_PATH | O_CLOEXEC);
        if (fd >= 0 && fd <= STDERR_FILENO) {
            placed |= 1U << fd;
        } else {
            if (fd >= 0) close(fd);
            return;
        }
    }
}

// The host may have put a file of its own there meanwhile.
void Remove(unsigned numbers) {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if ((numbers & 1U << fd) == 0) continue;
        const int flags = fcntl(fd, F_GETFL);
        if (flags >= 0 && (flags & O_PATH) != 0) close(fd);
    }
    placed = 0;
}

} // namespace

StandIns::StandIns() {
    ++opening;
    if (placed != 0 || OneIsFree()) Fill();
}

StandIns::~StandIns() {
    if (--opening > 0 || placed == 0) return;
    const ErrnoKept kept;
    const Locked locked;
    if (opening == 0) Remove(placed);
}

void DropStandInsOfParent() {
    if (!everPlaced) return;
    pthread_mutex_init(&lock, nullptr); // a thread that is not here may have held it
    Remove(~0U);                        // the descriptors are of an earlier moment than what is noted of them
    opening = 0;
}

} // namespace vfile_internal::platform
