// What the layer itself keeps in a handle beside the descriptor. Internal to the platform layer.
#pragma once

#include "platform/platform.h"

namespace platform {

// Makes the handle of a file that the layer has opened. `locked` says that it holds a lock, which CloseFile gives back
// itself: a forked child may still have the descriptor, and would keep the lock. `ordinary` says that writing to it
// can't raise a signal.
FileHandle HandleOfOpened(int descriptor, bool locked, bool ordinary);

// True if the handle's lock was taken by this very process, not by one that it was forked from.
bool HoldsLock(FileHandle handle);
bool IsOrdinary(FileHandle handle);

// To be called in the child of a fork: locks of handles made before are the parent's from now on.
void ForgetInheritedLocks();

// open(2) with the flags that every open of the layer wants, taken up again when a signal interrupts it.
int OpenRetried(const char* name, int flags, unsigned mode);

// Takes the whole-file lock without waiting. True if it is held or the file system knows no locks; `*locked` tells
// which. False, with the last error set, if somebody else holds it.
bool TryLock(int descriptor, bool exclusive, bool* locked);

} // namespace platform
