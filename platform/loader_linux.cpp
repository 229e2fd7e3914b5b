// The loader's notices on Linux.
#include "platform/loader.h"

#include "platform/descriptor_linux.h"
#include "platform/process_linux.h"
#include "platform/stand_ins_linux.h"
#include "platform/thread_linux.h"

#include <atomic>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

thread_local bool startNoticeDone = false;

// The threads that were running when the library was loaded: they get no start notice. Their numbers come back from
// the system when they are gone, so the moment at which a thread started tells an old one from its successor.
struct OlderThread {
    pid_t id;
    unsigned long long started;
};
OlderThread* olderThreads = nullptr;
std::atomic<std::size_t> olderThreadCount{0};
std::atomic<int> asking{0}; // threads that are looking into the list

void RecordOlderThreads() {
    const int fd = OpenRetried("/proc/self/task", O_RDONLY | O_DIRECTORY, 0);
    DIR* tasks = fd >= 0 ? fdopendir(fd) : nullptr;
    if (!tasks) {
        if (fd >= 0) close(fd);
        return;
    }
    while (const dirent* entry = readdir(tasks)) {
        const pid_t id = static_cast<pid_t>(std::atoi(entry->d_name));
        if (id == 0 || id == gettid()) continue;
        void* grown = std::realloc(olderThreads, (olderThreadCount + 1) * sizeof(OlderThread));
        if (!grown) break;
        olderThreads = static_cast<OlderThread*>(grown);
        olderThreads[olderThreadCount++] = {id, StartOfThread(id)};
    }
    closedir(tasks);
}

// Who comes to ask from now on finds nobody on the list; under one that is at it, the list stays.
void ForgetOlderThreads() {
    olderThreadCount = 0;
    if (asking != 0) return;
    std::free(olderThreads);
    olderThreads = nullptr;
}

bool IsOlderThread() {
    ++asking;
    const pid_t id = gettid();
    bool older = false;
    for (std::size_t i = 0, count = olderThreadCount; i < count && !older; ++i) {
        older = olderThreads[i].id == id && olderThreads[i].started == StartOfThread(id);
    }
    --asking;
    return older;
}

// Runs in the child of a fork, on its only thread. Stays away from the heap, where another thread may have been at
// work.
void OnFork() {
    if (startNoticeDone) OnForkedChild();
    RenewThreadInForkedChild();
    DropStandInsOfParent();
    olderThreadCount = 0; // none of them is here
    asking = 0;
    startNoticeDone = false;
}

void OnLoad() {
    RecordOlderThreads();
    pthread_atfork(nullptr, nullptr, OnFork);
    startNoticeDone = true; // the loading thread's part of process start
    OnLoaderNotice(ProcessAttach);
}

// The calling thread has its end here. Other threads find all they use as it was and end without a notice: nobody can
// tell an exit from an unloading, and even after the begin of an exit a host may unload what they would come back to.
void OnUnload() {
    if (startNoticeDone) OnLoaderNotice(ThreadDetach);
    StopEndNotices();
    ForgetOlderThreads();
}

// Before and after all that a host may ask for: a program's priorities begin with 101.
using Step = void (*)();
[[gnu::used, gnu::section(".init_array.00100")]] Step firstStep = OnLoad;
[[gnu::used, gnu::section(".fini_array.00100")]] Step lastStep = OnUnload;

} // namespace

void DeliverThreadStart() {
    if (startNoticeDone) return;
    startNoticeDone = true; // before the notice, which comes by here again
    if (!IsOlderThread()) OnLoaderNotice(ThreadAttach);
}

} // namespace vfile_internal::platform
