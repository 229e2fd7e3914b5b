// Contents from one file to another on Linux.
#include "platform/transfer_linux.h"

#include "platform/descriptor_linux.h"
#include "platform/meter.h"
#include "platform/signal_guard_linux.h"

#include <algorithm>
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

// A copy from front to back, of the same places. Signals are held back while it writes, and not while the host is told.
class Copier {
  public:
    Copier(int to, int from, off_t size)
        : out(to), in(from), at(0), meter(CopyOfFile, size > 0 ? size : Meter::Unknown) {}

    bool Skip(off_t to); // a hole
    bool CopyRange(off_t end);
    bool CopyBytes(off_t end);
    off_t At() const { return at; }

  private:
    bool Told() { return meter.StepSlow(at - meter.Done()) || (errno = ECANCELED, false); }

    const int out;
    const int in;
    off_t at;
    Piece piece;
    Meter meter;
};

bool Copier::Skip(off_t to) {
    at = to;
    return Told();
}

// Copies the bytes up to `end`, or up to the end of the source if that comes first.
bool Copier::CopyBytes(off_t end) {
    while (at < end) {
        const auto most = static_cast<off_t>(piece.Size());
        const ssize_t got = ReadSome(in, piece, static_cast<std::size_t>(std::min(end - at, most)), at);
        if (got < 0) return false;
        if (got == 0) break;
        {
            const SignalGuard guard(SizeIsLimited());
            if (!WriteAllAt(out, piece.Bytes(), static_cast<std::size_t>(got), at)) return false;
        }
        at += got;
        if (!Told()) return false;
    }
    return true;
}

// The same by the system itself, as long as it likes to: some file systems share the blocks instead.
bool Copier::CopyRange(off_t end) {
    const off_t most = meter.IsOn() ? static_cast<off_t>(Meter::Distance) : SSIZE_MAX;
    while (at < end) {
        off_t inAt = at;
        off_t outAt = at;
        ssize_t moved;
        {
            const SignalGuard guard(SizeIsLimited());
            moved = Retried([&] {
                return copy_file_range(in, &inAt, out, &outAt, static_cast<std::size_t>(std::min(end - at, most)), 0);
            });
        }
        if (moved <= 0) break; // whatever the reason, the plain way goes on or tells it
        at += moved;
        if (!Told()) return false;
    }
    return CopyBytes(end);
}

bool Truncated(int fd, off_t size) {
    const SignalGuard guard(SizeIsLimited());
    return Truncate(fd, size);
}

} // namespace

ssize_t ReadSome(int fd, Piece& piece, std::size_t count, off_t at) {
    return Retried([&] { return pread(fd, piece.Bytes(), count, at); });
}

bool Truncate(int fd, off_t size) {
    return Retried([&] { return ftruncate(fd, size); }) == 0;
}

bool CopyContent(int out, int in, off_t size) {
    Copier copier(out, in, size);
    while (copier.At() < size) {
        const off_t data = lseek(in, copier.At(), SEEK_DATA);
        if (data < 0 && errno == ENXIO) break; // nothing but a hole to the end
        off_t end = data < 0 ? size : lseek(in, data, SEEK_HOLE);
        if (data > copier.At() && !copier.Skip(data)) return false;
        if (end < copier.At() || end > size) end = size;
        if (!copier.CopyRange(end)) return false;
        if (copier.At() < end) size = copier.At(); // the source has become shorter
    }
    return Truncated(out, size) && copier.Skip(size) && copier.CopyBytes(OffsetMax);
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
