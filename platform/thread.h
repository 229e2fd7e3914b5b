// Threads: identity, the per-thread word, the one lock. Internal.
#pragma once

#include <cstdint>

namespace vfile_internal::platform {

// The calling thread's number, 0 before it has one. For the two functions below, which thereby cost no call.
inline thread_local std::uint32_t threadId = 0;

// A number for the calling thread, never 0: different for all threads of the process, and in a forked child different
// from every number that the parent gave.
std::uint32_t CurrentThreadId();

// True if `id`, which is not 0, is the calling thread's number. Costs a load and a compare.
inline bool IsCurrentThread(std::uint32_t id) {
    return id == threadId;
}

// In a forked child: true if `id` is the number of a thread of a process that it was forked from, so that what bears it
// was made there.
bool IsFromBeforeFork(std::uint32_t id);

// True if that thread is the one that forked: then nobody was at work on what it made, and it is whole in the child.
bool IsOfForkingThread(std::uint32_t id);

// The process's one per-thread pointer. TlsAlloc gives the index, or NoTlsIndex; a thread that has never set its value
// reads null. The thread's end notice comes only to threads whose value is not null.
constexpr std::uint32_t NoTlsIndex = 0xFFFFFFFF;
std::uint32_t TlsAlloc();
bool TlsFree(std::uint32_t index);
void* TlsGetValue(std::uint32_t index);
bool TlsSetValue(std::uint32_t index, void* value);

// A lock without owner or recursion. The child of a fork finds it free.
void SlotLockInit();
void SlotLockDone();
void SlotLockEnter();
void SlotLockLeave();

} // namespace vfile_internal::platform
