// HFile: what the file system is asked and told by name.
#include "hostfile/hfile.h"

#include "platform/fsops.h"

namespace platform = vfile_internal::platform;

bool HFile::Exists(const char* name) {
    return platform::NameExists(name);
}

bool HFile::IsDirectory(const char* name) {
    platform::NameState state;
    return platform::GetNameState(name, state) && state.directory;
}

bool HFile::IsReadOnly(const char* name) {
    platform::NameState state;
    return platform::GetNameState(name, state) && state.readOnly;
}

bool HFile::SetReadOnly(const char* name, bool on) {
    return platform::SetNameReadOnly(name, on);
}

bool HFile::Copy(const char* from, const char* to, int& res, bool overwrite) {
    const bool done = platform::CopyFile(from, to, overwrite);
    res = done ? resDone : GetFileRes();
    return done;
}

bool HFile::Copy(const char* from, const char* to, bool overwrite) {
    int ignored;
    return Copy(from, to, ignored, overwrite);
}

bool HFile::Rename(const char* from, const char* to, int& res) {
    const bool done = platform::MoveFile(from, to);
    res = done ? resDone : GetFileRes();
    return done;
}

bool HFile::Rename(const char* from, const char* to) {
    int ignored;
    return Rename(from, to, ignored);
}

bool HFile::ReplaceName(const char* from, const char* to, int& res) {
    const bool done = platform::ReplaceName(from, to);
    res = done ? resDone : GetFileRes();
    return done;
}

bool HFile::ReplaceName(const char* from, const char* to) {
    int ignored;
    return ReplaceName(from, to, ignored);
}

bool HFile::FlushDirectory(const char* dir, int& res) {
    const bool done = platform::FlushDirectory(dir);
    res = done ? resDone : GetFileRes();
    return done;
}

bool HFile::FlushDirectory(const char* dir) {
    int ignored;
    return FlushDirectory(dir, ignored);
}

bool HFile::Remove(const char* name, int& res) {
    const bool done = platform::RemoveFile(name);
    res = done ? resDone : GetFileRes();
    return done;
}

bool HFile::Remove(const char* name) {
    int ignored;
    return Remove(name, ignored);
}
