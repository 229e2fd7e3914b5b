// Threads on Linux: numbers, the per-thread pointer, the lock.
#include "platform/thread.h"

#include "platform/descriptor_linux.h"
#include "platform/loader.h"
#include "platform/thread_linux.h"

#include <atomic>
#include <climits>
#include <pthread.h>

namespace vfile_internal::platform {
namespace {

// Numbers are counted, not taken from the system, which gives them out again: an object that outlives its thread must
// not fall to the next one.
std::atomic<std::uint32_t> lastThreadId{0};

// Of the forks that led to this process: the last number that was given before, and the threads that forked, the latest
// ones. Written in the child of a fork, where no other thread is.
constexpr std::uint32_t MostForkingThreads = 16;
std::uint32_t lastIdBeforeFork = 0;
std::uint32_t forkingThreads[MostForkingThreads];
std::uint32_t forks = 0;

pthread_mutex_t slotLock;
bool slotLockLive = false;

// The system runs the destructors of per-thread pointers in rounds, as long as one of them sets its pointer again. The
// end notice waits for the last round but one, so that whatever the host keeps behind such pointers has gone before.
constexpr int EndNoticeRound = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
thread_local int endRounds = 0;
pthread_key_t endKey;
std::atomic<bool> endKeyLive{false};

// The value itself: a thread that is still at work while the library goes keeps it, whatever becomes of the key.
struct TlsValue {
    std::uint32_t index;
    void* value;
};
thread_local TlsValue tlsValue = {NoTlsIndex, nullptr};
std::uint32_t lastTlsIndex = 0;

void OnThreadEnd(void* value) {
    pthread_setspecific(endKey, value);
    if (++endRounds >= EndNoticeRound) OnLoaderNotice(ThreadDetach);
}

} // namespace

std::uint32_t CurrentThreadId() {
    while (threadId == 0) threadId = lastThreadId.fetch_add(1, std::memory_order_relaxed) + 1;
    return threadId;
}

std::uint32_t TlsAlloc() {
    if (pthread_key_create(&endKey, OnThreadEnd) != 0) return NoTlsIndex;
    endKeyLive = true;
    return ++lastTlsIndex;
}

bool TlsFree(std::uint32_t index) {
    return index == lastTlsIndex && StopEndNotices();
}

void* TlsGetValue(std::uint32_t index) {
    return tlsValue.index == index ? tlsValue.value : nullptr;
}

bool TlsSetValue(std::uint32_t index, void* value) {
    const bool told = !endKeyLive || pthread_setspecific(endKey, value) == 0;
    if (!told && endKeyLive) return false; // and not because the key has gone in between
    tlsValue = {index, value};
    return true;
}

bool StopEndNotices() {
    return endKeyLive.exchange(false) && pthread_key_delete(endKey) == 0;
}

void SlotLockInit() {
    pthread_mutex_init(&slotLock, nullptr);
    slotLockLive = true;
}

void SlotLockDone() {
    slotLockLive = false;
    pthread_mutex_destroy(&slotLock);
}

void SlotLockEnter() {
    pthread_mutex_lock(&slotLock);
}

void SlotLockLeave() {
    pthread_mutex_unlock(&slotLock);
}

bool IsFromBeforeFork(std::uint32_t id) {
    return id != 0 && id <= lastIdBeforeFork;
}

bool IsOfForkingThread(std::uint32_t id) {
    for (const std::uint32_t forking : forkingThreads) {
        if (id != 0 && id == forking) return true;
    }
    return false;
}

void RenewThreadInForkedChild() {
    forkingThreads[forks++ % MostForkingThreads] = threadId;
    lastIdBeforeFork = lastThreadId.load(std::memory_order_relaxed);
    threadId = 0; // the next call counts on, past every number of the parent's
    if (slotLockLive) pthread_mutex_init(&slotLock, nullptr); // a thread that is not here may have held it
}

} // namespace vfile_internal::platform
