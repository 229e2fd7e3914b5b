// Walking a directory on Linux.
#include "platform/dirs.h"

#include "platform/descriptor_linux.h"
#include "platform/error.h"
#include "platform/name_linux.h"
#include "platform/platform.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vfile_internal::platform {
namespace {

// A walk's handle is the system's own directory stream.
DIR* StreamOf(SearchHandle search) {
    return reinterpret_cast<DIR*>(search); // NOLINT(performance-no-int-to-ptr): it was made of one
}

// One element of a pattern, '*' aside, against what is left of a name: how many bytes it takes, -1 if it does not fit.
// `noDot`: the name has no dot at all, and the pattern ends in "*.", which asks for such names.
int Fits(const char* name, const char* pattern, bool noDot) {
    if (*pattern == '?') return *name != '\0' && *name != '.' ? 1 : 0;
    if (*pattern == '\0' || *pattern == *name) return *pattern == *name && *name != '\0' ? 1 : -1;
    const bool dotForTheEnd = pattern[1] == '*' || pattern[1] == '?' || (pattern[1] == '\0' && noDot);
    return *pattern == '.' && dotForTheEnd && *name == '\0' ? 0 : -1;
}

// A drive, and no directory of its name: entries are joined without a separator.
bool IsDrive(const char* dir) {
    const char last = *dir ? dir[std::strlen(dir) - 1] : '/';
    if (last == '/' || last == '\\') return false;
    SetLastError(ErrorPathNotFound);
    return true;
}

} // namespace

SearchHandle OpenSearch(const char* dir) {
    const SystemName name(*dir ? dir : "./");
    if (!name.Ok() || IsDrive(name.Text())) return NoSearch;
    const int fd = OpenRetried(name.Text(), O_RDONLY | O_DIRECTORY, 0);
    DIR* stream = fd >= 0 ? fdopendir(fd) : nullptr;
    if (stream) return reinterpret_cast<SearchHandle>(stream);
    const int error = errno;
    if (fd >= 0) close(fd);
    errno = error == ENOENT ? ENOTDIR : error; // a directory that is missing is one on the way to the entries
    SetErrorFromErrno();
    return NoSearch;
}

Found NextEntry(SearchHandle search, const char* pattern, char* name, std::size_t size, std::int32_t& skipped) {
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(StreamOf(search));
        if (!entry && errno == 0) return Found::End;
        if (!entry) {
            SetErrorFromErrno();
            return Found::Failed;
        }
        if (!MatchesPattern(entry->d_name, pattern)) continue;
        const std::size_t n = std::strlen(entry->d_name);
        if (n < size && !std::strchr(entry->d_name, '\\')) {
            std::memcpy(name, entry->d_name, n + 1);
            return Found::Entry;
        }
        ++skipped;
    }
}

void CloseSearch(SearchHandle search) {
    closedir(StreamOf(search));
}

bool HasWildcard(const char* pattern) {
    return std::strpbrk(pattern, "*?") != nullptr;
}

Found FindOne(const char* path, const char* dir) {
    const SystemName name(path);
    if (!name.Ok() || IsDrive(dir)) return Found::Failed;
    struct stat st;
    if (lstat(name.Text(), &st) == 0) return Found::Entry;
    SetErrorFromErrno(name.Text());
    return GetLastError() == ErrorFileNotFound ? Found::End : Found::Failed;
}

bool MatchesPattern(const char* name, const char* pattern) {
    // Where to take up again when an element does not fit: after the last '*', which then takes one byte more. An
    // earlier '*' need not be tried again, as the last one can take whatever that would.
    const char* starPattern = nullptr;
    const char* starName = nullptr;
    const std::size_t n = std::strlen(pattern);
    const bool noDot = n >= 2 && std::strcmp(pattern + n - 2, "*.") == 0 && !std::strchr(name, '.');
    for (;;) {
        if (*pattern == '*') {
            starPattern = ++pattern;
            starName = name;
            continue;
        }
        if (*pattern == '\0' && *name == '\0') return true;
        const int taken = Fits(name, pattern, noDot);
        if (taken >= 0) {
            name += taken;
            ++pattern;
        } else if (starPattern && *starName != '\0') {
            name = ++starName;
            pattern = starPattern;
        } else {
            return false;
        }
    }
}

} // namespace vfile_internal::platform
