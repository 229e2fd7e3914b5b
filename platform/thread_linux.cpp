// Threads on Linux: numbers, the per-thread pointer, the lock.
#include "platform/thread.h"

#include "platform/descriptor_linux.h"
#include "platform/loader.h"
#include "platform/thread_linux.h"

#include <atomic>
#include <climits>
#include <pthread.h>

namespace platform {
namespace {

// Numbers are counted, not taken from the system, which gives them out again: an object that outlives its thread must
// not fall to the next one.
std::atomic<std::uint32_t> lastThreadId{0};

pthread_mutex_t slotLock;
bool slotLockLive = false;

// The system runs the destructors of per-thread pointers in rounds, as long as one of them sets its pointer again. The
// end notice waits for the last round but one, so that whatever the host keeps behind such pointers has gone before.
constexpr int EndNoticeRound = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
thread_local int endRounds = 0;
pthread_key_t tlsKey;

void OnThreadEnd(void* value) {
    pthread_setspecific(tlsKey, value);
    if (++endRounds >= EndNoticeRound) OnLoaderNotice(ThreadDetach);
}

} // namespace

std::uint32_t CurrentThreadId() {
    while (threadId == 0) threadId = lastThreadId.fetch_add(1, std::memory_order_relaxed) + 1;
    return threadId;
}

std::uint32_t TlsAlloc() {
    return pthread_key_create(&tlsKey, OnThreadEnd) == 0 ? static_cast<std::uint32_t>(tlsKey) : NoTlsIndex;
}

bool TlsFree(std::uint32_t index) {
    return pthread_key_delete(static_cast<pthread_key_t>(index)) == 0;
}

void* TlsGetValue(std::uint32_t index) {
    return pthread_getspecific(static_cast<pthread_key_t>(index));
}

bool TlsSetValue(std::uint32_t index, void* value) {
    return pthread_setspecific(static_cast<pthread_key_t>(index), value) == 0;
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

void RenewThreadInForkedChild() {
    threadId = 0; // the next call counts on, past every number of the parent's
    if (slotLockLive) pthread_mutex_init(&slotLock, nullptr); // a thread that is not here may have held it
}

} // namespace platform
