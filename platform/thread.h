// Threads: identity, the per-thread word, the one lock. Internal.
#pragma once

#include <cstdint>

namespace platform {

// A number for the calling thread, never 0: different for all threads of the process, and in a forked child different
// from every number that the parent gave. Costs about a function call.
std::uint32_t CurrentThreadId();

// The process's one per-thread pointer. TlsAlloc gives the index, or NoTlsIndex; a thread that has never set its value
// reads NIL. The thread's end notice comes only to threads whose value is not NIL.
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

} // namespace platform
