// The loader's notices on Linux.
#include "platform/loader.h"

#include "platform/descriptor_linux.h"
#include "platform/thread_linux.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <pthread.h>
#include <unistd.h>

namespace platform {
namespace {

thread_local bool startNoticeDone = false;

// The threads that were running when the library was loaded: they get no start notice. Their numbers come back from
// the system when they are gone, so the moment at which a thread started tells an old one from its successor.
struct OlderThread {
    pid_t id;
    unsigned long long started; // clock ticks since the machine was started
};
OlderThread* olderThreads = nullptr;
std::size_t olderThreadCount = 0;

// When a thread of this process started; 0 if that can't be told.
unsigned long long StartOfThread(pid_t id) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", static_cast<int>(id));
    std::FILE* f = std::fopen(path, "re");
    if (!f) return 0;
    char line[1024];
    const std::size_t n = std::fread(line, 1, sizeof line - 1, f);
    std::fclose(f);
    line[n] = '\0';
    const char* field = std::strrchr(line, ')'); // ends field 2, the thread's name, which may hold anything
    for (int i = 2; field && i < 22; ++i) field = std::strchr(field + 1, ' ');
    return field ? std::strtoull(field, nullptr, 10) : 0;
}

void RecordOlderThreads() {
    DIR* tasks = opendir("/proc/self/task");
    if (!tasks) return;
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

void ForgetOlderThreads() {
    std::free(olderThreads);
    olderThreads = nullptr;
    olderThreadCount = 0;
}

bool IsOlderThread() {
    if (olderThreadCount == 0) return false;
    const pid_t id = gettid();
    for (std::size_t i = 0; i < olderThreadCount; ++i) {
        if (olderThreads[i].id == id) return olderThreads[i].started == StartOfThread(id);
    }
    return false;
}

// Runs in the child of a fork, on its only thread.
void OnFork() {
    OnForkedChild();
    ForgetInheritedLocks();
    RenewThreadInForkedChild();
    ForgetOlderThreads();
    startNoticeDone = false;
}

bool attached = false;

// 101 is the earliest that a program may ask for: a host's static objects come later and go sooner.
__attribute__((constructor(101))) void OnLoad() {
    RecordOlderThreads();
    pthread_atfork(nullptr, nullptr, OnFork);
    startNoticeDone = true; // the loading thread's part of process start
    attached = OnLoaderNotice(ProcessAttach) != 0;
}

__attribute__((destructor(101))) void OnUnload() {
    if (attached) OnLoaderNotice(ProcessDetach);
    ForgetOlderThreads();
}

} // namespace

void DeliverThreadStart() {
    if (startNoticeDone) return;
    startNoticeDone = true; // before the notice, which comes by here again
    if (!IsOlderThread()) OnLoaderNotice(ThreadAttach);
}

} // namespace platform
