// Contents of ordinary files from one to another. Internal to the platform layer. All leave the reason of a failure in
// errno.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sys/stat.h>

namespace vfile_internal::platform {

// What is copied at once where the system can't do it by itself; less if there is no memory.
class Piece {
  public:
    Piece() : large(static_cast<char*>(std::malloc(32768))) {}
    ~Piece() { std::free(large); }
    Piece(const Piece&) = delete;
    Piece& operator=(const Piece&) = delete;

    char* Bytes() { return large ? large : small; }
    std::size_t Size() const { return large ? 32768 : sizeof small; }

  private:
    char* large;
    char small[1024];
};

// Reads as many bytes at `at` as come at once: their number, 0 at the end, -1.
ssize_t ReadSome(int fd, Piece& piece, std::size_t count, off_t at);
bool Truncate(int fd, off_t size);

// Copies a content of `size` bytes without its holes, and what lies after it, as of a file that has no size of its
// own. `out` is empty.
bool CopyContent(int out, int in, off_t size);

// True if the file system takes all that was written. One across a network may tell of a full disk only when a
// descriptor is closed, and any of the file serves for that.
bool IsTaken(int fd);

// Hands the content to the device. True for what keeps nothing back.
bool FlushDescriptor(int fd);

// Hands the names in an open directory to the device. A file system that can't do it has no better way.
void FlushNames(int dir);

} // namespace vfile_internal::platform
