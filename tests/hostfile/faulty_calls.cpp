#include "hostfile/faulty_calls.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>

Faults faults;

namespace {

bool Strike(Fault& fault) {
    if (!fault.Strikes()) return false;
    errno = fault.error;
    return true;
}

} // namespace

extern "C" {
int __real_open(const char* name, int flags, ...);
int __real_renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags);
int __real_linkat(int fromDir, const char* from, int toDir, const char* to, int flags);
ssize_t __real_copy_file_range(int in, off_t* inAt, int out, off_t* outAt, size_t n, unsigned flags);
ssize_t __real_pwrite(int fd, const void* buf, size_t n, off_t at);
int __real_unlink(const char* name);

int __wrap_open(const char* name, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, int) : 0;
    va_end(rest);
    if ((flags & O_TMPFILE) == O_TMPFILE && Strike(faults.unnamedFile)) return -1;
    return __real_open(name, flags, mode);
}

int __wrap_renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) {
    return Strike(faults.renameNoReplace) ? -1 : __real_renameat2(fromDir, from, toDir, to, flags);
}

int __wrap_linkat(int fromDir, const char* from, int toDir, const char* to, int flags) {
    return Strike(faults.link) ? -1 : __real_linkat(fromDir, from, toDir, to, flags);
}

ssize_t __wrap_copy_file_range(int in, off_t* inAt, int out, off_t* outAt, size_t n, unsigned flags) {
    return Strike(faults.copyRange) ? -1 : __real_copy_file_range(in, inAt, out, outAt, n, flags);
}

ssize_t __wrap_pwrite(int fd, const void* buf, size_t n, off_t at) {
    return Strike(faults.write) ? -1 : __real_pwrite(fd, buf, n, at);
}

int __wrap_unlink(const char* name) {
    return Strike(faults.unlink) ? -1 : __real_unlink(name);
}
}
