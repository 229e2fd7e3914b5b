// The system's calls as vfedit wants them: a descriptor is never one of the three standard ones, also where these are
// closed, so that no message can go into a file; a call that a signal interrupts is taken up again; a descriptor that
// does not wait is waited for. What fails leaves the reason in errno, in whose words vfedit tells of it: an HFile knows
// only a result, takes '\' for a separator, and opens no directories.
#pragma once

#include <csignal>
#include <cstddef>
#include <sys/stat.h>
#include <sys/types.h>

// open(2), relative to a directory. Never passed on to another program, never the controlling terminal. For one thread:
// another could write to a low number before the file is moved.
int OpenAt(int dir, const char* name, int flags, mode_t mode = 0);
int OpenFile(const char* name, int flags);

// As many bytes as there are now, 0 at the end, -1.
ssize_t ReadSome(int fd, void* buf, std::size_t count);
bool WriteAll(int fd, const void* buf, std::size_t count);

// False if the system tells of a failure now, as a file system across a network does of a full disk.
bool Close(int fd);

// Locks of whole files are how programs over the library tell each other what they use. Never waits. False if somebody
// else holds the file; a file system that knows no locks is taken as it is.
bool TryLock(int fd, bool exclusive);

// Holds back every signal while it lives.
class SignalsHeld {
  public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before;
};
