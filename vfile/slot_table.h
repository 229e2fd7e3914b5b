// The slot table: 64 numbered words per thread behind the process's one per-thread pointer. Internal.
//
//   per-thread pointer -> {word 0, word 1, ... word 63}     one array per thread that was set up, null elsewhere
//   slotUsed           =  {1, 1, 1, 1, 0, ... 0}            process-wide: which numbers are handed out
//   slotHigh           =  4                                 the lowest number never handed out since the last reset
//
// Threads: numbers are handed out and taken back under one lock. A thread reads and writes its own words only.
#pragma once

#include <cstdint>

namespace vfile_internal {

using TlsWord = std::uintptr_t; // holds a pointer as well as a number

constexpr std::uint32_t NoSlot = 0xFFFFFFFF;
constexpr std::uint32_t SlotCount = 64;

bool TlsProcessInit(); // false if the table is live already or the system has no per-thread pointer left
bool TlsProcessDone();
bool TlsProcessLive(); // between the two
bool TlsThreadReady(); // the table is live and the calling thread has its array
bool TlsThreadInit();  // makes the calling thread's array, all zeros
bool TlsThreadDone();  // frees it

std::uint32_t TlsSlotAlloc(); // a slot number, or NoSlot
bool TlsSlotFree(std::uint32_t slot);
TlsWord TlsSlotGet(std::uint32_t slot);            // 0 where there is no table, no array or no such slot
bool TlsSlotSet(std::uint32_t slot, TlsWord word); // false and no effect in the same cases

} // namespace vfile_internal
