// HFile: file names as strings, and the full path of a file.
#include "hostfile/hfile.h"

#include "foundation/text.h"
#include "hostfile/name_size.h"
#include "platform/fsops.h"

#include <cstdint>
#include <cstring>

namespace platform = vfile_internal::platform;
using vfile_internal::FileNameSize;

namespace {

constexpr std::size_t DriveSize = 3;       // buffers for the parts of a name, terminators included
constexpr std::size_t PartSize = 256;      // dir, fname, ext
constexpr std::size_t BuiltNameSize = 260; // a name that is put together from all four
constexpr std::size_t FullNameSize = 128;  // a full path

// Where the parts of a name begin, up to the terminator at `end`; the drive begins at 0.
struct Parts {
    std::size_t dir, fname, ext, end;
};

Parts FindParts(const char* path) {
    Parts p;
    p.end = std::strlen(path);
    p.dir = p.end >= 2 && path[1] == ':' ? 2 : 0;
    p.fname = p.end;
    while (p.fname > p.dir && !HFile::IsDirSep(path[p.fname - 1])) --p.fname;
    p.ext = p.end;
    for (std::size_t i = p.end; i > p.fname; --i) {
        if (path[i - 1] == '.') {
            p.ext = i - 1;
            break;
        }
    }
    return p;
}

// A part of a name on its way to its buffer. It waits in a copy of its own until all parts are taken, as the buffer may
// be that of the name.
class Part {
  public:
    Part(const char* from, std::size_t count, std::size_t size) : n(count < size ? count : size - 1) {
        std::memcpy(text, from, n);
        text[n] = '\0';
    }
    void Store(char* to) const {
        if (to) std::memcpy(to, text, n + 1);
    }

  private:
    char text[FileNameSize];
    std::size_t n;
};

} // namespace

bool HFile::IsDirSep(char c) {
    return c == '\\' || c == '/';
}

bool HFile::EqualName(const char* a, const char* b) {
    return EqualStrI(a, b);
}

void HFile::BuildName(char* path, const char* drive, const char* dir, const char* fname, const char* ext) {
    AssignStr(path, BuiltNameSize, drive);
    if (drive && drive[0] && drive[std::strlen(drive) - 1] != ':') AppendStr(path, BuiltNameSize, ":");
    if (dir && dir[0]) {
        AppendStr(path, BuiltNameSize, dir);
        if (!IsDirSep(dir[std::strlen(dir) - 1])) AppendStr(path, BuiltNameSize, "\\");
    }
    AppendStr(path, BuiltNameSize, fname);
    if (ext && ext[0] && ext[0] != '.') AppendStr(path, BuiltNameSize, ".");
    AppendStr(path, BuiltNameSize, ext);
}

void HFile::BuildName(char* path, const char* dir, const char* name) {
    const std::size_t n = std::strlen(dir);
    if (path != dir) std::strcpy(path, dir);
    std::strcpy(path + n, name);
}

void HFile::SplitName(char* drive, char* dir, char* fname, char* ext, const char* path) {
    const Parts p = FindParts(path);
    const Part drivePart(path, p.dir, DriveSize);
    const Part dirPart(path + p.dir, p.fname - p.dir, PartSize);
    const Part fnamePart(path + p.fname, p.ext - p.fname, PartSize);
    const Part extPart(path + p.ext, p.end - p.ext, PartSize);
    drivePart.Store(drive);
    dirPart.Store(dir);
    fnamePart.Store(fname);
    extPart.Store(ext);
}

void HFile::SplitName(char* dir, char* name, const char* path) {
    const Parts p = FindParts(path);
    const Part dirPart(path, p.fname, FileNameSize);
    const Part namePart(path + p.fname, p.end - p.fname, FileNameSize);
    dirPart.Store(dir);
    namePart.Store(name);
}

void HFile::GetFullName(char* full, const char* name) {
    if (!platform::FullPath(full, FullNameSize, name)) std::memmove(full, name, std::strlen(name) + 1);
}

void HFile::CondAppendDirSep(char* dir, int size) {
    const std::size_t n = std::strlen(dir);
    if (n == 0 || IsDirSep(dir[n - 1]) || std::int64_t{size} <= static_cast<std::int64_t>(n) + 1) return;
    dir[n] = '\\';
    dir[n + 1] = '\0';
}
