// Transfers between a file and pieces of RAM on Linux.
#include "platform/pieces.h"

#include "platform/descriptor_linux.h"

#include <poll.h>
#include <sys/uio.h>

namespace platform {
namespace {

// The pieces as runs of bytes side by side, or as many of them as one call gets.
struct Runs {
    static constexpr int Most = 64; // a piece by itself costs the system more than to copy it would
    iovec of[Most];
    int count;

    Runs(unsigned char* const* pieces, int n, std::uint32_t size) : count(0) {
        for (int i = 0; i < n; ++i) {
            if (i > 0 && pieces[i] == pieces[i - 1] + size) {
                of[count - 1].iov_len += size;
            } else if (count < Most) {
                of[count++] = {pieces[i], size};
            } else {
                return;
            }
        }
    }
};

} // namespace

std::int32_t ReadPieces(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size) {
    const Runs runs(pieces, n, size);
    const int fd = DescriptorOf(handle);
    ssize_t got;
    do {
        got = readv(fd, runs.of, runs.count);
    } while (got < 0 && MayGoOn(fd, POLLIN));
    if (got < 0) SetTransferError(fd);
    return static_cast<std::int32_t>(got);
}

std::int32_t WritePiecesAt(FileHandle handle, unsigned char* const* pieces, int n, std::uint32_t size,
                           std::int64_t offset) {
    const Runs runs(pieces, n, size);
    const int fd = DescriptorOf(handle);
    ssize_t moved;
    do {
        moved = pwritev(fd, runs.of, runs.count, static_cast<off_t>(offset));
    } while (moved < 0 && MayGoOn(fd, POLLOUT));
    if (moved < 0) SetTransferError(fd);
    return static_cast<std::int32_t>(moved);
}

} // namespace platform
