// The thread's last error, and its making from errno.
#include "platform/error.h"

#include "platform/name_linux.h"
#include "platform/platform.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/stat.h>

namespace platform = vfile_internal::platform;

namespace {

thread_local std::uint32_t lastError = 0;

std::uint32_t Translate(int error) {
    switch (error) {
    case ENOENT:
        return platform::ErrorFileNotFound;
    case ENOTDIR:
        return platform::ErrorPathNotFound;
    case EMFILE:
    case ENFILE:
        return platform::ErrorTooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EISDIR:
    case ENOKEY:
    case EKEYEXPIRED:
    case EKEYREVOKED:
    case EKEYREJECTED: // encrypted, and the key is not to be had
        return platform::ErrorAccessDenied;
    case EBADF:
        return platform::ErrorInvalidHandle;
    case ENOMEM:
        return platform::ErrorNotEnoughMemory;
    case EROFS:
        return platform::ErrorWriteProtect;
    case EIO:
    case EBADMSG:
    case EUCLEAN:
    case EREMOTEIO: // what was read is not what was written
        return platform::ErrorCrc;
    case EBUSY:
    case ETXTBSY:
    case EWOULDBLOCK:
        return platform::ErrorSharingViolation;
    case ESPIPE:
    case EOPNOTSUPP:
        return platform::ErrorNotSupported;
    case ESTALE:
    case ETIMEDOUT:
    case ECONNRESET:
    case ENETDOWN:
    case ENETRESET:
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
        return platform::ErrorNetworkBusy;
    case ENODEV:
    case ENXIO:
    case ENOMEDIUM:
        return platform::ErrorDeviceNotExist;
    case EEXIST:
        return platform::ErrorFileExists;
    case EINVAL:
    case EFAULT:
    case EOVERFLOW:
        return platform::ErrorInvalidParameter;
    case EPIPE:
        return platform::ErrorBrokenPipe;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return platform::ErrorDiskFull; // EFBIG: the file may not grow, by a limit of process or file system
    case ENOSYS:
        return platform::ErrorCallNotImplemented;
    case ENAMETOOLONG:
    case EILSEQ: // the file system has rules for the bytes of a name
        return platform::ErrorInvalidName;
    case ELOOP:
        return platform::ErrorBadPathName;
    case ECANCELED: // by the layer itself
        return platform::ErrorStopped;
    default:
        return platform::ErrorGeneralFailure;
    }
}

// True if the directory that `name` lies in is there.
bool ParentExists(const char* name) {
    if (name[0] == '\0' || std::strlen(name) >= PATH_MAX) return false; // no name lies nowhere
    char parent[PATH_MAX];
    platform::ParentOf(parent, name); // separators at the end name the same file
    struct stat st;
    return stat(parent, &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

std::uint32_t GetLastError() {
    return lastError;
}

void SetLastError(std::uint32_t error) {
    lastError = error;
}

namespace vfile_internal::platform {

void SetErrorFromErrno() {
    lastError = Translate(errno);
}

void SetErrorFromErrno(const char* name) {
    const int error = errno;
    lastError = error == ENOENT && !ParentExists(name) ? ErrorPathNotFound : Translate(error);
}

} // namespace vfile_internal::platform
