// HFile: the series of backup extensions, the directory for temporary files, temporary files.
#include "hostfile/hfile.h"

#include "foundation/halt.h"
#include "foundation/text.h"
#include "hostfile/name_size.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/swap_file.h"

#include <cstdio>
#include <cstring>

namespace platform = vfile_internal::platform;
using vfile_internal::FileNameSize;

namespace {

constexpr std::int32_t NumberLimit = 100000000; // numbers of temporary files lie below it, and above its negative
constexpr unsigned int AffixSize = 64;          // prefix or extension of a temporary file, terminator included
constexpr unsigned int TempNameSize = FileNameSize - 1 + 2 * (AffixSize - 1) + 9 + 1; // all parts at their longest

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// True if a directory and the separator at its end have room in `size` bytes. One that is cut is another directory.
bool Fits(const char* dir, int size) {
    const std::size_t n = std::strlen(dir);
    const bool ends = n > 0 && HFile::IsDirSep(dir[n - 1]);
    return static_cast<std::int64_t>(n) + (n == 0 || ends ? 0 : 1) < size;
}

// Whether another number may succeed where this one has failed: its name is taken, or hides after a refusal that only
// concerns this one file.
bool AnotherMaySucceed(Res res, const char* name) {
    return res == resAlreadyExists || ((res == resNoPermission || res == resReadOnly) && HFile::Exists(name));
}

} // namespace

bool HFile::GetNextBackupExt(char* ext) {
    char* p = ext[0] == '.' ? ext + 1 : ext;
    if (p[0] == '\0') {
        std::strcpy(ext, ".~");
        return true;
    }
    char* q = p + 1;
    if (p[0] != '~') { // any other extension: the mark takes the place of its first byte
        p[0] = '~';
        if (IsDigit(q[0]) || (q[0] != '\0' && IsDigit(q[1]))) q[0] = '\0';
        return true;
    }
    if (!IsDigit(q[0])) { // no number yet: the first one
        if (q[0] == '\0' || IsDigit(q[1])) q[1] = '\0';
        q[0] = '1';
        return true;
    }
    if (!IsDigit(q[1])) { // one digit: one up, or from 9 to two digits
        if (q[0] < '9') {
            ++q[0];
            return true;
        }
        if (q[1] == '\0') q[2] = '\0';
        q[0] = '1';
        q[1] = '0';
        return true;
    }
    if (q[1] < '9') {
        ++q[1];
        return true;
    }
    if (q[0] == '9') return false;
    ++q[0];
    q[1] = '0';
    return true;
}

void HFile::GetTempDir(char* dir, int size) {
    if (!dir) HaltA("HFile", __LINE__);
    if (size < 1) HaltA("HFile", __LINE__);
    const char* last = "";
    for (int i = 0; const char* next = platform::TempDirectory(i); ++i) {
        last = next;
        if (platform::DirectoryUsable(next) && Fits(next, size)) break;
    }
    AssignStr(dir, static_cast<unsigned int>(size), last); // at worst the last one, cut where it has no room
    CondAppendDirSep(dir, size);
}

bool HFile::CreateTempFile(HFile& file, char* name, const char* prefix, const char* ext, const char* dir,
                           bool seqWrite) {
    if (file.IsOpen()) HaltA("HFile", __LINE__);
    if (!name) HaltA("HFile", __LINE__);

    char directory[FileNameSize];
    if (dir && !Fits(dir, sizeof directory)) {
        name[0] = '\0';
        file.res = resIllegalName;
        return false;
    }
    if (dir) {
        AssignStr(directory, sizeof directory, dir);
        CondAppendDirSep(directory, sizeof directory);
    } else {
        GetTempDir(directory, sizeof directory);
    }
    if (!ext) ext = ".tmp";
    char extension[AffixSize];
    std::snprintf(extension, sizeof extension, "%s%s", ext[0] ? "." : "", ext[0] == '.' ? ext + 1 : ext);
    char start[AffixSize];
    AssignStr(start, sizeof start, prefix ? prefix : "~hf");

    const std::int32_t seed = static_cast<std::int32_t>(platform::GetTickCount()) % NumberLimit;
    for (std::int32_t i = 0; i < NumberLimit; ++i) {
        const std::int32_t number = (seed + i) % NumberLimit;
        std::snprintf(name, TempNameSize, "%s%s%ld%s", directory, start, static_cast<long>(number), extension);
        if (file.CreatePrivate(name, seqWrite)) return true;
        if (!AnotherMaySucceed(file.res, name)) return false;
    }
    return false;
}
