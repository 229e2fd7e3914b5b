// Contents from one file to another on Linux.
#include "platform/transfer_linux.h"

#include "platform/descriptor_linux.h"
#include "platform/signal_guard_linux.h"

#include <climits>
#include <fcntl.h>

namespace vfile_internal::platform {
namespace {

constexpr off_t OffsetMax = sizeof(off_t) > 4 ? static_cast<off_t>(INT64_MAX) : INT32_MAX;

bool WriteAllAt(int fd, const char* from, std::size_t count, off_t at) {
    errno = ENOSPC; // what a write without a reason that comes short means
    return MoveAll(count, [&](std::size_t done, std::size_t left) {
               return pwrite(fd, from + done, left, at + static_cast<off_t>(done));
           }) == static_cast<ssize_t>(count);
}

// Copies the bytes from `at` up to `end`, or up to the end of the source if that comes first; `at` is then behind them.
bool CopyBytes(int out, int in, Piece& piece, off_t& at, off_t end) {
    while (at < end) {
        const off_t rest = end - at;
        const auto most = static_cast<off_t>(piece.Size());
        const ssize_t got = ReadSome(in, piece, static_cast<std::size_t>(rest < most ? rest : most), at);
        if (got < 0 || !WriteAllAt(out, piece.Bytes(), static_cast<std::size_t>(got), at)) return false;
        if (got == 0) break;
        at += got;
    }
    return true;
}

// The same by the system itself, as long as it likes to: some file systems share the blocks instead.
bool CopyRange(int out, int in, Piece& piece, off_t& at, off_t end) {
    while (at < end) {
        off_t inAt = at;
        off_t outAt = at;
        const off_t rest = end - at < SSIZE_MAX ? end - at : SSIZE_MAX;
        const ssize_t moved =
            Retried([&] { return copy_file_range(in, &inAt, out, &outAt, static_cast<std::size_t>(rest), 0); });
        if (moved <= 0) break; // whatever the reason, the plain way goes on or tells it
        at += moved;
    }
    return CopyBytes(out, in, piece, at, end);
}

} // namespace

ssize_t ReadSome(int fd, Piece& piece, std::size_t count, off_t at) {
    return Retried([&] { return pread(fd, piece.Bytes(), count, at); });
}

bool Truncate(int fd, off_t size) {
    return Retried([&] { return ftruncate(fd, size); }) == 0;
}

bool CopyContent(int out, int in, off_t size) {
    const SignalGuard guard(SizeIsLimited());
    Piece piece;
    off_t at = 0;
    while (at < size) {
        const off_t data = lseek(in, at, SEEK_DATA);
        if (data < 0 && errno == ENXIO) break; // nothing but a hole to the end
        off_t end = data < 0 ? size : lseek(in, data, SEEK_HOLE);
        if (data >= 0) at = data;
        if (end < at || end > size) end = size;
        if (!CopyRange(out, in, piece, at, end)) return false;
        if (at < end) size = at; // the source has become shorter
    }
    if (!Truncate(out, size)) return false;
    at = size;
    return CopyBytes(out, in, piece, at, OffsetMax);
}

bool IsTaken(int fd) {
    const int other = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return other >= 0 && (close(other) == 0 || errno == EINTR);
}

bool FlushDescriptor(int fd) {
    return Retried([&] { return fsync(fd); }) == 0 || errno == EINVAL || errno == ENOTSUP;
}

void FlushNames(int dir) {
    Descriptor names;
    if (names.OpenAt(dir, ".", O_RDONLY | O_DIRECTORY)) FlushDescriptor(names.Number());
}

} // namespace vfile_internal::platform
